// What stands at the end of a save, whatever another program or a server does meanwhile.
#include "export/save_swap.h"

#include <algorithm>
#include <cstddef>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

constexpr SystemError IN_USE = 32;
constexpr wchar_t SAVED[] = L"Saved — the original was replaced";
constexpr wchar_t UNTOUCHED[] = L"Save failed — your original is untouched";
constexpr wchar_t NOT_REPLACED[] = L"Save failed — the original was not replaced";
constexpr wchar_t KEPT[] = L"keep D:\\v\\source.mp4.velkantrix-tmp beside D:\\v\\source.mp4";

class SaveEnd : public SaveTest {
protected:
    static SystemError inUse(const std::wstring&, const std::wstring&) { return IN_USE; }

    bool hasKept() { return std::ranges::count(world.work(), std::wstring(KEPT)) > 0; }
    std::ptrdiff_t times(const std::wstring& what) { return std::ranges::count(said, what); }

    // Another machine's save.
    void exchangeTemporary() {
        world.disk.remove(TEMPORARY);
        world.disk.put(TEMPORARY, L"complete");
    }

    void expectEditGoesOn(const EditState& before) {
        engineReady();
        EXPECT_EQ(state.clips, before.clips);
        EXPECT_EQ(state.undoStack.size(), before.undoStack.size());
        EXPECT_TRUE(state.edited);
        EXPECT_TRUE(state.videoLoaded);
    }
};

using SaveOnDisk = SaveEnd;
using SaveOfAll = SaveEnd;
using SaveWhoseNewFileIsExchanged = SaveEnd;
using SaveWhoseServerIsAway = SaveEnd;

// On the disk

TEST_F(SaveOnDisk, ItsFileIsThereBeforeItsEndIsTold) {
    EXPECT_TRUE(runJob());
    EXPECT_EQ(world.work().back(), L"finish D:\\v\\source.mp4.velkantrix-tmp");
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
}

TEST_F(SaveOnDisk, AFileThatDoesNotGetThereReplacesNothing) {
    world.finishError = L"The disk is broken (0x8007048F)";
    finishExport(runJob());
    EXPECT_EQ(times(L"replace"), 0);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(state.statusText, UNTOUCHED);
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nThe disk is broken (0x8007048F)");
}

TEST_F(SaveOnDisk, ACopyOfAnUneditedFileToo) {
    load(10, {clip(0, 10)});
    EXPECT_TRUE(runJob(confirmSaveInPlace));
    EXPECT_EQ(world.work().back(), L"finish D:\\v\\source.mp4.velkantrix-tmp");
}

// All of it

constexpr wchar_t BY_LESS[] =
    L"warning?: The new file seems to be incomplete: the source could not be read as far as it "
    L"says "
    L"that it goes. It may be damaged there.\n\nReplace the original all the same? It can't be "
    L"recovered then. Export As writes to a file of its own instead.";
constexpr wchar_t CANCELLED[] = L"Save cancelled — your original is untouched";

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
        answer = true;
        const bool success = runJob();
        said.clear();
        answer = false;
        finishExport(success);
        EXPECT_THAT(said, ElementsAre(BY_LESS, L"release"));
        EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
        EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
        EXPECT_EQ(state.statusText, CANCELLED);
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
    const bool success = runJob(optimiseCommand);
    answer = false;
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(state.statusText, CANCELLED);
}

