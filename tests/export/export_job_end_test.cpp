// The end of a job: what stays on disk, and what the user is told.
#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/job_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t OUT[] = L"E:\\out.mp4";
constexpr wchar_t TEMP[] = L"D:\\v\\source.mkv.tmp";
constexpr wchar_t SOURCE[] = L"D:\\v\\source.mkv";

class FinishExport : public ExportJobTest {
protected:
    // The export fails with that text, having made its output and taken it away again.
    void failWith(const std::wstring& text) {
        world.onExport = [text](const ExportRequest&, std::wstring* errorText) {
            *errorText = text;
            return false;
        };
    }

    // The user cancels when the job has written everything but its end hasn't arrived yet.
    void cancelLate() {
        const bool success = waitForEnd();
        EXPECT_TRUE(success);
        job.exportCancel = true;
        finishExport(success);
    }
};

using CloseAfterExport = FinishExport;
using ShowLastExport = FinishExport;

TEST_F(FinishExport, Success) {
    exportTo(OUT);
    endJob();
    EXPECT_FALSE(state.exportBusy);
    EXPECT_FALSE(state.edited);
    EXPECT_EQ(job.lastExportPath, OUT);
    EXPECT_EQ(state.statusText, L"Export complete — File ▸ Show last export in Explorer");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar none", L"timer 250", L"may sleep"));
    EXPECT_EQ(recorder.calls, std::vector<std::string>{"refreshUi"});
    EXPECT_FALSE(recorder.during("refreshUi").exportBusy);
    EXPECT_EQ(recorder.during("refreshUi").statusText, state.statusText);
}

TEST_F(FinishExport, SuccessIsFlashedToAUserWhoIsElsewhere) {
    world.foreground = false;
    exportTo(OUT);
    endJob();
    EXPECT_EQ(world.calls.back(), L"flash");
}

TEST_F(FinishExport, FailureIsToldInABox) {
    failWith(L"No room (0x80070070)");
    world.foreground = false;
    exportTo(OUT);
    endJob();
    EXPECT_FALSE(state.exportBusy);
    EXPECT_TRUE(state.edited);
    EXPECT_EQ(job.lastExportPath, L"");
    EXPECT_EQ(state.statusText, L"Export failed");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar none", L"timer 250", L"may sleep",
                                         L"error: Export failed.\n\nNo room (0x80070070)"));
    EXPECT_THAT(world.work(), ElementsAre(L"export E:\\out.mp4")) << "nothing is deleted";
}

TEST_F(FinishExport, FailureWithoutATextHasOneAllTheSame) {
    failWith(L"");
    exportTo(OUT);
    endJob();
    EXPECT_EQ(world.calls.back(),
              L"error: Export failed.\n\nWindows Media Foundation could not encode this file.");
}

TEST_F(FinishExport, SuccessOfSeparateClipsIsAllTheSame) {
    world.foreground = false;
    exportTo(L"E:\\clips", true);
    endJob();
    EXPECT_FALSE(state.edited) << "closing need not ask";
    EXPECT_EQ(job.lastExportPath, L"E:\\clips");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar none", L"timer 250", L"may sleep", L"flash"));
}

TEST_F(FinishExport, FailureOfSeparateClipsKeepsTheFolder) {
    failWith(L"No");
    exportTo(L"E:\\clips", true);
    endJob();
    EXPECT_EQ(job.lastExportPath, L"E:\\clips");
    EXPECT_EQ(state.statusText, L"Export failed");
    EXPECT_TRUE(state.edited);
}

TEST_F(FinishExport, CancelDeletesTheOutputAndSaysNoMore) {
    world.foreground = false;
    exportTo(OUT);
    cancelLate();
    EXPECT_EQ(world.disk.content(OUT), std::nullopt);
    EXPECT_EQ(job.lastExportPath, L"");
    EXPECT_EQ(state.statusText, L"Export cancelled");
    EXPECT_TRUE(state.edited);
    EXPECT_FALSE(job.exportCancel);
    EXPECT_FALSE(state.exportBusy);
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar none", L"timer 250", L"may sleep"));
    EXPECT_THAT(world.work(),
                ElementsAre(L"export E:\\out.mp4", L"delete E:\\out.mp4 unless D:\\v\\source.mkv"));
}

// The old one is gone by then: better the new one than none, and it is the export.
TEST_F(FinishExport, ACancelThatComesTooLateKeepsAFileThatReplacedAnother) {
    world.disk.put(OUT, L"old");
    exportTo(OUT);
    cancelLate();
    EXPECT_EQ(world.disk.content(OUT), L"complete");
    EXPECT_EQ(state.statusText, L"Export complete — File ▸ Show last export in Explorer");
    EXPECT_EQ(job.lastExportPath, OUT);
    EXPECT_FALSE(state.edited);
}

