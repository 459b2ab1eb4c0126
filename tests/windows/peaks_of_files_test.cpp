// The peaks of recordings, beside those of the samples that ffmpeg decodes from them.
#include <windows.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/windows/peaks_fixture.h"
#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::Lt;
using testing::SizeIs;

constexpr float LOUD = 0.5F;  // the tone has 0.8 where it is loud, less what coding takes away
constexpr float SOFT = 0.15F; // and 0.05 elsewhere, with what coding adds
constexpr float OFF = 0.002F; // between two decoders' roundings

struct Recording {
    std::wstring name;
    std::uint32_t rate = 48'000;
    std::uint32_t channels = 2;
};

// Frame by frame, as the definition says.
std::vector<float> plainPeaks(const Recording& recording, double duration) {
    const std::vector<char> bytes =
        bytesOf(folderOf(L"VELKANTRIX_MEDIA") + L"\\" + recording.name + L".pcm");
    EXPECT_GT(bytes.size(), 1'000'000u);
    std::vector<float> peaks(4096);
    const std::size_t frames = bytes.size() / 2 / recording.channels;
    for (std::size_t f = 0; f < frames; f += 4) {
        int peak = 0;
        for (std::size_t c = 0; c < recording.channels; ++c) {
            std::int16_t sample = 0;
            std::memcpy(&sample, &bytes[(f * recording.channels + c) * 2], 2);
            peak = std::max(peak, std::abs(int{sample}));
        }
        const double place = std::trunc(static_cast<double>(f) / recording.rate / duration * 4096);
        float& bucket = peaks[static_cast<std::size_t>(std::min(place, 4095.0))];
        bucket = std::max(bucket, static_cast<float>(peak) / 32768.0F);
    }
    return peaks;
}

// The bucket of a time.
std::size_t at(double seconds, double duration = 12) {
    return static_cast<std::size_t>(seconds / duration * 4096);
}

class PeaksOfFilesTest : public PeaksTest {
protected:
    static std::vector<float> peaksOf(const std::wstring& name, double duration = 12) {
        startAudioPeaks(mediaFile(name), duration);
        EXPECT_TRUE(workerEnds());
        return peaks();
    }

    // No bucket is louder or softer than those of the other that lie up to `near` beside it. Those
    // of the first moment don't count: the rig's decoder has nothing yet to begin with.
    static void expectLike(const std::vector<float>& found, const std::vector<float>& expected,
                           double duration, std::size_t near_ = 0) {
        ASSERT_THAT(found, SizeIs(expected.size()));
        for (std::size_t i = at(0.03, duration) + 1; i < found.size(); ++i) {
            const auto first =
                expected.begin() + static_cast<std::ptrdiff_t>(i - std::min(i, near_));
            const auto last = expected.begin() +
                              static_cast<std::ptrdiff_t>(std::min(i + near_ + 1, found.size()));
            ASSERT_LE(found[i], *std::max_element(first, last) + OFF) << i;
            ASSERT_GE(found[i], *std::min_element(first, last) - OFF) << i;
        }
    }

    static void expectBurst(const std::vector<float>& found, double begin, double end,
                            double duration = 12) {
        constexpr double EDGE = 0.05; // seconds
        for (std::size_t i = at(begin + EDGE, duration); i < at(end - EDGE, duration); ++i)
            ASSERT_GT(found[i], LOUD) << i;
        for (std::size_t i = 0; i < at(begin - EDGE, duration); ++i) ASSERT_LT(found[i], SOFT) << i;
        for (std::size_t i = at(end + EDGE, duration); i < 4096; ++i)
            ASSERT_LT(found[i], SOFT) << i;
    }
};

