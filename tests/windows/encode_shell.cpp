#include "tests/windows/encode_shell.h"

#include <mfapi.h>

#include <algorithm>
#include <cstring>

#include "export/reencode_export.h"
#include "platform/mf_util.h"

namespace velkantrix {

ComPtr<IMFMediaBuffer> bufferOf(const Content& content) {
    ComPtr<IMFMediaBuffer> buffer;
    const auto size = static_cast<DWORD>(content.size());
    EXPECT_EQ(MFCreateMemoryBuffer(size, buffer.put()), S_OK);
    EXPECT_EQ(buffer->SetCurrentLength(size), S_OK);
    const LockedBytes locked(buffer.get());
    std::ranges::copy(content, locked.bytes().begin());
    return buffer;
}

Content contentOf(IMFSample* sample) {
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_EQ(sample->ConvertToContiguousBuffer(buffer.put()), S_OK);
    const LockedBytes locked(buffer.get());
    const auto bytes = locked.bytes();
    return {bytes.begin(), bytes.end()};
}

EncodeShell::EncodeShell() {
    reset();
}

void EncodeShell::reset() {
    makeReaderAndWriter();
    reader->stream(VIDEO) = {.major = MFMediaType_Video};
    reader->stream(AUDIO) = {.major = MFMediaType_Audio};
    for (int i = 0; i < 50; i++) {
        video().push_back(pictureAt(i * FRAME));
        audio().push_back(soundAt(i * FRAME));
    }
    streams = {.video = VIDEO, .audio = AUDIO, .videoType = nativePictures()};
}

ComPtr<IMFMediaType> EncodeShell::nativePictures() {
    ComPtr<IMFMediaType> type = mediaTypeOf(MFMediaType_Video);
    EXPECT_EQ(MFSetAttributeSize(type.get(), MF_MT_FRAME_SIZE, WIDTH, HEIGHT), S_OK);
    EXPECT_EQ(MFSetAttributeRatio(type.get(), MF_MT_FRAME_RATE, 10, 1), S_OK);
    return type;
}

Content EncodeShell::picture(std::uint8_t luma, std::uint8_t chroma) {
    Content content(WIDTH * HEIGHT, luma);
    content.insert(content.end(), WIDTH * HEIGHT / 2, chroma);
    return content;
}

Content EncodeShell::sound(std::size_t frames, std::int16_t value) {
    Content content(frames * 4);
    for (std::size_t i = 0; i < frames * 2; i++) std::memcpy(&content[i * 2], &value, 2);
    return content;
}

// Any can be the first behind a seek.
ScriptedRead EncodeShell::pictureAt(Ticks time) {
    return {.time = time, .duration = FRAME, .cleanPoint = 1, .content = bufferOf(picture())};
}

ScriptedRead EncodeShell::soundAt(Ticks time) {
    return {.time = time, .duration = FRAME, .cleanPoint = 1, .content = bufferOf(sound())};
}

HRESULT EncodeShell::encode(std::int64_t readsPerSpan) {
    PicturePlan plan;
    const HRESULT planned = planPictures(request, streams.videoType, plan);
    if (FAILED(planned)) return planned;
    const EncodeWait wait = {.now = [this] { return now; }, .pause = pause};
    return encodeSpans(request, reader.get(), streams, plan, writer.get(), wait, readsPerSpan);
}

std::vector<ComPtr<IMFSample>> EncodeShell::samplesOf(DWORD stream) const {
    std::vector<ComPtr<IMFSample>> found;
    for (std::size_t i = 0; i < writer->samples().size(); i++) {
        if (writer->written()[i].stream == stream) found.push_back(writer->samples()[i]);
    }
    return found;
}

} // namespace velkantrix
