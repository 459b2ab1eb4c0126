// avc.h: H.264 as MP4 files hold it (NAL units behind their lengths, ISO/IEC 14496-15) and as
// decoders take it (behind start codes, ISO/IEC 14496-10, Annex B).
#pragma once

#include <cstdint>
#include <vector>

#include "mp4/byte_view.h"

namespace velkantrix {

// Puts the parameter sets of an AVCDecoderConfigurationRecord, each behind a start code, into
// `output`, and the width of the NAL units' lengths, 1 to 4 bytes, into `nalLengthSize`. False,
// with nothing changed, when the record breaks off or there are none.
[[nodiscard]] bool AvcConfigToAnnexB(ByteView avcConfig, std::vector<std::uint8_t>& output,
                                     std::uint32_t& nalLengthSize);

// Replaces `output` by `inFront`, parameter sets in this form or nothing, and a sample's NAL units,
// each behind a start code. A length of 0, or one that runs past the sample, ends it there. Takes
// exactly the memory that they need, which is up to 2.5 times the sample's: a unit of one byte
// behind a length of one byte. Throws std::bad_alloc.
void convertToAnnexB(ByteView sample, std::uint32_t nalLengthSize, ByteView inFront,
                     std::vector<std::uint8_t>& output);

} // namespace velkantrix