TEST_F(SaveOfAll, AReencodeThatEndsEarlyIsAskedAbout) {
    job.exportQuality = 1;
    world.claim.keyframes = {0, 2, 4, 6, 8};
    world.onExport = [&](const ExportRequest& request, std::wstring*) {
        world.disk.put(request.outputPath, L"half");
        for (const double seconds : {0.0, 1.0, 1.9, 2.0, 3.0}) request.progress(seconds);
        request.progress(6); // as when all is written
        return true;
    };
    const bool success = runJob();
    answer = false;
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(state.statusText, CANCELLED);
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

// Another machine's

TEST_F(SaveWhoseNewFileIsExchanged, AnothersFileIsNotSwappedInNorDeleted) {
    const bool success = runJob();
    exchangeTemporary();
    const EditState before = state;
    finishExport(success);
    EXPECT_EQ(times(L"replace") + times(L"move"), 0);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_FALSE(hasKept()) << "nor is it given another name";
    EXPECT_EQ(world.calls.back(),
              L"error: Save failed.\n\nThe new file was replaced or taken away by another program "
              L"before it could take the original's place.\n\nYour original file is untouched.");
    expectEditGoesOn(before);
    EXPECT_EQ(state.statusText, UNTOUCHED);
}

TEST_F(SaveWhoseNewFileIsExchanged, BetweenTwoTriesAnothersFileIsNotSwappedIn) {
    onReplace = [&](const std::wstring&, const std::wstring&) {
        exchangeTemporary();
        return IN_USE;
    };
    onMove = inUse;
    finishExport(runJob());
    EXPECT_EQ(times(L"replace"), 1);
    EXPECT_EQ(times(L"move"), 0) << "nor by the second way";
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
}

TEST_F(SaveWhoseNewFileIsExchanged, ALateCancelDeletesOnlyItsOwn) {
    const bool success = runJob();
    exchangeTemporary();
    job.exportCancel = true;
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched");
}

TEST_F(SaveWhoseNewFileIsExchanged, WhatWasDoneThoughTheServerSaysOtherwiseIsDone) {
    onReplace = [&](const std::wstring& original, const std::wstring& temporary) {
        EXPECT_EQ(swap(temporary, original), 0u);
        return SystemError{121};
    };
    finishExport(runJob());
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(times(L"move"), 0);
    EXPECT_EQ(state.statusText, SAVED);
}

// A look that fails

TEST_F(SaveWhoseServerIsAway, IsTriedAgainWhenItIsBack) {
    const bool success = runJob();
    awayUntil = world.clock + 1'000;
    finishExport(success);
    EXPECT_GE(world.clock, awayUntil);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(state.statusText, SAVED);
}

TEST_F(SaveWhoseServerIsAway, KeepsTheNewFileAndTheEditAndClaimsNothing) {
    state.undoStack.push_back({.clips = {clip(0, 10)}, .label = L"split"});
    const bool success = runJob();
    awayUntil = world.clock + 60'000;
    const EditState before = state;
    const std::uint64_t begun = world.clock;
    finishExport(success);
    EXPECT_LE(world.clock - begun, 2'100u);
    EXPECT_EQ(times(L"replace") + times(L"move"), 0);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_TRUE(hasKept());
    EXPECT_EQ(
        world.calls.back(),
        L"error: Save failed.\n\nThe edit was encoded, but the original could not be examined "
        L"(error 64), and was not replaced.\n\nIt was kept.");
    EXPECT_EQ(state.statusText, NOT_REPLACED);
    expectEditGoesOn(before);
}

TEST_F(SaveWhoseServerIsAway, ForALookAfterTheLastTryKeepsTheNewFileAndTheEdit) {
    onReplace = inUse;
    onMove = [&](const std::wstring&, const std::wstring&) {
        awayUntil = world.clock + 60'000;
        return IN_USE;
    };
    const bool success = runJob();
    const EditState before = state;
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_TRUE(hasKept());
    expectEditGoesOn(before);
}

TEST_F(SaveWhoseServerIsAway, AFailedReopeningFindsTheEditUnsaved) {
    onReplace = inUse;
    onMove = inUse;
    bool editedThen = false;
    openHost().openEngine = [&](const std::wstring&) {
        editedThen = state.edited;
        return EngineOpening{.begun = false, .failurePosted = false};
    };
    finishExport(runJob());
    EXPECT_TRUE(editedThen) << "the system may ask whether it can end";
}

TEST_F(SaveWhoseServerIsAway, ALateCancelKeepsTheNewFileAndClaimsNothing) {
    const bool success = runJob();
    awayUntil = world.clock + 60'000;
    job.exportCancel = true;
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(
        world.calls.back(),
        L"error: Save failed.\n\nThe edit was encoded, but the original could not be examined, "
        L"and was not replaced.\n\nIt was kept.");
}

// Half-way

TEST_F(SaveEnd, HalfWayNothingIsWrittenOverWhatHasComeThere) {
    onReplace = [&](const std::wstring& original, const std::wstring&) {
        world.disk.remove(original);
        return UNABLE_TO_MOVE_REPLACEMENT;
    };
    int looks = 0;
    const bool success = runJob();
    onLook = [&](const std::wstring& path) {
        // Behind the last look in front of the second way.
        if (path == ORIGINAL && !world.disk.content(ORIGINAL)) looks++;
    };
    onMove = [&](const std::wstring&, const std::wstring& original) {
        world.disk.put(original, L"another's file");
        return SystemError{183};
    };
    finishExport(success);
    EXPECT_GT(looks, 0);
    EXPECT_EQ(times(L"move"), 0) << "which would replace it";
    EXPECT_EQ(times(L"move to free name"), 1);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"another's file");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
}

TEST_F(SaveEnd, BetweenTheTwoWaysAnotherProgramsChangeIsSeen) {
    onReplace = [&](const std::wstring& original, const std::wstring&) {
        world.disk.put(original, L"changed since");
        return IN_USE;
    };
    finishExport(runJob());
    EXPECT_EQ(times(L"move"), 0);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"changed since");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
}

