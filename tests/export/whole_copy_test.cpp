#include "export/whole_copy.h"

#include <limits>

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

class EncodedPicturesTest : public testing::Test {
protected:
    void addUpTo(double from, double to) {
        for (double time = from; time < to - 0.01; time += 0.25) encoded.add(time);
    }
    EncodedPictures encoded{TWO}; // in the output [0 10) and [10 30)
    const VideoClaim claim{.keyframes = {0, 8, 19, 41, 45, 58}};
};

TEST_F(EncodedPicturesTest, AreWholeWithPicturesUpToEachClipsLastKeyframe) {
    addUpTo(0, 8.5);
    addUpTo(10, 27.5);
    encoded.add(30); // what is told at the very end
    EXPECT_TRUE(encoded.isWhole(claim));
}

TEST_F(EncodedPicturesTest, AreNotWholeWhereAClipEndsEarlier) {
    addUpTo(0, 7.5);
    addUpTo(10, 30);
    EXPECT_FALSE(encoded.isWhole(claim));
}

TEST_F(EncodedPicturesTest, AreNotWholeWhereTheLastClipEndsEarlierOrIsMissing) {
    addUpTo(0, 10);
    addUpTo(10, 20);
    encoded.add(30);
    EXPECT_FALSE(encoded.isWhole(claim));
    EncodedPictures none(TWO);
    none.add(30);
    EXPECT_FALSE(none.isWhole(claim));
}

// One picture of a screen may stand for minutes.
TEST_F(EncodedPicturesTest, WithoutAKeyframeInAClipItsFirstPictureIsEnough) {
    encoded.add(0);
    EXPECT_FALSE(encoded.isWhole({})) << "none in the second clip";
    encoded.add(10);
    EXPECT_TRUE(encoded.isWhole({}));
    EXPECT_TRUE(encoded.isWhole({.keyframes = {0, 9, 20, 39.9, 60}, .length = 60}));
}

TEST_F(EncodedPicturesTest, GoByTheLastFragmentWhereNoKeyframeIsKnown) {
    addUpTo(0, 10);
    addUpTo(10, 20);
    EXPECT_FALSE(encoded.isWhole({.fragment = 52}));
    EXPECT_TRUE(encoded.isWhole({.fragment = 50}));
    EXPECT_TRUE(encoded.isWhole({.fragment = 61})) << "it begins behind the clips";
}

TEST_F(EncodedPicturesTest, APictureAtAJoinIsTheNextClips) {
    addUpTo(0, 5);
    encoded.add(9.9999);
    EXPECT_FALSE(encoded.isWhole({.keyframes = {19}}));
}

} // namespace
} // namespace velkantrix
