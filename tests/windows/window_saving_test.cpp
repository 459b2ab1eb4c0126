// Saves from the main window, by its commands and keys, up to the start of their jobs.
#include "export/save_in_place.h"
#include "platform/swap_files.h"
#include "tests/windows/replaced_import.h"
#include "tests/windows/test_files.h"
#include "tests/windows/window_fixture.h"

extern "C" decltype(&MessageBoxW) __imp_MessageBoxW;

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class WindowSavingTest : public WindowTest {
protected:
    WindowSavingTest() {
        writeBytes(path, std::vector<char>(1000, 'x'));
        startEdit(10);
        splitClip(0, 5);
        openState().path = path;
        openState().displayName = L"own.mp4";
        openState().fileSize = 1000;
        openState().stamp = fileStampOf(path);
        openState().slowToSeek = true;
        editState().edited = false; // or an optimise asks about it first
        jobHost().startThread = [this](const std::function<void()>&) {
            started++; // the job's end never comes
        };
    }
    ~WindowSavingTest() override { editState().exportBusy = false; }
    WindowSavingTest(const WindowSavingTest&) = delete;
    WindowSavingTest& operator=(const WindowSavingTest&) = delete;

    static FileStamp fileStampOf(const std::wstring& file) { return lookAtFile(file).stamp; }

    TestFolder folder;
    const std::wstring path = folder.path(L"own.mp4");
    int started = 0;
};

TEST_F(WindowSavingTest, BothAnswersToTheQuestionOfASave) {
    for (const WORD answer : {WORD{IDNO}, WORD{IDYES}}) {
        BoxAnswers answers([&](const std::wstring&) { return answer; });
        command(166);
        ASSERT_THAT(answers.texts, SizeIs(1));
        EXPECT_EQ(answers.texts[0].find(L"Replace \"own.mp4\" with your edit?\n\n"), 0u);
        EXPECT_EQ(started, answer == IDYES ? 1 : 0);
    }
    EXPECT_EQ(exportJob().lastExportPath, path + L".velkantrix-tmp");
    EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
}

TEST_F(WindowSavingTest, BothAnswersToBothQuestionsOfAnOptimise) {
    openState().slowToSeek = false;
    for (const int yes : {0, 1, 2}) {
        int asked = 0;
        BoxAnswers answers(
            [&](const std::wstring&) { return static_cast<WORD>(asked++ < yes ? IDYES : IDNO); });
        command(167);
        EXPECT_EQ(asked, yes == 0 ? 1 : 2);
        EXPECT_EQ(started, yes == 2 ? 1 : 0);
    }
    EXPECT_TRUE(exportJob().optimiseJob);
}

TEST_F(WindowSavingTest, BothAnswersToTheQuestionOfTracksThatAreLeftOut) {
    saveHost().countTracks = [] {
        return TracksOfSource{.inFile = TrackCount{.all = 4, .video = 1, .sound = 2}};
    };
    openState().slowToSeek = true;
    for (const int id : {166, 167}) {
        for (const int yes : {0, 1, 2}) {
            std::vector<std::wstring> asked;
            BoxAnswers answers([&](const std::wstring& text) {
                asked.push_back(text);
                return static_cast<WORD>(static_cast<int>(asked.size()) <= yes ? IDYES : IDNO);
            });
            command(id);
            ASSERT_THAT(asked, SizeIs(yes == 0 ? 1 : 2));
            EXPECT_EQ(asked[0].find(L"\"own.mp4\" has 4 tracks; only"), 0u);
            EXPECT_EQ(started, yes == 2 ? 1 : 0);
        }
        exportJob().exportCancel = true;
        send(0x8002);
        started = 0;
    }
}

TEST_F(WindowSavingTest, TheFilesOwnTracksAreCounted) {
    EXPECT_EQ(saveHost().countTracks().inFile, std::nullopt) << "it is no video";
    EXPECT_EQ(saveHost().countTracks().offered, std::nullopt) << "nothing has opened it";
    openState().path = mediaFile(L"two-audio");
    EXPECT_EQ(saveHost().countTracks().inFile, (TrackCount{.all = 3, .video = 1, .sound = 2}));
}

