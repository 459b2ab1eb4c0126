// How a lossless export ends before its time, and what it tells meanwhile.
#include "tests/windows/lossless_shell.h"

#include <algorithm>

#include <mferror.h>

#include <gmock/gmock.h>

namespace velkantrix {
namespace {

using testing::ElementsAre;

constexpr Ticks SECOND = TICKS_PER_SECOND;
constexpr HRESULT BROKEN = MF_E_INVALID_FILE_FORMAT; // no result that the export makes itself
constexpr HRESULT TOO_LARGE = HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE);

TEST_F(LosslessShell, AFailedVideoReadIsTheResult) {
    video()[13] = failedRead(BROKEN);
    EXPECT_EQ(copy(), BROKEN);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, 3 * FRAME));
    EXPECT_TRUE(writtenTo(AUDIO_OUT).empty());
}

TEST_F(LosslessShell, AFailedAudioReadIsTheResult) {
    audio()[13] = failedRead(BROKEN);
    EXPECT_EQ(copy(), BROKEN);
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, 3 * FRAME));
}

// The flag speaks though the read itself succeeded, and though a sample came with it.
TEST_F(LosslessShell, TheErrorFlagFailsInBothPasses) {
    video()[13].flags = MF_SOURCE_READERF_ERROR;
    EXPECT_EQ(copy(), E_FAIL);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, 3 * FRAME));

    useStreams(VIDEO, AUDIO);
    audio()[13] = flagsAlone(MF_SOURCE_READERF_ERROR | MF_SOURCE_READERF_ENDOFSTREAM);
    EXPECT_EQ(copy(), E_FAIL);
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, 3 * FRAME));
}

TEST_F(LosslessShell, AFailureBehindTheKeyframeThatEndedTheSpanDoesNoHarm) {
    for (const ScriptedRead& bad : {failedRead(BROKEN), flagsAlone(MF_SOURCE_READERF_ERROR)}) {
        useStreams(VIDEO, AUDIO);
        video()[21] = bad;
        EXPECT_EQ(copy(), S_OK);
        EXPECT_EQ(timesOf(VIDEO_OUT), every(0, SECOND));
        EXPECT_EQ(timesOf(AUDIO_OUT), every(0, SECOND));
    }
}

TEST_F(LosslessShell, AFailureInPlaceOfTheKeyframeThatEndsTheSpanIsOne) {
    video()[20] = failedRead(BROKEN);
    EXPECT_EQ(copy(), BROKEN);
}

// Three steps before each pass: none other is selected, the stream is, and the position is set.
TEST_F(LosslessShell, AFailedSelectionOrSeekIsTheResult) {
    for (size_t step = 1; step <= 6; step++) {
        SCOPED_TRACE(step);
        useStreams(VIDEO, AUDIO);
        reader->failSteering(step, BROKEN);
        EXPECT_EQ(copy(), BROKEN);
        EXPECT_EQ(reader->steering().size(), step);
        EXPECT_EQ(reader->readsOf(AUDIO), 0);
    }
}

// Ten pictures, the keyframe behind them and one more.
TEST_F(LosslessShell, AVideoPassMayReadItsLimit) {
    EXPECT_EQ(copy(12), S_OK);
    EXPECT_EQ(reader->readsOf(VIDEO), 12);
}

TEST_F(LosslessShell, AVideoPassThatWouldReadMoreFails) {
    EXPECT_EQ(copy(10), TOO_LARGE);
    EXPECT_EQ(reader->readsOf(VIDEO), 10);
    EXPECT_EQ(reader->readsOf(AUDIO), 0);
}

TEST_F(LosslessShell, ReadsWithoutASampleCountToo) {
    video().insert(video().begin() + 13, 100, flagsAlone(MF_SOURCE_READERF_STREAMTICK));
    EXPECT_EQ(copy(50), TOO_LARGE);
}

