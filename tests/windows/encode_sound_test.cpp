// The sound of a re-encode: where it is cut, and the silence where there is none.
#include "tests/windows/encode_shell.h"

#include <algorithm>

#include <gmock/gmock.h>

#include "export/sound_line.h"

namespace velkantrix {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr Ticks SECOND = TICKS_PER_SECOND;
constexpr Ticks MILLISECOND = SECOND / 1000;

// What was written of the sound, in tenths of a second: '#' loud, '.' silent, '?' not there.
class EncodeSoundTest : public EncodeShell {
protected:
    [[nodiscard]] std::string heard() const {
        std::string tenths;
        const auto sounds = samplesOf(AUDIO_OUT);
        const auto written = writtenTo(AUDIO_OUT);
        for (std::size_t i = 0; i < sounds.size(); i++) {
            const Content content = contentOf(sounds[i].get());
            const auto first = static_cast<std::size_t>((written[i].time + FRAME / 2) / FRAME);
            const std::size_t count = (content.size() / 4 + 2400) / 4800;
            if (tenths.size() < first + count) tenths.resize(first + count, '?');
            const bool silent = std::ranges::all_of(content, [](auto byte) { return byte == 0; });
            for (std::size_t at = 0; at < count; at++) tenths[first + at] = silent ? '.' : '#';
        }
        return tenths;
    }

    // Each sound begins where the one before it ends, but for rounding; of its data alone.
    void expectNoGaps() const {
        Ticks end = 0;
        const auto sounds = samplesOf(AUDIO_OUT);
        const auto written = writtenTo(AUDIO_OUT);
        for (std::size_t i = 0; i < sounds.size(); i++) {
            EXPECT_LE(std::abs(written[i].time - end), SoundLine::ROUNDING) << i;
            const auto frames = static_cast<Ticks>(contentOf(sounds[i].get()).size() / 4);
            EXPECT_LE(frames, Ticks{SOUND_RATE});
            EXPECT_NEAR(static_cast<double>(written[i].duration),
                        static_cast<double>(frames) * SECOND / SOUND_RATE, 200);
            end = written[i].time + frames * SECOND / SOUND_RATE;
        }
    }

    [[nodiscard]] std::vector<Ticks> marked() const {
        std::vector<Ticks> times;
        for (const WrittenSample& sample : writtenTo(AUDIO_OUT)) {
            if (sample.discontinuity) times.push_back(sample.time);
        }
        return times;
    }

