#include "export/whole_copy.h"

#include <limits>
#include <optional>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

const std::vector<ExportSpan> WHOLE{{.start = 0, .end = std::numeric_limits<double>::infinity()}};
const std::vector<ExportSpan> TWO{{.start = 10, .end = 20}, {.start = 40, .end = 60}};

WrittenSpan upTo(double sourceEnd) {
    return {.sourceEnd = sourceEnd};
}

struct CopyRow {
    const char* what;
    double written; // up to which second of the source
    VideoClaim claim;
    double duration;
    bool whole;
};

TEST(IsWholeCopy, OfTheWholeSourceGoesByWhatTheVideoClaims) {
    const CopyRow rows[] = {
        {"no claim", 59.1, {}, 60, true},
        {"no claim, broken off", 58.9, {}, 60, false},
        {"nor a length", 5, {}, 0, true},
        {"a keyframe behind", 30, {.keyframes = {0, 20, 40}}, 30, false},
        {"the last keyframe's group is broken off", 40.1, {.keyframes = {0, 20, 40}}, 60, true},
        {"a fragment behind", 30, {.fragment = 50}, 30, false},
        {"up to the last fragment", 50, {.fragment = 50}, 60, true},
        {"sound longer than the video", 40, {.keyframes = {0}, .length = 40}, 60, true},
        {"container too long", 40, {.keyframes = {0}, .length = 40.5}, 4000, true},
        {"all say too much", 40, {.keyframes = {0}, .length = 4000, .file = 4000}, 40, false},
        {"the track's own length too long", 40, {.keyframes = {0}, .length = 4000}, 40, true},
        {"one keyframe, broken off", 30, {.keyframes = {0}, .length = 60}, 60, false},
        {"pictures that the edits leave out", 40, {.keyframes = {0, 62}, .length = 63}, 40, true},
    };
    for (const CopyRow& row : rows)
        EXPECT_EQ(isWholeCopy(WHOLE, {upTo(row.written)}, row.claim, row.duration), row.whole)
            << row.what;
}

TEST(IsWholeCopy, OfClipsNeedsEachOneToItsEnd) {
    const VideoClaim claim{.keyframes = {0, 30, 55}, .length = 60};
    EXPECT_TRUE(isWholeCopy(TWO, {upTo(20.5), upTo(60)}, claim, 60));
    EXPECT_TRUE(isWholeCopy(TWO, {upTo(19.1), upTo(59.1)}, claim, 60));
    EXPECT_FALSE(isWholeCopy(TWO, {upTo(18.9), upTo(60)}, claim, 60));
    EXPECT_FALSE(isWholeCopy(TWO, {upTo(20), upTo(58.9)}, claim, 60));
    EXPECT_FALSE(isWholeCopy(TWO, {upTo(20)}, claim, 60)) << "of the other nothing is known";
}

TEST(IsWholeCopy, OfClipsBehindTheEndOfTheVideoNeedsNoMore) {
    EXPECT_TRUE(isWholeCopy(TWO, {upTo(20), upTo(45)}, {.keyframes = {0, 44}, .length = 45}, 60));
}

TEST(IsWholeCopy, AClipWithoutPicturesIsMissing) {
    const WrittenSpan none{.sourceStart = 40, .sourceEnd = 60, .hasPictures = false};
    EXPECT_FALSE(isWholeCopy(TWO, {upTo(20), none}, {}, 60));
    EXPECT_FALSE(isWholeCopy(WHOLE, {{.hasPictures = false}}, {}, 0));
}

// A re-encode then has its sound.
TEST(IsWholeCopy, AClipBehindTheVideoHasNoPicturesToMiss) {
    const std::vector<ExportSpan> late{{.start = 40, .end = 60}};
    const WrittenSpan none{
        .sourceStart = 40, .sourceEnd = 40, .hasPictures = false, .soundEnd = 60.0};
    const SoundClaim sound{0, 60};
    EXPECT_TRUE(isWholeCopy(late, {none}, {.length = 30, .sound = sound}, 60));
    EXPECT_TRUE(isWholeCopy(late, {none}, {.length = 4000, .sound = sound}, 40));
    EXPECT_FALSE(isWholeCopy(late, {none}, {.length = 0, .sound = sound}, 60))
        << "nothing is known";
    EXPECT_FALSE(
        isWholeCopy(late, {none}, {.keyframes = {0, 50}, .length = 30, .sound = sound}, 60));
    EXPECT_FALSE(isWholeCopy(late, {none}, {.length = 30}, 60)) << "nor any sound";
    EXPECT_FALSE(isWholeCopy(late, {none}, {.length = 30, .sound = SoundClaim{0, 35}}, 60));
    EXPECT_FALSE(isWholeCopy(late, {none}, {.length = 41, .sound = sound}, 60));
    EXPECT_FALSE(isWholeCopy(late, {none}, {.fragment = 30}, 60)) << "more may come";
    EXPECT_FALSE(isWholeCopy(late, {none}, {}, 60));
}

