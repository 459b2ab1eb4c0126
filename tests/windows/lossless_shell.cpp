#include "tests/windows/lossless_shell.h"

#include <mfapi.h>

#include "export/lossless_export.h"

namespace velkantrix {

ScriptedRead keyAt(Ticks time) {
    return {.time = time, .duration = FRAME, .cleanPoint = 1};
}

ScriptedRead pictureAt(Ticks time) {
    return {.time = time, .duration = FRAME};
}

ScriptedRead soundAt(Ticks time) {
    return keyAt(time); // any sound can be the first
}

ScriptedRead failedRead(HRESULT result) {
    return {.hasSample = false, .result = result};
}

ScriptedRead flagsAlone(DWORD flags) {
    return {.hasSample = false, .flags = flags};
}

std::vector<ScriptedRead> videoReads(int pictures, Ticks first) {
    std::vector<ScriptedRead> reads;
    for (int i = 0; i < pictures; i++) {
        const Ticks time = first + i * FRAME;
        reads.push_back(i % 10 ? pictureAt(time) : keyAt(time));
    }
    return reads;
}

std::vector<ScriptedRead> audioReads(int sounds, Ticks first) {
    std::vector<ScriptedRead> reads;
    for (int i = 0; i < sounds; i++) reads.push_back(soundAt(first + i * FRAME));
    return reads;
}

std::vector<Ticks> every(Ticks from, Ticks to, Ticks step) {
    std::vector<Ticks> times;
    for (Ticks time = from; time < to; time += step) times.push_back(time);
    return times;
}

LosslessShell::LosslessShell() {
    useStreams(VIDEO, AUDIO);
}

void LosslessShell::useStreams(DWORD videoIndex, DWORD audioIndex) {
    makeReaderAndWriter();
    reader->stream(videoIndex) = {.major = MFMediaType_Video, .reads = videoReads(50)};
    reader->stream(audioIndex) = {.major = MFMediaType_Audio, .reads = audioReads(50)};
    streams = {
        .video = videoIndex, .audio = audioIndex, .videoType = mediaTypeOf(MFMediaType_Video)};
}

HRESULT LosslessShell::copy(std::int64_t readsPerPass) {
    return copySpans(request, reader.get(), streams, withoutSound, writer.get(), readsPerPass);
}

} // namespace velkantrix