std::vector<std::pair<std::wstring, UINT>> theBoxes; // beginnings of their texts, and their looks

int WINAPI noteBox(HWND, const wchar_t* text, const wchar_t*, UINT flags) {
    theBoxes.emplace_back(std::wstring(text).substr(0, 12), flags);
    return (flags & MB_YESNO) != 0 ? IDYES : IDOK;
}

TEST_F(WindowSavingTest, EachBoxLooksLikeWhatItSays) {
    const ReplacedImport<decltype(&MessageBoxW)> replaced(__imp_MessageBoxW, noteBox);
    constexpr UINT WARNS = MB_YESNO | MB_ICONWARNING | MB_DEFBUTTON2;
    saveHost().countTracks = [] {
        return TracksOfSource{.inFile = TrackCount{.all = 4, .video = 1, .sound = 2}};
    };
    openState().slowToSeek = false;
    editState().edited = true;
    theBoxes.clear();
    command(167);
    EXPECT_THAT(theBoxes,
                ElementsAre(Pair(L"Your edits h", WARNS),
                            Pair(L"This file al", MB_YESNO | MB_ICONQUESTION | MB_DEFBUTTON2),
                            Pair(L"\"own.mp4\" ha", WARNS),
                            Pair(L"Rewrite \"own", MB_YESNO | MB_ICONINFORMATION)));
    exportJob().exportCancel = true;
    send(0x8002);
    theBoxes.clear();
    command(166);
    EXPECT_THAT(theBoxes,
                ElementsAre(Pair(L"\"own.mp4\" ha", WARNS), Pair(L"Replace \"own", WARNS)));
    exportJob().exportCancel = true;
    send(0x8002);
    theBoxes.clear();
    ASSERT_TRUE(jobHost().acceptShortSave);
    EXPECT_TRUE(jobHost().acceptShortSave());
    EXPECT_THAT(theBoxes, ElementsAre(Pair(L"The new file", WARNS)));
    theBoxes.clear();
    openState().path += L".mkv";
    command(166);
    EXPECT_THAT(theBoxes, ElementsAre(Pair(L"\"own.mp4\" ca", MB_OK | MB_ICONWARNING)));
}

TEST_F(WindowSavingTest, WhatTheFileSystemRefusesIsToldInABox) {
    BoxAnswers answers([](const std::wstring&) { return WORD{IDOK}; });
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
    command(166);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    ASSERT_THAT(answers.texts, SizeIs(1));
    EXPECT_EQ(answers.texts[0].find(L"\"own.mp4\" is read-only"), 0u);
    EXPECT_EQ(started, 0);
}

TEST_F(WindowSavingTest, ASecondSaveOfTheFileIsRefusedWhileTheFirstRuns) {
    BoxAnswers answers([](const std::wstring&) { return WORD{IDYES}; });
    command(166);
    EXPECT_EQ(started, 1);
    editState().exportBusy = false; // as in another process
    command(166);
    ASSERT_THAT(answers.texts, SizeIs(2));
    EXPECT_EQ(answers.texts[1].find(L"\"own.mp4\" is being saved"), 0u);
    EXPECT_EQ(started, 1);
    editState().exportBusy = true;
    exportJob().exportCancel = true;
    send(0x8002); // the first has ended
    EXPECT_EQ(editState().statusText, L"Save cancelled — your original is untouched");
    command(166);
    EXPECT_EQ(started, 2);
}

TEST_F(WindowSavingTest, WithoutAVideoOrBesideAJobNothingIsAsked) {
    BoxAnswers answers([](const std::wstring&) { return WORD{IDNO}; });
    for (const int id : {166, 167}) {
        editState().exportBusy = true;
        command(id);
        editState().exportBusy = false;
        editState().videoLoaded = false;
        command(id);
        editState().videoLoaded = true;
    }
    EXPECT_THAT(answers.texts, IsEmpty());
}

} // namespace
} // namespace velkantrix
