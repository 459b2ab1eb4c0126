#include "playback/source_track.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/playback/source_track_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(SourceTrackTest, AVideoTrackIsReadWholeFromItsBeginning) {
    ASSERT_TRUE(track.openVideo(file->path()));
    EXPECT_THAT(rest(), ElementsAre(40, 80, 120, 160, 200, 240, 280, 320, 360, 400, 440, 480, 520,
                                    560, 600));
    EXPECT_EQ(last, TrackRead::End);
    EXPECT_EQ(track.duration(), 640 * MS);
    EXPECT_EQ(track.middleDuration(), 40u);
}

TEST_F(SourceTrackTest, ASampleCarriesItsTimesInTicksAndWhetherItIsAKeyframe) {
    ASSERT_TRUE(track.openVideo(file->path()));
    TrackSample sample;
    ASSERT_EQ(track.read(sample, never), TrackRead::Sample);
    EXPECT_EQ(sample.time, 40 * MS);
    EXPECT_EQ(sample.decodeTime, 0);
    EXPECT_EQ(sample.duration, 40 * MS);
    EXPECT_TRUE(sample.keyframe);
    const Bytes sets =
        join({Bytes{0, 0, 0, 1, 0x67, 0x64, 0, 0x1E}, Bytes{0, 0, 0, 1, 0x68, 0xEE}});
    EXPECT_EQ(
        std::vector<std::uint8_t>(sample.data.begin(),
                                  sample.data.begin() + static_cast<std::ptrdiff_t>(sets.size())),
        sets.vector());
    ASSERT_EQ(track.read(sample, never), TrackRead::Sample);
    EXPECT_EQ(sample.decodeTime, 40 * MS);
    EXPECT_FALSE(sample.keyframe);
}

TEST_F(SourceTrackTest, VideoStartsAtTheLastKeyframeAtOrBeforeThePosition) {
    ASSERT_TRUE(track.openVideo(file->path()));
    EXPECT_EQ(firstAt(440 * MS), 440);
    EXPECT_EQ(firstAt(440 * MS - 1), 240);
    EXPECT_EQ(firstAt(440 * MS + 1), 440);
    EXPECT_EQ(firstAt(3600 * 1000 * MS), 440);
    EXPECT_EQ(firstAt(240 * MS), 240);
    EXPECT_EQ(firstAt(239 * MS), 40);
}

TEST_F(SourceTrackTest, APositionBeforeTheFirstKeyframeGivesThatOne) {
    ASSERT_TRUE(track.openVideo(file->path()));
    for (const Ticks position : {Ticks{0}, 39 * MS, Ticks{-1}, std::numeric_limits<Ticks>::min()})
        EXPECT_EQ(firstAt(position), 40);
}

TEST_F(SourceTrackTest, AKeyframeWhoseTimeIsNoWholeTickIsFoundByTheTimeItWasHandedOutWith) {
    const Bytes begin = join({ftyp(), box("moov", trak(1, 3, "vide", stsd(avc1(64, 48))))});
    const Bytes first = fragment(0, {{picture(0, true), 1, true}});
    const Bytes second = fragment(1, {{picture(1, true), 1, true}});
    use(join({begin, first, second,
              mfra(tfra(1, {{0, begin.size()}, {1, begin.size() + first.size()}}))}));
    ASSERT_TRUE(track.openVideo(file->path()));
    TrackSample sample;
    ASSERT_TRUE(track.start(3'333'333, never));
    ASSERT_EQ(track.read(sample, never), TrackRead::Sample);
    EXPECT_EQ(sample.time, 3'333'333);
    ASSERT_TRUE(track.start(3'333'332, never));
    ASSERT_EQ(track.read(sample, never), TrackRead::Sample);
    EXPECT_EQ(sample.time, 0);
}

TEST_F(SourceTrackTest, VideoThatBeginsBeforeZeroIsLeftToOthers) {
    for (const std::uint32_t cut : {0u, 40u, 41u, 300u}) {
        const Bytes begin =
            join({ftyp(), box("moov", join({mvhd(1000), trak(1, 1000, "vide", stsd(avc1(64, 48)),
                                                             elst({{5000, cut}}))}))});
        use(join({begin, fragment(0, {{picture(0, true), 40, true, 40}}),
                  mfra(tfra(1, {{0, begin.size()}}))}));
        EXPECT_EQ(SourceTrack().openVideo(file->path()), cut <= 40) << cut;
    }
}

