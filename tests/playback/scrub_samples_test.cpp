#include "playback/scrub_samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "tests/support/fragmented_file.h"
#include "tests/support/mp4_boxes.h"
#include "tests/support/mp4_files.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t DATA = 4096; // where a plain file's samples begin
constexpr std::uint32_t SCALE = 600;
constexpr Ticks SECOND = TICKS_PER_SECOND;

bool never() {
    return false;
}

// One sample of a plain file.
struct Sample {
    std::string unit; // its one NAL unit
    std::uint32_t duration = 300;
    std::int32_t composition = 0;
    bool sync = false;
};

class ScrubSamplesTest : public testing::Test {
protected:
    bool openPlain(const std::vector<Sample>& given, const Bytes& edts = {},
                   const Bytes& entry = avc1(64, 36)) {
        std::vector<std::vector<std::uint32_t>> times, offsets;
        std::vector<std::uint32_t> syncs, sizes;
        Bytes data;
        for (std::size_t i = 0; i < given.size(); ++i) {
            const Bytes bytes = nal(Bytes().text(given[i].unit));
            times.push_back({i + 1 == given.size() ? 1 + timesTooMany : 1, given[i].duration});
            offsets.push_back({1, static_cast<std::uint32_t>(given[i].composition)});
            if (given[i].sync) syncs.push_back(static_cast<std::uint32_t>(i + 1));
            sizes.push_back(static_cast<std::uint32_t>(bytes.size()));
            data.add(bytes);
        }
        const auto count = static_cast<std::uint32_t>(given.size());
        const Bytes stbl = join({stsd(entry), stts(times), ctts(offsets), stss(syncs), stsz(sizes),
                                 stsc({{1, count}}), stco({DATA})});
        file.emplace(
            join({ftyp(), box("moov", join({mvhd(1000), trak(3, SCALE, "vide", stbl, edts)}))}));
        file->resize(DATA + data.size());
        file->write(DATA, data);
        samples = {};
        return samples.open(file->path(), ownSource);
    }

    bool openFragments(const std::vector<Bytes>& fragments, const std::vector<std::uint64_t>& times,
                       const Bytes& record = avcRecord()) {
        Bytes all = fragmentedStart(record);
        std::vector<TfraEntry> entries;
        for (std::size_t i = 0; i < fragments.size(); ++i)
            entries.push_back({times[i], append(all, fragments[i])});
        all.add(mfra(tfra(1, entries)));
        file.emplace(all);
        samples = {};
        return samples.open(file->path(), ownSource);
    }

    // The sample's units behind their start codes, parameter sets as "sets".
    static std::string textOf(const ScrubSample& sample) {
        const std::string start("\0\0\0\1", 4);
        const std::string sets =
            start + "\x67\x64" + std::string(1, '\0') + "\x1E" + start + "\x68\xEE";
        std::string text(sample.data.begin(), sample.data.end());
        std::string result;
        if (text.starts_with(sets)) {
            result = "sets ";
            text.erase(0, sets.size());
        }
        for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start))
            text.erase(at, start.size());
        return result + text;
    }

    std::string keyText(double seconds) {
        EXPECT_TRUE(samples.keyframeAt(seconds, sample)) << seconds;
        return textOf(sample) + " " + std::to_string(sample.pts);
    }

    // All that come behind the beginning for that time: "TEXT PTS DURATION" each.
    std::vector<std::string> from(Ticks time) {
        EXPECT_TRUE(samples.begin(time, never)) << time;
        std::vector<std::string> all;
        while ((end = samples.next(sample, never)) == WalkOutcome::Sample) {
            all.push_back(textOf(sample) + " " + std::to_string(sample.pts) + " " +
                          std::to_string(sample.duration) + (sample.sync ? " sync" : ""));
        }
        return all;
    }

    std::optional<TempFile> file;
    std::uint32_t timesTooMany = 0; // in a plain file's stts, for samples that there aren't
    std::optional<SourceSound> ownSource = SourceSound::Wanted;
    ScrubSamples samples;
    ScrubSample sample;
    WalkOutcome end = WalkOutcome::Sample;
};

using Texts = std::vector<std::string>;

