#include "app/ui_tick.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

using Step = PlayOn::Step;

TEST(HideOrShowTransport, AMoveOfTheMouseShowsIt) {
    TransportHiding state{{10, 10}, 1000};
    EXPECT_EQ(hideOrShowTransport(state, {11, 10}, 5000, false, false), TransportChange::Show);
    EXPECT_EQ(state.lastCursor, (ScreenPoint{11, 10}));
    EXPECT_EQ(state.movedAt, 5000u);
    EXPECT_EQ(hideOrShowTransport(state, {11, 12}, 6000, true, false), TransportChange::None);
    EXPECT_EQ(state.movedAt, 6000u);
}

TEST(HideOrShowTransport, ItGoesTwoAndAHalfSecondsAfterTheLastMove) {
    TransportHiding state{{10, 10}, 1000};
    EXPECT_EQ(hideOrShowTransport(state, {10, 10}, 3500, true, false), TransportChange::None);
    EXPECT_EQ(hideOrShowTransport(state, {10, 10}, 3501, true, false), TransportChange::Hide);
    EXPECT_EQ(hideOrShowTransport(state, {10, 10}, 9000, false, false), TransportChange::None);
}

TEST(HideOrShowTransport, ItStaysWhileTheVolumeIsDragged) {
    TransportHiding state{{10, 10}, 1000};
    EXPECT_EQ(hideOrShowTransport(state, {10, 10}, 9000, true, true), TransportChange::None);
}

TEST(IsTimeToReveal, WhenAPictureIsThere) {
    EXPECT_TRUE(isTimeToReveal({.presented = true}));
    EXPECT_FALSE(isTimeToReveal({.sinceOpen = 3999}));
}

TEST(IsTimeToReveal, WhenNoneComesForFourSeconds) {
    EXPECT_TRUE(isTimeToReveal({.sinceOpen = 4000}));
}

TEST(IsTimeToReveal, WhenItPlaysWithoutOne) {
    EXPECT_TRUE(isTimeToReveal({.playing = true, .sinceOpen = 120, .time = 2.05, .resumedAt = 2}));
    EXPECT_FALSE(isTimeToReveal({.playing = true, .sinceOpen = 119, .time = 2.05, .resumedAt = 2}));
    EXPECT_FALSE(isTimeToReveal({.playing = true, .sinceOpen = 120, .time = 2.04, .resumedAt = 2}));
    EXPECT_FALSE(
        isTimeToReveal({.playing = false, .sinceOpen = 120, .time = 2.05, .resumedAt = 2}));
}

// [0..10]  gap  [12..20] [20..30]
const ClipList CLIPS{{.start = 0, .end = 10}, {.start = 12, .end = 20}, {.start = 20, .end = 30}};

TEST(PlayOnOver, WithinAClipItContinues) {
    EXPECT_EQ(playOn(CLIPS, 0), (PlayOn{.clip = 0}));
    EXPECT_EQ(playOn(CLIPS, 9.97), (PlayOn{.clip = 0}));
    EXPECT_EQ(playOn(CLIPS, 12), (PlayOn{.clip = 1}));
}

TEST(PlayOnOver, TwentyMillisecondsBeforeAClipsEndItJumpsToTheNext) {
    EXPECT_EQ(playOn(CLIPS, 9.981), (PlayOn{Step::Jump, 1, 12}));
    EXPECT_EQ(playOn(CLIPS, 10), (PlayOn{Step::Jump, 1, 12}));
}

TEST(PlayOnOver, InARemovedPartItJumpsToTheNextClip) {
    EXPECT_EQ(playOn(CLIPS, 11), (PlayOn{Step::Jump, 1, 12}));
    const ClipList later{{.start = 5, .end = 10}};
    EXPECT_EQ(playOn(later, 1), (PlayOn{Step::Jump, 0, 5}));
}

// The engine counts in ticks: where it stands may be half of one before the place it was sent to.
TEST(PlayOnOver, ATickBeforeAClipIsInIt) {
    EXPECT_EQ(playOn(CLIPS, 12 - 5e-8), (PlayOn{.clip = 1}));
    EXPECT_EQ(playOn(CLIPS, 12 - 2e-6).step, Step::Jump);
}

TEST(JumpTarget, IsThePlaceOfAJumpAndNoOther) {
    EXPECT_EQ(jumpTarget({.step = Step::Jump, .clip = 1, .time = 12}), 12);
    EXPECT_EQ(jumpTarget({.clip = 1}), -1);
    EXPECT_EQ(jumpTarget({.step = Step::Pause}), -1);
}