TEST_F(SourceTrackTest, SoundOfSeveralDescriptionsIsLeftToOthers) {
    const Bytes plain = mp4a(2, 48000, esds(Bytes{0x11, 0x90}));
    use(fragmentedRecording(join({plain, plain})));
    EXPECT_FALSE(openServedTracks(file->path(), SourceSound::Wanted));
    EXPECT_TRUE(openServedTracks(file->path(), SourceSound::Unwanted));
    use(fragmentedRecording(plain));
    EXPECT_TRUE(openServedTracks(file->path(), SourceSound::Wanted));
}

TEST_F(SourceTrackTest, WhereThePlaceOfAKeyframeIsBrokenTheReadersOwnLookupCounts) {
    const Bytes begin = join({ftyp(), box("moov", trak(1, 1000, "vide", stsd(avc1(64, 48))))});
    const Bytes first = fragment(0, {{picture(0, true), 100, true}});
    // The second entry leads nowhere, but within the first second the first one counts.
    use(join({begin, first, mfra(tfra(1, {{0, begin.size()}, {100, begin.size() + 4}}))}));
    ASSERT_TRUE(track.openVideo(file->path()));
    EXPECT_EQ(firstAt(200 * MS), 0);
}

TEST_F(SourceTrackTest, WhatIsNoFragmentedH264WithATableIsNotOpened) {
    for (const Bytes& content : {plainRecording(), fragmentedStart(), Bytes(), ftyp()}) {
        SourceTrack other;
        EXPECT_FALSE(other.openVideo(TempFile(content).path()));
    }
    EXPECT_FALSE(SourceTrack().openVideo(TempFile::unusedPath()));
    EXPECT_FALSE(SourceTrack().openSound(file->path(), {}));
}

TEST_F(SourceTrackTest, SoundStartsWithTheSampleThatHoldsThePosition) {
    ASSERT_TRUE(openSound());
    EXPECT_EQ(firstAt(0), 0);
    EXPECT_EQ(firstAt(39 * MS), 0);
    EXPECT_EQ(firstAt(40 * MS), 40); // the one before has ended there
    EXPECT_EQ(firstAt(199 * MS), 160);
    EXPECT_EQ(firstAt(200 * MS), 200); // in the next fragment
    EXPECT_EQ(firstAt(599 * MS), 560);
    EXPECT_EQ(firstAt(100 * MS), 80); // back again
    EXPECT_EQ(firstAt(-5), 0);
}

TEST_F(SourceTrackTest, AStartAtTwoAndAHalfSecondsDeliversTheSampleOfTheThirdSecond) {
    const FragmentSample second{Bytes().text("s"), 1000, true};
    ASSERT_TRUE(openSound({fragment(0, {second, second}), fragment(2000, {second, second})}));
    EXPECT_EQ(firstAt(2500 * MS), 2000);
    EXPECT_EQ(firstAt(2000 * MS), 2000);
    EXPECT_EQ(firstAt(2000 * MS - 1), 1000);
}

// The encoder's first 100 ms, which nobody hears, lie before 0: the table can't say that.
TEST_F(SourceTrackTest, SoundFromBeforeTheBeginningKeepsItsTime) {
    const FragmentSample sound{Bytes().text("s"), 100, true};
    editOffset = -100;
    ASSERT_TRUE(openSound({fragment(0, {sound, sound, sound})}));
    EXPECT_EQ(firstAt(0), 0);
    EXPECT_THAT(rest(), ElementsAre(100));
    EXPECT_EQ(firstAt(100 * MS), 100);
    EXPECT_EQ(firstAt(-50 * MS), -100);
}

TEST_F(SourceTrackTest, AnEditListThatAgreesWithTheTableChangesNothing) {
    const FragmentSample sound{Bytes().text("s"), 100, true};
    editOffset = 300; // sound that begins late; the table has it already
    ASSERT_TRUE(openSound({fragment(0, {sound, sound, sound})}));
    EXPECT_EQ(firstAt(0), 0);
    EXPECT_THAT(rest(), ElementsAre(100, 200));
}

TEST_F(SourceTrackTest, SoundBehindItsEndIsAtItsEnd) {
    ASSERT_TRUE(openSound());
    ASSERT_TRUE(track.start(600 * MS, never));
    EXPECT_TRUE(track.isAtEnd());
    EXPECT_THAT(rest(), IsEmpty());
    EXPECT_EQ(last, TrackRead::End);
    EXPECT_EQ(firstAt(0), 0);
    EXPECT_FALSE(track.isAtEnd());
}

