// The first byte says how much of the rest is the record; what is left is a sample.
#include <algorithm>

#include "fuzz/require.h"
#include "tests/support/mp4_readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t record = std::min<std::size_t>(data[0], size - 1);
    velkantrix::require(
        velkantrix::problemOfAvcConfig(velkantrix::ByteView(data + 1, record),
                                       velkantrix::ByteView(data + 1 + record, size - 1 - record)));
    return 0;
}
