#include "edit/segment.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(Segment, ANewOneHasNoNameAndNoFades) {
    const Segment clip{1, 2, {}, 0, 0};
    EXPECT_EQ(clip, (Segment{.start = 1, .end = 2}));
}

} // namespace
} // namespace velkantrix