TEST_F(SourceTrackTest, AFragmentThatIsBrokenOnTheWayToThePositionIsNoEnd) {
    const FragmentSample second{Bytes().text("s"), 1000, true};
    ASSERT_TRUE(openSound({fragment(0, {second}), Bytes().u32(4).text("moof")}));
    ASSERT_TRUE(track.start(5000 * MS, never));
    EXPECT_FALSE(track.isAtEnd());
    EXPECT_THAT(rest(), IsEmpty());
    EXPECT_EQ(last, TrackRead::Failed);
}

TEST_F(SourceTrackTest, AFileThatBreaksOffIsNoEnd) {
    ASSERT_TRUE(openSound({fragment(0, {{Bytes().text("sound"), 40, true}}), Bytes().text("mo")}));
    EXPECT_THAT(rest(), ElementsAre(0));
    EXPECT_EQ(last, TrackRead::Failed);
}

TEST_F(SourceTrackTest, ASampleThatIsNotThereIsNoEnd) {
    Bytes content = fragmentedRecording();
    // The table of the file without its last fragment's pictures: they are said to lie behind its
    // end.
    Bytes begin = join({ftyp(), box("moov", trak(1, 1000, "vide", stsd(avc1(64, 48))))});
    const Bytes record = trun(0x700, {{40, 5'000'000, SYNC_SAMPLE}}, 100);
    const Bytes far = moof(box("traf", join({tfhd(1), tfdt(0), record})));
    use(join({begin, far, mfra(tfra(1, {{0, begin.size()}}))}));
    ASSERT_TRUE(track.openVideo(file->path()));
    EXPECT_THAT(rest(), IsEmpty());
    EXPECT_EQ(last, TrackRead::Failed);
}

// A video of one fragment that is all there.
Bytes videoOf(const Bytes& fragmentBoxes) {
    const Bytes begin = join({ftyp(), box("moov", trak(1, 1000, "vide", stsd(avc1(64, 48))))});
    return join({begin, fragmentBoxes, mfra(tfra(1, {{0, begin.size()}}))});
}

TEST_F(SourceTrackTest, SamplesWithoutAPictureArePassedOver) {
    const FragmentSample nothing{Bytes{0}, 40, false}; // no whole NAL unit
    const FragmentSample shown{picture(1, false), 40, false};
    use(videoOf(fragment(
        0, {{picture(0, true), 40, true}, nothing, shown, nothing, nothing, shown, nothing})));
    ASSERT_TRUE(track.openVideo(file->path()));
    EXPECT_THAT(rest(), ElementsAre(0, 80, 200));
    EXPECT_EQ(last, TrackRead::End);
    // Those behind them say so.
    ASSERT_TRUE(track.start(0, never));
    TrackSample sample;
    for (const bool gap : {false, true, true}) {
        ASSERT_EQ(track.read(sample, never), TrackRead::Sample);
        EXPECT_EQ(sample.gap, gap);
    }
}