// Half a second each: I P B B, and again, as an encoder with two B-frames writes them. Shown
// without the edit list one second late.
std::vector<Sample> twoGroups() {
    return {{"I0", 300, 600, true}, {"P3", 300, 1200}, {"B1", 300, 300}, {"B2", 300, 300},
            {"I4", 300, 600, true}, {"P7", 300, 1200}, {"B5", 300, 300}, {"B6", 300, 300}};
}

TEST_F(ScrubSamplesTest, AKeyframeComesWithItsParameterSetsAndTheTimeAtWhichItIsShown) {
    ASSERT_TRUE(openPlain(twoGroups()));
    EXPECT_EQ(keyText(3.5), "sets I4 30000000");
    EXPECT_TRUE(sample.sync);
    EXPECT_EQ(samples.width(), 64u);
    EXPECT_EQ(samples.height(), 36u);
}

TEST_F(ScrubSamplesTest, TheEditListMovesAllTimes) {
    // It begins one second into the media, as encoders with B-frames have it.
    ASSERT_TRUE(openPlain(twoGroups(), elst({{4000, 600}})));
    EXPECT_EQ(keyText(1.9), "sets I0 0");
    EXPECT_EQ(keyText(2.0), "sets I4 20000000");
    EXPECT_EQ(from(3 * SECOND), (Texts{"sets I4 20000000 5000000 sync", "P7 35000000 5000000",
                                       "B5 25000000 5000000", "B6 30000000 5000000"}));
    EXPECT_EQ(end, WalkOutcome::End);
}

TEST_F(ScrubSamplesTest, AnEmptyEditInFrontDelaysAllPictures) {
    ASSERT_TRUE(openPlain(twoGroups(), elst({{1500, 0xFFFFFFFF}, {4000, 600}})));
    EXPECT_EQ(keyText(3.4), "sets I0 15000000");
    EXPECT_EQ(keyText(3.5), "sets I4 35000000");
}

TEST_F(ScrubSamplesTest, ATimeBeforeTheFirstKeyframeGivesTheFirst) {
    ASSERT_TRUE(openPlain(twoGroups()));
    EXPECT_EQ(keyText(0), "sets I0 10000000");
    EXPECT_EQ(keyText(-5), "sets I0 10000000");
    EXPECT_EQ(from(0).front(), "sets I0 10000000 5000000 sync");
}

TEST_F(ScrubSamplesTest, KeyframesAreLookedUpByWholeSeconds) {
    ASSERT_TRUE(openPlain({{"I0", 450, 0, true}, {"I1", 450, 0, true}, {"I2", 450, 0, true}}));
    EXPECT_EQ(keyText(0.99), "sets I0 0");
    EXPECT_EQ(keyText(1.0), "sets I1 7500000");
    EXPECT_EQ(keyText(1.9), "sets I1 7500000");
    EXPECT_EQ(keyText(2.0), "sets I2 15000000");
    // Decoding begins at the last one all the same.
    EXPECT_EQ(from(16'000'000), Texts{"sets I2 15000000 7500000 sync"});
}

TEST_F(ScrubSamplesTest, AKeyframeOfAnotherDelayIsShownAtItsOwnTime) {
    auto given = twoGroups();
    given[4].composition = 900;
    ASSERT_TRUE(openPlain(given));
    EXPECT_EQ(keyText(3.5), "sets I4 35000000");
    given[4].composition = 300;
    ASSERT_TRUE(openPlain(given));
    EXPECT_EQ(keyText(3.5), "sets I4 25000000");
}

// Of a variable rate: shown at 0, 300, 360, 420 and 1320 units. The sample behind which decoding
// waits for long isn't the one that is shown for long.
TEST_F(ScrubSamplesTest, NoSampleLastsBeyondTheOneBehindIt) {
    ASSERT_TRUE(openPlain({{"I0", 60, 0, true},
                           {"P4", 60, 1260},
                           {"B2", 900, 240},
                           {"b1", 60, -720},
                           {"b3", 60, -660}}));
    EXPECT_EQ(from(nearestTicks(360.0 / SCALE)),
              (Texts{"sets I0 0 1000000 sync", "P4 22000000 1000000", "B2 6000000 1000000",
                     "b1 5000000 1000000", "b3 7000000 1000000"}));
    EXPECT_EQ(from(1 * SECOND),
              (Texts{"sets I0 0 1000000 sync", "P4 22000000 1000000", "B2 6000000 1000000",
                     "b1 5000000 1000000", "b3 7000000 15000000"}));
}

