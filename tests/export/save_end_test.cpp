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

// Full when all but the file's end is written, and when that is brought onto it.
TEST_F(SaveOnDisk, ThatIsFullAtTheVeryEndReplacesNothing) {
    for (const bool flushing : {false, true}) {
        load(10, {clip(1, 3), clip(5, 9)});
        state.edited = true;
        world.finishError = flushing ? L"No room (0x80070070)" : L"";
        world.onExport = [&](const ExportRequest& request, std::wstring* text) {
            const bool written = world.exportInSteps(request, text);
            if (flushing) return written;
            world.disk.remove(request.outputPath);
            *text = L"No room (0x80070070)";
            return false;
        };
        finishExport(runJob());
        EXPECT_THAT(said, ElementsAre(L"release"));
        EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
        EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
        EXPECT_EQ(state.statusText, UNTOUCHED);
        EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nNo room (0x80070070)");
        EXPECT_THAT(state.clips, ElementsAre(clip(1, 3), clip(5, 9)));
        EXPECT_TRUE(state.edited);
    }
}

TEST_F(SaveOnDisk, AFileThatDoesNotGetThereIsKeptWhereTheOriginalHasGone) {
    world.finishError = L"The disk is broken (0x8007048F)";
    const bool success = runJob();
    world.disk.remove(ORIGINAL);
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_TRUE(hasKept());
    EXPECT_EQ(state.statusText, NOT_REPLACED);
}

TEST_F(SaveOnDisk, ACancelMeanwhileEndsIt) {
    world.onFinish = [this] {
        job.exportCancel = true;
    };
    const bool success = runJob();
    EXPECT_FALSE(success);
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched");
}

// The only copy of anything may be the one that is complete.
TEST_F(SaveOnDisk, ACancelMeanwhileKeepsTheFileWhereTheOriginalHasGone) {
    world.onFinish = [this] {
        job.exportCancel = true;
    };
    const bool success = runJob();
    world.disk.remove(ORIGINAL);
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_TRUE(hasKept());
}

TEST_F(SaveOnDisk, ACloseMeanwhileSwapsNothingIn) {
    world.onFinish = [this] {
        job.exportCancel = true;
    };
    const bool success = runJob();
    EXPECT_TRUE(closeAfterExport());
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(world.calls.back(), L"close");
}

TEST_F(SaveOnDisk, ACancelWhileItIsLookedWhetherItIsWholeEndsItToo) {
    world.onClaim = [this] {
        job.exportCancel = true;
    };
    const bool success = runJob();
    EXPECT_FALSE(success);
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched");
}

TEST_F(SaveOnDisk, ACopyOfAnUneditedFileToo) {
    load(10, {clip(0, 10)});
    EXPECT_TRUE(runJob(confirmSaveInPlace));
    EXPECT_EQ(world.work().back(), L"finish D:\\v\\source.mp4.velkantrix-tmp");
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
        L"error: Save failed.\n\nThe original could not be examined (error 64).\n\nIt was kept.");
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
    EXPECT_EQ(world.calls.back(),
              L"error: Save failed.\n\nThe original could not be examined.\n\nIt was kept.");
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