// A save that the user has cancelled isn't swapped in, whatever stood at its temporary name.
TEST_F(FinishExport, ASaveThatIsCancelledLateIsCancelled) {
    world.disk.put(TEMP, L"old");
    saveTo(TEMP);
    cancelLate();
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched");
    EXPECT_TRUE(state.edited);
}

TEST_F(FinishExport, AFileThatStandsBesideItsPlaceIsToldThoughTheUserHasCancelledSince) {
    world.replaceError = L"Somebody has it open (0x80070020)";
    world.onKeep = [&] {
        job.exportCancel = true;
    };
    for (const bool separate : {false, true}) {
        world.disk.put(separate ? L"E:\\clips\\clip-02.mp4" : OUT, L"old");
        exportTo(separate ? L"E:\\clips" : OUT, separate);
        endJob();
        EXPECT_EQ(state.statusText, L"Export failed");
        EXPECT_EQ(world.calls.back(),
                  L"error: Export failed.\n\nSomebody has it open (0x80070020)\n\nIt was kept.");
    }
}

TEST_F(FinishExport, CancelDeletesTheCopyToo) {
    state.clips = {clip(0, 10)};
    exportTo(OUT);
    cancelLate();
    EXPECT_EQ(world.disk.content(OUT), std::nullopt);
}

// The source couldn't be opened, say: what stood there before is still there.
TEST_F(FinishExport, CancelDeletesNothingThatTheJobDidNotMake) {
    world.disk.put(OUT, L"another's");
    world.onExport = [&](const ExportRequest&, std::wstring* errorText) {
        job.exportCancel = true;
        *errorText = L"Export cancelled";
        return false;
    };
    exportTo(OUT);
    endJob();
    EXPECT_EQ(world.disk.content(OUT), L"another's");
    EXPECT_EQ(state.statusText, L"Export cancelled");
    EXPECT_THAT(world.work(), ElementsAre(L"export E:\\out.mp4.tmp"));
}

TEST_F(FinishExport, WhatAnEarlierJobMadeDoesNotCount) {
    exportTo(OUT);
    endJob();
    world.onExport = [&](const ExportRequest&, std::wstring*) {
        job.exportCancel = true;
        return false;
    };
    exportTo(OUT);
    endJob();
    EXPECT_EQ(world.disk.content(OUT), L"complete");
}

TEST_F(FinishExport, CancelOfSeparateClipsKeepsThem) {
    exportTo(L"E:\\clips", true);
    cancelLate();
    EXPECT_EQ(world.disk.content(L"E:\\clips\\clip-01.mp4"), L"complete");
    EXPECT_EQ(world.disk.content(L"E:\\clips\\clip-02.mp4"), L"complete");
    EXPECT_EQ(job.lastExportPath, L"E:\\clips");
    EXPECT_EQ(state.statusText, L"Export cancelled");
    EXPECT_TRUE(state.edited);
}

TEST_F(FinishExport, TheSourceAmongTheClipsIsToldAndKept) {
    world.disk.link(L"D:\\v\\clip-01.mp4", SOURCE);
    exportTo(L"D:\\v", true);
    endJob();
    EXPECT_EQ(world.calls.back(),
              L"error: Export failed.\n\nThe export would overwrite the video it is reading.");
    EXPECT_EQ(world.disk.content(SOURCE), L"source");
    EXPECT_THAT(world.work(), IsEmpty());
}

TEST_F(FinishExport, WithoutAJobItIsNothing) {
    job.exportCancel = true;
    job.lastExportPath = OUT;
    job.outputCreated = true;
    expectNothingHappens([] { finishExport(true); });
    EXPECT_THAT(world.calls, IsEmpty());
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_EQ(job.lastExportPath, OUT);
}

TEST_F(FinishExport, ASaveIsSwappedIn) {
    saveTo(TEMP);
    world.foreground = false;
    jobHost().swapInSavedFile = [&] {
        EXPECT_FALSE(state.exportBusy) << "the file is opened again";
        EXPECT_EQ(job.lastExportPath, TEMP);
        EXPECT_EQ(job.originalPath, SOURCE);
        world.calls.push_back(L"swapInSavedFile");
        return true;
    };
    endJob();
    EXPECT_EQ(job.lastExportPath, SOURCE);
    EXPECT_FALSE(job.saveInPlaceJob);
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
    EXPECT_THAT(world.calls, ElementsAre(L"swapInSavedFile", L"taskbar none", L"timer 250",
                                         L"may sleep", L"flash"));
}

