// From the command to a job that runs, and what is shown of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/job_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using ExportAsCommand = ExportJobTest;
using ExportToTest = ExportJobTest;
using ExportProgress = ExportJobTest;

TEST_F(ExportAsCommand, WithoutAVideoItDoesNothing) {
    state.videoLoaded = false;
    expectNothingHappens(exportAsCommand);
    EXPECT_THAT(world.calls, IsEmpty());
}

TEST_F(ExportAsCommand, AsksForAFileBesideTheSource) {
    world.chosen = L"E:\\out.mp4";
    exportAsCommand();
    EXPECT_EQ(world.calls.front(), L"chooseExportFile");
    EXPECT_EQ(world.folder, L"D:\\v");
    EXPECT_EQ(world.suggestion.name, L"source-cut.mp4");
    EXPECT_EQ(world.suggestion.extension, L".mp4");
    EXPECT_EQ(world.suggestion.typeLabel, L"MP4 video");
    endJob();
    EXPECT_THAT(world.work(), ElementsAre(L"export E:\\out.mp4"));
    EXPECT_EQ(job.lastExportPath, L"E:\\out.mp4");
}

TEST_F(ExportAsCommand, AsksForAFolderForSeparateClips) {
    job.exportLayout = 1;
    world.chosen = L"E:\\clips";
    exportAsCommand();
    EXPECT_EQ(world.calls.front(), L"chooseOutputFolder");
    EXPECT_EQ(world.folder, L"D:\\v");
    EXPECT_TRUE(job.separateJob);
    endJob();
    EXPECT_EQ(world.disk.content(L"E:\\clips\\clip-02.mp4"), L"complete");
    EXPECT_EQ(job.lastExportPath, L"E:\\clips");
}

struct SuggestionRow {
    const char* what;
    Segment clip;
    std::int32_t quality;
    double exposure;
    const wchar_t* name;
};

TEST_F(ExportAsCommand, SuggestsACopyWhereTheFileIsCopied) {
    const SuggestionRow rows[] = {
        {"unedited", clip(0, 10), 0, 0, L"source-copy.mkv"},
        {"unedited, source size", clip(0, 10), 1, 0, L"source-copy.mkv"},
        {"smaller", clip(0, 10), 2, 0, L"source-cut.mp4"},
        {"cut", clip(0, 9), 0, 0, L"source-cut.mp4"},
        {"brighter", clip(0, 10), 0, 0.1, L"source-cut.mp4"},
        {"faded", clip(0, 10, 1), 0, 0, L"source-cut.mp4"},
    };
    for (const SuggestionRow& row : rows) {
        state.clips = {row.clip};
        job.exportQuality = row.quality;
        world.exposure = row.exposure;
        exportAsCommand();
        EXPECT_EQ(world.suggestion.name, row.name) << row.what;
    }
}

TEST_F(ExportAsCommand, ADialogThatIsCancelledEndsIt) {
    for (const std::int32_t layout : {0, 1}) {
        job.exportLayout = layout;
        expectNothingHappens(exportAsCommand);
    }
    EXPECT_THAT(world.calls, ElementsAre(L"chooseExportFile", L"chooseOutputFolder"));
    EXPECT_THAT(world.work(), IsEmpty());
}

TEST_F(ExportAsCommand, KeepsAnOpenRename) {
    renameState() = {.open = true, .target = 1};
    recorder.typed = L"goal";
    job.exportLayout = 1;
    world.chosen = L"E:\\clips";
    world.whileChoosing = [&] {
        EXPECT_EQ(state.clips[1].name, L"goal");
    };
    exportAsCommand();
    endJob();
    EXPECT_TRUE(world.disk.content(L"E:\\clips\\02 - goal.mp4"));
}

TEST_F(ExportAsCommand, TheSourceAsTargetIsASaveAndNoExport) {
    world.disk.link(L"E:\\link.mp4", L"D:\\v\\source.mkv");
    for (const wchar_t* name : {L"D:\\v\\source.mkv", L"d:\\V\\Source.MKV", L"E:\\link.mp4"}) {
        world.calls.clear();
        world.chosen = name;
        expectNothingHappens(exportAsCommand);
        EXPECT_THAT(world.calls, ElementsAre(L"chooseExportFile", L"confirmSaveInPlace"));
    }
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_EQ(world.disk.content(L"D:\\v\\source.mkv"), L"source");
    EXPECT_EQ(job.lastExportPath, L"");
}

TEST_F(ExportAsCommand, TheSourceAsTargetDoesNothingWithoutASave) {
    jobHost().confirmSaveInPlace = {};
    world.chosen = L"D:\\v\\source.mkv";
    expectNothingHappens(exportAsCommand);
    EXPECT_THAT(world.work(), IsEmpty());
}

