#include "export/job_rules.h"

#include <cmath>

#include <gtest/gtest.h>

#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

TEST(ProgressShare, StaysBetweenNoneAndAll) {
    EXPECT_DOUBLE_EQ(progressShare(25, 100), 0.25);
    EXPECT_DOUBLE_EQ(progressShare(-1, 100), 0);
    EXPECT_DOUBLE_EQ(progressShare(101, 100), 1);
}

TEST(ProgressShare, NothingExpectedIsDone) {
    EXPECT_DOUBLE_EQ(progressShare(0, 0), 1);
    EXPECT_DOUBLE_EQ(progressShare(1, -1), 1);
    EXPECT_DOUBLE_EQ(progressShare(1, std::nan("")), 1);
    EXPECT_DOUBLE_EQ(progressShare(std::nan(""), 10), 1);
}

TEST(SecondsLeft, IsSaidOnlyBetweenHalfAPercentAndTheEnd) {
    EXPECT_LT(secondsLeft(0, 10), 0);
    EXPECT_LT(secondsLeft(0.005, 10), 0);
    EXPECT_NEAR(secondsLeft(0.0051, 1), 195.078, 0.001);
    EXPECT_DOUBLE_EQ(secondsLeft(0.5, 10), 10);
    EXPECT_DOUBLE_EQ(secondsLeft(0.75, 30), 10);
    EXPECT_LT(secondsLeft(1, 10), 0);
}

TEST(TaskbarValue, IsTheShareInThousandths) {
    EXPECT_EQ(taskbarValue(0, 100), 0u);
    EXPECT_EQ(taskbarValue(42.04, 100), 420u);
    EXPECT_EQ(taskbarValue(42.05, 100), 421u);
    EXPECT_EQ(taskbarValue(101, 100), 1000u);
    EXPECT_EQ(TASKBAR_TOTAL, 1000u);
}

TEST(HasFades, CountsThoseAboveFiveHundredths) {
    EXPECT_FALSE(hasFades({}));
    EXPECT_FALSE(hasFades({clip(0, 5), clip(5, 9, 0.05, 0.05)}));
    EXPECT_TRUE(hasFades({clip(0, 5), clip(5, 9, 0.051)}));
    EXPECT_TRUE(hasFades({clip(0, 5, 0, 0.051), clip(5, 9)}));
}

struct CopyRow {
    const char* what;
    ClipList clips;
    JobKind kind;
    bool copies;
};

TEST(CopyOnly, NeedsTheWholeFileAsItIs) {
    const CopyRow rows[] = {
        {"the whole video", {clip(0, 10)}, {}, true},
        {"its name doesn't matter", {clip(0, 10, 0, 0, L"name")}, {}, true},
        {"almost from the start", {clip(0.0009, 10)}, {}, true},
        {"not quite from the start", {clip(0.001, 10)}, {}, false},
        {"almost to the end", {clip(0, 9.951)}, {}, true},
        {"a little beyond the end", {clip(0, 10.049)}, {}, true},
        {"not quite to the end", {clip(0, 9.95)}, {}, false},
        {"two clips", {clip(0, 5), clip(5, 10)}, {}, false},
        {"no clips", {}, {}, false},
        {"re-encoded at the source's size", {clip(0, 10)}, {.quality = 1}, true},
        {"smaller frames", {clip(0, 10)}, {.quality = 2}, false},
        {"optimised", {clip(0, 10)}, {.optimise = true}, false},
        {"rewritten", {clip(0, 10)}, {.rewrite = true}, false},
        {"a file for each clip", {clip(0, 10)}, {.separate = true}, false},
        {"hardly brighter", {clip(0, 10)}, {.exposure = 0.001}, true},
        {"brighter", {clip(0, 10)}, {.exposure = 0.0011}, false},
        {"darker", {clip(0, 10)}, {.exposure = -0.0011}, false},
        {"a fade that is none", {clip(0, 10, 0.05, 0.05)}, {}, true},
        {"a fade in", {clip(0, 10, 0.06)}, {}, false},
        {"a fade out, re-encoded", {clip(0, 10, 0, 0.06)}, {.quality = 1}, false},
    };
    for (const CopyRow& row : rows)
        EXPECT_EQ(isCopyOnly(row.clips, 10, row.kind), row.copies) << row.what;
}

struct LosslessRow {
    const char* what;
    Segment clip;
    JobKind kind;
    bool lossless;
};

TEST(LosslessAllowed, NotWhereThePicturesChange) {
    const LosslessRow rows[] = {
        {"cut", clip(1, 4), {}, true},
        {"separately", clip(1, 4), {.separate = true}, true},
        {"optimised", clip(0, 4), {.optimise = true}, true},
        {"source size", clip(1, 4), {.quality = 1}, false},
        {"smaller", clip(1, 4), {.quality = 4}, false},
        {"hardly a fade", clip(1, 4, 0.05, 0.05), {}, true},
        {"a fade in", clip(1, 4, 0.06), {}, false},
        {"a fade out", clip(1, 4, 0, 0.06), {}, false},
        {"files of clips drop their fades", clip(1, 4, 1, 1), {.separate = true}, true},
        {"hardly brighter", clip(1, 4), {.exposure = -0.001}, true},
        {"brighter", clip(1, 4), {.exposure = 0.1}, false},
        {"darker, separately", clip(1, 4), {.separate = true, .exposure = -0.1}, false},
    };
    for (const LosslessRow& row : rows)
        EXPECT_EQ(isLosslessAllowed({clip(0, 1), row.clip}, row.kind), row.lossless) << row.what;
}

