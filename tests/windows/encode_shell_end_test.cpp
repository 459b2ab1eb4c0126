// How a re-encode ends before its time, and how it waits for its encoder.
#include "tests/windows/encode_shell.h"

#include <algorithm>

#include <mfapi.h>
#include <mferror.h>

#include <gmock/gmock.h>

#include "export/reencode_export.h"
#include "export/writer_backlog.h"

namespace velkantrix {
namespace {

constexpr HRESULT BROKEN = MF_E_INVALID_FILE_FORMAT; // no result that the export makes itself
constexpr HRESULT TOO_LARGE = HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE);

TEST_F(EncodeShell, AFailedReadIsTheResult) {
    video()[13] = {.time = video()[13].time, .hasSample = false, .result = BROKEN};
    EXPECT_EQ(encode(), BROKEN);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 3u);
    reset();
    audio()[13] = {.time = audio()[13].time, .hasSample = false, .result = BROKEN};
    EXPECT_EQ(encode(), BROKEN);
}

TEST_F(EncodeShell, TheErrorFlagIsAFailureWhateverComesWithIt) {
    video()[13].flags = MF_SOURCE_READERF_ERROR;
    EXPECT_EQ(encode(), E_FAIL);
    reset();
    audio()[13].flags = MF_SOURCE_READERF_ERROR | MF_SOURCE_READERF_ENDOFSTREAM;
    EXPECT_EQ(encode(), E_FAIL);
}

// Both types are set, then each span begins with a seek.
TEST_F(EncodeShell, AFailedTypeOrSeekIsTheResult) {
    for (std::size_t step = 1; step <= 3; step++) {
        SCOPED_TRACE(step);
        reset();
        reader->failSteering(step, BROKEN);
        EXPECT_EQ(encode(), BROKEN);
        EXPECT_EQ(reader->steering().size(), step);
        EXPECT_TRUE(writer->written().empty());
    }
}

TEST_F(EncodeShell, AWritersFailureIsTheResultAndTheLastCall) {
    struct Row {
        WriterCall call;
        int nth;
    };
    const Row rows[] = {
        {WriterCall::AddStream, 1},         {WriterCall::AddStream, 2},
        {WriterCall::SetInputMediaType, 1}, {WriterCall::SetInputMediaType, 2},
        {WriterCall::BeginWriting, 1},      {WriterCall::WriteSample, 1},
        {WriterCall::WriteSample, 2},       {WriterCall::WriteSample, 20},
    };
    for (const auto& [call, nth] : rows) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(call) << ", " << nth);
        reset();
        writer->failAt(call, nth, BROKEN);
        EXPECT_EQ(encode(), BROKEN);
        EXPECT_EQ(writer->calls().back(), call);
        EXPECT_EQ(std::ranges::count(writer->calls(), call), nth);
    }
}

TEST_F(EncodeShell, AReaderThatDeliversSomethingElseIsRefused) {
    reader->failCurrentType(BROKEN);
    EXPECT_EQ(encode(), BROKEN);
    for (const DWORD stream : {VIDEO, AUDIO}) {
        reset();
        reader->stream(stream).delivers = mediaTypeOf(MFMediaType_Video);
        EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
        EXPECT_TRUE(writer->written().empty());
    }
}

TEST_F(EncodeShell, AChangeOfTheTypeOnTheWayIsRefusedUnlessItStaysAsAsked) {
    video()[13].flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
    EXPECT_EQ(encode(), S_OK);
    reset();
    video()[13].flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
    video()[13].hook = [this] {
        reader->stream(VIDEO).delivers = nativePictures();
    };
    EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 3u);
}

TEST_F(EncodeShell, APictureWithTooFewBytesFailsRatherThanOverrun) {
    Content broken = picture();
    broken.pop_back();
    for (const double exposure : {0.0, 0.5}) {
        request.exposure = exposure;
        for (const Content& content : {broken, Content(), Content(1, 0)}) {
            reset();
            video()[12].content = bufferOf(content);
            EXPECT_EQ(encode(), MF_E_BUFFERTOOSMALL);
            EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 2u);
        }
    }
}

TEST_F(EncodeShell, ASampleWithoutABufferFails) {
    request.spans[0].fadeIn = 1;
    video()[12].content = {};
    EXPECT_TRUE(FAILED(encode()));
    reset();
    audio()[12].content = {};
    EXPECT_TRUE(FAILED(encode()));
}