// Boxes and dialogs let messages in.
TEST_F(ExportAsCommand, AVideoThatIsGoneBehindTheDialogIsNotExported) {
    world.chosen = L"E:\\out.mp4";
    world.whileChoosing = [&] {
        state.videoLoaded = false;
    };
    exportAsCommand();
    EXPECT_FALSE(state.exportBusy);
    state.videoLoaded = true;
    world.whileChoosing = [&] {
        openState().path = L"D:\\v\\other.mkv";
    };
    exportAsCommand();
    EXPECT_FALSE(state.exportBusy);
    EXPECT_THAT(world.work(), IsEmpty());
}

TEST_F(ExportAsCommand, CancelsTheJobThatRuns) {
    Gate goesOn;
    world.onStep = [&] {
        EXPECT_TRUE(goesOn.pass());
    };
    exportTo(L"E:\\out.mp4");
    world.calls.clear();
    recorder.forget();
    exportAsCommand();
    EXPECT_TRUE(job.exportCancel);
    EXPECT_TRUE(state.exportBusy) << "until its worker has ended";
    EXPECT_EQ(state.statusText, L"Cancelling…");
    EXPECT_EQ(recorder.calls, std::vector<std::string>{"refreshUi"});
    EXPECT_THAT(world.calls, IsEmpty());
    goesOn.open();
    endJob();
    EXPECT_EQ(state.statusText, L"Export cancelled");
    EXPECT_EQ(world.disk.content(L"E:\\out.mp4"), std::nullopt);
}

