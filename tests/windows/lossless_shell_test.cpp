// What a lossless export asks of its reader and hands to its writer, when all goes well.
#include "tests/windows/lossless_shell.h"

#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include <mfapi.h>

#include <gmock/gmock.h>

namespace velkantrix {
namespace {

using testing::ElementsAre;

constexpr Ticks SECOND = TICKS_PER_SECOND;

TEST_F(LosslessShell, CopiesPicturesAndSoundsOfTheSpan) {
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, SECOND));
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, SECOND));
}

TEST_F(LosslessShell, TheWriterGetsTheSourcesTypesAsOutputAndInput) {
    EXPECT_EQ(copy(), S_OK);
    ASSERT_EQ(writer->added().size(), 2u);
    EXPECT_EQ(writer->added()[0].get(), streams.videoType.get());
    EXPECT_TRUE(majorTypeOf(writer->added()[1].get()) == MFMediaType_Audio);
    ASSERT_EQ(writer->inputs().size(), 2u);
    EXPECT_EQ(writer->inputs().at(VIDEO_OUT).get(), writer->added()[0].get());
    EXPECT_EQ(writer->inputs().at(AUDIO_OUT).get(), writer->added()[1].get());
}

TEST_F(LosslessShell, AudioWithoutAReadableTypeIsLeftOut) {
    reader->stream(AUDIO).typeReads = 0;
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(writer->added().size(), 1u);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, SECOND));
    EXPECT_EQ(writer->written().size(), 10u);
    EXPECT_EQ(reader->readsOf(AUDIO), 0);
}

TEST_F(LosslessShell, ASourceWithoutAudioGetsOneStream) {
    streams.audio.reset();
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(writer->added().size(), 1u);
    EXPECT_EQ(writer->written().size(), 10u);
}

// The sounds last half as long here, so that they can't be taken for pictures.
TEST_F(LosslessShell, TheSourcesIndicesMayBeAny) {
    struct Row {
        DWORD video, audio;
    };
    for (const auto& [videoIndex, audioIndex] : {Row{0, 1}, Row{1, 0}, Row{3, 7}, Row{7, 3}}) {
        SCOPED_TRACE(testing::Message() << videoIndex << ", " << audioIndex);
        useStreams(videoIndex, audioIndex);
        for (ScriptedRead& sound : audio()) sound.duration = FRAME / 2;
        EXPECT_EQ(copy(), S_OK);
        ASSERT_EQ(writer->added().size(), 2u);
        EXPECT_TRUE(majorTypeOf(writer->added()[0].get()) == MFMediaType_Video);
        EXPECT_TRUE(majorTypeOf(writer->added()[1].get()) == MFMediaType_Audio);
        const auto pictures = writtenTo(VIDEO_OUT), sounds = writtenTo(AUDIO_OUT);
        EXPECT_EQ(pictures.size(), 10u);
        for (const WrittenSample& picture : pictures) EXPECT_EQ(picture.duration, FRAME);
        EXPECT_EQ(sounds.size(), 10u);
        for (const WrittenSample& sound : sounds) EXPECT_EQ(sound.duration, FRAME / 2);
    }
}

