// A save of which the source claims more than came out.
#include "export/save_swap.h"

#include <algorithm>
#include <cstddef>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t SAVED[] = L"Saved — the original was replaced";

constexpr wchar_t BY_LESS[] =
    L"warning?: The new file seems to be incomplete. The source may be damaged, or have sound "
    L"without pictures, which can't always be kept.\n\nReplace the original all the same? It can't "
    L"be recovered then. Export As writes to a file of its own instead.";
constexpr wchar_t CANCELLED[] = L"Save cancelled — your original is untouched";

class SaveOfAll : public SaveTest {
protected:
    std::ptrdiff_t times(const std::wstring& what) { return std::ranges::count(said, what); }

    // Yes to what is asked before the job, and No to what is asked behind it.
    void expectKeptByANo(void (*command)() = saveCommand) {
        answer = true;
        const bool success = runJob(command);
        said.clear();
        answer = false;
        finishExport(success);
        EXPECT_THAT(said, ElementsAre(BY_LESS, L"release"));
        EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
        EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
        EXPECT_EQ(state.statusText, CANCELLED);
    }
};

TEST_F(SaveOfAll, ACopyThatEndsEarlyIsAskedAbout) {
    for (const WrittenSpan& last :
         {WrittenSpan{.sourceEnd = 7.5}, WrittenSpan{.hasPictures = false}}) {
        load(10, {clip(1, 3), clip(5, 9)});
        state.edited = true;
        world.onExport = [&](const ExportRequest& request, std::wstring*) {
            world.disk.put(request.outputPath, L"half");
            request.spanWritten({.sourceEnd = 3});
            request.spanWritten(last);
            return true;
        };
        expectKeptByANo();
        EXPECT_TRUE(state.edited);
    }
}

TEST_F(SaveOfAll, LessThanAllIsSwappedInWhereTheUserWantsIt) {
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"half");
        return true;
    };
    finishExport(runJob());
    EXPECT_EQ(times(BY_LESS), 1);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"half");
    EXPECT_EQ(state.statusText, SAVED);
}

TEST_F(SaveOfAll, AnOptimiseThatEndsEarlyIsAskedAbout) {
    state.edited = false;
    world.claim.keyframes = {0, 4, 8};
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"half");
        request.spanWritten({.sourceEnd = 4.5});
        return true;
    };
    expectKeptByANo(optimiseCommand);
}

// Whatever is claimed: keyframes, of a recording that was broken off its fragments, or nothing.
TEST_F(SaveOfAll, AReencodeThatEndsEarlyIsAskedAbout) {
    for (const VideoClaim& claim :
         {VideoClaim{.keyframes = {0, 2, 4, 6, 8}}, VideoClaim{.fragment = 8.6}, VideoClaim{}}) {
        for (const WrittenSpan& last :
             {WrittenSpan{.sourceEnd = 6.9}, WrittenSpan{.sourceEnd = 9, .hasPictures = false}}) {
            load(10, {clip(1, 3), clip(5, 9)});
            job.exportQuality = 1;
            world.exposure = 1;
            world.claim = claim;
            world.onExport = [&](const ExportRequest& request, std::wstring*) {
                EXPECT_FALSE(request.losslessAllowed);
                world.disk.put(request.outputPath, L"half");
                request.spanWritten({.sourceEnd = 3});
                request.spanWritten(last);
                request.progress(6); // as when all is written
                return true;
            };
            expectKeptByANo();
        }
    }
}

TEST_F(SaveOfAll, SoundThatEndsEarlyIsAskedAbout) {
    world.claim.sound = SoundClaim{0, 10};
    for (const std::int32_t quality : {0, 1}) {
        load(10, {clip(1, 3), clip(5, 9)});
        job.exportQuality = quality;
        world.onExport = [&](const ExportRequest& request, std::wstring*) {
            world.disk.put(request.outputPath, L"half");
            request.spanWritten({.sourceEnd = 3, .soundEnd = 3});
            request.spanWritten({.sourceEnd = 9, .soundEnd = 7.5});
            return true;
        };
        expectKeptByANo();
    }
}

// Who leaves can't be asked; and a cancel that came too late for the job needs no question.
TEST_F(SaveOfAll, LessThanAllIsNotSwappedInBehindACancelOrAClose) {
    for (const bool closes : {false, true}) {
        load(10, {clip(1, 3)});
        state.edited = true;
        world.onExport = [&](const ExportRequest& request, std::wstring*) {
            world.disk.put(request.outputPath, L"half");
            request.spanWritten({.sourceEnd = 1.5});
            return true;
        };
        const bool success = runJob();
        if (closes)
            EXPECT_TRUE(closeAfterExport());
        else
            exportAsCommand();
        said.clear();
        finishExport(success);
        EXPECT_THAT(said, ElementsAre(L"release"));
        EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
        EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    }
}