TEST_F(LosslessShell, EachVideoPassHasALimitOfItsOwn) {
    request.spans = {{.start = 1, .end = 2}, {.start = 2, .end = 3}};
    EXPECT_EQ(copy(12), S_OK);
    EXPECT_EQ(reader->readsOf(VIDEO), 24);
}

TEST_F(LosslessShell, AnAudioPassHasNoLimit) {
    audio().clear();
    for (const Ticks time : every(0, 3 * SECOND, FRAME / 10)) audio().push_back(soundAt(time));
    EXPECT_EQ(copy(12), S_OK);
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 100u);
}

TEST_F(LosslessShell, EachPictureIsReportedOnceItIsWrittenAndNoSoundIs) {
    std::vector<size_t> writtenThen;
    request.progress = [&](double seconds) {
        reports.push_back(seconds);
        writtenThen.push_back(writer->written().size());
    };
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 10u);
    EXPECT_THAT(writtenThen, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10));
    ASSERT_EQ(reports.size(), 10u);
    for (size_t i = 0; i < 10; i++) EXPECT_DOUBLE_EQ(reports[i], static_cast<double>(i) / 10);
}

TEST_F(LosslessShell, APictureThatCouldNotBeWrittenIsNotReported) {
    writer->failAt(WriterCall::WriteSample, 4, BROKEN);
    EXPECT_EQ(copy(), BROKEN);
    EXPECT_THAT(reports, ElementsAre(0, 0.1, 0.2));
}

TEST_F(LosslessShell, NeedsNeitherProgressNorCancel) {
    request.progress = nullptr;
    request.cancel = nullptr;
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(writer->written().size(), 20u);
}

TEST_F(LosslessShell, CancelledBeforehandNothingIsReadThoughTheStreamsAreMade) {
    cancel = true;
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(writer->calls().back(), WriterCall::BeginWriting);
    EXPECT_TRUE(reader->steering().empty());
}

TEST_F(LosslessShell, CancelDuringTheVideoEndsAtOnce) {
    video()[13].hook = [&] {
        cancel = true;
    };
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(reader->readsOf(VIDEO), 4);
    EXPECT_EQ(reader->readsOf(AUDIO), 0);
}

TEST_F(LosslessShell, CancelDuringTheAudioEndsAtOnce) {
    request.spans = {{.start = 1, .end = 2}, {.start = 3, .end = 4}};
    audio()[13].hook = [&] {
        cancel = true;
    };
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(reader->readsOf(AUDIO), 4);
    EXPECT_EQ(reader->steering().size(), 6u);
}

TEST_F(LosslessShell, CancelAfterTheVideoLeavesTheAudioAlone) {
    video()[21].hook = [&] { // the read that ends the pass
        cancel = true;
    };
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 10u);
    EXPECT_THAT(reader->steering(), ElementsAre("deselect all", "select 0", "position 10000000"));
}

TEST_F(LosslessShell, CancelBetweenSpansLeavesTheNextAlone) {
    request.spans = {{.start = 1, .end = 2}, {.start = 3, .end = 4}};
    audio()[20].hook = [&] { // the read that ends the pass
        cancel = true;
    };
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 10u);
    EXPECT_EQ(reader->steering().size(), 6u);
}

TEST_F(LosslessShell, AWritersFailureIsTheResultAndTheLastCall) {
    expectWritersFailures([this] { useStreams(VIDEO, AUDIO); }, [this] { return copy(); });
}

TEST_F(LosslessShell, WithoutAVideoTypeTheWritersRefusalIsTheResult) {
    streams.video.reset();
    streams.videoType.reset();
    writer->failAt(WriterCall::AddStream, 1, BROKEN);
    EXPECT_EQ(copy(), BROKEN);
    ASSERT_EQ(writer->added().size(), 1u);
    EXPECT_FALSE(writer->added()[0]);
    EXPECT_THAT(writer->calls(), ElementsAre(WriterCall::AddStream));
    EXPECT_TRUE(reader->steering().empty());
}

} // namespace
} // namespace velkantrix