    void removeSound(int from, int to) {
        audio().erase(audio().begin() + from, audio().begin() + to);
    }
};

TEST_F(EncodeSoundTest, TheLastSoundOfASpanIsCutOff) {
    request.spans = {{.start = 3, .end = 3.25}};
    EXPECT_EQ(encode(), S_OK);
    const auto sounds = samplesOf(AUDIO_OUT);
    ASSERT_EQ(sounds.size(), 3u);
    EXPECT_EQ(contentOf(sounds[1].get()), sound(4800));
    EXPECT_EQ(contentOf(sounds[2].get()), sound(2400));
}

TEST_F(EncodeSoundTest, SoundKeepsNothingOfItsSourceButItsData) {
    EXPECT_EQ(encode(), S_OK);
    for (const auto& sample : samplesOf(AUDIO_OUT)) {
        UINT32 count = 0;
        EXPECT_EQ(sample->GetCount(&count), S_OK);
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(contentOf(sample.get()), sound());
    }
}

// A tick is less than a sample of the sound.
TEST_F(EncodeSoundTest, ASoundOfWhichNothingIsLeftIsLeftOut) {
    audio()[12].time = 12 * FRAME - SECOND / 10'000 + SECOND / 200'000;
    request.spans = {{.start = 1, .end = secondsOf(12 * FRAME + SECOND / 200'000 + 2)}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 3u);
    reset();
    audio()[12].content = bufferOf({});
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 2u);
}

TEST_F(EncodeSoundTest, SoundThatBeginsBeforeTheSpanIsDroppedAndSilenceIsInItsPlace) {
    for (ScriptedRead& read : audio()) read.time -= FRAME / 2;
    EXPECT_EQ(encode(), S_OK);
    const auto sounds = samplesOf(AUDIO_OUT);
    ASSERT_EQ(sounds.size(), 11u);
    EXPECT_EQ(contentOf(sounds[0].get()), sound(2400, 0));
    EXPECT_EQ(timesOf(AUDIO_OUT)[1], FRAME / 2);
    expectNoGaps();
}

TEST_F(EncodeSoundTest, TheFirstSoundBehindEachJoinSaysSo) {
    request.spans = {
        {.start = 1, .end = 1.2}, {.start = 1.2, .end = 1.4}, {.start = 3, .end = 3.2}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_THAT(marked(), ElementsAre(2 * FRAME, 4 * FRAME));
    for (const WrittenSample& sample : writtenTo(VIDEO_OUT)) EXPECT_FALSE(sample.discontinuity);
}

// The first is empty: there is nothing to be marked but the next.
TEST_F(EncodeSoundTest, TheMarkOfAJoinIsOnASoundThatIsWritten) {
    request.spans = {{.start = 1, .end = 1.2}, {.start = 3, .end = 3.2}};
    audio()[30].content = bufferOf({});
    EXPECT_EQ(encode(), S_OK);
    EXPECT_THAT(marked(), ElementsAre(2 * FRAME)); // the silence before it
    EXPECT_EQ(heard(), "##.#");
}

TEST_F(EncodeSoundTest, AudioThatEndsEarlyCostsNoPictureAndIsSilentFromThere) {
    audio().resize(13);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT).size(), 10u);
    EXPECT_EQ(heard(), "###.......");
    expectNoGaps();
    EXPECT_THAT(marked(), ElementsAre());
}

TEST_F(EncodeSoundTest, SoundThatBeginsLateIsSilentBefore) {
    removeSound(0, 15);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), ".....#####");
    EXPECT_EQ(timesOf(AUDIO_OUT).front(), 0);
    expectNoGaps();
    EXPECT_THAT(marked(), ElementsAre());
}

TEST_F(EncodeSoundTest, AGapWithinASpanIsSilent) {
    removeSound(13, 17);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), "###....###");
    expectNoGaps();
    EXPECT_THAT(marked(), ElementsAre());
}

TEST_F(EncodeSoundTest, ASpanWithoutAnySoundIsSilent) {
    audio().resize(5);
    request.spans = {{.start = 1, .end = 2}, {.start = 0.3, .end = 0.5}, {.start = 3, .end = 3.3}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), "..........##...");
    expectNoGaps();
    EXPECT_THAT(marked(), ElementsAre(10 * FRAME, 12 * FRAME));
}

TEST_F(EncodeSoundTest, SilenceComesInPiecesOfASecondAtMost) {
    removeSound(0, 48);
    request.spans = {{.start = 0, .end = 5}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), std::string(48, '.') + "##");
    expectNoGaps();
}

// No encoder has to hold a stream back for long: the writer's calls alternate.
TEST_F(EncodeSoundTest, NeitherStreamIsFarAheadOfTheOther) {
    request.spans = {{.start = 0, .end = 4.5}};
    for (const DWORD first : {VIDEO, AUDIO}) {
        for (const auto& [from, to] : {std::pair{0, 0}, {0, 45}, {10, 30}, {20, 50}}) {
            reset();
            reader->preferStream(first);
            removeSound(from, to);
            EXPECT_EQ(encode(), S_OK);
            Ticks pictures = 0, sounds = 0;
            for (const WrittenSample& sample : writer->written()) {
                (sample.stream == VIDEO_OUT ? pictures : sounds) = sample.time + sample.duration;
                EXPECT_LE(std::abs(pictures - sounds), SECOND / 4 + 2 * FRAME);
            }
            EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 45u);
            EXPECT_EQ(heard().size(), 45u);
            expectNoGaps();
        }
    }
}

