// The new file of a save that isn't needed and stays all the same: who is told of it, and how.
#include "export/save_swap.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

constexpr wchar_t CANCELLED[] = L"Save cancelled — your original is untouched";
constexpr wchar_t UNTOUCHED[] = L"Save failed — your original is untouched";

class SaveWhoseFileStays : public SaveTest {
protected:
    static SystemError inUse(const std::wstring&, const std::wstring&) { return 32; }

    std::wstring lastError() {
        const auto found =
            std::find_if(world.calls.rbegin(), world.calls.rend(),
                         [](const std::wstring& call) { return call.find(L"error: ") == 0; });
        return found == world.calls.rend() ? std::wstring() : found->substr(7);
    }

    // A cancel that comes while the complete file is brought onto the disk, which can't be told
    // from others then.
    bool runUnmarked() {
        world.unmarked = true;
        world.onFinish = [this] {
            job.exportCancel = true;
        };
        return runJob();
    }
};

TEST_F(SaveWhoseFileStays, OfAFailureIsNamed) {
    world.undeletable = true;
    onReplace = inUse;
    onMove = inUse;
    finishExport(runJob());
    EXPECT_EQ(world.calls.back(),
              L"error: Save failed.\n\nThe edit was encoded, but it could not replace the original "
              L"(error 32).\n\nYour original file is untouched.\n\nThe new file could not be "
              L"deleted: D:\\v\\source.mp4.velkantrix-tmp");
    EXPECT_EQ(state.statusText, UNTOUCHED);
}

TEST_F(SaveWhoseFileStays, OfAFileThatDoesNotGetOntoTheDiskIsNamed) {
    world.finishError = L"Somebody has it open";
    world.undeletable = true;
    finishExport(runJob());
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nSomebody has it open\n\nThe new file "
                                  L"could not be deleted: D:\\v\\source.mp4.velkantrix-tmp");
}

TEST_F(SaveWhoseFileStays, ForItCannotBeToldFromOthersIsNotCalledUndeletable) {
    world.finishError = L"The server is away";
    world.unmarked = true;
    finishExport(runJob());
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nThe server is away\n\nThe new file was "
                                  L"left as D:\\v\\source.mp4.velkantrix-tmp");
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(state.statusText, UNTOUCHED);
}

// With its folder, for instance.
TEST_F(SaveWhoseFileStays, IsNotNamedWhereItHasGone) {
    world.finishError = L"It isn't there";
    world.unmarked = true;
    bool success = runJob();
    world.disk.remove(TEMPORARY);
    finishExport(success);
    EXPECT_EQ(world.calls.back(), L"error: Save failed.\n\nIt isn't there");
    success = runUnmarked();
    world.disk.remove(TEMPORARY);
    finishExport(success);
    EXPECT_EQ(state.statusText, CANCELLED);
}

TEST_F(SaveWhoseFileStays, IsNamedWhereItCannotBeSeen) {
    world.finishError = L"The server is away";
    world.unmarked = true;
    const bool success = runJob();
    awayUntil = world.clock + 60'000;
    finishExport(success);
    EXPECT_EQ(lastError(), L"Save failed.\n\nThe server is away\n\nThe new file was left as "
                           L"D:\\v\\source.mp4.velkantrix-tmp");
    EXPECT_EQ(state.statusText, L"Save failed — the original was not replaced");
}

TEST_F(SaveWhoseFileStays, OfACancelIsNamedByTheStatus) {
    world.undeletable = true;
    bool success = runJob();
    job.exportCancel = true;
    finishExport(success);
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched; "
                                L"source.mp4.velkantrix-tmp could not be deleted");
    EXPECT_EQ(lastError(), L"");
    world.undeletable = false;
    success = runJob();
    job.exportCancel = true;
    finishExport(success);
    EXPECT_EQ(state.statusText, CANCELLED);
}

TEST_F(SaveWhoseFileStays, OfACancelAndWithoutAMarkIsNamedByTheStatus) {
    finishExport(runUnmarked());
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(state.statusText, L"Save cancelled — your original is untouched; the new file was "
                                L"left as source.mp4.velkantrix-tmp");
    EXPECT_EQ(lastError(), L"");
    world.unmarked = false;
    world.onFinish = nullptr;
    const bool success = runJob();
    job.exportCancel = true;
    finishExport(success);
    EXPECT_EQ(state.statusText, CANCELLED) << "the next one's is told from others";
}

// It may be all that is left.
TEST_F(SaveWhoseFileStays, OfACancelIsToldInABoxWhereTheOriginalHasGone) {
    const bool success = runUnmarked();
    world.disk.remove(ORIGINAL);
    finishExport(success);
    EXPECT_EQ(world.disk.content(TEMPORARY), L"complete");
    EXPECT_EQ(lastError(), L"Save cancelled — the original was not replaced.\n\nThe new file was "
                           L"left as D:\\v\\source.mp4.velkantrix-tmp");
}

// Who leaves doesn't see the status any more.
TEST_F(SaveWhoseFileStays, OfACancelByClosingIsToldInABox) {
    struct Row {
        bool unmarked;
        const wchar_t* told;
    };
    const Row rows[] = {
        {false, L"error: Save cancelled — your original is untouched.\n\nThe new file could not be "
                L"deleted: D:\\v\\source.mp4.velkantrix-tmp"},
        {true, L"error: Save cancelled — your original is untouched.\n\nThe new file was left as "
               L"D:\\v\\source.mp4.velkantrix-tmp"},
    };
    for (const Row& row : rows) {
        world.undeletable = true;
        world.unmarked = row.unmarked;
        world.onFinish = [this] {
            job.exportCancel = true;
        };
        const bool success = runJob();
        EXPECT_TRUE(closeAfterExport());
        finishExport(success);
        ASSERT_GE(world.calls.size(), 2u);
        EXPECT_EQ(world.calls.end()[-2], row.told);
        EXPECT_EQ(world.calls.back(), L"close");
    }
}

TEST_F(SaveWhoseFileStays, OfAFailureIsToldToWhoLeaves) {
    world.undeletable = true;
    onReplace = inUse;
    onMove = inUse;
    const bool success = runJob();
    EXPECT_TRUE(closeAfterExport());
    finishExport(success);
    ASSERT_GE(world.calls.size(), 2u);
    EXPECT_EQ(world.calls.end()[-2],
              L"error: Save failed.\n\nThe edit was encoded, but it could not replace the original "
              L"(error 32).\n\nYour original file is untouched.\n\nThe new file could not be "
              L"deleted: D:\\v\\source.mp4.velkantrix-tmp");
    EXPECT_EQ(world.calls.back(), L"close");
}

} // namespace
} // namespace velkantrix
