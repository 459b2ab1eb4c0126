// A file for each clip, written by two threads: what they write, tell and refuse.
#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "export/export_job_worker.h"
#include "tests/support/edit_fixture.h"
#include "tests/support/job_world.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr wchar_t SOURCE[] = L"D:\\v\\source.mkv";
constexpr wchar_t FIRST[] = L"D:\\clips\\clip-01.mp4";
constexpr wchar_t SECOND[] = L"D:\\clips\\clip-02.mp4";
constexpr wchar_t THIRD[] = L"D:\\clips\\clip-03.mp4";

class ExportJobClips : public testing::Test {
protected:
    ExportJobClips() {
        job.clips = {clip(0, 1), clip(2, 4), clip(5, 9)};
        job.sourcePath = SOURCE;
        job.outputPath = L"D:\\clips\\";
        job.duration = 10;
        job.expected = 7;
        job.kind.separate = true;
        job.calls = world.jobCalls();
    }

    bool run() { return runExportJob(job, shared); }

    std::wstring error() {
        const Lock held(shared.exportErrorLock);
        return shared.exportError;
    }

    bool writes(const wchar_t* path, const ExportRequest& request) const {
        return request.outputPath == path;
    }

    JobWorld world;
    ExportJob job;
    SharedJobState shared;
};

TEST_F(ExportJobClips, EachHasAFileOfItsOwn) {
    job.clips = {clip(0, 1, 0, 0, L"a/b?"), clip(2, 4, 1, 0.5), clip(5, 9, 0, 0, L"end. ")};
    EXPECT_TRUE(run());
    std::map<std::wstring, ExportSpan> written;
    for (const ExportRequest& request : world.requests()) {
        ASSERT_EQ(request.spans.size(), 1u);
        written[request.outputPath] = request.spans.front();
        EXPECT_EQ(request.sourcePath, SOURCE);
        EXPECT_EQ(request.cancel, &shared.exportCancel);
        EXPECT_TRUE(request.losslessAllowed) << "lossless files of clips drop their fades";
        EXPECT_EQ(world.disk.content(request.outputPath), L"complete");
    }
    ASSERT_EQ(written.size(), 3u);
    EXPECT_EQ(world.requests().size(), 3u);
    EXPECT_EQ(written[L"D:\\clips\\01 - a-b-.mp4"].end, 1);
    EXPECT_EQ(written[L"D:\\clips\\clip-02.mp4"].start, 2);
    EXPECT_EQ(written[L"D:\\clips\\clip-02.mp4"].fadeIn, 1);
    EXPECT_EQ(written[L"D:\\clips\\clip-02.mp4"].fadeOut, 0.5);
    EXPECT_EQ(written[L"D:\\clips\\03 - end.mp4"].end, 9);
    EXPECT_EQ(error(), L"");
}

TEST_F(ExportJobClips, TheUneditedVideoIsNotCopiedButWritten) {
    job.clips = {clip(0, 10)};
    EXPECT_TRUE(run());
    EXPECT_THAT(world.work(), ElementsAre(L"export D:\\clips\\clip-01.mp4"));
}

TEST_F(ExportJobClips, AFileOfTheNameIsReplacedWithoutAsking) {
    world.disk.put(SECOND, L"old");
    EXPECT_TRUE(run());
    EXPECT_EQ(world.disk.content(SECOND), L"complete");
    EXPECT_EQ(world.disk.content(SECOND + std::wstring(L".tmp")), std::nullopt);
    EXPECT_THAT(world.calls, IsEmpty());
}

TEST_F(ExportJobClips, AFileOfTheNameSurvivesAFailureAndACancel) {
    world.disk.put(FIRST, L"old");
    world.onExport = [&](const ExportRequest& request, std::wstring* text) {
        world.disk.remove(request.outputPath); // as a failure does
        *text = L"No";
        return false;
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(world.disk.content(FIRST), L"old");
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"complete");
        shared.exportCancel = true;
        return true;
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(world.disk.content(FIRST), L"old");
}

