// The command that rewrites the whole file: what is asked, and what is lost.
#include "export/save_in_place.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

constexpr wchar_t NEEDLESS[] =
    L"question?: This file already seeks well — optimising it would rewrite it for no "
    L"gain.\n\nRewrite it anyway?";
constexpr wchar_t OPTIMISE[] =
    L"information?: Rewrite \"source.mp4\" so it seeks quickly?\n\nNo frame is re-encoded — the "
    L"video and audio are copied across exactly as they are, and only the file's index is rebuilt. "
    L"Any cuts you have made are not applied. The new file is written beside the original and "
    L"swapped in only once it is complete.";
constexpr wchar_t CLAIM[] = L"claim D:\\v\\source.mp4";
constexpr wchar_t CLEAR[] = L"clear D:\\v\\source.mp4.velkantrix-tmp";
constexpr wchar_t LOSES_EDITS[] =
    L"warning?: Your edits haven't been exported, and optimising doesn't apply them: it rewrites "
    L"the whole file and opens it anew. The edits are lost then, and so are the steps to "
    L"undo.\n\nGo on without your edits?";

// Its edits were exported.
class OptimiseCommand : public SaveTest {
protected:
    OptimiseCommand() { state.edited = false; }
};

TEST_F(OptimiseCommand, AsksAndCopiesAllOfTheFile) {
    world.exposure = 0.5;
    job.exportQuality = 4;
    const ClipList clips = state.clips;
    optimiseCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, LOSES_EDITS, OPTIMISE, CLEAR));
    ASSERT_TRUE(state.exportBusy);
    EXPECT_TRUE(job.optimiseJob);
    EXPECT_TRUE(job.saveInPlaceJob);
    EXPECT_DOUBLE_EQ(job.exportExpected, 6) << "the edit's length, all the same";
    EXPECT_TRUE(waitForEnd());
    const ExportRequest request = world.requests().at(0);
    EXPECT_TRUE(request.losslessAllowed);
    EXPECT_EQ(request.exposure, 0);
    EXPECT_EQ(request.outputPath, TEMPORARY);
    ASSERT_EQ(request.spans.size(), 1u);
    EXPECT_TRUE(isWholeSource(request.spans[0])) << "whatever its duration says";
    EXPECT_EQ(job.exportProgress, 10) << "and not without end";
    EXPECT_EQ(state.clips, clips);
}

TEST_F(OptimiseCommand, AsksTwiceWhereTheFileSeeksWell) {
    openState().slowToSeek = false;
    optimiseCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, NEEDLESS, OPTIMISE, CLEAR));
    EXPECT_TRUE(state.exportBusy);
}

TEST_F(OptimiseCommand, AsksBeforeUnsavedEditsAreLost) {
    state.edited = true;
    openState().slowToSeek = false;
    optimiseCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, LOSES_EDITS, NEEDLESS, OPTIMISE, CLEAR));
    EXPECT_TRUE(state.exportBusy);
}

TEST_F(OptimiseCommand, KeepsUnsavedEditsThatAreNotToBeLost) {
    state.edited = true;
    answer = false;
    const ClipList clips = state.clips;
    expectNothingHappens(optimiseCommand);
    EXPECT_THAT(said, ElementsAre(CLAIM, LOSES_EDITS, L"release"));
    EXPECT_EQ(state.clips, clips);
    EXPECT_TRUE(state.edited);
}

TEST_F(OptimiseCommand, NamesAndFadesOfAnUncutVideoAreEditsToo) {
    state.edited = true;
    state.clips = {clip(0, 10)};
    optimiseCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, LOSES_EDITS, OPTIMISE, CLEAR));
}

TEST_F(OptimiseCommand, ABrightnessThatIsOnlyShownIsLostToo) {
    state.edited = false;
    world.exposure = 0.5;
    optimiseCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, LOSES_EDITS, OPTIMISE, CLEAR));
}

TEST_F(OptimiseCommand, WhatHasBeenExportedIsNotLost) {
    state.edited = false;
    optimiseCommand();
    EXPECT_THAT(said, ElementsAre(CLAIM, OPTIMISE, CLEAR));
}

class OptimiseOfAnExportedExposure : public OptimiseCommand {
protected:
    void exportWith(double exposure) {
        world.exposure = exposure;
        exportTo(L"E:\\out.mp4");
        finishExport(waitForEnd());
    }

    void expectAsked(double exposure, const wchar_t* text) {
        world.exposure = exposure;
        answer = false;
        said.clear();
        optimiseCommand();
        EXPECT_THAT(said, ElementsAre(CLAIM, text, L"release")) << exposure;
    }
};

TEST_F(OptimiseOfAnExportedExposure, OnlyAnotherOneIsLost) {
    exportWith(1);
    EXPECT_FALSE(state.edited);
    expectAsked(1, OPTIMISE);
    expectAsked(1.0005, OPTIMISE);
    expectAsked(0.5, LOSES_EDITS);
    expectAsked(-1, LOSES_EDITS);
    expectAsked(0, OPTIMISE);
    exportWith(0);
    expectAsked(1, LOSES_EDITS);
}

TEST_F(OptimiseOfAnExportedExposure, AnExportThatFailedIsNone) {
    world.onExport = [](const ExportRequest&, std::wstring*) {
        return false;
    };
    exportWith(1);
    expectAsked(1, LOSES_EDITS);
}

TEST_F(OptimiseOfAnExportedExposure, OfAnotherVideoIsNone) {
    exportWith(1);
    openVideo(openState().path);
    engineReady();
    expectAsked(1, LOSES_EDITS);
}

TEST_F(OptimiseCommand, AnsweredNoDoesNothing) {
    answer = false;
    expectNothingHappens(optimiseCommand);
    EXPECT_THAT(said, ElementsAre(CLAIM, OPTIMISE, L"release"));
    said.clear();
    openState().slowToSeek = false;
    expectNothingHappens(optimiseCommand);
    EXPECT_THAT(said, ElementsAre(CLAIM, NEEDLESS, L"release"));
    said.clear();
    answers = {true};
    expectNothingHappens(optimiseCommand);
    EXPECT_THAT(said, ElementsAre(CLAIM, NEEDLESS, OPTIMISE, L"release"));
}

TEST_F(OptimiseCommand, OptimisesAnUneditedFile) {
    state.clips = {clip(0, 10)};
    optimiseCommand();
    EXPECT_TRUE(state.exportBusy);
}

TEST_F(OptimiseCommand, KeepsAnOpenRename) {
    renameState() = {.open = true, .target = 1};
    recorder.typed = L"goal";
    answer = false;
    optimiseCommand();
    EXPECT_EQ(state.clips[1].name, L"goal");
}

TEST_F(OptimiseCommand, NeedsTheRoomOfTheEdit) {
    free = bytesToSave(1'000 * MIB, 6, 10);
    optimiseCommand();
    EXPECT_TRUE(state.exportBusy);
}

} // namespace
} // namespace velkantrix
