// Saves that aren't begun, and why.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/save_world.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t REPLACE[] =
    L"warning?: Replace \"source.mp4\" with your edit?\n\nThe original is written over and can't "
    L"be recovered. Velkantrix writes the new file beside it first and only swaps it in once "
    L"that's finished, so a failure or a cancel leaves your original untouched.";
constexpr wchar_t CLAIM[] = L"claim D:\\v\\source.mp4";
constexpr wchar_t CLEAR[] = L"clear D:\\v\\source.mp4.velkantrix-tmp";

class RefusedSave : public SaveTest {
protected:
    RefusedSave() { state.edited = false; }

    // Both commands, and the export onto the source.
    void expectRefused(const std::wstring& text) {
        for (void (*const command)() : {saveCommand, optimiseCommand, confirmSaveInPlace}) {
            said.clear();
            expectNothingHappens(command);
            EXPECT_THAT(said, ElementsAre(CLAIM, L"warning: " + text, L"release"));
        }
        EXPECT_THAT(world.work(), IsEmpty());
    }
};

TEST_F(RefusedSave, WithoutRoom) {
    free = 10 * MIB;
    expectRefused(L"Not enough free space to save in place.\n\nAbout 814 MB is needed next to the "
                  L"original while the new file is written; 10 MB is free.");
}

TEST_F(RefusedSave, OfAFileThatIsGone) {
    world.disk.remove(ORIGINAL);
    expectRefused(L"D:\\v\\source.mp4\n\nThis file no longer exists.");
}

TEST_F(RefusedSave, OfAFileThatAnotherProgramHasChanged) {
    world.disk.put(ORIGINAL, L"changed since");
    expectRefused(L"\"source.mp4\" has been changed by another program since it was opened. What "
                  L"is in it now would be lost.\n\nFile ▸ Export As… writes your edit to another "
                  L"file.");
}

// Both have the file open; the second one's state is put in the first one's place, and back.
TEST_F(RefusedSave, OfASecondInstanceWhileAndAfterTheFirstOneReplacesTheFile) {
    const OpenState opened = openState();
    const EditState edit = state;
    saveCommand();
    said.clear();
    const EditState running = std::exchange(state, edit);
    saveCommand();
    EXPECT_THAT(said, ElementsAre(L"warning: \"source.mp4\" is being saved in another window of "
                                  L"Velkantrix.\n\nWait until that has finished."));
    state = running;
    finishExport(waitForEnd());
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
    EXPECT_EQ(state.statusText, L"Saved — the original was replaced");
    openState() = opened;
    state = edit;
    for (void (*const command)() : {saveCommand, optimiseCommand}) {
        said.clear();
        command();
        EXPECT_THAT(said,
                    ElementsAre(CLAIM,
                                L"warning: \"source.mp4\" has been changed by another program "
                                L"since it was opened. What is in it now would be lost.\n\n"
                                L"File ▸ Export As… writes your edit to another file.",
                                L"release"));
    }
    EXPECT_EQ(world.disk.content(ORIGINAL), L"complete");
}

TEST_F(RefusedSave, OfAFileThatCouldNotBeExaminedWhenItWasOpened) {
    openState().stamp = {};
    expectRefused(L"\"source.mp4\" could not be examined when it was opened, so it can't be told "
                  L"whether it has been changed since.\n\nFile ▸ Export As… writes your edit to "
                  L"another file.");
}

TEST_F(RefusedSave, OfAFileThatCannotBeExaminedNow) {
    awayUntil = world.clock + 1;
    expectRefused(L"\"source.mp4\" can't be replaced (error 64).\n\nFile ▸ Export As… writes your "
                  L"edit to another file.");
}

TEST_F(RefusedSave, OfAFileThatCannotBeClaimed) {
    claimError = 6;
    for (void (*const command)() : {saveCommand, optimiseCommand, confirmSaveInPlace}) {
        said.clear();
        expectNothingHappens(command);
        EXPECT_THAT(said,
                    ElementsAre(L"warning: \"source.mp4\" can't be replaced (error 6).\n\nFile "
                                L"▸ Export As… writes your edit to another file."));
    }
}

TEST_F(RefusedSave, OfALinkThatCannotBeFollowed) {
    lostLinks.insert(ORIGINAL);
    for (void (*const command)() : {saveCommand, optimiseCommand, confirmSaveInPlace}) {
        said.clear();
        expectNothingHappens(command);
        EXPECT_THAT(said, ElementsAre(L"warning: \"source.mp4\" is a link, and the file that it "
                                      L"leads to can't be found out.\n\nFile ▸ Export As… writes "
                                      L"your edit to another file."));
    }
}

