// The end of a save: the swap, and what is left and told when it can't be.
#include "export/save_in_place.h"

#include <algorithm>
#include <cstddef>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t UNTOUCHED[] = L"Save failed — your original is untouched";
constexpr wchar_t NOT_REPLACED[] = L"Save failed — the original was not replaced";
constexpr SystemError IN_USE = 32;

class SwapInSavedFile : public SaveTest {
protected:
    static SystemError inUse(const std::wstring&, const std::wstring&) { return IN_USE; }

    // What the job's threads and its end have done to files, but for writing.
    std::vector<std::wstring> afterExport() {
        std::vector<std::wstring> work = world.work();
        std::erase_if(work, [](const std::wstring& what) {
            return what.find(L"export") == 0 || what.find(L"finish") == 0;
        });
        return work;
    }

    std::ptrdiff_t times(const std::wstring& what) { return std::ranges::count(said, what); }

    void expectOriginalStandsAlone() {
        EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
        EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    }

    // The original has gone half-way, as the system says.
    void goHalfWay() {
        onReplace = [this](const std::wstring& original, const std::wstring&) {
            world.disk.remove(original);
            return UNABLE_TO_MOVE_REPLACEMENT;
        };
    }
};

using SaveThatIsNotSwapped = SwapInSavedFile;

TEST_F(SwapInSavedFile, PutsTheNewFileInTheOriginalsPlaceAndOpensIt) {
    finishExport(runJob());
    EXPECT_THAT(said,
                ElementsAre(L"let go", L"replace", L"forget key of source",
                            L"store under key of complete", L"open D:\\v\\source.mp4", L"release"));
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
    EXPECT_EQ(job.lastExportPath, ORIGINAL);
    EXPECT_FALSE(state.edited);
    EXPECT_FALSE(state.videoLoaded) << "until the engine has it";
    engineReady();
    EXPECT_THAT(state.clips, ElementsAre(clip(0, 6)));
    EXPECT_THAT(state.undoStack, IsEmpty());
    EXPECT_EQ(openState().stamp.size, 8u) << "the new file's, for the next save";
}

TEST_F(SwapInSavedFile, IsStillSaidWhenTheNewFileIsOpen) {
    state.playhead = 6; // which is resumed at
    finishExport(runJob());
    state.statusText = L"Opening…";
    openState().slowToSeek = true;
    engineReady();
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
    openVideo(L"D:\\v\\source.mp4");
    engineReady();
    EXPECT_NE(state.statusText, L"Saved — the original was replaced") << "of another opening";
}

TEST_F(SwapInSavedFile, AFileThatThenCannotBeOpenedSaysSo) {
    finishExport(runJob());
    engineFailed();
    EXPECT_EQ(state.statusText, L"Could not open this video");
    EXPECT_EQ(openState().statusWhenOpen, L"");
}

TEST_F(SwapInSavedFile, TheSecondWayIsTriedWhereTheFirstFails) {
    onReplace = inUse;
    finishExport(runJob());
    EXPECT_EQ(times(L"replace"), 1);
    EXPECT_EQ(times(L"move"), 1);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
}

