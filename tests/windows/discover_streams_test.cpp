#include <mfapi.h>
#include <mfidl.h>

#include <gmock/gmock.h>

#include "export/export_core.h"
#include "platform/mf_util.h"
#include "tests/windows/scripted_media.h"
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

TEST(CountStreams, CountsEachKind) {
    struct Row {
        const wchar_t* name;
        TrackCount expected;
    };
    for (const Row& row : {Row{L"two-audio", {.all = 3, .video = 1, .sound = 2}},
                           Row{L"closed", {.all = 2, .video = 1, .sound = 1}},
                           Row{L"video-only", {.all = 1, .video = 1}}}) {
        ComPtr<IMFSourceReader> reader;
        ASSERT_EQ(openSourceReader(mediaFile(row.name).c_str(), reader), S_OK);
        EXPECT_EQ(countStreams(reader.get()), row.expected);
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

// A source of streams that are told by their types alone.
class DiscoverScripted : public testing::Test {
protected:
    void addStreams(const std::vector<GUID>& majors) {
        for (DWORD i = 0; i < majors.size(); i++) reader->stream(i).major = majors[i];
    }
    void discover() { ASSERT_EQ(discoverStreams(reader.get(), streams), S_OK); }

    ComPtr<ScriptedReader> reader = ComPtr<ScriptedReader>::adopt(new ScriptedReader);
    SourceStreams streams;
};

TEST_F(DiscoverScripted, TheFirstOfEachKindWins) {
    addStreams({MFMediaType_Audio, MFMediaType_Video, MFMediaType_Audio, MFMediaType_Video});
    discover();
    EXPECT_EQ(streams.audio, 0u);
    EXPECT_EQ(streams.video, 1u);
    EXPECT_TRUE(majorTypeOf(streams.videoType.get()) == MFMediaType_Video);
    EXPECT_TRUE(isSelected(reader.get(), 0));
    EXPECT_TRUE(isSelected(reader.get(), 1));
    EXPECT_FALSE(isSelected(reader.get(), 2));
    EXPECT_FALSE(isSelected(reader.get(), 3));
}

TEST_F(DiscoverScripted, NothingLiesBehindTheFirstNumberThatIsNone) {
    reader->stream(0).major = MFMediaType_Video;
    reader->stream(2).major = MFMediaType_Audio;
    discover();
    EXPECT_EQ(streams.video, 0u);
    EXPECT_FALSE(streams.audio);
    EXPECT_EQ(reader->typesAsked(), 2u);
}

TEST_F(DiscoverScripted, AStreamThatDoesNotTellItsTypeIsPassedOver) {
    addStreams({MFMediaType_Video, GUID{}, MFMediaType_Video, MFMediaType_Audio});
    reader->stream(0).typeReads = 0;
    discover();
    EXPECT_EQ(streams.video, 2u);
    EXPECT_EQ(streams.audio, 3u);
}

TEST_F(DiscoverScripted, OtherKindsAreLeftAlone) {
    addStreams({MFMediaType_SAMI, MFMediaType_Stream});
    discover();
    EXPECT_FALSE(streams.video);
    EXPECT_FALSE(streams.audio);
    EXPECT_THAT(reader->steering(), testing::ElementsAre("deselect all"));
}

TEST_F(DiscoverScripted, LooksAtSixtyFourStreamsAndNoMore) {
    addStreams(std::vector<GUID>(100, MFMediaType_SAMI));
    reader->stream(63).major = MFMediaType_Video;
    reader->stream(64).major = MFMediaType_Audio;
    discover();
    EXPECT_EQ(streams.video, 63u);
    EXPECT_FALSE(streams.audio);
    EXPECT_EQ(reader->typesAsked(), 64u);
}

TEST_F(DiscoverScripted, AFailedSelectionIsTheResult) {
    addStreams({MFMediaType_Video, MFMediaType_Audio});
    for (size_t step = 1; step <= 3; step++) {
        reader->failSteering(reader->steering().size() + step, E_ABORT);
        EXPECT_EQ(discoverStreams(reader.get(), streams), E_ABORT) << step;
    }
}

TEST_F(DiscoverScripted, AudioIsSelectedBesideVideoOnly) {
    addStreams({MFMediaType_Audio});
    discover();
    EXPECT_EQ(streams.audio, 0u);
    EXPECT_THAT(reader->steering(), testing::ElementsAre("deselect all"));
}

} // namespace
} // namespace velkantrix