// Video from where the span was asked for, audio from the keyframe before.
TEST_F(LosslessShell, EachPassSelectsItsStreamAloneAndThenSeeks) {
    request.spans = {{.start = 1.5, .end = 2}, {.start = 3.7, .end = 4}, {.start = 0.2, .end = 1}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_THAT(reader->steering(), ElementsAre("deselect all", "select 0", "position 15000000", //
                                                "deselect all", "select 1", "position 10000000", //
                                                "deselect all", "select 0", "position 37000000", //
                                                "deselect all", "select 1", "position 30000000", //
                                                "deselect all", "select 0", "position 2000000",  //
                                                "deselect all", "select 1", "position 0"));
}

TEST_F(LosslessShell, TellsWhereEachSpanCameOut) {
    std::vector<std::pair<double, double>> told;
    request.spanWritten = [&](const WrittenSpan& span) {
        told.emplace_back(span.sourceStart, span.outputStart);
    };
    request.spans = {{.start = 1.5, .end = 2}, {.start = 3.7, .end = 5}, {.start = 0, .end = 1}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_THAT(told, ElementsAre(std::pair(1.0, 0.0), std::pair(3.0, 1.0), std::pair(0.0, 3.0)));
}

TEST_F(LosslessShell, ASpanWithoutAPictureIsToldToo) {
    std::vector<std::pair<double, double>> told;
    bool hasPictures = true;
    request.spanWritten = [&](const WrittenSpan& span) {
        told.emplace_back(span.sourceStart, span.outputStart);
        hasPictures = span.hasPictures;
    };
    for (ScriptedRead& picture : video()) picture.cleanPoint.reset();
    request.spans = {{.start = 1.5, .end = 2}};
    EXPECT_EQ(copy(), NO_PICTURES);
    EXPECT_THAT(told, ElementsAre(std::pair(1.5, 0.0)));
    EXPECT_FALSE(hasPictures);
}

// With the keyframe behind it, or where the source ends.
TEST_F(LosslessShell, TellsUpToWhereEachSpanWasRead) {
    std::vector<double> ends;
    request.spanWritten = [&](const WrittenSpan& span) {
        EXPECT_TRUE(span.hasPictures);
        ends.push_back(span.sourceEnd);
    };
    request.spans = {{.start = 1, .end = 1.5}, {.start = 3, .end = 9}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_THAT(ends, ElementsAre(2.0, 5.0));
}

TEST_F(LosslessShell, TellsUpToWhereEachSpansSoundIs) {
    std::vector<std::optional<double>> ends;
    request.spanWritten = [&](const WrittenSpan& span) {
        ends.push_back(span.soundEnd);
    };
    audio().resize(45);
    request.spans = {{.start = 1, .end = 1.5}, {.start = 4, .end = 9}, {.start = 4.8, .end = 9}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_THAT(ends, ElementsAre(2.0, 4.5, 4.8)); // of the last one there is none
    ends.clear();
    useStreams(VIDEO, AUDIO);
    streams.audio.reset();
    EXPECT_EQ(copy(), S_OK);
    EXPECT_THAT(ends, ElementsAre(std::nullopt, std::nullopt, std::nullopt));
}

// Its source has sound, of which nothing comes out.
TEST_F(LosslessShell, ASilentCopyHasNoTrackOfSoundAndTellsThatItEndsWhereItBegins) {
    std::vector<std::optional<double>> ends;
    request.spanWritten = [&](const WrittenSpan& span) {
        EXPECT_TRUE(span.hasPictures);
        ends.push_back(span.soundEnd);
    };
    withoutSound = true;
    request.spans = {{.start = 1, .end = 1.5}, {.start = 4.5, .end = 9}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_THAT(ends, ElementsAre(1.0, 4.0));
    EXPECT_EQ(writer->added().size(), 1u);
    EXPECT_EQ(reader->readsOf(AUDIO), 0);
}

TEST_F(LosslessShell, OneSpanWithAPictureIsEnough) {
    for (const bool first : {true, false}) {
        useStreams(VIDEO, AUDIO);
        const auto mark = [this](bool asKeyframes) {
            for (ScriptedRead& picture : video()) picture.cleanPoint = asKeyframes ? 1u : 0u;
        };
        mark(first);
        request.spanWritten = [&](const WrittenSpan&) {
            mark(!first);
        };
        request.spans = {{.start = 1, .end = 1.5}, {.start = 3, .end = 3.5}};
        EXPECT_EQ(copy(), S_OK);
        EXPECT_EQ(timesOf(VIDEO_OUT), every(0, 5 * FRAME));
    }
}

TEST_F(LosslessShell, ALastPictureThatDoesNotSayHowLongItLastsMayGoOn) {
    double end = 0;
    request.spanWritten = [&](const WrittenSpan& span) {
        end = span.sourceEnd;
    };
    video().back().duration = 0;
    request.spans = {{.start = 1, .end = 60}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(end, std::numeric_limits<double>::infinity());
}

TEST_F(LosslessShell, SpansFollowEachOtherWithoutAHole) {
    request.spans = {{.start = 3, .end = 4}, {.start = 1, .end = 2}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, 2 * SECOND));
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, 2 * SECOND));
}

TEST_F(LosslessShell, AFirstKeyframeBeforeTimeZeroIsAKeyframeLikeAnother) {
    video() = videoReads(30, -FRAME / 2);
    audio() = audioReads(30, -FRAME / 2);
    reader->stream(AUDIO).seeksToFirst = true;
    request.spans = {{.start = 0, .end = 0.9}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_THAT(reader->steering(), ElementsAre("deselect all", "select 0", "position 0",
                                                "deselect all", "select 1", "position 0"));
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, SECOND));
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, SECOND));
}

// A gap, a change of the native type and one of the current type.
TEST_F(LosslessShell, AReadWithoutASampleIsPassedOver) {
    for (const DWORD flags : {0x100u, 0x10u, 0x20u, 0u}) {
        SCOPED_TRACE(flags);
        useStreams(VIDEO, AUDIO);
        video().insert(video().begin() + 13, flagsAlone(flags));
        audio().insert(audio().begin() + 13, flagsAlone(flags));
        EXPECT_EQ(copy(), S_OK);
        EXPECT_EQ(timesOf(VIDEO_OUT), every(0, SECOND));
        EXPECT_EQ(timesOf(AUDIO_OUT), every(0, SECOND));
    }
}

TEST_F(LosslessShell, ASampleThatComesWithATypeChangeIsWritten) {
    video()[13].flags = 0x10 | 0x20;
    audio()[13].flags = 0x10 | 0x20;
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, SECOND));
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, SECOND));
}

TEST_F(LosslessShell, TheEndOfTheStreamEndsAPass) {
    video() = videoReads(15);
    audio() = audioReads(13);
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, 5 * FRAME));
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, 3 * FRAME));
    EXPECT_EQ(reader->readsOf(VIDEO), 6);
    EXPECT_EQ(reader->readsOf(AUDIO), 4);
}