TEST_F(SwapInSavedFile, IsTriedAgainForTwoSeconds) {
    onReplace = inUse;
    onMove = inUse;
    const bool success = runJob();
    const std::uint64_t begun = world.clock;
    finishExport(success);
    EXPECT_GE(world.clock - begun, 2'000u);
    EXPECT_LE(world.clock - begun, 2'100u);
    EXPECT_GT(times(L"replace"), 10);
    EXPECT_EQ(times(L"replace"), times(L"move"));
    expectOriginalStandsAlone();
}

TEST_F(SwapInSavedFile, SucceedsOnceTheFileIsFree) {
    const bool success = runJob();
    const std::uint64_t freeFrom = world.clock + 1'500;
    onReplace = [&](const std::wstring& original, const std::wstring& temporary) {
        return world.clock < freeFrom ? IN_USE : swap(temporary, original);
    };
    onMove = inUse;
    finishExport(success);
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
}

TEST_F(SwapInSavedFile, WaitsForAWorkerThatHoldsTheFile) {
    const bool success = runJob();
    heldUntil = world.clock + 700;
    finishExport(success);
    EXPECT_GE(world.clock, heldUntil);
    EXPECT_EQ(times(L"replace"), 1);
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
}

TEST_F(SwapInSavedFile, IsTriedOnceInTheEndThoughAWorkerHoldsTheFile) {
    const bool success = runJob();
    heldUntil = world.clock + 60'000;
    const std::uint64_t begun = world.clock;
    finishExport(success);
    EXPECT_LE(world.clock - begun, 2'100u);
    EXPECT_EQ(times(L"replace"), 1);
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
}

TEST_F(SwapInSavedFile, OfALinkOpensTheLink) {
    openState().path = L"C:\\link.mp4";
    links[L"C:\\link.mp4"] = ORIGINAL;
    world.disk.link(L"C:\\link.mp4", ORIGINAL);
    finishExport(runJob());
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(openState().path, L"C:\\link.mp4");
}

// Not swapped

TEST_F(SaveThatIsNotSwapped, LeavesTheOriginalAndSaysWhy) {
    onReplace = inUse;
    onMove = [](const std::wstring&, const std::wstring&) {
        return SystemError{33};
    };
    finishExport(runJob());
    expectOriginalStandsAlone();
    EXPECT_THAT(afterExport(),
                ElementsAre(L"delete D:\\v\\source.mp4.velkantrix-tmp if it is its own"));
    EXPECT_EQ(state.statusText, UNTOUCHED);
    EXPECT_EQ(world.calls.back(),
              L"error: Save failed.\n\nThe edit was encoded, but it could not replace the original "
              L"(error 33).\n\nYour original file is untouched.");
    EXPECT_EQ(job.lastExportPath, L"");
    EXPECT_EQ(said.back(), L"release");
    EXPECT_EQ(times(L"forget key of source"), 0);
}

TEST_F(SaveThatIsNotSwapped, GoesOnWithTheEditAsItWas) {
    onReplace = inUse;
    onMove = inUse;
    state.playhead = 6;
    state.selectedClip = 1;
    state.undoStack.push_back({.clips = {clip(0, 10)}, .label = L"split"});
    state.redoStack.push_back({.clips = {clip(2, 3)}, .label = L"trim"});
    const EditState before = state;
    for (const bool edited : {true, false}) {
        state.edited = edited;
        finishExport(runJob());
        EXPECT_EQ(times(L"open D:\\v\\source.mp4"), 1);
        engineReady();
        EditState after = state;
        EXPECT_EQ(after.edited, edited);
        after.edited = before.edited;
        after.statusText = before.statusText;
        EXPECT_TRUE(after == before);
        EXPECT_EQ(state.statusText, UNTOUCHED) << "the reopening has nothing to say";
    }
}

TEST_F(SaveThatIsNotSwapped, OfAnOriginalThatHasChangedKeepsTheNewFile) {
    const bool success = runJob();
    world.disk.put(ORIGINAL, L"changed since");
    const EditState before = state;
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"changed since");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_THAT(afterExport(),
                ElementsAre(L"keep D:\\v\\source.mp4.velkantrix-tmp beside D:\\v\\source.mp4"));
    EXPECT_EQ(state.statusText, NOT_REPLACED);
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nThe original has been changed or taken "
                                  L"away by another program since it was opened.\n\nIt was kept.");
    EXPECT_THAT(said, ElementsAre(L"release")) << "the engine goes on";
    EXPECT_EQ(state.clips, before.clips);
    EXPECT_TRUE(state.edited);
}

TEST_F(SaveThatIsNotSwapped, OfAnOriginalThatIsGoneKeepsTheNewFile) {
    const bool success = runJob();
    world.disk.remove(ORIGINAL);
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(state.statusText, NOT_REPLACED);
}

TEST_F(SaveThatIsNotSwapped, OfAnOriginalThatChangesBetweenTwoTriesShowsWhatIsThere) {
    onReplace = [&](const std::wstring& original, const std::wstring&) {
        world.disk.put(original, L"changed since");
        return IN_USE;
    };
    onMove = inUse;
    finishExport(runJob());
    EXPECT_EQ(times(L"replace"), 1);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"changed since");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(
        world.calls.back(),
        L"error: Save failed.\n\nReplacing the original failed (error 32), and it is no longer "
        L"as it was.\n\nIt was kept.");
    newDuration = 12;
    engineReady();
    EXPECT_EQ(state.statusText, NOT_REPLACED);
    EXPECT_THAT(state.clips, ElementsAre(clip(0, 12))) << "not the other file's edit";
}