// 2^32 - 1 samples of one byte, in a few bytes of the file.
Bytes endlessSamples(std::uint32_t duration) {
    const Bytes traf = box("traf", join({tfhd(1, {.duration = duration, .size = 1}), tfdt(0),
                                         fullBox("trun", 0, 0, Bytes().u32(0xFFFFFFFF))}));
    return join({moof(traf), box("mdat", Bytes().fill(200'000))});
}

TEST_F(SourceTrackTest, SamplesWithoutAPictureDoNotGoOnForEver) {
    use(videoOf(endlessSamples(40)));
    ASSERT_TRUE(track.openVideo(file->path()));
    int asked = 0;
    TrackSample sample;
    EXPECT_EQ(track.read(sample, [&] { return ++asked < 0; }), TrackRead::Failed);
    EXPECT_EQ(asked, static_cast<int>(MAX_EMPTY_SAMPLES)); // not for all that the file has
}

TEST_F(SourceTrackTest, TheWayToAPositionEndsWhenNobodyWantsItAnyMore) {
    ASSERT_TRUE(openSound({endlessSamples(0)}));
    int asked = 0;
    EXPECT_FALSE(track.start(MS, [&] { return ++asked > 100; }));
    EXPECT_EQ(asked, 101);
}

TEST_F(SourceTrackTest, AReadThatNobodyWantsAnyMoreIsStopped) {
    ASSERT_TRUE(track.openVideo(file->path()));
    TrackSample sample;
    EXPECT_EQ(track.read(sample, [] { return true; }), TrackRead::Stopped);
    EXPECT_EQ(track.read(sample, never), TrackRead::Sample);
    EXPECT_EQ(sample.time, 40 * MS); // nothing was lost
}

// What isn't in the fragments that a table leads to would be missing.
TEST_F(SourceTrackTest, AFileWhoseTableLeavesOutItsBeginningIsNotOpened) {
    const Bytes begin = join({ftyp(), box("moov", trak(1, 1000, "vide", stsd(avc1(64, 48))))});
    const Bytes first = fragment(0, {{picture(0, true), 100, true}});
    const Bytes second = fragment(100, {{picture(1, true), 100, true}});
    const Bytes table = mfra(tfra(1, {{100, begin.size() + first.size()}}));
    EXPECT_FALSE(SourceTrack().openVideo(TempFile(join({begin, first, second, table})).path()));
    // A fragment of another track is nothing that it has to name.
    const Bytes other = fragment(0, {{Bytes().text("s"), 100, true}}, 2);
    const Bytes later = mfra(tfra(1, {{0, begin.size() + other.size()}}));
    EXPECT_TRUE(SourceTrack().openVideo(TempFile(join({begin, other, first, later})).path()));
    // Nor can it be known where boxes are broken.
    const Bytes broken = Bytes().u32(4).text("free");
    const Bytes behind = mfra(tfra(1, {{0, begin.size() + broken.size()}}));
    EXPECT_FALSE(SourceTrack().openVideo(TempFile(join({begin, broken, first, behind})).path()));
}

TEST_F(SourceTrackTest, AFileOfSeveralDescriptionsOrShownTurnedIsNotOpened) {
    const auto opens = [&](const Bytes& entries) {
        const Bytes begin = join({ftyp(), box("moov", trak(1, 1000, "vide", stsd(entries)))});
        use(join({begin, fragment(0, {{picture(0, true), 40, true}}),
                  mfra(tfra(1, {{0, begin.size()}}))}));
        track = {};
        return track.openVideo(file->path());
    };
    EXPECT_TRUE(opens(avc1(64, 48)));
    EXPECT_FALSE(opens(join({avc1(64, 48), avc1(64, 48)})));
    EXPECT_FALSE(opens(box("avc1", visualFields(64, 48)
                                       .add(box("avcC", avcRecord()))
                                       .add(box("pasp", Bytes().u32(4).u32(3))))));
}

TEST_F(SourceTrackTest, AFileWithSamplesInItsMoovIsNotOpened) {
    const Bytes entry = stsd(avc1(64, 48));
    for (const std::uint32_t samples : {0U, 1U}) {
        const Bytes stbl = join({entry, stszUniform(10, samples)});
        const Bytes begin = join({ftyp(), box("moov", trak(1, 1000, "vide", stbl))});
        const Bytes first = fragment(0, {{picture(0, true), 100, true}});
        const TempFile whole(join({begin, first, mfra(tfra(1, {{0, begin.size()}}))}));
        EXPECT_EQ(SourceTrack().openVideo(whole.path()), samples == 0);
    }
    FileSound sound = loadFileSound(file->path());
    sound.hasSamplesInMoov = true;
    EXPECT_FALSE(SourceTrack().openSound(file->path(), sound));
}

TEST(IsPlainAac, OnlyWhatDecodersOfAacTake) {
    const auto kind = [](int objectType, std::vector<std::uint8_t> config) {
        FileSound sound;
        sound.objectType = static_cast<std::uint8_t>(objectType);
        sound.track.audioConfig = std::move(config);
        return isPlainAac(sound);
    };
    for (const int type : {0x40, 0x66, 0x67, 0x68}) EXPECT_TRUE(kind(type, {0x12, 0x10}));
    for (const int type : {0, 0x65, 0x69, 0x6B, 0xDD, 0xA5}) EXPECT_FALSE(kind(type, {0x12, 0x10}));
    EXPECT_TRUE(kind(0x40, {0x2B}));  // with spectral band replication
    EXPECT_TRUE(kind(0x40, {0xEB}));  // with parametric stereo
    EXPECT_FALSE(kind(0x40, {0x0A})); // main
    EXPECT_FALSE(kind(0x40, {0xF8})); // any of the long numbers
    EXPECT_FALSE(kind(0x40, {}));
}

TEST(AacUserData, IsTheConfigurationBehindTwelveZeros) {
    EXPECT_THAT(aacUserData({0x12, 0x10}),
                ElementsAre(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x12, 0x10));
}

} // namespace
} // namespace velkantrix
