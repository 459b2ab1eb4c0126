// The input is a file. FUZZED_READER, from tests/support/mp4_readers.h, says which reader gets it.
#include "fuzz/input_path.h"
#include "fuzz/require.h"
#include "tests/support/mp4_readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    velkantrix::require(velkantrix::FUZZED_READER(velkantrix::inputPath(data, size)));
    return 0;
}