// A cut without anything removed is played through.
TEST(PlayOnOver, OverACutWithoutAGapItDoesNotJump) {
    EXPECT_EQ(playOn(CLIPS, 19.99), (PlayOn{.clip = 1}));
    EXPECT_EQ(playOn(CLIPS, 20), (PlayOn{.clip = 2}));
}

TEST(PlayOnOver, BehindTheLastClipItPauses) {
    EXPECT_EQ(playOn(CLIPS, 29.97), (PlayOn{.clip = 2}));
    EXPECT_EQ(playOn(CLIPS, 29.981), (PlayOn{.step = Step::Pause}));
    EXPECT_EQ(playOn(CLIPS, 31), (PlayOn{.step = Step::Pause}));
}

TEST(PlayOnOver, WithoutClipsItContinues) {
    EXPECT_EQ(playOn({}, 5), PlayOn{});
}

TEST(FollowedSelection, GoesFromClipToClipWithWhatIsPlayed) {
    EXPECT_EQ(followedSelection(0, 0, 1), 1);
    EXPECT_EQ(followedSelection(1, 1, 0), 0);
}

TEST(FollowedSelection, StaysWhereTheUserPutIt) {
    EXPECT_EQ(followedSelection(2, 0, 0), 2);
    EXPECT_EQ(followedSelection(2, 0, 1), 2);
    EXPECT_EQ(followedSelection(-1, 0, 1), -1);
}

TEST(FollowedSelection, StaysWhenNothingWasOrIsPlayed) {
    EXPECT_EQ(followedSelection(-1, -1, 1), -1);
    EXPECT_EQ(followedSelection(0, 0, -1), 0);
}

TEST(NoteTime, AMoveOfMoreThanFiveMillisecondsIsPainted) {
    TickMemory memory{.paintedTime = 2};
    EXPECT_FALSE(noteTime(memory, 2.005, false).anything);
    EXPECT_FALSE(noteTime(memory, 1.995, false).anything);
    const TickChange change = noteTime(memory, 2.006, false);
    EXPECT_TRUE(change.anything);
    EXPECT_FALSE(change.playingChanged);
    EXPECT_EQ(memory.paintedTime, 2.006);
}

TEST(NoteTime, SmallMovesAddUp) {
    TickMemory memory{.paintedTime = 2};
    EXPECT_FALSE(noteTime(memory, 2.004, false).anything);
    EXPECT_TRUE(noteTime(memory, 2.008, false).anything);
}

TEST(NoteTime, TheBarFollowsPlaying) {
    TickMemory memory{.paintedTime = 2};
    TickChange change = noteTime(memory, 2, true);
    EXPECT_TRUE(change.anything);
    EXPECT_TRUE(change.playingChanged);
    EXPECT_FALSE(noteTime(memory, 2, true).anything);
    change = noteTime(memory, 2, false);
    EXPECT_TRUE(change.playingChanged);
}

TEST(NotePeaks, TheStripIsDrawnAgainWheneverTheyAreOthers) {
    TickMemory memory;
    EXPECT_FALSE(notePeaks(memory, 0)); // there are none
    for (const std::uint64_t version : {std::uint64_t{0x1'0000'0001}, std::uint64_t{0x1'0000'0002},
                                        std::uint64_t{0x2'0000'0002}, std::uint64_t{0}}) {
        EXPECT_TRUE(notePeaks(memory, version)) << version;
        EXPECT_FALSE(notePeaks(memory, version)) << version;
    }
}

TEST(NewTickPeriod, IsQuickForWhatPlaysOrAwaitsItsPicture) {
    EXPECT_EQ(newTickPeriod({.playing = true}, 250), 33u);
    EXPECT_EQ(newTickPeriod({.awaitsPicture = true}, 250), 33u);
    EXPECT_EQ(newTickPeriod({}, 33), 250u);
}

TEST(NewTickPeriod, IsntSetWhenTheTickHasIt) {
    EXPECT_EQ(newTickPeriod({.playing = true}, 33), std::nullopt);
    EXPECT_EQ(newTickPeriod({}, 250), std::nullopt);
}

TEST(NewTickPeriod, LeavesAJobsAlone) {
    EXPECT_EQ(newTickPeriod({.jobRuns = true}, 100), std::nullopt);
    EXPECT_EQ(newTickPeriod({.jobRuns = true, .playing = true}, 100), std::nullopt);
    EXPECT_EQ(newTickPeriod({.playing = true}, 100), 33u);
}

} // namespace
} // namespace velkantrix
