#include <mfapi.h>
#include <mfidl.h>

#include "export/export_core.h"
#include "platform/mf_util.h"
#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

constexpr DWORD STREAMS = 4;

GUID majorType(IMFSourceReader* reader, DWORD stream) {
    ComPtr<IMFMediaType> type;
    GUID major{};
    if (SUCCEEDED(reader->GetNativeMediaType(stream, 0, type.put()))) type->GetMajorType(&major);
    return major;
}

bool isSelected(IMFSourceReader* reader, DWORD stream) {
    BOOL selected = FALSE;
    return SUCCEEDED(reader->GetStreamSelection(stream, &selected)) && selected;
}

SourceStreams discovered(const std::wstring& name, ComPtr<IMFSourceReader>& reader) {
    SourceStreams streams;
    EXPECT_EQ(openSourceReader(mediaFile(name).c_str(), reader), S_OK);
    if (reader) { EXPECT_EQ(discoverStreams(reader.get(), streams), S_OK); }
    return streams;
}

TEST(DiscoverStreams, FindsAndSelectsTheFirstOfEachKind) {
    ComPtr<IMFSourceReader> reader;
    const SourceStreams streams = discovered(L"two-audio", reader);
    ASSERT_TRUE(streams.video);
    ASSERT_TRUE(streams.audio);
    EXPECT_TRUE(majorType(reader.get(), *streams.video) == MFMediaType_Video);
    EXPECT_TRUE(majorType(reader.get(), *streams.audio) == MFMediaType_Audio);
    for (DWORD i = 0; i < STREAMS; i++) {
        EXPECT_EQ(isSelected(reader.get(), i), i == *streams.video || i == *streams.audio) << i;
        const bool isAudio = majorType(reader.get(), i) == MFMediaType_Audio;
        EXPECT_TRUE(!isAudio || i >= *streams.audio) << i; // none stands before the one found
    }
}

TEST(DiscoverStreams, KeepsTheVideosNativeType) {
    ComPtr<IMFSourceReader> reader;
    const SourceStreams streams = discovered(L"closed", reader);
    ASSERT_TRUE(streams.videoType);
    GUID subtype{};
    EXPECT_EQ(streams.videoType->GetGUID(MF_MT_SUBTYPE, &subtype), S_OK);
    EXPECT_TRUE(subtype == MFVideoFormat_H264);
}

TEST(DiscoverStreams, ASourceWithoutAudioHasNone) {
    ComPtr<IMFSourceReader> reader;
    const SourceStreams streams = discovered(L"video-only", reader);
    EXPECT_TRUE(streams.video);
    EXPECT_FALSE(streams.audio);
}

TEST(DiscoverStreams, AudioAloneIsFoundButNotSelected) {
    ComPtr<IMFSourceReader> reader;
    const SourceStreams streams = discovered(L"audio-only", reader);
    EXPECT_FALSE(streams.video);
    EXPECT_FALSE(streams.videoType);
    ASSERT_TRUE(streams.audio);
    EXPECT_FALSE(isSelected(reader.get(), *streams.audio));
}

} // namespace
} // namespace velkantrix