TEST_F(ExportJobClips, TwoAreWrittenAtOnceAndNoMore) {
    Gate firstBegan, secondBegan;
    std::mutex lock;
    int writing = 0;
    int most = 0;
    job.clips = ClipList(20, clip(1, 2));
    const auto count = [&](int change) {
        const std::lock_guard held(lock);
        writing += change;
        most = std::max(most, writing);
    };
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        count(1);
        if (writes(FIRST, request)) firstBegan.open();
        if (writes(SECOND, request)) secondBegan.open();
        EXPECT_TRUE(firstBegan.pass());
        EXPECT_TRUE(secondBegan.pass());
        count(-1);
        return true;
    };
    EXPECT_TRUE(run());
    EXPECT_EQ(most, 2);
    EXPECT_EQ(world.requests().size(), 20u);
}

TEST_F(ExportJobClips, PassesQualityAndExposureOn) {
    job.kind.quality = 4;
    job.kind.exposure = 0.5;
    EXPECT_TRUE(run());
    for (const ExportRequest& request : world.requests()) {
        EXPECT_EQ(request.maxWidth, 854);
        EXPECT_EQ(request.maxHeight, 480);
        EXPECT_EQ(request.exposure, 0.5);
        EXPECT_FALSE(request.losslessAllowed);
    }
}

// The first clip is 1 s long, the second 2 s, the third 4 s.
TEST_F(ExportJobClips, ProgressIsWhatIsDonePlusBothInWork) {
    Gate firstWrites, secondWrites, secondMayEnd;
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        if (writes(FIRST, request)) {
            request.progress(0.5);
            firstWrites.open();
            EXPECT_TRUE(secondWrites.pass());
            request.progress(1);
            EXPECT_DOUBLE_EQ(shared.exportProgress, 2.5);
        } else if (writes(SECOND, request)) {
            EXPECT_TRUE(firstWrites.pass());
            EXPECT_DOUBLE_EQ(shared.exportProgress, 0.5);
            request.progress(1.5);
            EXPECT_DOUBLE_EQ(shared.exportProgress, 2);
            secondWrites.open();
            EXPECT_TRUE(secondMayEnd.pass());
        } else {
            EXPECT_DOUBLE_EQ(shared.exportProgress, 2.5) << "1 s done, 1.5 s in work";
            request.progress(3);
            EXPECT_DOUBLE_EQ(shared.exportProgress, 5.5);
            secondMayEnd.open();
        }
        return true;
    };
    EXPECT_TRUE(run());
    EXPECT_DOUBLE_EQ(shared.exportProgress, 7);
}

TEST_F(ExportJobClips, ProgressThatGoesBackIsNotShown) {
    job.clips = {clip(0, 1)};
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        request.progress(0.75);
        request.progress(0.5);
        EXPECT_DOUBLE_EQ(shared.exportProgress, 0.75);
        return true;
    };
    EXPECT_TRUE(run());
    EXPECT_DOUBLE_EQ(shared.exportProgress, 1);
}

// Exports that tell nothing: what is done counts all the same.
TEST_F(ExportJobClips, CompleteClipsAloneArePartOfTheProgress) {
    world.onExport = [](const ExportRequest&, std::wstring*) {
        return true;
    };
    EXPECT_TRUE(run());
    EXPECT_DOUBLE_EQ(shared.exportProgress, 7);
}

TEST_F(ExportJobClips, ProgressNeitherGoesBackNorRunsAhead) {
    job.clips = ClipList(200, clip(1, 2));
    std::atomic<double> highest{0};
    world.onStep = [&] {
        const double before = highest;
        const double now = shared.exportProgress;
        EXPECT_GE(now, before);
        EXPECT_LE(now, 200);
        double seen = highest;
        while (seen < now && !highest.compare_exchange_weak(seen, now)) {}
    };
    EXPECT_TRUE(run());
    EXPECT_DOUBLE_EQ(shared.exportProgress, 200);
}

