#include "export/export_job_worker.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/edit_fixture.h"
#include "tests/support/job_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t SOURCE[] = L"D:\\v\\source.mkv";
constexpr wchar_t OVERWRITE_REFUSED[] = L"The export would overwrite the video it is reading.";

class ExportJobWorker : public testing::Test {
protected:
    ExportJobWorker() {
        job.clips = {clip(1, 3), clip(5, 9)};
        job.sourcePath = SOURCE;
        job.outputPath = L"D:\\out.mp4";
        job.duration = 10;
        job.expected = 6;
        job.calls = world.jobCalls();
    }

    void useUnedited() { job.clips = {clip(0, 10)}; }

    void useSeparate(ClipList clips) {
        job.clips = std::move(clips);
        job.kind.separate = true;
        job.outputPath = L"D:\\clips\\";
    }

    bool run() { return runExportJob(job, shared); }

    std::wstring error() {
        const Lock held(shared.exportErrorLock);
        return shared.exportError;
    }

    // Of the only export that was asked for.
    ExportRequest request() {
        EXPECT_EQ(world.requests().size(), 1u);
        return world.requests().empty() ? ExportRequest{} : world.requests().front();
    }

    JobWorld world;
    ExportJob job;
    SharedJobState shared;
};

using ExportJobCopy = ExportJobWorker;
using ExportJobJoined = ExportJobWorker;

TEST_F(ExportJobCopy, CopiesTheUneditedVideo) {
    useUnedited();
    for (const std::int32_t quality : {0, 1}) {
        job.kind.quality = quality;
        EXPECT_TRUE(run());
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"source");
    }
    EXPECT_THAT(world.work(),
                ElementsAre(L"copy D:\\v\\source.mkv to D:\\out.mp4",
                            L"copy D:\\v\\source.mkv to D:\\out.mp4.tmp",
                            L"replace D:\\out.mp4 by D:\\out.mp4.tmp unless D:\\v\\source.mkv"));
    EXPECT_TRUE(shared.outputCreated);
    EXPECT_EQ(error(), L"");
}

TEST_F(ExportJobCopy, TellsTheShareOfTheBytesAsOutputSeconds) {
    useUnedited();
    job.expected = 10;
    world.onCopy = [&](const std::wstring&, const std::wstring&, const CopyProgress& progress) {
        EXPECT_TRUE(progress(1, 4));
        EXPECT_DOUBLE_EQ(shared.exportProgress, 2.5);
        EXPECT_TRUE(progress(30'000'000'000, 40'000'000'000));
        EXPECT_DOUBLE_EQ(shared.exportProgress, 7.5);
        EXPECT_TRUE(progress(0, 0));
        EXPECT_DOUBLE_EQ(shared.exportProgress, 10);
        return CopyResult{.done = true, .errorText = {}};
    };
    EXPECT_TRUE(run());
}

TEST_F(ExportJobCopy, AsksToEndWhenCancelled) {
    useUnedited();
    world.onCopy = [&](const std::wstring&, const std::wstring&, const CopyProgress& progress) {
        shared.exportCancel = true;
        EXPECT_FALSE(progress(1, 4));
        return CopyResult{.done = false, .errorText = L"aborted"};
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"") << "a cancel is no error";
    EXPECT_FALSE(shared.outputCreated);
}

TEST_F(ExportJobCopy, AFailureHasTheSystemsText) {
    useUnedited();
    world.onCopy = [&](const std::wstring&, const std::wstring&, const CopyProgress&) {
        return CopyResult{.done = false, .errorText = L"Access is denied.\r\n"};
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"Access is denied.\r\n");
    EXPECT_FALSE(shared.outputCreated);
}