TEST_F(EncodeShell, WithoutASizeOrAVideoThereIsAnError) {
    streams.videoType = mediaTypeOf(MFMediaType_Video);
    EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
    streams.videoType.reset();
    EXPECT_EQ(encode(), MF_E_MEDIA_SOURCE_NO_STREAMS_SELECTED);
    EXPECT_TRUE(writer->calls().empty());
}

// Ten pictures and ten sounds, as many before, and the first of each behind the span.
TEST_F(EncodeShell, ASpanMayReadItsLimitAndNoMore) {
    reader->stream(VIDEO).seeksToFirst = reader->stream(AUDIO).seeksToFirst = true;
    EXPECT_EQ(encode(42), S_OK);
    reset();
    reader->stream(VIDEO).seeksToFirst = reader->stream(AUDIO).seeksToFirst = true;
    EXPECT_EQ(encode(41), TOO_LARGE);
}

TEST_F(EncodeShell, EachSpanHasALimitOfItsOwn) {
    request.spans = {{.start = 1, .end = 2}, {.start = 3, .end = 4}};
    EXPECT_EQ(encode(22), S_OK);
}

TEST_F(EncodeShell, CancelledBeforehandNothingIsReadThoughTheStreamsAreMade) {
    cancel = true;
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writer->calls().back(), WriterCall::BeginWriting);
    EXPECT_EQ(reader->readsOf(VIDEO) + reader->readsOf(AUDIO), 0);
}

TEST_F(EncodeShell, CancelAtAnySampleEndsWithIt) {
    for (std::size_t i = 10; i < 20; i++) {
        for (const bool picture : {true, false}) {
            reset();
            cancel = false;
            request.spans = {{.start = 1, .end = 2}, {.start = 3, .end = 4}};
            (picture ? video() : audio())[i].hook = [&] {
                cancel = true;
            };
            EXPECT_EQ(encode(), S_OK);
            // Sound comes first, as its stream has the lower number.
            EXPECT_EQ(writer->written().size(), 2 * (i - 10) + (picture ? 2 : 1));
            EXPECT_EQ(reader->steering().size(), 3u);
        }
    }
}

MF_SINK_WRITER_STATISTICS behind(std::uint64_t samples, std::uint64_t encoded) {
    MF_SINK_WRITER_STATISTICS statistics = {.cb = sizeof statistics};
    statistics.qwNumSamplesReceived = encoded + samples;
    statistics.qwNumSamplesEncoded = encoded;
    statistics.llLastTimestampReceived = static_cast<Ticks>(encoded + samples) * TICKS_PER_SECOND;
    statistics.llLastTimestampEncoded = static_cast<Ticks>(encoded) * TICKS_PER_SECOND;
    return statistics;
}

TEST_F(EncodeShell, AnEncoderThatIsBehindIsWaitedFor) {
    std::uint64_t encoded = 0;
    int pauses = 0;
    writer->statistics = [&](DWORD) {
        return behind(4100 - encoded, encoded);
    };
    pause = [&] {
        pauses++;
        encoded++;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(pauses, 5); // until 4095 wait
    EXPECT_EQ(writer->written().size(), 20u);
}

TEST_F(EncodeShell, AnEncoderThatKeepsUpOrCantBeAskedIsNot) {
    writer->statistics = [&](DWORD) {
        return behind(100, 5);
    };
    EXPECT_EQ(encode(), S_OK); // or `pause` fails
    reset();
    EXPECT_EQ(encode(), S_OK);
}

TEST_F(EncodeShell, CancelEndsTheWait) {
    writer->statistics = [](DWORD) {
        return behind(1'000'000, 0);
    };
    pause = [&] {
        cancel = true;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writer->written().size(), 1u);
}

TEST_F(EncodeShell, AnEncoderThatGivesNothingDoesntHoldTheExportForEver) {
    writer->statistics = [](DWORD) {
        return behind(1'000'000, 0);
    };
    int pauses = 0;
    pause = [&] {
        now += WriterBacklog::PATIENCE;
        pauses++;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writer->written().size(), 20u);
    EXPECT_LE(pauses, 16); // eight doublings of each stream's limit
}

} // namespace
} // namespace velkantrix
