// From the commands to a job that runs: what is asked, and what is refused.
#include "export/save_in_place.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t MIB = 1 << 20;
constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();

constexpr wchar_t REPLACE[] =
    L"warning?: Replace \"source.mp4\" with your edit?\n\nThe original is written over and can't "
    L"be recovered. Velkantrix writes the new file beside it first and only swaps it in once "
    L"that's finished, so a failure or a cancel leaves your original untouched.";
constexpr wchar_t CLAIM[] = L"claim D:\\v\\source.mp4";
constexpr wchar_t CLEAR[] = L"clear D:\\v\\source.mp4.velkantrix-tmp";

using RoomForSave = SaveTest;
using SaveCommand = SaveTest;

TEST(BytesToSave, AreTheKeptShareAndAQuarterMore) {
    EXPECT_EQ(bytesToSave(1'000 * MIB, 5, 10), 689 * MIB);
    EXPECT_EQ(bytesToSave(1'000 * MIB, 10, 10), 1'314 * MIB);
    EXPECT_EQ(bytesToSave(1'000 * MIB, 20, 10), 1'314 * MIB);
    EXPECT_EQ(bytesToSave(0, 10, 10), 64 * MIB);
}

TEST(BytesToSave, AreATwentiethAtLeast) {
    EXPECT_EQ(bytesToSave(1'000 * MIB, 0.1, 10), 62 * MIB + MIB / 2 + 64 * MIB);
    EXPECT_EQ(bytesToSave(1'000 * MIB, 0, 10), bytesToSave(1'000 * MIB, 0.5, 10));
    EXPECT_EQ(bytesToSave(1'000 * MIB, -3, 10), bytesToSave(1'000 * MIB, 0.5, 10));
}

TEST(BytesToSave, WithoutALengthAllIsKept) {
    const double none = std::numeric_limits<double>::quiet_NaN();
    for (const double duration : {0.0, 0.1, -5.0, none})
        EXPECT_EQ(bytesToSave(100 * MIB, 0.05, duration), 189 * MIB) << duration;
    EXPECT_EQ(bytesToSave(100 * MIB, none, 10), 189 * MIB);
    EXPECT_EQ(bytesToSave(100 * MIB, 0.055, 0.11), (62 * MIB) + MIB / 2 + 64 * MIB);
}

TEST(BytesToSave, StopAtTheEndOfTheRange) {
    EXPECT_EQ(bytesToSave(MOST, 10, 10), MOST);
    EXPECT_EQ(bytesToSave(MOST / 5 * 4, 10, 10), MOST);
    EXPECT_LT(bytesToSave(MOST / 2, 10, 10), MOST);
}

TEST_F(RoomForSave, IsAskedOfTheOriginalsFolder) {
    std::wstring message;
    free = 100'000 * MIB;
    EXPECT_TRUE(hasRoomToSaveInPlace(message));
    EXPECT_EQ(lookedIn, L"D:\\v");
    EXPECT_EQ(message, L"");
}

TEST_F(RoomForSave, IsEnoughToTheByte) {
    std::wstring message;
    free = bytesToSave(1'000 * MIB, 6, 10);
    EXPECT_TRUE(hasRoomToSaveInPlace(message));
    free = *free - 1;
    EXPECT_FALSE(hasRoomToSaveInPlace(message));
    EXPECT_EQ(message, L"Not enough free space to save in place.\n\nAbout 814 MB is needed next to "
                       L"the original while the new file is written; 813 MB is free.");
}

TEST_F(RoomForSave, IsAlsoWhatAKilledSaveHasLeftThere) {
    std::wstring message;
    world.disk.put(TEMPORARY, std::wstring(1000, L'x'));
    free = bytesToSave(1'000 * MIB, 6, 10) - 1000;
    EXPECT_TRUE(hasRoomToSaveInPlace(message));
    free = *free - 1;
    EXPECT_FALSE(hasRoomToSaveInPlace(message));
    free = MOST;
    EXPECT_TRUE(hasRoomToSaveInPlace(message)) << "the sum stays at the end of the range";
}

TEST_F(RoomForSave, IsNotAskedWhereItCannotBeTold) {
    std::wstring message;
    free.reset();
    EXPECT_TRUE(hasRoomToSaveInPlace(message));
    free = 0;
    openState().path = L"source.mp4";
    EXPECT_TRUE(hasRoomToSaveInPlace(message));
}

// What is begun

TEST_F(SaveCommand, AsksAndWritesBesideTheOriginal) {
    job.exportLayout = 1; // of exports
    saveCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, REPLACE, CLEAR));
    ASSERT_TRUE(state.exportBusy);
    EXPECT_TRUE(job.saveInPlaceJob);
    EXPECT_FALSE(job.separateJob);
    EXPECT_FALSE(job.optimiseJob);
    EXPECT_EQ(job.originalPath, ORIGINAL);
    EXPECT_EQ(job.lastExportPath, TEMPORARY);
    EXPECT_EQ(state.statusText, L"Saving — writing the new file beside the original…");
    EXPECT_TRUE(waitForEnd());
    EXPECT_EQ(world.requests().at(0).spans.size(), 2u);
    EXPECT_EQ(world.requests().at(0).outputPath, TEMPORARY);
    EXPECT_THAT(claimed, ElementsAre(ORIGINAL)) << "until it has ended";
}

TEST_F(SaveCommand, AnsweredNoDoesNothing) {
    answer = false;
    expectNothingHappens(saveCommand);
    EXPECT_THAT(said, ElementsAre(CLAIM, REPLACE, L"release"));
    EXPECT_THAT(world.calls, IsEmpty());
    EXPECT_THAT(claimed, IsEmpty());
}

TEST_F(SaveCommand, TakesTheChosenQuality) {
    job.exportQuality = 3;
    state.clips = {clip(0, 10)};
    saveCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, REPLACE, CLEAR));
    EXPECT_TRUE(waitForEnd());
    EXPECT_EQ(world.requests().at(0).maxWidth, 1280);
}

TEST_F(SaveCommand, WithoutAVideoOrBesideAJobItDoesNothing) {
    state.exportBusy = true;
    expectNothingHappens(saveCommand);
    expectNothingHappens(optimiseCommand);
    expectNothingHappens(confirmSaveInPlace);
    state.exportBusy = false;
    state.videoLoaded = false;
    expectNothingHappens(saveCommand);
    expectNothingHappens(optimiseCommand);
    state.videoLoaded = true;
    openState().path.clear();
    expectNothingHappens(saveCommand);
    expectNothingHappens(optimiseCommand);
    EXPECT_THAT(said, IsEmpty());
}

TEST_F(SaveCommand, KeepsAnOpenRename) {
    renameState() = {.open = true, .target = 1};
    recorder.typed = L"goal";
    answer = false;
    saveCommand();
    EXPECT_EQ(state.clips[1].name, L"goal");
}

struct NothingRow {
    const char* what;
    Segment clip;
    std::int32_t quality;
    double exposure;
    bool nothing;
};

TEST_F(SaveCommand, SaysThatAnUneditedVideoHasNothingToSave) {
    const NothingRow rows[] = {
        {"lossless", clip(0, 10), 0, 0, true},
        {"source size", clip(0, 10), 1, 0, true},
        {"nearly all", clip(0.0009, 9.951), 0, 0.0005, true},
        {"smaller", clip(0, 10), 2, 0, false},
        {"cut", clip(0, 9), 0, 0, false},
        {"brighter", clip(0, 10), 0, 0.1, false},
        {"darker", clip(0, 10), 1, -0.1, false},
        {"faded in", clip(0, 10, 0.06), 0, 0, false},
        {"faded out", clip(0, 10, 0, 1), 1, 0, false},
        {"no fade that is rendered", clip(0, 10, 0.05), 0, 0, true},
    };
    answer = false;
    for (const NothingRow& row : rows) {
        state.clips = {row.clip};
        job.exportQuality = row.quality;
        world.exposure = row.exposure;
        state.statusText = L"";
        said.clear();
        recorder.forget();
        saveCommand();
        EXPECT_EQ(said.empty(), row.nothing) << row.what;
        EXPECT_EQ(state.statusText == L"Nothing to save — this video is unedited", row.nothing)
            << row.what;
        EXPECT_EQ(recorder.calls == std::vector<std::string>{"repaint"}, row.nothing) << row.what;
    }
}

// Export As onto the source

TEST_F(SaveCommand, IsWhatAnExportOntoTheSourceBecomes) {
    world.chosen = L"d:\\V\\SOURCE.mp4";
    exportAsCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, REPLACE, CLEAR));
    EXPECT_TRUE(job.saveInPlaceJob);
    EXPECT_EQ(job.lastExportPath, TEMPORARY);
}

TEST_F(SaveCommand, AnExportOntoTheSourceCopiesAnUneditedOne) {
    state.clips = {clip(0, 10)};
    world.chosen = ORIGINAL;
    exportAsCommand();
    EXPECT_TRUE(waitForEnd());
    EXPECT_THAT(world.work(),
                ElementsAre(L"copy D:\\v\\source.mp4 to D:\\v\\source.mp4.velkantrix-tmp",
                            L"finish D:\\v\\source.mp4.velkantrix-tmp"));
}

// What a process that was killed has left, or whatever else the job finds there.
TEST_F(SaveCommand, ItsJobWritesTheTemporaryNameThoughSomethingStandsThere) {
    saveHost().clearTemporary = [](const std::wstring&) -> SystemError {
        return 0;
    };
    world.disk.put(TEMPORARY, L"left over");
    saveCommand();
    EXPECT_TRUE(waitForEnd());
    EXPECT_THAT(world.work(), ElementsAre(L"export D:\\v\\source.mp4.velkantrix-tmp",
                                          L"finish D:\\v\\source.mp4.velkantrix-tmp"));
}

TEST_F(SaveCommand, ItsJobDoesNotWriteTheSourceByAnotherName) {
    world.disk.link(TEMPORARY, ORIGINAL);
    saveHost().clearTemporary = [](const std::wstring&) -> SystemError {
        return 0;
    };
    saveCommand();
    EXPECT_FALSE(waitForEnd());
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_EQ(error(), L"The export would overwrite the video it is reading.");
}

TEST_F(SaveCommand, OfALinkWritesBesideWhatItLeadsTo) {
    openState().path = L"C:\\link.mp4";
    links[L"C:\\link.mp4"] = ORIGINAL;
    free = 100'000 * MIB;
    saveCommand();
    EXPECT_EQ(job.originalPath, ORIGINAL);
    EXPECT_EQ(job.lastExportPath, TEMPORARY);
    EXPECT_EQ(lookedIn, L"D:\\v");
}

} // namespace
} // namespace velkantrix