TEST_F(FinishExport, ASaveThatIsNotSwappedInFailed) {
    saveTo(TEMP);
    jobHost().swapInSavedFile = [&] {
        const Lock held(job.exportErrorLock);
        job.exportError = L"The file is locked.";
        return false;
    };
    endJob();
    EXPECT_EQ(job.lastExportPath, L"");
    EXPECT_TRUE(state.edited) << "closing has to ask";
    EXPECT_EQ(state.statusText, L"Save failed — your original is untouched");
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nThe file is locked.");
}

TEST_F(FinishExport, ASaveThatFailsIsNotSwappedIn) {
    failWith(L"No");
    saveTo(TEMP);
    endJob();
    EXPECT_EQ(job.lastExportPath, L"");
    EXPECT_EQ(state.statusText, L"Save failed — your original is untouched");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar none", L"timer 250", L"may sleep",
                                         L"error: Save failed.\n\nNo"));
    EXPECT_THAT(world.work(), ElementsAre(L"export D:\\v\\source.mkv.tmp"));
}

TEST_F(FinishExport, ASaveThatIsCancelledIsNotSwappedIn) {
    saveTo(TEMP);
    cancelLate();
    EXPECT_EQ(world.disk.content(TEMP), std::nullopt);
    EXPECT_EQ(job.lastExportPath, L"");
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched");
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar none", L"timer 250", L"may sleep"));
}

TEST_F(CloseAfterExport, CancelsAndClosesInPlaceOfAnyReport) {
    world.foreground = false;
    exportTo(OUT);
    const bool success = waitForEnd();
    EXPECT_TRUE(closeAfterExport());
    EXPECT_TRUE(job.exportCancel);
    EXPECT_TRUE(job.closeAsked);
    EXPECT_EQ(state.statusText, L"Cancelling…");
    EXPECT_EQ(recorder.calls, std::vector<std::string>{"refreshUi"});
    EXPECT_THAT(world.calls, IsEmpty());
    finishExport(success);
    EXPECT_EQ(world.calls.back(), L"close");
    EXPECT_EQ(std::ranges::count(world.calls, L"flash"), 0);
    EXPECT_FALSE(job.closeAsked);
    EXPECT_EQ(world.disk.content(OUT), std::nullopt);
}

TEST_F(CloseAfterExport, AFailureIsNotReportedToAUserWhoLeaves) {
    failWith(L"No");
    exportTo(OUT);
    const bool success = waitForEnd();
    job.closeAsked = true; // but the cancel came to nothing
    finishExport(success);
    EXPECT_THAT(world.calls, ElementsAre(L"taskbar none", L"timer 250", L"may sleep", L"close"));
}

// The job ended while the user was asked.
TEST_F(CloseAfterExport, WithoutAJobTheWindowClosesAsAtAnyTime) {
    expectNothingHappens([] { EXPECT_FALSE(closeAfterExport()); });
    EXPECT_FALSE(job.closeAsked);
    EXPECT_FALSE(job.exportCancel);
}

TEST_F(CloseAfterExport, TheWishEndsWithItsJob) {
    exportTo(OUT);
    const bool success = waitForEnd();
    EXPECT_TRUE(closeAfterExport());
    finishExport(success);
    exportTo(OUT);
    endJob();
    EXPECT_NE(world.calls.back(), L"close");
    EXPECT_EQ(state.statusText, L"Export complete — File ▸ Show last export in Explorer");
}

TEST_F(ShowLastExport, ShowsWhatTheLastJobWrote) {
    exportTo(OUT);
    endJob();
    EXPECT_TRUE(canShowLastExport());
    world.calls.clear();
    showLastExport();
    EXPECT_THAT(world.calls, ElementsAre(L"show E:\\out.mp4"));
}

TEST_F(ShowLastExport, IsNothingBeforeTheFirst) {
    EXPECT_FALSE(canShowLastExport());
    showLastExport();
    EXPECT_THAT(world.calls, IsEmpty());
}

TEST_F(ShowLastExport, IsNothingWhileAJobRuns) {
    exportTo(OUT);
    const bool success = waitForEnd();
    EXPECT_FALSE(canShowLastExport());
    showLastExport();
    EXPECT_THAT(world.calls, IsEmpty());
    finishExport(success);
}

TEST_F(ShowLastExport, IsNothingAfterACancel) {
    exportTo(OUT);
    cancelLate();
    EXPECT_FALSE(canShowLastExport());
}

} // namespace
} // namespace velkantrix