TEST_F(ScrubSamplesTest, ParameterSetsComeOnceBehindEachBeginning) {
    ASSERT_TRUE(openPlain(twoGroups(), elst({{4000, 600}})));
    const Texts all = from(0);
    ASSERT_EQ(all.size(), 8u);
    EXPECT_EQ(all[0], "sets I0 0 5000000 sync");
    EXPECT_EQ(all[4], "I4 20000000 5000000 sync");
    EXPECT_EQ(from(0), all);
}

TEST_F(ScrubSamplesTest, SamplesWithoutContentArePassedOver) {
    auto given = twoGroups();
    given[2].unit.clear();
    ASSERT_TRUE(openPlain(given, elst({{4000, 600}})));
    const Texts all = from(0);
    ASSERT_EQ(all.size(), 7u);
    EXPECT_EQ(all[2].substr(0, 2), "B2");
}

TEST_F(ScrubSamplesTest, AFileThatBreaksOffIsAFailure) {
    ASSERT_TRUE(openPlain(twoGroups(), elst({{4000, 600}})));
    file->resize(DATA + 6 * 6 + 3);
    samples = {};
    ASSERT_TRUE(samples.open(file->path(), ownSource));
    EXPECT_EQ(from(0).size(), 6u);
    EXPECT_EQ(end, WalkOutcome::Failed);
    EXPECT_EQ(keyText(2), "sets I4 20000000");
}

TEST_F(ScrubSamplesTest, TablesThatDoNotAgreeEndWhereTheirSamplesDo) {
    timesTooMany = 1;
    ASSERT_TRUE(openPlain(twoGroups(), elst({{4000, 600}})));
    EXPECT_EQ(from(0).size(), 8u);
    EXPECT_EQ(end, WalkOutcome::End);
    EXPECT_EQ(samples.next(sample, never), WalkOutcome::End);
    file->resize(DATA + 6 * 6 + 3);
    samples = {};
    ASSERT_TRUE(samples.open(file->path(), ownSource));
    EXPECT_EQ(from(0).size(), 6u);
    EXPECT_EQ(end, WalkOutcome::Failed) << "not all samples are there";
}

TEST_F(ScrubSamplesTest, WhatCannotBeReadIsNotOpened) {
    EXPECT_FALSE(ScrubSamples().open(TempFile::unusedPath(), ownSource));
    EXPECT_FALSE(ScrubSamples().open(TempFile(Bytes().text("no video at all")).path(), ownSource));
    EXPECT_FALSE(openPlain(twoGroups(), {}, box("hvc1", visualFields(64, 36)))) << "not H.264";
    EXPECT_FALSE(openPlain(twoGroups(), {}, avc1(64, 36, Bytes{1, 2, 3}))) << "a broken record";
    auto given = twoGroups();
    given[0].sync = given[4].sync = false;
    EXPECT_FALSE(openPlain(given)) << "no keyframe";
}

TEST_F(ScrubSamplesTest, AFileWhoseSamplesAreCodedInSeveralWaysIsNotOpened) {
    const Bytes two = join({avc1(64, 36), avc1(64, 36, avcRecord())});
    EXPECT_FALSE(openPlain(twoGroups(), {}, two));
    EXPECT_TRUE(openPlain(twoGroups()));
}

TEST_F(ScrubSamplesTest, ABeginningThatNobodyWantsAnyMoreIsGivenUp) {
    ASSERT_TRUE(openPlain(twoGroups()));
    EXPECT_FALSE(samples.begin(0, [] { return true; }));
}

TEST_F(ScrubSamplesTest, NotOpenedItFails) {
    EXPECT_FALSE(samples.keyframeAt(0, sample));
    EXPECT_FALSE(samples.begin(0, never));
    EXPECT_EQ(samples.next(sample, never), WalkOutcome::Failed);
}

TEST_F(ScrubSamplesTest, OddTimesAreTimesToo) {
    ASSERT_TRUE(openPlain(twoGroups()));
    for (const double seconds : {-1e300, 1e300, std::numeric_limits<double>::infinity()})
        EXPECT_TRUE(samples.keyframeAt(seconds, sample)) << seconds;
    EXPECT_EQ(keyText(std::numeric_limits<double>::quiet_NaN()), "sets I0 10000000");
    EXPECT_EQ(from(std::numeric_limits<Ticks>::max()).front(), "sets I4 30000000 5000000 sync");
    EXPECT_EQ(from(std::numeric_limits<Ticks>::min()).front(), "sets I0 10000000 5000000 sync");
}