TEST_F(RefusedSave, OfAFileThatWouldNotBeOpenedAsMp4) {
    state.edited = true;
    openState().slowToSeek = false;
    for (const bool byItsLink : {false, true}) {
        const std::wstring name = byItsLink ? L"D:\\v\\link.mp4" : L"D:\\v\\film.mkv";
        links[L"D:\\v\\link.mp4"] = L"D:\\v\\film.mkv";
        openState().path = name;
        openState().displayName = name.substr(5);
        for (void (*const command)() : {saveCommand, optimiseCommand, confirmSaveInPlace}) {
            said.clear();
            expectNothingHappens(command);
            EXPECT_THAT(said,
                        ElementsAre(L"warning: \"" + openState().displayName +
                                    L"\" can't be saved in place: what is written is an MP4 "
                                    L"file, and only by the endings .mp4, .m4v and .mov is it "
                                    L"opened as one.\n\nFile ▸ Export As… writes your edit to "
                                    L"another file."));
        }
    }
}

TEST(HasMp4Name, GoesByTheEndingInAnyCase) {
    for (const wchar_t* const name : {L"a.mp4", L"C:\\v\\A.MP4", L"a.m4v", L"a.b.Mov", L".mp4"})
        EXPECT_TRUE(hasMp4Name(name)) << testing::PrintToString(name);
    for (const wchar_t* const name :
         {L"a.mkv", L"a.mp4.avi", L"mp4", L"amp4", L"", L"a.ts", L"a.mp4\\b.webm", L"a.mp4 "})
        EXPECT_FALSE(hasMp4Name(name)) << testing::PrintToString(name);
}

TEST_F(RefusedSave, OfAReadOnlyFile) {
    readOnly = true;
    expectRefused(L"\"source.mp4\" is read-only, so it can't be replaced.\n\nFile ▸ Export As… "
                  L"writes your edit to another file.");
}

TEST_F(RefusedSave, InAFolderThatCannotBeWritten) {
    mayReplace = 5;
    expectRefused(L"\"source.mp4\" can't be replaced (error 5).\n\nFile ▸ Export As… writes your "
                  L"edit to another file.");
}

TEST_F(RefusedSave, OfAFileThatAnotherInstanceSaves) {
    claimed.insert(ORIGINAL);
    for (void (*const command)() : {saveCommand, optimiseCommand, confirmSaveInPlace}) {
        said.clear();
        expectNothingHappens(command);
        EXPECT_THAT(said, ElementsAre(L"warning: \"source.mp4\" is being saved in another window "
                                      L"of Velkantrix.\n\nWait until that has finished."));
    }
    EXPECT_THAT(claimed, ElementsAre(ORIGINAL)) << "it is the other one's";
}

// What happened behind the question

TEST_F(RefusedSave, WhenTheTemporaryNameIsTaken) {
    mayClear = 32;
    saveCommand();
    EXPECT_FALSE(state.exportBusy);
    EXPECT_THAT(said,
                ElementsAre(CLAIM, REPLACE, CLEAR,
                            L"warning: The new file can't be written beside the original, as "
                            L"D:\\v\\source.mp4.velkantrix-tmp (error 32).\n\nFile ▸ Export As… "
                            L"writes your edit to another file.",
                            L"release"));
}

TEST_F(RefusedSave, WhenTheFileHasChangedBehindTheQuestion) {
    whileAsked = [&] {
        world.disk.put(ORIGINAL, L"changed since");
    };
    saveCommand();
    EXPECT_FALSE(state.exportBusy);
    EXPECT_EQ(said.at(2).find(L"warning: \"source.mp4\" has been changed"), 0u);
    EXPECT_THAT(world.work(), IsEmpty());
}

TEST_F(RefusedSave, OfAnotherVideoThanTheOneThatWasAskedAbout) {
    const std::function<void()> changes[] = {
        [&] { openState().path = L"D:\\v\\other.mp4"; },
        [&] { state.videoLoaded = false; },
        [&] { state.exportBusy = true; },
        [&] {
            openState().stamp.time++; // opened anew
        },
    };
    for (void (*const command)() : {saveCommand, optimiseCommand, confirmSaveInPlace}) {
        for (const auto& change : changes) {
            const OpenState open = openState();
            whileAsked = change;
            command();
            EXPECT_FALSE(job.saveInPlaceJob);
            EXPECT_EQ(job.lastExportPath, L"");
            state.exportBusy = false;
            state.videoLoaded = true;
            openState() = open;
        }
    }
    EXPECT_THAT(world.work(), IsEmpty());
    EXPECT_THAT(claimed, IsEmpty());
}

TEST_F(RefusedSave, ASecondOneBehindTheQuestionOfTheFirst) {
    whileAsked = [&] {
        saveCommand();
    };
    saveCommand();
    EXPECT_EQ(said.at(2).find(L"warning: \"source.mp4\" is being saved"), 0u);
    EXPECT_TRUE(state.exportBusy) << "the first goes on";
}

} // namespace
} // namespace velkantrix
