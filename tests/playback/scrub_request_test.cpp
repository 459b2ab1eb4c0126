#include "playback/scrub_request.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

PreviewFrame keyOf(std::int64_t number) {
    return {.number = number, .seconds = 1};
}
PreviewFrame exactOf(std::int64_t number) {
    return {.number = number, .seconds = 1, .exact = true};
}

TEST(ClaimPreview, WithoutARequestThereIsNothing) {
    ScrubRequest scrub;
    EXPECT_FALSE(claimPreview(scrub));
}

TEST(ClaimPreview, ARequestIsTakenOnce) {
    ScrubRequest scrub;
    requestPreview(scrub, 2.5);
    const auto claimed = claimPreview(scrub);
    ASSERT_TRUE(claimed);
    EXPECT_EQ(claimed->number, 1);
    EXPECT_EQ(claimed->seconds, 2.5);
    EXPECT_EQ(scrub.scrubClaimed, 1);
    EXPECT_FALSE(claimPreview(scrub));
}

TEST(ClaimPreview, OnlyTheLatestRequestIsTaken) {
    ScrubRequest scrub;
    for (const double seconds : {1.0, 2.0, 3.0}) requestPreview(scrub, seconds);
    const auto claimed = claimPreview(scrub);
    ASSERT_TRUE(claimed);
    EXPECT_EQ(claimed->number, 3);
    EXPECT_EQ(claimed->seconds, 3);
    EXPECT_FALSE(claimPreview(scrub));
}

TEST(ClaimPreview, SupersededRequestsAreNotTaken) {
    ScrubRequest scrub;
    requestPreview(scrub, 1);
    supersedePreviews(scrub);
    EXPECT_FALSE(claimPreview(scrub));
}

TEST(IsSuperseded, OnceThereIsANewerRequest) {
    ScrubRequest scrub;
    requestPreview(scrub, 1);
    EXPECT_FALSE(isSuperseded(scrub, 1));
    requestPreview(scrub, 2);
    EXPECT_TRUE(isSuperseded(scrub, 1));
    EXPECT_FALSE(isSuperseded(scrub, 2));
    supersedePreviews(scrub);
    EXPECT_TRUE(isSuperseded(scrub, 2));
}

TEST(IsFresh, AKeyframeIsUntilItsOwnRequestIsShown) {
    ScrubRequest scrub;
    scrub.previewRequestId = 6;
    EXPECT_TRUE(isFresh(scrub, keyOf(7)));
    EXPECT_FALSE(isFresh(scrub, keyOf(6)));
    EXPECT_FALSE(isFresh(scrub, keyOf(5)));
}

TEST(IsFresh, AnExactFrameMayReplaceTheKeyframeOfItsRequest) {
    ScrubRequest scrub;
    scrub.previewRequestId = 7;
    EXPECT_TRUE(isFresh(scrub, exactOf(8)));
    EXPECT_TRUE(isFresh(scrub, exactOf(7)));
    EXPECT_FALSE(isFresh(scrub, exactOf(6)));
}

TEST(IsFresh, TheKeyframeNeverReplacesTheExactFrameOfItsRequest) {
    ScrubRequest scrub;
    publishPreview(scrub, exactOf(7));
    EXPECT_FALSE(isFresh(scrub, keyOf(7)));
}

TEST(IsFresh, NothingIsThatWasAskedForBeforeAScrubBeganOrEnded) {
    ScrubRequest scrub;
    requestPreview(scrub, 1);
    supersedePreviews(scrub);
    EXPECT_FALSE(isFresh(scrub, keyOf(1)));
    EXPECT_FALSE(isFresh(scrub, exactOf(1)));
}

TEST(PublishPreview, TheFrameIsTheOneThatWaits) {
    ScrubRequest scrub;
    publishPreview(scrub, {.number = 4, .seconds = 2.25, .exact = true, .isNv12 = true});
    EXPECT_EQ(scrub.previewRequestId, 4);
    EXPECT_EQ(scrub.previewTime, 2.25);
    EXPECT_TRUE(scrub.previewIsNv12);
    EXPECT_TRUE(scrub.previewPending);
    publishPreview(scrub, {.number = 5, .seconds = 3, .exact = true, .isNv12 = false});
    EXPECT_FALSE(scrub.previewIsNv12);
}

TEST(PublishPreview, APictureFromBeforeTheBeginningIsShownAtTheBeginning) {
    ScrubRequest scrub;
    publishPreview(scrub, {.number = 1, .seconds = -0.04, .exact = true});
    EXPECT_EQ(scrub.previewTime, 0) << "a negative time means that there is none";
}

} // namespace
} // namespace velkantrix