TEST_F(ExportJobCopy, WhatIsToChangeIsExported) {
    useUnedited();
    std::vector<ExportJob> changed(4, job);
    changed[0].kind.quality = 2;
    changed[1].kind.exposure = 0.1;
    changed[2].kind.optimise = true;
    changed[3].clips[0].fadeIn = 1;
    for (const ExportJob& each : changed) {
        world.disk.remove(L"D:\\out.mp4");
        EXPECT_TRUE(runExportJob(each, shared));
    }
    EXPECT_EQ(world.requests().size(), 4u);
}

TEST_F(ExportJobJoined, WritesAllClipsIntoOneFile) {
    job.clips = {clip(1, 3, 0.5, 0.25), clip(5, 9)};
    EXPECT_TRUE(run());
    const ExportRequest wanted = request();
    EXPECT_EQ(wanted.sourcePath, SOURCE);
    EXPECT_EQ(wanted.outputPath, L"D:\\out.mp4");
    EXPECT_EQ(wanted.cancel, &shared.exportCancel);
    ASSERT_EQ(wanted.spans.size(), 2u);
    EXPECT_EQ(wanted.spans[0].start, 1);
    EXPECT_EQ(wanted.spans[0].end, 3);
    EXPECT_EQ(wanted.spans[0].fadeIn, 0.5);
    EXPECT_EQ(wanted.spans[0].fadeOut, 0.25);
    EXPECT_EQ(wanted.spans[1].start, 5);
    EXPECT_EQ(wanted.spans[1].end, 9);
    EXPECT_FALSE(wanted.losslessAllowed) << "fades are to be rendered";
    EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"complete");
    EXPECT_THAT(world.work(), ElementsAre(L"export D:\\out.mp4"));
    EXPECT_EQ(error(), L"");
}

TEST_F(ExportJobJoined, PassesItsOwnQualityAndExposureOn) {
    job.kind = {.quality = 3, .exposure = -0.5};
    EXPECT_TRUE(run());
    EXPECT_EQ(request().maxWidth, 1280);
    EXPECT_EQ(request().maxHeight, 720);
    EXPECT_EQ(request().exposure, -0.5);
    EXPECT_FALSE(request().losslessAllowed);
}

TEST_F(ExportJobJoined, LosslessKeepsTheSourcesSize) {
    EXPECT_TRUE(run());
    EXPECT_TRUE(request().losslessAllowed);
    EXPECT_EQ(request().maxWidth, 0);
    EXPECT_EQ(request().maxHeight, 0);
    EXPECT_EQ(request().exposure, 0);
}

TEST_F(ExportJobJoined, TellsSecondsAndInTheEndThatTheOutputWasMade) {
    world.onExport = [&](const ExportRequest& wanted, std::wstring*) {
        EXPECT_FALSE(shared.outputCreated);
        wanted.progress(2.5);
        EXPECT_EQ(shared.exportProgress, 2.5);
        wanted.progress(6);
        EXPECT_EQ(shared.exportProgress, 6);
        return true;
    };
    EXPECT_TRUE(run());
    EXPECT_TRUE(shared.outputCreated);
}

// The user has agreed to a new file in the old one's place, not to none.
TEST_F(ExportJobJoined, AFileThatStandsThereIsReplacedWhenTheNewOneIsComplete) {
    world.disk.put(L"D:\\out.mp4", L"old");
    world.onStep = [&] {
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"old");
    };
    for (const bool unedited : {false, true}) {
        if (unedited) useUnedited();
        EXPECT_TRUE(run());
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), unedited ? L"source" : L"complete");
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4.tmp"), std::nullopt);
        world.disk.put(L"D:\\out.mp4", L"old");
    }
    EXPECT_FALSE(shared.outputCreated) << "a cancel that comes late may not delete it";
}

TEST_F(ExportJobJoined, AFileThatStandsThereSurvivesAFailureAndACancel) {
    world.disk.put(L"D:\\out.mp4", L"old");
    for (const bool unedited : {false, true}) {
        if (unedited) useUnedited();
        shared.exportCancel = false;
        world.onStep = [&] {
            shared.exportCancel = true;
        };
        EXPECT_FALSE(run());
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"old");
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4.tmp"), std::nullopt);
        EXPECT_EQ(error(), L"");
    }
}

