#include "edit/segment.h"

#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(Segment, ANewOneHasNoNameAndNoFades) {
    const Segment clip{1, 2, {}, 0, 0};
    EXPECT_EQ(clip, (Segment{.start = 1, .end = 2}));
}

TEST(Segment, ItsLengthIsWhatIsKept) {
    EXPECT_EQ(clipLength({.start = 1.5, .end = 4}), 2.5);
}

TEST(IsClip, KnowsTheIndicesOfTheList) {
    const ClipList two(2);
    EXPECT_TRUE(isClip(two, 0));
    EXPECT_TRUE(isClip(two, 1));
    EXPECT_FALSE(isClip(two, 2));
    EXPECT_FALSE(isClip(two, -1));
    EXPECT_FALSE(isClip({}, 0));
}

TEST(IsCut, NeedsAClipBehindIt) {
    const ClipList two(2);
    EXPECT_TRUE(isCut(two, 0));
    EXPECT_FALSE(isCut(two, 1));
    EXPECT_FALSE(isCut(two, -1));
    EXPECT_FALSE(isCut(two, std::numeric_limits<std::int32_t>::max()));
    EXPECT_FALSE(isCut(two, std::numeric_limits<std::int32_t>::min()));
}

} // namespace
} // namespace velkantrix