// But its last group instead, from the keyframe on.
TEST(IsWholeCopy, ACopyThatEndsInFrontOfItsClipHasNothingOfIt) {
    const VideoClaim claim{.keyframes = {0, 20}, .length = 30};
    const WrittenSpan before{.sourceStart = 20, .sourceEnd = 30};
    EXPECT_FALSE(isWholeCopy({{.start = 40, .end = 60}}, {before}, claim, 60));
    EXPECT_FALSE(isWholeCopy({{.start = 30, .end = 60}}, {before}, claim, 60));
    EXPECT_TRUE(isWholeCopy({{.start = 29.9, .end = 60}}, {before}, claim, 60));
}

TEST(IsWholeCopy, WhatIsInFrontOfTheFirstKeyframeIsMissing) {
    struct Row {
        const char* what;
        double sourceStart;
        VideoClaim claim;
        bool whole;
    };
    const Row rows[] = {
        {"nothing", 9, {.keyframes = {0, 9, 19}, .length = 60}, true},
        {"pictures that come late", 15, {.keyframes = {15}, .length = 60}, true},
        {"a keyframe", 15, {.keyframes = {10, 15}, .length = 60}, false},
        {"by a reader that counts later", 15, {.keyframes = {10}, .delay = 5, .length = 55}, true},
        {"by one that may", 15, {.keyframes = {10, 15}, .delay = 5, .length = 60}, true},
        {"however it counts", 15, {.keyframes = {10, 15}, .delay = 3.5, .length = 60}, false},
        {"nor could it", 15, {.keyframes = {10, 15}, .delay = 5000, .length = 60}, false},
        {"missing though counted later",
         15,
         {.keyframes = {6, 10}, .delay = 5, .length = 55},
         false},
        {"sound, counted later", 15, {.sound = SoundClaim{0, 46, 14.5}}, true},
        {"sound, maybe counted later", 15, {.sound = SoundClaim{0, 60, 14.5}}, true},
        {"sound, however it is counted", 15, {.sound = SoundClaim{0, 60, 3}}, false},
        {"sound, nor could it be", 15, {.sound = SoundClaim{0, 60, 5000}}, false},
        {"within a second", 10.9, {.keyframes = {10, 10.9}, .length = 60}, true},
        {"sound", 15, {.keyframes = {15}, .length = 60, .sound = SoundClaim{0, 60}}, false},
        {"sound that begins late",
         15,
         {.keyframes = {15}, .length = 60, .sound = SoundClaim{14.1, 60}},
         true},
        {"sound that has ended",
         15,
         {.keyframes = {15}, .length = 60, .sound = SoundClaim{0, 10.9}},
         true},
    };
    for (const Row& row : rows) {
        WrittenSpan written{.sourceStart = row.sourceStart, .sourceEnd = 20, .soundEnd = 20.0};
        if (row.sourceStart > 11) written.holes = {{10, row.sourceStart}};
        EXPECT_EQ(isWholeCopy({{.start = 10, .end = 20}}, {written}, row.claim, 60), row.whole)
            << row.what;
    }
}

