// crc32.h: the checksum by which samples are compared: CRC-32/ISO-HDLC, the one of zlib and PNG
// (ISO/IEC 3309).
#pragma once

#include <cstdint>

#include "mp4/byte_view.h"

namespace velkantrix {

// Of all bytes added so far, in their order, however they were split.
class Crc32 {
public:
    void add(ByteView bytes);
    [[nodiscard]] std::uint32_t value() const { return ~register_; }

private:
    std::uint32_t register_ = 0xFFFFFFFF;
};

} // namespace velkantrix