TEST(FrameBoxOf, FollowsTheQualitiesOfTheMenu) {
    EXPECT_EQ(frameBoxOf(0), (FrameBox{0, 0}));
    EXPECT_EQ(frameBoxOf(1), (FrameBox{0, 0}));
    EXPECT_EQ(frameBoxOf(2), (FrameBox{1920, 1080}));
    EXPECT_EQ(frameBoxOf(3), (FrameBox{1280, 720}));
    EXPECT_EQ(frameBoxOf(4), (FrameBox{854, 480}));
    EXPECT_EQ(frameBoxOf(5), (FrameBox{0, 0}));
    EXPECT_EQ(frameBoxOf(-1), (FrameBox{0, 0}));
}

TEST(SpansOfClips, KeepsOrderTimesAndFades) {
    const std::vector<ExportSpan> spans = spansOfClips({clip(5, 9, 1, 2), clip(1, 2)});
    ASSERT_EQ(spans.size(), 2u);
    EXPECT_EQ(spans[0].start, 5);
    EXPECT_EQ(spans[0].end, 9);
    EXPECT_EQ(spans[0].fadeIn, 1);
    EXPECT_EQ(spans[0].fadeOut, 2);
    EXPECT_EQ(spans[1].start, 1);
    EXPECT_EQ(spans[1].end, 2);
    EXPECT_EQ(spans[1].fadeIn, 0);
    EXPECT_EQ(spans[1].fadeOut, 0);
}

TEST(SuggestOutput, ACutIsAnMp4File) {
    const OutputSuggestion cut = suggestOutput(L"D:\\videos.old\\holiday.mkv", false);
    EXPECT_EQ(cut.name, L"holiday-cut.mp4");
    EXPECT_EQ(cut.extension, L".mp4");
    EXPECT_EQ(cut.typeLabel, L"MP4 video");
}

TEST(SuggestOutput, ACopyKeepsTheSourcesExtension) {
    const OutputSuggestion copy = suggestOutput(L"D:\\videos.old\\holiday.MKV", true);
    EXPECT_EQ(copy.name, L"holiday-copy.MKV");
    EXPECT_EQ(copy.extension, L".MKV");
    EXPECT_EQ(copy.typeLabel, L"Video file");
}

TEST(SuggestOutput, FindsTheExtensionAtTheLastDot) {
    EXPECT_EQ(suggestOutput(L"a.b.mov", true).name, L"a.b-copy.mov");
    EXPECT_EQ(suggestOutput(L"a.b.mov", false).name, L"a.b-cut.mp4");
    EXPECT_EQ(suggestOutput(L"D:/x.y/plain", true).name, L"plain-copy.mp4");
    EXPECT_EQ(suggestOutput(L"D:/x.y/plain", false).name, L"plain-cut.mp4");
    EXPECT_EQ(suggestOutput(L"D:\\dot.", true).name, L"dot-copy.mp4");
    EXPECT_EQ(suggestOutput(L"D:\\dot.", true).extension, L".mp4");
    EXPECT_EQ(suggestOutput(L"D:\\.hidden", true).name, L".hidden-copy.mp4");
    EXPECT_EQ(suggestOutput(L"D:\\.hidden", false).name, L".hidden-cut.mp4");
    EXPECT_EQ(suggestOutput(L"D:\\a.x", true).name, L"a-copy.x");
}

TEST(FolderOfFile, IsWhatIsInFrontOfTheName) {
    EXPECT_EQ(folderOfFile(L"D:\\v\\a.mp4"), L"D:\\v");
    EXPECT_EQ(folderOfFile(L"D:/v/a.mp4"), L"D:/v");
    EXPECT_EQ(folderOfFile(L"D:\\a.mp4"), L"D:\\");
    EXPECT_EQ(folderOfFile(L"\\a.mp4"), L"\\");
    EXPECT_EQ(folderOfFile(L"a.mp4"), L"");
}

TEST(NameOfVersion, StandsBeforeTheExtension) {
    EXPECT_EQ(nameOfVersion(L"D:\\v.1\\out.mp4", 2), L"D:\\v.1\\out (2).mp4");
    EXPECT_EQ(nameOfVersion(L"D:\\v.1/out", 13), L"D:\\v.1/out (13)");
    EXPECT_EQ(nameOfVersion(L"out.a.mp4", 2), L"out.a (2).mp4");
    EXPECT_EQ(nameOfVersion(L"D:\\.mp4", 2), L"D:\\.mp4 (2)");
}

TEST(ClipFileName, CountsAndCleansNames) {
    EXPECT_EQ(clipFileName(L"a/b?", 0), L"01 - a-b-.mp4");
    EXPECT_EQ(clipFileName(L"", 1), L"clip-02.mp4");
    EXPECT_EQ(clipFileName(L"goal", 8), L"09 - goal.mp4");
    EXPECT_EQ(clipFileName(L"goal", 9), L"10 - goal.mp4");
    EXPECT_EQ(clipFileName(L"", 99), L"clip-100.mp4");
    EXPECT_EQ(clipFileName(L"end. . ", 2), L"03 - end.mp4");
    EXPECT_EQ(clipFileName(L" ... ", 2), L"clip-03.mp4");
}

TEST(PathInFolder, HasOneSeparatorBetween) {
    EXPECT_EQ(pathInFolder(L"D:\\clips", L"a.mp4"), L"D:\\clips\\a.mp4");
    EXPECT_EQ(pathInFolder(L"D:\\clips\\/\\", L"a.mp4"), L"D:\\clips\\a.mp4");
    EXPECT_EQ(pathInFolder(L"D:\\", L"a.mp4"), L"D:\\a.mp4");
    EXPECT_EQ(pathInFolder(L"\\", L"a.mp4"), L"\\a.mp4");
    EXPECT_EQ(pathInFolder(L"", L"a.mp4"), L"a.mp4");
}

} // namespace
} // namespace velkantrix