// As where a recording was copied in half, or its pictures stopped before its sound.
TEST(IsWholeCopy, WhatLiesBehindTheTimelineIsMissedByTheClipThatGoesToItsEnd) {
    struct Row {
        const char* what;
        double end; // of the clip, on a timeline of 7 seconds
        WrittenSpan written;
        VideoClaim claim;
        bool whole;
    };
    const SoundClaim sound{0, 12};
    const WrittenSpan toItsEnd{.sourceEnd = 7, .soundEnd = 7.0};
    const Row rows[] = {
        {"sound", 7, toItsEnd, {.keyframes = {0}, .length = 7, .sound = sound, .file = 12}, false},
        {"pictures", 7, toItsEnd, {.keyframes = {0}, .length = 12, .file = 12}, false},
        {"a keyframe", 7, toItsEnd, {.keyframes = {0, 11}, .length = 12, .file = 12}, false},
        {"cut away", 6.9, toItsEnd, {.length = 12, .sound = sound, .file = 12}, true},
        {"the file says otherwise", 7, toItsEnd, {.length = 12, .sound = sound, .file = 7}, true},
        {"it says nothing", 7, toItsEnd, {.length = 12, .sound = sound}, true},
        {"fragments of sound",
         7,
         toItsEnd,
         {.fragment = 6, .sound = sound, .fragmented = true},
         false},
        {"fragments", 7, toItsEnd, {.fragment = 11, .sound = {{0, 6}}, .fragmented = true}, false},
        {"a table's",
         7,
         toItsEnd,
         {.keyframes = {0, 11}, .sound = {{0, 6}}, .fragmented = true},
         false},
        {"the last ones",
         7,
         toItsEnd,
         {.fragment = 6, .sound = {{0, 6}}, .fragmented = true},
         true},
        {"a plain file that says little", 7, toItsEnd, {.keyframes = {0}, .sound = sound}, true},
        {"only the file says so", 7, toItsEnd, {.length = 7, .sound = {{0, 7}}, .file = 12}, true},
        {"less than a second", 7, toItsEnd, {.length = 7, .sound = {{0, 7.9}}, .file = 7.9}, true},
        {"kept",
         7,
         {.sourceEnd = 12, .soundEnd = 12.0},
         {.length = 12, .sound = sound, .file = 12},
         true},
    };
    for (const Row& row : rows) {
        const std::vector<ExportSpan> clip{{.start = 2, .end = row.end}};
        EXPECT_EQ(isWholeCopy(clip, {row.written}, row.claim, 7), row.whole) << row.what;
    }
}

// A decoder may pass over what it can't read; what follows is where it should be.
TEST(IsWholeCopy, AHoleWithAKeyframeInItIsMissing) {
    const VideoClaim claim{.keyframes = {0, 10, 14, 18}, .length = 60};
    const auto isWhole = [&](const std::vector<WrittenSpan::Hole>& holes) {
        return isWholeCopy(WHOLE, {{.sourceEnd = 60, .holes = holes}}, claim, 60);
    };
    EXPECT_TRUE(isWhole({}));
    EXPECT_TRUE(isWhole({{1, 10}})) << "a picture that stands";
    EXPECT_TRUE(isWhole({{18.1, 60}}));
    EXPECT_FALSE(isWhole({{10, 18}}));
    EXPECT_FALSE(isWhole({{1, 10}, {13.9, 18}}));
    EXPECT_TRUE(isWholeCopy(WHOLE, {{.sourceEnd = 60, .holes = {{0, 50}}}}, {.length = 60}, 60));
}

struct SoundRow {
    const char* what;
    ExportSpan span;
    std::optional<double> written; // up to which second of the source
    std::optional<SoundClaim> claim;
    double duration;
    bool whole;
};

TEST(IsWholeCopy, NeedsTheSoundThatTheSourceClaims) {
    const ExportSpan all = WHOLE[0], early{.start = 10, .end = 20}, late{.start = 40, .end = 60};
    const SoundRow rows[] = {
        {"up to its end", all, 59.1, SoundClaim{0, 60}, 60, true},
        {"broken off", all, 58.9, SoundClaim{0, 60}, 60, false},
        {"none at all", all, 0, SoundClaim{0, 60}, 60, false},
        {"nothing is claimed", all, 5, std::nullopt, 60, true},
        {"the source offers none", all, std::nullopt, SoundClaim{0, 60}, 60, true},
        {"shorter than the video", all, 40, SoundClaim{0, 40}, 60, true},
        {"its own length too long", all, 40, SoundClaim{0, 4000}, 40, true},
        {"the file's length isn't known", all, 40, SoundClaim{0, 60}, 0, false},
        {"it begins late", all, 43, SoundClaim{3, 40}, 60, true},
        {"broken off in a clip", early, 18.9, SoundClaim{0, 60}, 60, false},
        {"up to a clip's end", early, 19.1, SoundClaim{0, 60}, 60, true},
        {"it begins behind the clip", early, 10, SoundClaim{30, 60}, 60, true},
        {"it begins in the clip", early, 20, SoundClaim{15, 60}, 60, true},
        {"it ends in front of the clip", late, 40, SoundClaim{0, 30}, 60, true},
        {"broken off in front of the clip", late, 40, SoundClaim{0, 60}, 60, false},
    };
    for (const SoundRow& row : rows) {
        const WrittenSpan written{.sourceEnd = 60, .soundEnd = row.written};
        const VideoClaim claim{.length = 60, .sound = row.claim};
        EXPECT_EQ(isWholeCopy({row.span}, {written}, claim, row.duration), row.whole) << row.what;
    }
}

} // namespace
} // namespace velkantrix
