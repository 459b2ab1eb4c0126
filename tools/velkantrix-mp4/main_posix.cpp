// velkantrix-mp4 on POSIX systems: shows what is read of an MP4 file.
#include <cstdio>

#include "tools/velkantrix-mp4/mp4_tool.h"

namespace {

velkantrix::TextSink sinkOf(std::FILE* stream) {
    return [stream](std::string_view text) {
        return std::fwrite(text.data(), 1, text.size(), stream) == text.size() &&
               std::fflush(stream) == 0;
    };
}

} // namespace

int main(int count, char** words) {
    return velkantrix::runMp4Tool({words + (count > 0), words + count}, sinkOf(stdout),
                                  sinkOf(stderr));
}