TEST_F(LosslessShell, ASampleThatComesWithTheEndIsWrittenAndIsTheLast) {
    video()[14].flags = MF_SOURCE_READERF_ENDOFSTREAM;
    audio()[12].flags = MF_SOURCE_READERF_ENDOFSTREAM;
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, 5 * FRAME));
    EXPECT_EQ(timesOf(AUDIO_OUT), every(0, 3 * FRAME));
    EXPECT_EQ(reader->readsOf(VIDEO), 5);
    EXPECT_EQ(reader->readsOf(AUDIO), 3);
}

// Whether the mark is missing or says no.
TEST_F(LosslessShell, NothingIsWrittenBeforeTheFirstMarkedKeyframe) {
    video() = videoReads(30);
    video()[0].cleanPoint.reset();
    video()[1].cleanPoint = 0;
    request.spans = {{.start = 0, .end = 2}};
    EXPECT_EQ(copy(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), every(0, SECOND));
    EXPECT_EQ(reader->steering().back(), "position 10000000");
}

TEST_F(LosslessShell, ASpanWithoutAKeyframeHasNoAudioEither) {
    for (ScriptedRead& read : video()) read.cleanPoint.reset();
    EXPECT_EQ(copy(), NO_PICTURES);
    EXPECT_TRUE(writer->written().empty());
    EXPECT_THAT(reader->steering(), ElementsAre("deselect all", "select 0", "position 10000000"));
}

TEST_F(LosslessShell, DurationsStayAsTheyAre) {
    video()[12].duration = 1;
    audio()[10].duration = 7;
    audio()[11].duration = 0;
    audio()[19].duration = 5 * SECOND; // past the end of the span: not trimmed
    EXPECT_EQ(copy(), S_OK);
    const auto pictures = writtenTo(VIDEO_OUT), sounds = writtenTo(AUDIO_OUT);
    ASSERT_EQ(pictures.size(), 10u);
    ASSERT_EQ(sounds.size(), 10u);
    EXPECT_EQ(pictures[2].duration, 1);
    EXPECT_EQ(sounds[0].duration, 7);
    EXPECT_EQ(sounds[1].duration, 0);
    EXPECT_EQ(sounds[9].duration, 5 * SECOND);
}

TEST_F(LosslessShell, AudioThatStraddlesTheCutIsMovedNotTrimmed) {
    audio() = audioReads(50, -FRAME / 2);
    EXPECT_EQ(copy(), S_OK);
    const auto sounds = writtenTo(AUDIO_OUT);
    ASSERT_GE(sounds.size(), 2u);
    EXPECT_EQ(sounds[0], (WrittenSample{.stream = AUDIO_OUT, .time = 0, .duration = FRAME}));
    EXPECT_EQ(sounds[1].time, FRAME / 2);
}

// The third sound of the second: in the source at 1.2, in the output at 0.2.
TEST_F(LosslessShell, TheDecodeTimeOfASoundBecomesItsNewTime) {
    audio()[12].decodeTime = 12 * FRAME - 5;
    EXPECT_EQ(copy(), S_OK);
    const auto sounds = writtenTo(AUDIO_OUT);
    ASSERT_EQ(sounds.size(), 10u);
    EXPECT_EQ(sounds[2].time, 2 * FRAME);
    EXPECT_EQ(sounds[2].decodeTime, 2 * FRAME);
}

TEST_F(LosslessShell, ASoundWithoutADecodeTimeGetsNone) {
    EXPECT_EQ(copy(), S_OK);
    const auto sounds = writtenTo(AUDIO_OUT);
    ASSERT_EQ(sounds.size(), 10u);
    for (const WrittenSample& sound : sounds) EXPECT_FALSE(sound.decodeTime);
}

TEST_F(LosslessShell, TheDecodeTimeOfAPictureMovesWithIt) {
    for (ScriptedRead& read : video()) read.decodeTime = read.time - 2 * FRAME;
    EXPECT_EQ(copy(), S_OK);
    const auto pictures = writtenTo(VIDEO_OUT);
    ASSERT_EQ(pictures.size(), 10u);
    for (const WrittenSample& picture : pictures) {
        EXPECT_EQ(picture.decodeTime, picture.time - 2 * FRAME); // the first ones are negative
    }
}

TEST_F(LosslessShell, APictureWithoutADecodeTimeGetsNone) {
    request.spans = {{.start = 1, .end = 2}, {.start = 3, .end = 4}};
    EXPECT_EQ(copy(), S_OK);
    const auto pictures = writtenTo(VIDEO_OUT);
    ASSERT_EQ(pictures.size(), 20u);
    for (const WrittenSample& picture : pictures) EXPECT_FALSE(picture.decodeTime);
}

TEST_F(LosslessShell, NoSpansBeginAnOutputThatIsNoVideo) {
    request.spans.clear();
    EXPECT_EQ(copy(), NO_PICTURES);
    EXPECT_EQ(writer->calls().back(), WriterCall::BeginWriting);
    EXPECT_TRUE(reader->steering().empty());
}

} // namespace
} // namespace velkantrix