TEST_F(ExportToTest, SetsTheJobUp) {
    Gate goesOn;
    world.onStep = [&] {
        EXPECT_TRUE(goesOn.pass());
    };
    job.exportCancel = true;
    job.exportProgress = 5;
    job.closeAsked = true;
    {
        const Lock held(job.exportErrorLock);
        job.exportError = L"earlier";
    }
    world.clock = 77'000;
    recorder.playing = true;
    saveTo(L"D:\\v\\source.mkv.tmp");
    EXPECT_TRUE(state.exportBusy);
    EXPECT_FALSE(recorder.playing);
    EXPECT_FALSE(job.exportCancel);
    EXPECT_EQ(job.exportProgress, 0);
    EXPECT_DOUBLE_EQ(job.exportExpected, 6);
    EXPECT_EQ(job.exportStartTick, 77'000u);
    EXPECT_EQ(error(), L"");
    EXPECT_EQ(job.lastExportPath, L"D:\\v\\source.mkv.tmp");
    EXPECT_EQ(job.originalPath, L"D:\\v\\source.mkv");
    EXPECT_TRUE(job.saveInPlaceJob);
    EXPECT_FALSE(job.separateJob);
    EXPECT_FALSE(job.closeAsked);
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar normal", L"timer 100", L"awake"));
    EXPECT_EQ(recorder.calls, (std::vector<std::string>{"pause", "refreshUi"}));
    EXPECT_TRUE(recorder.during("refreshUi").exportBusy);
    EXPECT_EQ(recorder.during("refreshUi").statusText,
              L"Saving — writing the new file beside the original…");
    goesOn.open();
    endJob();
}

TEST_F(ExportToTest, SaysWhatItWillDo) {
    exportTo(L"E:\\out.mp4");
    EXPECT_EQ(state.statusText, L"Preparing native export…");
    endJob();
    state.clips[1].fadeOut = 1;
    exportTo(L"E:\\out.mp4");
    EXPECT_EQ(state.statusText, L"Fades require re-encoding — exporting at source quality…");
    endJob();
    exportTo(L"E:\\clips", true);
    EXPECT_EQ(state.statusText, L"Preparing native export…") << "files of clips drop their fades";
    endJob();
    job.exportQuality = 1;
    exportTo(L"E:\\out.mp4");
    EXPECT_EQ(state.statusText, L"Preparing native export…");
    endJob();
}

TEST_F(ExportToTest, ExpectsATenthOfASecondAtLeast) {
    state.clips = {clip(1, 1.05)};
    exportTo(L"E:\\out.mp4");
    EXPECT_DOUBLE_EQ(job.exportExpected, 0.1);
    endJob();
}

TEST_F(ExportToTest, WorksOnACopyOfTheClips) {
    Gate goesOn;
    world.onStep = [&] {
        EXPECT_TRUE(goesOn.pass());
    };
    exportTo(L"E:\\clips", true);
    state.clips.clear();
    goesOn.open();
    endJob();
    EXPECT_EQ(world.requests().size(), 2u);
}

TEST_F(ExportToTest, ItsOwnQualityCountsNotTheSetting) {
    job.exportQuality = 0;
    ExportTo(L"E:\\out.mp4", false, 4, false, L"", std::nullopt, false);
    endJob();
    EXPECT_EQ(world.requests().at(0).maxWidth, 854);
    EXPECT_FALSE(world.requests().at(0).losslessAllowed);
}

TEST_F(ExportToTest, BakesTheExposureIn) {
    world.exposure = 0.5;
    exportTo(L"E:\\out.mp4");
    endJob();
    EXPECT_EQ(world.requests().at(0).exposure, 0.5);
    EXPECT_FALSE(world.requests().at(0).losslessAllowed);
}

TEST_F(ExportToTest, HasNoExposureWhereNobodyHas) {
    jobHost().exposure = {};
    exportTo(L"E:\\out.mp4");
    endJob();
    EXPECT_EQ(world.requests().at(0).exposure, 0);
}

// An optimise: the whole file as it is, shown against the length of the edit.
TEST_F(ExportToTest, TakesOtherClipsAsTheyAre) {
    world.exposure = 0.5;
    state.clips[0].fadeIn = 1;
    ExportTo(L"D:\\v\\tmp", false, 0, true, L"D:\\v\\source.mkv", ClipList{clip(0, 10)}, true);
    EXPECT_DOUBLE_EQ(job.exportExpected, 6);
    endJob();
    const ExportRequest request = world.requests().at(0);
    EXPECT_EQ(request.exposure, 0);
    EXPECT_TRUE(request.losslessAllowed);
    ASSERT_EQ(request.spans.size(), 1u);
    EXPECT_TRUE(isWholeSource(request.spans[0]));
    EXPECT_EQ(state.clips.size(), 2u);
}

TEST_F(ExportToTest, OnlyOneJobRuns) {
    Gate goesOn;
    world.onStep = [&] {
        EXPECT_TRUE(goesOn.pass());
    };
    exportTo(L"E:\\out.mp4");
    world.calls.clear();
    expectNothingHappens([&] { exportTo(L"E:\\second.mp4"); });
    EXPECT_THAT(world.calls, IsEmpty());
    EXPECT_EQ(job.lastExportPath, L"E:\\out.mp4");
    goesOn.open();
    endJob();
    EXPECT_THAT(world.work(), ElementsAre(L"export E:\\out.mp4"));
}

TEST_F(ExportProgress, ShowsShareTimesAndWhatIsLeft) {
    exportTo(L"E:\\out.mp4");
    const bool success = waitForEnd();
    job.exportProgress = 1.5;
    world.clock = 1'000 + 10'000;
    refreshExportProgress();
    EXPECT_EQ(state.statusText,
              L"Exporting  25%   ·   00:01.500 / 00:06.000   ·   about 00:30.000 remaining");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar 250"));
    EXPECT_EQ(recorder.calls, std::vector<std::string>{"repaint"});
    finishExport(success);
}

TEST_F(ExportProgress, StopsAtAHundredPercent) {
    exportTo(L"E:\\out.mp4");
    const bool success = waitForEnd();
    job.exportProgress = 9;
    refreshExportProgress();
    EXPECT_EQ(state.statusText, L"Exporting  100%   ·   00:09.000 / 00:06.000");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar 1000"));
    finishExport(success);
}

TEST_F(ExportProgress, LeavesTheStatusAloneOnceItIsCancelled) {
    exportTo(L"E:\\out.mp4");
    const bool success = waitForEnd();
    exportAsCommand();
    job.exportProgress = 3;
    refreshExportProgress();
    EXPECT_EQ(state.statusText, L"Cancelling…");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar 500"));
    EXPECT_EQ(recorder.calls, std::vector<std::string>{"refreshUi"}) << "of the cancel itself";
    finishExport(success);
}

TEST_F(ExportProgress, ACancelledJobSaysSoAgainAfterAScrub) {
    exportTo(L"E:\\out.mp4");
    const bool success = waitForEnd();
    exportAsCommand();
    state.statusText = L"Scrubbing  00:01.000";
    recorder.forget();
    refreshExportProgress();
    EXPECT_EQ(state.statusText, L"Cancelling…");
    EXPECT_EQ(recorder.calls, std::vector<std::string>{"repaint"});
    finishExport(success);
}

TEST_F(ExportProgress, IsNothingWithoutAJob) {
    job.exportExpected = 6;
    expectNothingHappens(refreshExportProgress);
    EXPECT_THAT(world.calls, IsEmpty());
}

} // namespace
} // namespace velkantrix