// ---- fragmented files, time scale 1000 ---------------------------------------------------------

FragmentSample picture(const std::string& unit, bool sync = false, std::int32_t composition = 0) {
    return {nal(Bytes().text(unit)), 500, sync, composition};
}

// Its sound is of a codec that the media source leaves to the system's.
Bytes withOtherSound(const Bytes& recording) {
    constexpr std::string_view AAC = "mp4a";
    std::vector<std::uint8_t> bytes = recording.vector();
    const auto at = std::search(bytes.begin(), bytes.end(), AAC.begin(), AAC.end());
    EXPECT_NE(at, bytes.end());
    *at = 'x';
    Bytes changed;
    for (const std::uint8_t byte : bytes) changed.u8(byte);
    return changed;
}

TEST_F(ScrubSamplesTest, FragmentsHaveTheTablesTimes) {
    ASSERT_TRUE(
        openFragments({fragment(0, {picture("I0", true, 500), picture("P1", false, 500)}),
                       fragment(1000, {picture("I2", true, 500), picture("P3", false, 500)})},
                      {0, 1000}));
    EXPECT_EQ(keyText(1.7), "sets I2 10000000");
    EXPECT_EQ(keyText(0.9), "sets I0 0");
    EXPECT_EQ(from(nearestTicks(1.7)),
              (Texts{"sets I2 10000000 5000000 sync", "P3 15000000 5000000"}));
    EXPECT_EQ(end, WalkOutcome::End);
    EXPECT_EQ(keyText(1.7), "sets I2 10000000") << "with the reader's table";
    EXPECT_EQ(from(0).size(), 4u);
    EXPECT_EQ(samples.width(), 64u);
}

TEST_F(ScrubSamplesTest, FragmentsWithoutATableAreNotOpened) {
    file.emplace(join({fragmentedStart(), fragment(0, {picture("I0", true)})}));
    EXPECT_FALSE(samples.open(file->path(), ownSource));
}

TEST_F(ScrubSamplesTest, AnotherSourcesFragmentsAreNotOpenedAndPlainFilesAre) {
    ownSource = std::nullopt;
    EXPECT_FALSE(openFragments({fragment(0, {picture("I0", true)})}, {0}));
    EXPECT_TRUE(openPlain(twoGroups()));
}

// What the media source has, and so the engine, and nothing else.
TEST_F(ScrubSamplesTest, FragmentsAreOpenedAsTheMediaSourceTakesThem) {
    const auto opens = [&](const Bytes& content, SourceSound sound) {
        file.emplace(content);
        samples = {};
        const bool opened = samples.open(file->path(), sound);
        EXPECT_EQ(opened, openServedTracks(file->path(), sound).has_value());
        return opened;
    };
    EXPECT_TRUE(opens(fragmentedRecording(), SourceSound::Wanted));
    const Bytes other = withOtherSound(fragmentedRecording());
    EXPECT_FALSE(opens(other, SourceSound::Wanted));
    EXPECT_TRUE(opens(other, SourceSound::Unwanted));
}

// The same pictures as of a plain file of variable rate, in two fragments: the picture that is
// sought lies behind three that are shown later.
TEST_F(ScrubSamplesTest, NoSampleOfFragmentsLastsBeyondTheOneBehindItEither) {
    const auto shown = [](const std::string& unit, std::uint32_t lasts, std::int32_t composition) {
        return FragmentSample{nal(Bytes().text(unit)), lasts, unit[0] == 'I', composition};
    };
    ASSERT_TRUE(openFragments(
        {fragment(0, {shown("I0", 60, 0), shown("P4", 60, 1260), shown("B2", 900, 240)}),
         fragment(1020, {shown("b1", 60, -720), shown("b3", 60, -660)})},
        {0, 1020}));
    EXPECT_EQ(from(nearestTicks(0.36)),
              (Texts{"sets I0 0 600000 sync", "P4 13200000 600000", "B2 3600000 600000",
                     "b1 3000000 600000", "b3 4200000 600000"}));
}