TEST_F(SaveThatIsNotSwapped, HalfWayIsMendedByTheSecondWay) {
    for (const SystemError error : {UNABLE_TO_MOVE_REPLACEMENT, UNABLE_TO_MOVE_REPLACEMENT_2}) {
        world.disk.put(ORIGINAL, L"source");
        openState().stamp = *stampOf(ORIGINAL);
        load(10, {clip(1, 3), clip(5, 9)});
        onReplace = [&](const std::wstring& original, const std::wstring&) {
            world.disk.remove(original);
            return error;
        };
        finishExport(runJob());
        EXPECT_EQ(times(L"replace"), 1);
        EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
        EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
        engineReady();
    }
}

TEST_F(SaveThatIsNotSwapped, HalfWayOnlyTheSecondWayIsTriedAgain) {
    goHalfWay();
    const bool success = runJob();
    const std::uint64_t freeFrom = world.clock + 500;
    onMove = [&](const std::wstring& temporary, const std::wstring& original) {
        return world.clock < freeFrom ? IN_USE : swap(temporary, original);
    };
    finishExport(success);
    EXPECT_EQ(times(L"replace"), 1);
    EXPECT_GT(times(L"move to free name"), 5);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
}

TEST_F(SaveThatIsNotSwapped, HalfWayKeepsTheNewFileAndSaysWhere) {
    goHalfWay();
    onMove = inUse;
    finishExport(runJob());
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_THAT(afterExport(),
                ElementsAre(L"keep D:\\v\\source.mp4.velkantrix-tmp beside D:\\v\\source.mp4"));
    EXPECT_EQ(state.statusText, NOT_REPLACED);
    EXPECT_EQ(
        world.calls.back(),
        L"error: Save failed.\n\nReplacing the original failed (error 32), and it is no longer "
        L"as it was.\n\nIt was kept.");
}

TEST_F(SaveThatIsNotSwapped, HalfWayAnothersNewFileIsNotReplaced) {
    onReplace = [&](const std::wstring& original, const std::wstring&) {
        world.disk.put(original, L"another's file");
        return UNABLE_TO_MOVE_REPLACEMENT;
    };
    finishExport(runJob());
    EXPECT_EQ(times(L"move") + times(L"move to free name"), 0);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"another's file");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
}

TEST_F(SaveThatIsNotSwapped, ACancelThatComesLateDeletesTheNewFileOnlyWhileTheOriginalStands) {
    bool success = runJob();
    job.exportCancel = true;
    finishExport(success);
    expectOriginalStandsAlone();
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched");
    EXPECT_THAT(said, ElementsAre(L"release"));

    success = runJob();
    world.disk.remove(ORIGINAL);
    job.exportCancel = true;
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(state.statusText, NOT_REPLACED);
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nThe original has been changed or taken "
                                  L"away by another program since it was opened.\n\nIt was kept.");
}

TEST_F(SaveThatIsNotSwapped, AFailedJobLeavesTheOriginal) {
    world.onExport = [&](const ExportRequest& request, std::wstring* text) {
        world.disk.remove(request.outputPath);
        *text = L"No room (0x80070070)";
        return false;
    };
    finishExport(runJob());
    expectOriginalStandsAlone();
    EXPECT_EQ(state.statusText, UNTOUCHED);
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nNo room (0x80070070)");
    EXPECT_THAT(said, ElementsAre(L"release"));
    EXPECT_THAT(claimed, IsEmpty());
}

TEST_F(SaveThatIsNotSwapped, AFailedJobDoesNotClaimThatAVanishedOriginalIsUntouched) {
    world.onExport = [](const ExportRequest&, std::wstring* text) {
        *text = L"No";
        return false;
    };
    const bool success = runJob();
    world.disk.remove(ORIGINAL);
    finishExport(success);
    EXPECT_EQ(state.statusText, NOT_REPLACED);
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nNo");
}

TEST_F(SaveThatIsNotSwapped, ACancelOfAVanishedOriginalDoesNotClaimThatItIsUntouched) {
    world.onExport = [&](const ExportRequest&, std::wstring*) {
        job.exportCancel = true;
        return false;
    };
    const bool success = runJob();
    world.disk.remove(ORIGINAL);
    finishExport(success);
    EXPECT_EQ(state.statusText, L"Save cancelled — the original was not replaced");
}

} // namespace
} // namespace velkantrix
