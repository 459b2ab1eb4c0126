#include "export/job_texts.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(StartText, SaysWhatTheJobWillDo) {
    EXPECT_EQ(startText(false, 0, false), L"Preparing native export…");
    EXPECT_EQ(startText(false, 1, true), L"Preparing native export…");
    EXPECT_EQ(startText(false, 0, true),
              L"Fades require re-encoding — exporting at source quality…");
    EXPECT_EQ(startText(true, 0, true), L"Saving — writing the new file beside the original…");
    EXPECT_EQ(startText(true, 2, false), L"Saving — writing the new file beside the original…");
}

TEST(CancellingText, IsOneWordWithAnEllipsis) {
    EXPECT_STREQ(CANCELLING, L"Cancelling…");
}

TEST(WaitingText, SaysForWhat) {
    EXPECT_STREQ(WAITING_FOR_ANSWER, L"Waiting for your answer…");
}

TEST(ProgressText, NamesShareTimesAndWhatIsLeft) {
    EXPECT_EQ(progressText(42, 100, 42),
              L"Exporting  42%   ·   00:42.000 / 01:40.000   ·   about 00:58.000 remaining");
}

TEST(ProgressText, LeavesTheTimeLeftOutAtBothEnds) {
    EXPECT_EQ(progressText(0, 100, 1), L"Exporting  0%   ·   00:00.000 / 01:40.000");
    EXPECT_EQ(progressText(0.5, 100, 1), L"Exporting  1%   ·   00:00.500 / 01:40.000");
    EXPECT_EQ(progressText(100, 100, 1), L"Exporting  100%   ·   01:40.000 / 01:40.000");
}

// An optimise of a video that was cut writes more than the edit is long.
TEST(ProgressText, StopsAtAHundredPercentButNamesTheTimeItself) {
    EXPECT_EQ(progressText(150, 100, 10), L"Exporting  100%   ·   02:30.000 / 01:40.000");
}

TEST(OutcomeText, TellsExportsFromSaves) {
    using enum JobOutcome;
    EXPECT_EQ(outcomeText(Cancelled, false, true), L"Export cancelled");
    EXPECT_EQ(outcomeText(Cancelled, true, true), L"Save cancelled — your original is untouched");
    EXPECT_EQ(outcomeText(Success, false, true),
              L"Export complete — File ▸ Show last export in Explorer");
    EXPECT_EQ(outcomeText(Success, true, true), L"Saved — the original was replaced");
    EXPECT_EQ(outcomeText(Failure, false, true), L"Export failed");
    EXPECT_EQ(outcomeText(Failure, true, true), L"Save failed — your original is untouched");
}

TEST(FailureText, EndsWithTheReason) {
    EXPECT_EQ(failureText(false, L"The disk is full.\r\n"),
              L"Export failed.\n\nThe disk is full.\r\n");
    EXPECT_EQ(failureText(true, L"No."), L"Save failed.\n\nNo.");
}

TEST(FailureText, HasAReasonWhereNoneWasGiven) {
    EXPECT_EQ(failureText(false, L""),
              L"Export failed.\n\nWindows Media Foundation could not encode this file.");
    EXPECT_EQ(failureText(true, L""),
              L"Save failed.\n\nWindows Media Foundation could not encode this file.");
}

TEST(OverwriteText, NamesTheReason) {
    EXPECT_STREQ(WOULD_OVERWRITE_SOURCE, L"The export would overwrite the video it is reading.");
}

} // namespace
} // namespace velkantrix