TEST_F(SaveOfAll, ACloseBehindTheQuestionIsACancel) {
    load(10, {clip(1, 3)});
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"half");
        request.spanWritten({.sourceEnd = 1.5});
        return true;
    };
    const bool success = runJob();
    whileAsked = [this] {
        EXPECT_TRUE(state.exportBusy);
        EXPECT_TRUE(closeAfterExport());
    };
    answer = false;
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(world.calls.back(), L"close");
}

class ShortSaveBehindABox : public SaveOfAll {
protected:
    // A save that has ended, while another question stands.
    void SetUp() override {
        load(10, {clip(1, 3)});
        state.edited = true;
        world.onExport = [this](const ExportRequest& request, std::wstring*) {
            world.disk.put(request.outputPath, L"half");
            request.spanWritten({.sourceEnd = 1.5});
            return true;
        };
        jobHost().canAsk = [this] {
            return !boxStands;
        };
        finishExport(runJob());
        EXPECT_THAT(said, IsEmpty());
        EXPECT_TRUE(state.exportBusy);
        EXPECT_EQ(world.disk.content(TEMPORARY), L"half");
    }

    void expectOriginalStandsAlone() {
        EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
        EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    }

    bool boxStands = true;
};

TEST_F(ShortSaveBehindABox, AsksWhenThatIsAnswered) {
    refreshExportProgress();
    EXPECT_THAT(said, IsEmpty());
    boxStands = false;
    answer = false;
    refreshExportProgress();
    EXPECT_THAT(said, ElementsAre(BY_LESS, L"release"));
    EXPECT_FALSE(state.exportBusy);
    EXPECT_EQ(state.statusText, CANCELLED);
    expectOriginalStandsAlone();
    refreshExportProgress();
    EXPECT_EQ(times(BY_LESS), 1);
}

TEST_F(ShortSaveBehindABox, IsSwappedInByALateYes) {
    boxStands = false;
    refreshExportProgress();
    EXPECT_EQ(times(BY_LESS), 1);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"half");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(state.statusText, SAVED);
}

// Whatever else has been said meanwhile.
TEST_F(ShortSaveBehindABox, SaysThatItWaits) {
    EXPECT_EQ(state.statusText, L"Waiting for your answer…");
    state.statusText = L"Paused";
    refreshExportProgress();
    EXPECT_EQ(state.statusText, L"Waiting for your answer…");
}

TEST_F(ShortSaveBehindABox, AsksNoMoreBehindACancel) {
    exportAsCommand();
    refreshExportProgress();
    EXPECT_THAT(said, ElementsAre(L"release"));
    EXPECT_EQ(state.statusText, CANCELLED);
    expectOriginalStandsAlone();
}

TEST_F(ShortSaveBehindABox, WhoLeavesMeanwhileKeepsTheOriginal) {
    EXPECT_TRUE(closeAfterExport());
    refreshExportProgress();
    EXPECT_THAT(said, ElementsAre(L"release"));
    expectOriginalStandsAlone();
    EXPECT_EQ(world.calls.back(), L"close");
}

// However the one before it came to its end.
TEST_F(ShortSaveBehindABox, IsNotWaitedForByTheNextJob) {
    state.exportBusy = false;
    exportTo(L"E:\\out.mp4");
    refreshExportProgress();
    EXPECT_TRUE(state.exportBusy) << "it goes on";
    finishExport(waitForEnd());
    EXPECT_FALSE(state.exportBusy);
}

bool isAboutSleep(const std::wstring& call) {
    return call == L"awake" || call == L"may sleep";
}

TEST_F(SaveOfAll, SaysThatItWaitsWhileItsQuestionStands) {
    load(10, {clip(1, 3)});
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"half");
        request.spanWritten({.sourceEnd = 1.5});
        request.progress(1);
        return true;
    };
    const bool success = runJob();
    int asked = 0;
    whileAsked = [&] {
        asked++;
        EXPECT_EQ(state.statusText, L"Waiting for your answer…");
        refreshExportProgress();
        EXPECT_EQ(state.statusText, L"Waiting for your answer…");
        const auto last =
            std::ranges::find_if(world.calls.rbegin(), world.calls.rend(), isAboutSleep);
        EXPECT_EQ(*last, L"may sleep") << "the answer may come tomorrow";
    };
    finishExport(success);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(state.statusText, SAVED);
    EXPECT_FALSE(exportJob().asks);
}

// That is swapped in, or fails, at once.
TEST_F(SaveOfAll, AWholeOneWaitsForNoBox) {
    jobHost().canAsk = [] {
        return false;
    };
    load(10, {clip(1, 3)});
    finishExport(runJob());
    EXPECT_EQ(state.statusText, SAVED);
}

TEST_F(SaveOfAll, AnExportToAnotherFileEndsAsBefore) {
    world.chosen = L"E:\\out.mp4";
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"half");
        return true;
    };
    exportAsCommand();
    finishExport(waitForEnd());
    EXPECT_EQ(state.statusText, L"Export complete — File ▸ Show last export in Explorer");
}

} // namespace
} // namespace velkantrix