TEST_F(PeaksOfFilesTest, ATableIsThatOfTheDecodedSamples) {
    for (const Recording& recording :
         {Recording{L"burst"}, Recording{L"burst-mono", 44'100, 1},
          Recording{L"burst-tables-first"}, Recording{L"burst-six", 48'000, 6}}) {
        SCOPED_TRACE(testing::PrintToString(recording.name));
        for (const double duration : {12.0, 12.010667, 30.0, 3600.0})
            expectLike(peaksOf(recording.name, duration), plainPeaks(recording, duration),
                       duration);
    }
}

TEST_F(PeaksOfFilesTest, AToneIsLoudWhereItIs) {
    expectBurst(peaksOf(L"burst"), 5, 9); // one channel from 5 to 7 s, the other from 7 to 9
    expectBurst(peaksOf(L"burst-mono"), 5, 7);
    EXPECT_THAT(peaksOf(L"burst-six"), SizeIs(4096));
}

// Each of the six is loud for two seconds, one after the other.
TEST_F(PeaksOfFilesTest, OfSixChannelsNoneIsLeftOut) {
    const std::vector<float> found = peaksOf(L"burst-six");
    for (std::size_t i = at(0.05); i < at(11.9); ++i) ASSERT_GT(found[i], LOUD) << i;
}

// The decoder's first samples come together with those of the encoder's delay.
TEST_F(PeaksOfFilesTest, AFragmentedFilesSoundIsInItsPlace) {
    const std::vector<float> found = peaksOf(L"burst-fragmented");
    expectBurst(found, 5, 9);
    expectLike(found, plainPeaks({L"burst-fragmented"}, 12), 12, at(0.05));
}

TEST_F(PeaksOfFilesTest, SoundThatBeginsLateIsInItsPlace) {
    const std::vector<float> found = peaksOf(L"burst-late", 14.5);
    expectBurst(found, 7.5, 9.5, 14.5);
    expectLike(found, plainPeaks({L"burst-late", 48'000, 1}, 14.5), 14.5, at(0.025, 14.5));
    EXPECT_THAT(std::vector(found.begin(), found.begin() + 600), Each(Lt(0.001F)));
}

TEST_F(PeaksOfFilesTest, SoundThatIsLongerThanTheSourceGoesIntoItsLastBucket) {
    const std::vector<float> found = peaksOf(L"burst-mono", 4); // loud from 5 s on
    EXPECT_THAT(std::vector(found.begin(), found.end() - 1), Each(Lt(SOFT)));
    EXPECT_GT(found.back(), LOUD);
    expectLike(found, plainPeaks({L"burst-mono", 44'100, 1}, 4), 4);
}

// What is there counts; behind it there is nothing.
TEST_F(PeaksOfFilesTest, AFileThatBreaksOffHasPeaksUpToThere) {
    const std::vector<float> found = peaksOf(L"burst-broken-off");
    const std::vector<float> whole = peaksOf(L"burst-tables-first");
    const auto end =
        std::find_if(found.rbegin(), found.rend(), [](float peak) { return peak > 0; });
    const auto heard = static_cast<std::size_t>(found.rend() - end);
    EXPECT_GT(heard, at(5));
    EXPECT_LT(heard, at(10));
    for (std::size_t i = 0; i + 1 < heard; ++i) ASSERT_EQ(found[i], whole[i]) << i;
}

TEST_F(PeaksOfFilesTest, WithoutSoundThereAreNone) {
    for (const wchar_t* name : {L"video-only", L"text", L"empty", L"truncated", L"no-such-file"}) {
        startAudioPeaks(mediaFile(name), 12);
        EXPECT_TRUE(workerEnds());
        EXPECT_THAT(peaks(), IsEmpty()) << testing::PrintToString(std::wstring(name));
    }
}

// Each start stops the one before, in the midst of its file or before it has begun.
TEST_F(PeaksOfFilesTest, OpeningOneFileAfterTheOtherLeavesThePeaksOfTheLast) {
    const std::vector<float> expected = peaksOf(L"burst-mono");
    for (int i = 0; i < 20; ++i) {
        startAudioPeaks(mediaFile(i % 2 == 0 ? L"burst-six" : L"burst"), 12);
        if (i % 3 == 0) stopAudioPeaks();
    }
    EXPECT_EQ(peaksOf(L"burst-mono"), expected);
}

} // namespace
} // namespace velkantrix
