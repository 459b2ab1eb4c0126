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

// Both types are set, the first picture is looked at, then each span begins with a seek.
TEST_F(EncodeShell, AFailedTypeOrSeekIsTheResult) {
    for (std::size_t step = 1; step <= 4; step++) {
        SCOPED_TRACE(step);
        reset();
        reader->failSteering(step, BROKEN);
        EXPECT_EQ(encode(), BROKEN);
        EXPECT_EQ(reader->steering().size(), step);
        EXPECT_TRUE(writer->written().empty());
    }
}

TEST_F(EncodeShell, AWritersFailureIsTheResultAndTheLastCall) {
    expectWritersFailures([this] { reset(); }, [this] { return encode(); });
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

// What is read first may be sound; of an hour of it no more is encoded for nothing.
TEST_F(EncodeShell, WithoutAnyPictureWithinTheSpansThereIsAnError) {
    video().resize(20);
    request.spans = {{.start = 2, .end = 3}, {.start = 4, .end = 5}};
    EXPECT_EQ(encode(), NO_PICTURES);
    EXPECT_TRUE(writtenTo(VIDEO_OUT).empty());
    EXPECT_LE(writtenTo(AUDIO_OUT).size(), 14u);
    reset();
    request.spans = {{.start = 1.01, .end = 1.09}}; // between two pictures
    EXPECT_EQ(encode(), NO_PICTURES);
    reset();
    streams.audio.reset();
    EXPECT_EQ(reader->SetStreamSelection(AUDIO, FALSE), S_OK);
    EXPECT_EQ(encode(), NO_PICTURES);
}

TEST_F(EncodeShell, OnePictureInAnyOfTheSpansIsEnough) {
    for (const bool first : {true, false}) {
        reset();
        video().resize(20);
        const ExportSpan with = {.start = 1.9, .end = 2.5}, without = {.start = 3, .end = 4};
        request.spans = {first ? with : without, first ? without : with};
        EXPECT_EQ(encode(), S_OK);
        EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 1u);
    }
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
                cancel = !writer->calls().empty();
            };
            EXPECT_EQ(encode(), S_OK);
            // Sound comes first, as its stream has the lower number.
            EXPECT_EQ(writer->written().size(), 2 * (i - 10) + (picture ? 2 : 1));
            EXPECT_EQ(reader->steering().size(), 4u);
        }
    }
}

TEST_F(EncodeShell, CancelEndsTheLookAtTheFirstPicture) {
    for (ScriptedRead& read : video()) read.hasSample = false;
    video()[12].hook = [&] {
        cancel = true;
    };
    reader->stream(VIDEO).seeksToFirst = true;
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(reader->readsOf(VIDEO), 13);
    EXPECT_EQ(reader->readsOf(AUDIO), 0);
    EXPECT_TRUE(writer->written().empty());
}

TEST_F(EncodeShell, TheLookAtTheFirstPictureHasALimitToo) {
    for (ScriptedRead& read : video()) read.hasSample = false;
    reader->stream(VIDEO).seeksToFirst = true;
    EXPECT_EQ(encode(12), TOO_LARGE);
    EXPECT_TRUE(writer->calls().empty());
}

TEST_F(EncodeShell, AFailureToReadTheFirstPictureIsTheResultBeforeAnythingIsWritten) {
    video()[10].result = BROKEN;
    EXPECT_EQ(encode(), BROKEN);
    EXPECT_TRUE(writer->calls().empty());
}

// An encoder that has come so far.
MF_SINK_WRITER_STATISTICS encodedUpTo(Ticks time, std::uint64_t samples) {
    MF_SINK_WRITER_STATISTICS statistics = {.cb = sizeof statistics};
    statistics.qwNumSamplesEncoded = samples;
    statistics.llLastTimestampEncoded = time;
    return statistics;
}

// Of which 256 MiB are sixteen.
class LargePicturesTest : public EncodeShell {
protected:
    LargePicturesTest() { request.spans = {{.start = 0, .end = 4}}; }
    void makeLarge() {
        reset();
        const ComPtr<IMFMediaBuffer> large = bufferOf(Content(SIZE));
        streams.videoType = nativePictures();
        EXPECT_EQ(MFSetAttributeSize(streams.videoType.get(), MF_MT_FRAME_SIZE, 4096, 2732), S_OK);
        for (ScriptedRead& read : video()) read.content = large;
    }
    static constexpr std::size_t SIZE = 4096 * 2732 * 3 / 2;
    static_assert(SIZE * 16 >= WriterBacklog::ROOM && SIZE * 15 < WriterBacklog::ROOM);
};

TEST_F(LargePicturesTest, AnEncoderThatIsBehindIsWaitedFor) {
    makeLarge();
    Ticks reached = 0;
    std::uint64_t encoded = 1;
    writer->statistics = [&](DWORD index) {
        return index == VIDEO_OUT ? encodedUpTo(reached, encoded) : encodedUpTo(1e9, 100);
    };
    std::size_t mostBehind = 0;
    pause = [&] {
        mostBehind = std::max(mostBehind, writtenTo(VIDEO_OUT).size() - encoded);
        reached += FRAME;
        encoded++;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(mostBehind, 16u);
    EXPECT_EQ(encoded, 40u - 15u);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 40u);
}

// Whatever rate the source states.
TEST_F(LargePicturesTest, ALowStatedRateLetsNoMoreWait) {
    makeLarge();
    EXPECT_EQ(MFSetAttributeRatio(streams.videoType.get(), MF_MT_FRAME_RATE, 1, 10), S_OK);
    writer->statistics = [&](DWORD) {
        return encodedUpTo(0, 1);
    };
    pause = [&] {
        cancel = true;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 17u);
}

TEST_F(LargePicturesTest, AnEncoderThatKeepsUpOrCantBeAskedIsNotWaitedFor) {
    makeLarge();
    writer->statistics = [&](DWORD) {
        const auto pictures = writtenTo(VIDEO_OUT);
        return encodedUpTo(pictures.empty() ? 0 : pictures.back().time - 10 * FRAME, 5);
    };
    EXPECT_EQ(encode(), S_OK); // or `pause` fails
    makeLarge();
    EXPECT_EQ(encode(), S_OK);
}

TEST_F(LargePicturesTest, CancelEndsTheWait) {
    makeLarge();
    writer->statistics = [](DWORD) {
        return encodedUpTo(0, 0);
    };
    pause = [&] {
        cancel = true;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 16u);
}

TEST_F(LargePicturesTest, AnEncoderThatGivesNothingDoesntHoldTheExportForEver) {
    for (const std::uint64_t encoded : {0u, 1u}) {
        makeLarge();
        writer->statistics = [&](DWORD) {
            return encodedUpTo(0, encoded);
        };
        int pauses = 0;
        pause = [&] {
            now += WriterBacklog::PATIENCE;
            pauses++;
        };
        EXPECT_EQ(encode(), S_OK);
        EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 40u);
        EXPECT_EQ(pauses, encoded ? 24 : 2); // one each, or twice as many from then on
    }
}

} // namespace
} // namespace velkantrix