TEST_F(SaveEnd, ReasonsStandWithoutTheEndOfTheirLine) {
    onReplace = inUse;
    onMove = inUse;
    saveHost().errorText = [](SystemError) {
        return std::wstring(L"It is in use.\r\n");
    };
    finishExport(runJob());
    EXPECT_EQ(world.calls.back(),
              L"error: Save failed.\n\nThe edit was encoded, but it could not replace the original "
              L"(It is in use.).\n\nYour original file is untouched.");
}

TEST_F(SaveEnd, OfALinkShowsTheLink) {
    openState().path = L"C:\\link.mp4";
    links[L"C:\\link.mp4"] = ORIGINAL;
    world.disk.link(L"C:\\link.mp4", ORIGINAL);
    finishExport(runJob());
    EXPECT_EQ(job.lastExportPath, L"C:\\link.mp4");
}

TEST_F(SaveEnd, OfAnOriginalThatIsGoneKeepsTheEdit) {
    onReplace = [&](const std::wstring& original, const std::wstring&) {
        world.disk.remove(original);
        return UNABLE_TO_MOVE_REPLACEMENT;
    };
    onMove = inUse;
    const bool success = runJob();
    const EditState before = state;
    finishExport(success);
    EXPECT_EQ(state.clips, before.clips);
    EXPECT_TRUE(state.edited);
}

// The file is being opened again when the job ends.
TEST_F(SaveEnd, AfterALostDeviceTheNewFileIsOpenedAllTheSame) {
    const bool success = runJob();
    reopenAfterDeviceLoss(false);
    EXPECT_EQ(openState().phase, OpenPhase::Reopening);
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(openState().phase, OpenPhase::Opening);
    engineReady();
    EXPECT_THAT(state.clips, ElementsAre(clip(0, 6)));
    EXPECT_EQ(state.statusText, SAVED);
}

TEST_F(SaveEnd, AfterAFailedSwapTheExposureStays) {
    int resets = 0;
    openHost().resetExposure = [&] {
        resets++;
    };
    onReplace = inUse;
    onMove = inUse;
    finishExport(runJob());
    EXPECT_EQ(resets, 0);
}

} // namespace
} // namespace velkantrix