TEST_F(EncodeSoundTest, LatePicturesHoldSoundBackNoLongerThanTheyAreRead) {
    video().erase(video().begin(), video().begin() + 40);
    request.spans = {{.start = 0, .end = 4.5}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT).front(), 40 * FRAME);
    EXPECT_EQ(heard(), std::string(45, '#'));
}

TEST_F(EncodeSoundTest, ASourceThatBreaksOffIsNoLongerThanItIs) {
    video().resize(16);
    audio().resize(14);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), "####..");
    reset();
    video().resize(14);
    audio().resize(16);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), "######");
}

TEST_F(EncodeSoundTest, TimesThatAreRoundedMakeNoSilence) {
    for (std::size_t i = 0; i < audio().size(); i++) {
        audio()[i].time += i % 2 == 1 ? MILLISECOND : 0;
    }
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), "##########");
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 10u);
}

// Each comes half a millisecond late after the one before it.
TEST_F(EncodeSoundTest, SmallGapsThatAddUpAreFilled) {
    for (std::size_t i = 0; i < audio().size(); i++) {
        audio()[i].time += static_cast<Ticks>(i) * MILLISECOND / 2;
    }
    request.spans = {{.start = 0, .end = 4}};
    EXPECT_EQ(encode(), S_OK);
    std::size_t frames = 0;
    Ticks last = 0;
    for (const auto& sample : samplesOf(AUDIO_OUT)) {
        EXPECT_EQ(sample->GetSampleTime(&last), S_OK);
        EXPECT_LE(last - static_cast<Ticks>(frames) * SECOND / SOUND_RATE, SoundLine::ROUNDING);
        frames += contentOf(sample.get()).size() / 4;
    }
    EXPECT_GT(last, 3 * SECOND);
}

TEST_F(EncodeSoundTest, SoundLastsAsLongAsItsDataWhateverIsStated) {
    for (const Ticks stated : {Ticks{0}, FRAME / 3, 7 * SECOND}) {
        reset();
        for (ScriptedRead& read : audio()) read.duration = stated;
        request.spans = {{.start = 1, .end = 1.25}, {.start = 3, .end = 3.2}};
        EXPECT_EQ(encode(), S_OK);
        const auto sounds = samplesOf(AUDIO_OUT);
        const auto written = writtenTo(AUDIO_OUT);
        ASSERT_EQ(sounds.size(), 5u);
        EXPECT_EQ(contentOf(sounds[1].get()), sound(4800));
        EXPECT_EQ(contentOf(sounds[2].get()), sound(2400)); // what follows was cut
        EXPECT_EQ(written[1].duration, FRAME);
        EXPECT_EQ(written[2].duration, FRAME / 2);
        EXPECT_EQ(written[4].duration, FRAME);
    }
}

TEST_F(EncodeSoundTest, BytesThatMakeNoWholeFrameAreLeftOut) {
    Content odd = sound();
    odd.insert(odd.end(), 3, 1);
    audio()[12].content = bufferOf(odd);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(contentOf(samplesOf(AUDIO_OUT)[2].get()), sound());
}

TEST_F(EncodeSoundTest, SoundThatGoesBackKeepsItsTimeAndSaysSo) {
    audio()[15].time -= FRAME / 2;
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(timesOf(AUDIO_OUT)[5], 5 * FRAME - FRAME / 2);
    EXPECT_THAT(marked(), ElementsAre(5 * FRAME - FRAME / 2));
}

// The last read of the stream also says that it has ended.
TEST_F(EncodeSoundTest, SoundThatEndsWithItsLastSampleIsWrittenBeforeTheSilence) {
    audio().resize(13);
    audio().back().flags = MF_SOURCE_READERF_ENDOFSTREAM;
    reader->preferStream(AUDIO);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(heard(), "###.......");
}

TEST_F(EncodeSoundTest, CancelEndsSilenceToo) {
    removeSound(0, 48);
    request.spans = {{.start = 0, .end = 5}};
    video().resize(1);
    video()[0].hook = [this] {
        cancel = true;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_LE(writtenTo(AUDIO_OUT).size(), 1u);
}

} // namespace
} // namespace velkantrix
