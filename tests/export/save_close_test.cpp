// The window is to close while a save runs, or when it has just ended.
#include "export/save_swap.h"

#include <algorithm>
#include <cstddef>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

class SaveAndClose : public SaveTest {
protected:
    static SystemError inUse(const std::wstring&, const std::wstring&) { return 32; }

    std::ptrdiff_t times(const std::wstring& what) { return std::ranges::count(said, what); }

    void expectOriginalStandsAlone() {
        EXPECT_EQ(world.disk.content(ORIGINAL), L"source");
        EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    }
};

TEST_F(SaveAndClose, ACompleteSaveIsSwappedAndNotOpenedAgain) {
    state.playhead = 6;
    const bool success = runJob();
    EXPECT_TRUE(closeAfterExport());
    finishExport(success);
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(world.disk.content(TEMPORARY), std::nullopt);
    EXPECT_THAT(said, ElementsAre(L"let go", L"replace", L"forget key of source", L"release"));
    EXPECT_EQ(state.playhead, 3) << "what the window stores as it goes";
    EXPECT_FALSE(state.edited);
    EXPECT_EQ(world.calls.back(), L"close");
    EXPECT_EQ(std::ranges::count(world.calls, L"flash"), 0);
}

TEST_F(SaveAndClose, ACancelByCommandStaysACancel) {
    for (const bool closedFirst : {false, true}) {
        const bool success = runJob();
        if (!closedFirst) exportAsCommand();
        EXPECT_TRUE(closeAfterExport());
        if (closedFirst) exportAsCommand();
        finishExport(success);
        expectOriginalStandsAlone();
        EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched");
        EXPECT_EQ(world.calls.back(), L"close");
    }
}

TEST_F(SaveAndClose, ASaveThatWasStillRunningIsCancelled) {
    Gate goesOn;
    world.onStep = [&] {
        EXPECT_TRUE(goesOn.pass());
    };
    saveCommand();
    EXPECT_TRUE(closeAfterExport());
    goesOn.open();
    finishExport(waitForEnd());
    expectOriginalStandsAlone();
    EXPECT_EQ(world.calls.back(), L"close");
}

TEST_F(SaveAndClose, ASwapThatFailsClosesWithoutOpening) {
    onReplace = inUse;
    onMove = inUse;
    const bool success = runJob();
    EXPECT_TRUE(closeAfterExport());
    finishExport(success);
    expectOriginalStandsAlone();
    EXPECT_EQ(times(L"open D:\\v\\source.mp4"), 0);
    EXPECT_EQ(world.calls.back(), L"close");
}

TEST_F(SaveAndClose, WhoLeavesIsToldWhereHisFileIsWhenTheOriginalIsGone) {
    onReplace = [this](const std::wstring& original, const std::wstring&) {
        world.disk.remove(original);
        return UNABLE_TO_MOVE_REPLACEMENT;
    };
    onMove = inUse;
    const bool success = runJob();
    EXPECT_TRUE(closeAfterExport());
    finishExport(success);
    ASSERT_GE(world.calls.size(), 2u);
    EXPECT_EQ(world.calls.end()[-2].find(L"error: Save failed.\n\n"), 0u);
    EXPECT_EQ(world.calls.back(), L"close");
}

TEST_F(SaveAndClose, TheWishOfOneSaveIsNotTheNextOnes) {
    bool success = runJob();
    EXPECT_TRUE(closeAfterExport());
    exportAsCommand();
    finishExport(success);
    success = runJob();
    finishExport(success);
    EXPECT_NE(world.calls.back(), L"close");
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
}

} // namespace
} // namespace velkantrix
