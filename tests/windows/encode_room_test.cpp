// How the sound of a re-encode waits for its encoder, however far ahead of the pictures it is.
#include "tests/windows/encode_shell.h"

#include <algorithm>

#include "export/sound_line.h"
#include "export/writer_backlog.h"

namespace velkantrix {
namespace {

constexpr Ticks SECOND = TICKS_PER_SECOND;
constexpr Ticks LENGTH = 2000 * SECOND; // of which the sound is more than there is room for
constexpr std::uint64_t SOUND_PER_SECOND = SOUND_RATE * SOUND_FRAME_SIZE;
static_assert(LENGTH / SECOND * SOUND_PER_SECOND > WriterBacklog::ROOM * 5 / 4);

class EncodeRoomTest : public EncodeShell {
protected:
    EncodeRoomTest() { makeAnew(); }

    void makeAnew() {
        reset();
        now = 0;
        encoded = pauses = 0;
        mostWaiting = 0;
        writer->keepsSamples = false;
        writer->statistics = [this](DWORD index) {
            MF_SINK_WRITER_STATISTICS statistics = {.cb = sizeof statistics};
            const std::vector<WrittenSample> written = writtenTo(index);
            const std::size_t count = index == AUDIO_OUT ? encoded : written.size();
            statistics.qwNumSamplesEncoded = count;
            if (count > 0) statistics.llLastTimestampEncoded = written[count - 1].time;
            return statistics;
        };
        pause = [this] {
            pauses++;
            encodeSound();
        };
    }

    // A sound in each pause, unless it may not yet.
    void encodeSound() {
        const std::vector<WrittenSample> sounds = writtenTo(AUDIO_OUT);
        mostWaiting = std::max(mostWaiting, waiting(sounds));
        if (encoded < sounds.size() && mayEncode(sounds[encoded].time)) {
            encoded++;
        } else {
            now += WriterBacklog::PATIENCE;
        }
    }

    static std::uint64_t bytesOf(Ticks time) {
        return static_cast<std::uint64_t>(time) * SOUND_PER_SECOND / SECOND;
    }

    [[nodiscard]] std::uint64_t waiting(const std::vector<WrittenSample>& sounds) const {
        Ticks time = 0;
        for (std::size_t i = encoded; i < sounds.size(); i++) time += sounds[i].duration;
        return bytesOf(time);
    }

    // And never a patience in vain.
    void expectRoomKept(Ticks piece) {
        mostWaiting = std::max(mostWaiting, waiting(writtenTo(AUDIO_OUT)));
        EXPECT_LE(mostWaiting, WriterBacklog::ROOM + bytesOf(piece));
        EXPECT_GE(mostWaiting, WriterBacklog::ROOM);
        EXPECT_EQ(now, 0);
    }

    void soundsOf(Ticks piece, int count) {
        const auto frames = static_cast<std::size_t>(piece / SECOND) * SOUND_RATE;
        const ComPtr<IMFMediaBuffer> data = bufferOf(sound(frames));
        audio().clear();
        for (int i = 0; i < count; i++) {
            ScriptedRead read = soundAt(i * piece);
            read.content = data;
            audio().push_back(read);
        }
    }

    // What is in the file with its pictures: no sound far ahead of them.
    [[nodiscard]] bool isNearAPicture(Ticks time) const {
        return time <= timesOf(VIDEO_OUT).back() + SECOND;
    }

    std::function<bool(Ticks)> mayEncode = [](Ticks) {
        return true;
    };
    std::size_t encoded = 0; // sounds
    int pauses = 0;
    std::uint64_t mostWaiting = 0;
};

TEST_F(EncodeRoomTest, SoundUnderAPictureThatStandsWaitsForItsEncoder) {
    for (const bool silent : {false, true}) {
        makeAnew();
        video().resize(1);
        video()[0].duration = LENGTH;
        soundsOf(10 * SECOND, silent ? 0 : 200);
        request.spans = {{.start = 0, .end = secondsOf(LENGTH)}};
        EXPECT_EQ(encode(), S_OK);
        const auto sounds = writtenTo(AUDIO_OUT);
        EXPECT_EQ(sounds.size(), silent ? 1u + 2000u : 200u) << "more pictures might have come";
        EXPECT_EQ(sounds.back().time + sounds.back().duration, LENGTH);
        expectRoomKept(silent ? SECOND : 10 * SECOND);
    }
}

// What writes both into one file takes no more of it before that.
TEST_F(EncodeRoomTest, SoundUnderAPictureThatStandsComesBehindTheNextOne) {
    for (const bool silent : {false, true}) {
        makeAnew();
        video().resize(2);
        video()[0].duration = LENGTH;
        video()[1].time = LENGTH;
        soundsOf(10 * SECOND, silent ? 0 : 200);
        request.spans = {{.start = 0, .end = secondsOf(LENGTH + FRAME)}};
        mayEncode = [this](Ticks time) {
            return isNearAPicture(time);
        };
        EXPECT_EQ(encode(), S_OK);
        EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 2u);
        const auto sounds = writtenTo(AUDIO_OUT);
        EXPECT_EQ(sounds.back().time + sounds.back().duration, LENGTH + FRAME);
        expectRoomKept(silent ? SECOND : 10 * SECOND);
    }
}

TEST_F(EncodeRoomTest, SoundBehindTheLastPictureWaitsForAnEncoderThatGetsOn) {
    video().resize(5);
    soundsOf(10 * SECOND, 200);
    request.spans = {{.start = 0, .end = secondsOf(LENGTH)}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 200u);
    expectRoomKept(10 * SECOND);
}

// The source breaks off: its next part comes after half an hour.
TEST_F(EncodeRoomTest, SilenceOverAJoinComesBehindThePictureThatItsEncoderWaitsFor) {
    video().resize(5);
    audio().resize(5);
    request.spans = {{.start = 0, .end = secondsOf(LENGTH)}, {.start = 0, .end = 1}};
    mayEncode = [this](Ticks time) {
        return isNearAPicture(time);
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 10u);
    const auto sounds = writtenTo(AUDIO_OUT);
    EXPECT_EQ(sounds.back().time, LENGTH + 4 * FRAME);
    EXPECT_EQ(sounds.size(), 5u + 2000u + 5u);
    expectRoomKept(SECOND);
}

// What writes both into one file may hold the sound back as long as it waits for a picture.
TEST_F(EncodeRoomTest, AnEncoderThatStandsIsWaitedForOnceBetweenPictures) {
    constexpr Ticks PIECE = 100 * SECOND;
    video().resize(5);
    soundsOf(PIECE, 20);
    // Of which the last has pictures again.
    request.spans = {
        {.start = 0, .end = 1900}, {.start = 1900, .end = 2000}, {.start = 0, .end = 300}};
    encoded = 1;
    mayEncode = [](Ticks) {
        return false;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writtenTo(AUDIO_OUT).size(), 23u);
    EXPECT_EQ(pauses, 2);
}

TEST_F(EncodeRoomTest, CancelEndsTheWaitOfSilence) {
    video().resize(1);
    video()[0].duration = LENGTH;
    audio().clear();
    request.spans = {{.start = 0, .end = secondsOf(LENGTH)}};
    pause = [this] {
        cancel = true;
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_LE(writtenTo(AUDIO_OUT).size(), 1400u);
}

} // namespace
} // namespace velkantrix