TEST_F(ExportJobJoined, ACancelBetweenTheLastSampleAndTheReplacingCounts) {
    world.disk.put(L"D:\\out.mp4", L"old");
    world.onExport = [&](const ExportRequest& wanted, std::wstring*) {
        world.disk.put(wanted.outputPath, L"complete");
        shared.exportCancel = true;
        return true;
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"old");
    EXPECT_EQ(world.disk.content(L"D:\\out.mp4.tmp"), std::nullopt);
}

TEST_F(ExportJobJoined, AFileThatCannotBeReplacedIsToldBeforeAnythingIsWritten) {
    world.disk.put(L"D:\\out.mp4", L"old");
    world.heldOpen = L"Somebody has it open (0x80070020)";
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"Somebody has it open (0x80070020)");
    EXPECT_THAT(world.work(), IsEmpty());
    world.disk.remove(L"D:\\out.mp4");
    EXPECT_TRUE(run()) << "there is none to be replaced";
}

TEST_F(ExportJobJoined, WhatCannotReplaceTheOldFileInTheEndStaysBesideIt) {
    world.disk.put(L"D:\\out.mp4", L"old");
    world.replaceError = L"Somebody has it open (0x80070020)";
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"Somebody has it open (0x80070020)\n\nIt was kept.");
    EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"old");
    EXPECT_EQ(world.disk.content(L"D:\\out.mp4.tmp"), L"complete") << "an hour's work, maybe";
    EXPECT_EQ(world.work().back(), L"keep D:\\out.mp4.tmp beside D:\\out.mp4");
}

// Half a second may be spent on trying, and nobody would be told of the file that stays.
TEST_F(ExportJobJoined, ACancelWhileTheOldFileCannotBeReplacedLeavesTheOldOneAlone) {
    world.replaceError = L"Somebody has it open (0x80070020)";
    world.onReplace = [&] {
        shared.exportCancel = true;
    };
    for (const bool unedited : {false, true}) {
        if (unedited) useUnedited();
        shared.exportCancel = false;
        world.disk.put(L"D:\\out.mp4", L"old");
        EXPECT_FALSE(run());
        EXPECT_EQ(error(), L"");
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"old");
        EXPECT_EQ(world.disk.content(L"D:\\out.mp4.tmp"), std::nullopt);
    }
}

TEST_F(ExportJobJoined, ACancelWhileTheOldFileIsReplacedComesTooLate) {
    world.disk.put(L"D:\\out.mp4", L"old");
    world.onReplace = [&] {
        shared.exportCancel = true;
    };
    EXPECT_TRUE(run());
    EXPECT_EQ(world.disk.content(L"D:\\out.mp4"), L"complete");
    EXPECT_FALSE(shared.outputCreated);
}

TEST_F(ExportJobJoined, AFailureHasTheExportsText) {
    world.onExport = [](const ExportRequest&, std::wstring* text) {
        *text = L"No room (0x80070070)";
        return false;
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"No room (0x80070070)");
    EXPECT_FALSE(shared.outputCreated);
}

TEST_F(ExportJobJoined, AFailureMayHaveNoText) {
    world.onExport = [](const ExportRequest&, std::wstring*) {
        return false;
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"");
}

TEST_F(ExportJobJoined, TheSourceIsNoTargetByAnyName) {
    world.disk.link(L"D:\\out.mp4", SOURCE);
    for (const bool unedited : {false, true}) {
        if (unedited) useUnedited();
        EXPECT_FALSE(run());
        EXPECT_EQ(error(), OVERWRITE_REFUSED);
    }
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_EQ(world.disk.content(SOURCE), L"source");
    EXPECT_FALSE(shared.outputCreated);
}

} // namespace
} // namespace velkantrix