TEST_F(ExportJobClips, TheFirstErrorWins) {
    Gate secondBegan;
    world.onExport = [&](const ExportRequest& request, std::wstring* text) {
        if (writes(FIRST, request)) {
            EXPECT_TRUE(secondBegan.pass());
            *text = L"first";
            return false;
        }
        secondBegan.open();
        EXPECT_TRUE(becomesTrue([&] { return !error().empty(); }));
        *text = L"second";
        return false;
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"first");
    EXPECT_EQ(world.requests().size(), 2u);
}

TEST_F(ExportJobClips, AFailureEndsTheOthersBehindTheirClip) {
    Gate secondBegan;
    job.clips = ClipList(20, clip(1, 2));
    world.onExport = [&](const ExportRequest& request, std::wstring* text) {
        if (writes(FIRST, request)) {
            EXPECT_TRUE(secondBegan.pass());
            *text = L"broken";
            return false;
        }
        secondBegan.open();
        EXPECT_TRUE(becomesTrue([&] { return !error().empty(); }));
        return world.exportInSteps(request, text);
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"broken");
    EXPECT_EQ(world.disk.content(SECOND), L"complete");
    EXPECT_EQ(world.requests().size(), 2u);
}

TEST_F(ExportJobClips, ACancelKeepsWhatIsComplete) {
    Gate firstDone;
    world.onExport = [&](const ExportRequest& request, std::wstring* text) {
        if (writes(FIRST, request)) {
            const bool done = world.exportInSteps(request, text);
            firstDone.open();
            return done;
        }
        EXPECT_TRUE(firstDone.pass());
        shared.exportCancel = true;
        return world.exportInSteps(request, text);
    };
    EXPECT_FALSE(run());
    EXPECT_THAT(world.disk.names(),
                UnorderedElementsAre(L"d:\\v\\source.mkv", L"d:\\clips\\clip-01.mp4"));
}

TEST_F(ExportJobClips, CancelledBeforeItBeganItDoesNothing) {
    world.disk.put(FIRST, L"old");
    shared.exportCancel = true;
    EXPECT_FALSE(run());
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_EQ(world.disk.content(FIRST), L"old");
}

TEST_F(ExportJobClips, ACancelBehindTheLastClipIsOneToo) {
    world.onExport = [&](const ExportRequest& request, std::wstring* text) {
        const bool done = world.exportInSteps(request, text);
        if (world.requests().size() == 3) shared.exportCancel = true;
        return done;
    };
    EXPECT_FALSE(run());
}

// Editing clip-02.mp4 again, into its own folder.
TEST_F(ExportJobClips, NothingIsWrittenWhenOneOfThemWouldBeTheSource) {
    job.sourcePath = SECOND;
    world.disk.put(SECOND, L"source");
    world.disk.put(FIRST, L"old");
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"The export would overwrite the video it is reading.");
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_EQ(world.disk.content(SECOND), L"source");
    EXPECT_EQ(world.disk.content(FIRST), L"old");
}

TEST_F(ExportJobClips, ALinkToTheSourceIsTheSource) {
    world.disk.link(THIRD, SOURCE);
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"The export would overwrite the video it is reading.");
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_EQ(world.disk.content(SOURCE), L"source");
}

// Somebody watches the last of the clips that an earlier job has made.
TEST_F(ExportJobClips, AnOldClipThatCannotBeReplacedIsToldBeforeAnythingIsWritten) {
    world.disk.put(THIRD, L"old");
    world.heldOpen = L"Somebody has it open (0x80070020)";
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"Somebody has it open (0x80070020)");
    EXPECT_THAT(world.work(), IsEmpty());
}

// The name was free when the job began.
TEST_F(ExportJobClips, ANameThatBecomesTheSourceMeanwhileIsRefusedToo) {
    std::atomic<bool> begun{false};
    world.onExport = [&](const ExportRequest& request, std::wstring* text) {
        begun = true;
        return world.exportInSteps(request, text);
    };
    world.onSameFile = [&](const std::wstring&, const std::wstring& output) {
        return output == THIRD && begun;
    };
    EXPECT_FALSE(run());
    EXPECT_EQ(error(), L"The export would overwrite the video it is reading.");
    EXPECT_THAT(world.work(), Not(Contains(L"export D:\\clips\\clip-03.mp4")));
}

} // namespace
} // namespace velkantrix