// The table names each fragment, as ffmpeg's does; the way back to a keyframe has its limit.
TEST_F(ScrubSamplesTest, WhatIsNotSaidToBeAKeyframeIsNotGivenForOne) {
    std::vector<Bytes> fragments;
    std::vector<std::uint64_t> times;
    for (std::uint64_t i = 0; i < 70; ++i) {
        fragments.push_back(fragment(i * 1000, {{nal(Bytes().text("P")), 1000, i == 0}}));
        times.push_back(i * 1000);
    }
    ASSERT_TRUE(openFragments(fragments, times));
    EXPECT_EQ(keyText(64), "sets P 0");
    EXPECT_FALSE(samples.keyframeAt(65, sample));
    EXPECT_FALSE(samples.keyframeAt(69, sample));
}

// An entry within the second doesn't count for keyframes by whole seconds, but the media source
// begins there, and with it the samples have that entry's time.
TEST_F(ScrubSamplesTest, DecodingBeginsWhereTheMediaSourceDoes) {
    ASSERT_TRUE(openFragments({fragment(0, {picture("I0", true), picture("P1")}),
                               fragment(1000, {picture("I2", true), picture("P3")})},
                              {0, 900}));
    EXPECT_EQ(from(9'500'000), (Texts{"sets I2 9000000 5000000 sync", "P3 14000000 5000000"}));
    SourceTrack own;
    TrackSample first;
    ASSERT_TRUE(own.openVideo(file->path()) && own.start(9'500'000, never));
    ASSERT_EQ(own.read(first, never), TrackRead::Sample);
    EXPECT_EQ(first.time, 9'000'000);
}

TEST_F(ScrubSamplesTest, SamplesOfFragmentsWithoutContentArePassedOver) {
    ASSERT_TRUE(
        openFragments({fragment(0, {picture("I0", true), picture(""), picture("P2")})}, {0}));
    EXPECT_EQ(from(0), (Texts{"sets I0 0 5000000 sync", "P2 10000000 5000000"}));
    EXPECT_EQ(end, WalkOutcome::End);
}

// A hundred fragments of one picture each, of which the table names the first.
TEST_F(ScrubSamplesTest, AWalkThroughFragmentsIsGivenUpAtAnyOfThem) {
    Bytes all = fragmentedStart();
    const std::uint64_t first = all.size();
    for (std::uint64_t i = 0; i < 100; ++i)
        all.add(fragment(i * 100, {{nal(Bytes().text("P")), 100, i == 0}}));
    file.emplace(all.add(mfra(tfra(1, {{0, first}}))));
    ASSERT_TRUE(samples.open(file->path(), ownSource));
    int asked = 0;
    ASSERT_TRUE(samples.begin(5 * SECOND, [&] { return ++asked < 0; }));
    const int asksOfAll = asked;
    EXPECT_GE(asksOfAll, 50 + 50 + 17) << "to the position, and again to 17 pictures behind it";
    for (int last = 1; last <= asksOfAll; ++last) {
        asked = 0;
        EXPECT_FALSE(samples.begin(5 * SECOND, [&] { return ++asked >= last; }));
        EXPECT_LE(asked, last + 1) << "once more, to know why it ended";
    }
    asked = 0;
    ASSERT_TRUE(samples.begin(5 * SECOND, never));
    while (samples.next(sample, [&] { return ++asked >= 30; }) == WalkOutcome::Sample) continue;
    EXPECT_EQ(asked, 30);
}

TEST_F(ScrubSamplesTest, SamplesWithoutContentEndWhenNobodyWantsMore) {
    auto given = twoGroups();
    for (std::size_t i = 1; i < given.size(); ++i) given[i].unit.clear();
    ASSERT_TRUE(openPlain(given));
    ASSERT_TRUE(samples.begin(0, never));
    int asked = 0;
    const auto third = [&] {
        return ++asked >= 3;
    };
    EXPECT_EQ(samples.next(sample, third), WalkOutcome::Sample);
    EXPECT_EQ(samples.next(sample, third), WalkOutcome::Failed);
    EXPECT_EQ(asked, 3);
}

TEST_F(ScrubSamplesTest, AFragmentThatBreaksOffIsAFailure) {
    ASSERT_TRUE(openFragments(
        {fragment(0, {picture("I0", true), picture("P1")}), moof(Bytes().fill(20))}, {0, 1000}));
    EXPECT_EQ(from(0).size(), 2u);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

} // namespace
} // namespace velkantrix
