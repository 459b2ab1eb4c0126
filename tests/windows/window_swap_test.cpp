// The end of a save in the main window: what is let go of, and what is remembered of the file.
#include "app/settings.h"
#include "export/save_in_place.h"
#include "platform/handles.h"
#include "tests/windows/settings_fixture.h"
#include "tests/windows/window_engine_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class WindowSwapTest : public WindowEngineTest {
protected:
    WindowSwapTest() {
        writeBytes(path, {'o', 'l', 'd'});
        openOwn(path);
        splitClip(0, 5);
        editState().clips.pop_back();
        jobHost().startThread = [](const std::function<void()>& body) {
            body(); // its end is posted
        };
        jobHost().calls.exportFile = [](const ExportRequest& request, std::wstring*) {
            writeBytes(request.outputPath, {'n', 'e', 'w', '!'});
            for (const ExportSpan& span : request.spans)
                request.spanWritten({span.start, 0, span.end, true});
            return true;
        };
    }

    void openOwn(const std::wstring& file) {
        engines.making.engine.reset();
        openVideo(file);
        ASSERT_TRUE(engines.making.engine);
        fire(METADATA_EVENT);
        ASSERT_TRUE(editState().videoLoaded);
    }

    static bool isAboutLess(const std::wstring& text) {
        return text.find(L"The new file seems to be incomplete.") == 0;
    }

    // Of which nothing is told to have come out.
    static void exportLess() {
        jobHost().calls.exportFile = [](const ExportRequest& request, std::wstring*) {
            writeBytes(request.outputPath, {'n', 'e', 'w', '!'});
            return true;
        };
    }

    // Up to the end of the job, which the window has handled.
    std::vector<std::wstring> save(WORD toLess = IDNO) {
        BoxAnswers answers([toLess](const std::wstring& text) -> WORD {
            if (isAboutLess(text)) return toLess;
            return text.find(L"Replace") == 0 ? IDYES : IDOK;
        });
        command(166);
        MSG message;
        while (PeekMessageW(&message, window, 0x8002, 0x8002, PM_REMOVE))
            DispatchMessageW(&message);
        return answers.texts;
    }

    static std::vector<std::wstring> keysOf(const std::wstring& root) {
        std::vector<std::wstring> names;
        for (const auto& [place, entry] : stored())
            if (place.first == root) names.push_back(place.second);
        return names;
    }

    TestFolder folder;
    const std::wstring path = folder.path(L"own.mp4");
};

TEST_F(WindowSwapTest, TheEngineLetsGoAndTheNewFileIsOpened) {
    engines.making.engine.reset();
    save();
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'n', 'e', 'w', '!'}));
    EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
    ASSERT_TRUE(engines.making.engine) << "another engine";
    EXPECT_FALSE(IsWindowVisible(ui().video));
    EXPECT_FALSE(saveHost().isFileHeld());
    fire(METADATA_EVENT);
    EXPECT_EQ(editState().statusText, L"Saved — the original was replaced");
}

TEST_F(WindowSwapTest, BothAnswersToTheQuestionOfANewFileThatSeemsIncomplete) {
    exportLess();
    for (const WORD answer : {WORD{IDNO}, WORD{IDYES}}) {
        const bool isYes = answer == IDYES;
        EXPECT_THAT(save(answer), ElementsAre(testing::StartsWith(L"Replace \"own.mp4\""),
                                              testing::Truly(isAboutLess)));
        EXPECT_EQ(bytesOf(path), isYes ? (std::vector<char>{'n', 'e', 'w', '!'})
                                       : (std::vector<char>{'o', 'l', 'd'}));
        EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
        if (isYes) fire(METADATA_EVENT);
        EXPECT_EQ(editState().statusText, isYes ? L"Saved — the original was replaced"
                                                : L"Save cancelled — your original is untouched");
    }
}

class ShortSaveInTheWindow : public WindowSwapTest {
protected:
    ShortSaveInTheWindow() {
        exportLess();
        command(166);
        answers.texts.clear();
    }

    // What the job's thread has posted.
    void handleEnd() const {
        MSG message;
        while (PeekMessageW(&message, window, 0x8002, 0x8002, PM_REMOVE))
            DispatchMessageW(&message);
    }

    void expectItWaits() const {
        EXPECT_TRUE(editState().exportBusy);
        EXPECT_THAT(answers.texts, testing::IsEmpty());
        EXPECT_EQ(editState().statusText, L"Waiting for your answer…");
    }

    void expectTheTickAsks() const {
        tick();
        EXPECT_THAT(answers.texts, ElementsAre(testing::Truly(isAboutLess)));
        EXPECT_FALSE(editState().exportBusy);
        EXPECT_EQ(bytesOf(path), (std::vector<char>{'o', 'l', 'd'}));
        EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
    }

    BoxAnswers answers{[](const std::wstring& text) -> WORD {
        return isAboutLess(text) ? IDNO : IDYES;
    }};
};

TEST_F(ShortSaveInTheWindow, AsksBehindADrag) {
    SetCapture(window);
    handleEnd();
    expectItWaits();
    tick();
    expectItWaits();
    ReleaseCapture();
    expectTheTickAsks();
}

TEST_F(ShortSaveInTheWindow, AsksBehindAMenu) {
    static std::function<void()> inTheMenu;
    inTheMenu = [this] {
        GUITHREADINFO thread = {};
        thread.cbSize = sizeof thread;
        GetGUIThreadInfo(GetCurrentThreadId(), &thread);
        if ((thread.flags & GUI_INMENUMODE) == 0) return;
        handleEnd();
        expectItWaits();
        tick();
        expectItWaits();
        EndMenu();
    };
    const UINT_PTR timer =
        SetTimer(nullptr, 0, 50, [](HWND, UINT, UINT_PTR, DWORD) { inTheMenu(); });
    const HMENU menu = CreatePopupMenu();
    AppendMenuW(menu, MF_STRING, 1, L"An item");
    EXPECT_EQ(TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_RETURNCMD, 0, 0, 0, window, nullptr), 0);
    KillTimer(nullptr, timer);
    DestroyMenu(menu);
    expectTheTickAsks();
}

TEST_F(WindowSwapTest, WhatWasRememberedOfTheOldFileIsForgotten) {
    const std::wstring oldKey = fileStateKey(path);
    editState().playhead = 2;
    storeFileState();
    EXPECT_THAT(keysOf(PLAYHEADS), ElementsAre(oldKey));
    save();
    const std::wstring newKey = fileStateKey(path);
    EXPECT_NE(newKey, oldKey);
    for (const std::wstring& root : {PLAYHEADS, GEOMETRY, ZOOM})
        EXPECT_THAT(keysOf(root), ElementsAre(newKey)) << testing::PrintToString(root);
}

TEST_F(WindowSwapTest, AfterAFailedSwapZoomAndExposureAreAsTheyWere) {
    ui().exposure = 0;
    ui().doubled = true;
    const UniqueFile held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    jobHost().calls.exportFile = [](const ExportRequest& request, std::wstring*) {
        writeBytes(request.outputPath, {'n', 'e', 'w', '!'});
        for (const ExportSpan& span : request.spans)
            request.spanWritten({span.start, 0, span.end, true});
        return true;
    };
    ui().exposure = 1.5;
    const ClipList clips = editState().clips;
    const std::vector<std::wstring> texts = save();
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(texts[1].find(L"Save failed.\n\nThe edit was encoded, but it could not replace"), 0u);
    fire(METADATA_EVENT);
    EXPECT_EQ(ui().exposure, 1.5);
    EXPECT_TRUE(ui().doubled);
    EXPECT_EQ(editState().clips, clips);
    EXPECT_TRUE(editState().edited);
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'o', 'l', 'd'}));
    EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
}

// The job's end is posted, and comes in behind the question whether the window is to close.
class WindowClosingBehindASave : public WindowSwapTest {
protected:
    static constexpr const wchar_t* EXPORT_RUNS =
        L"An export is still running.\n\nCancel the export and close Velkantrix?";
    static constexpr const wchar_t* UNSAVED =
        L"Your edits haven't been exported.\n\nClose without exporting?";

    // Begins the save, and then closes. `aboutClosing` is the answer about the job; to all else it
    // is No. Boxes that lie over each other come in no order.
    std::vector<std::wstring> saveAndClose(WORD aboutClosing) {
        BoxAnswers answers([&](const std::wstring& text) -> WORD {
            if (text == EXPORT_RUNS) return aboutClosing;
            if (text.find(L"Replace \"") == 0) return IDYES;
            return text.find(L"Save failed") == 0 ? IDOK : IDNO;
        });
        command(166);
        EXPECT_TRUE(editState().exportBusy);
        SendMessageW(window, WM_CLOSE, 0, 0);
        answers.texts.erase(answers.texts.begin()); // whether the original is to be replaced
        return answers.texts;
    }
};

TEST_F(WindowClosingBehindASave, ThatHasSucceededClosesWithNothingToAsk) {
    EXPECT_THAT(saveAndClose(IDYES), ElementsAre(EXPORT_RUNS));
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'n', 'e', 'w', '!'}));
    EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
}

TEST_F(WindowClosingBehindASave, ThatHasSucceededGoesOnInTheNewFile) {
    EXPECT_THAT(saveAndClose(IDNO), ElementsAre(EXPORT_RUNS));
    ASSERT_TRUE(IsWindow(window));
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'n', 'e', 'w', '!'}));
    fire(METADATA_EVENT);
    EXPECT_EQ(editState().statusText, L"Saved — the original was replaced");
}

TEST_F(WindowClosingBehindASave, ThatIsNotSwappedInAsksAboutTheEdits) {
    const UniqueFile held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    EXPECT_THAT(saveAndClose(IDYES),
                UnorderedElementsAre(EXPORT_RUNS, testing::StartsWith(L"Save failed."), UNSAVED));
    ASSERT_TRUE(IsWindow(window));
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'o', 'l', 'd'}));
    EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
    EXPECT_FALSE(exportJob().closeAsked);
    EXPECT_TRUE(editState().edited);
}

TEST_F(WindowClosingBehindASave, ThatSeemsIncompleteAsksBehindThatQuestion) {
    exportLess();
    for (const WORD answer : {WORD{IDNO}, WORD{IDYES}}) {
        EXPECT_THAT(saveAndClose(IDNO), ElementsAre(EXPORT_RUNS));
        ASSERT_TRUE(IsWindow(window));
        EXPECT_TRUE(editState().exportBusy) << "not over the other question";
        EXPECT_EQ(editState().statusText, L"Waiting for your answer…");
        BoxAnswers answers([answer](const std::wstring&) { return answer; });
        refreshExportProgress();
        EXPECT_THAT(answers.texts, ElementsAre(testing::Truly(isAboutLess)));
        EXPECT_FALSE(editState().exportBusy);
        EXPECT_EQ(bytesOf(path), answer == IDYES ? (std::vector<char>{'n', 'e', 'w', '!'})
                                                 : (std::vector<char>{'o', 'l', 'd'}));
        EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
    }
}

TEST_F(WindowClosingBehindASave, ThatSeemsIncompleteIsCancelled) {
    exportLess();
    EXPECT_THAT(saveAndClose(IDYES), ElementsAre(EXPORT_RUNS));
    refreshExportProgress();
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'o', 'l', 'd'}));
    EXPECT_THAT(folder.files(), ElementsAre(L"own.mp4"));
}

TEST_F(WindowClosingBehindASave, ThatHasFailedAsksAboutTheEdits) {
    jobHost().calls.exportFile = [](const ExportRequest&, std::wstring* errorText) {
        *errorText = L"the disk is full";
        return false;
    };
    EXPECT_THAT(saveAndClose(IDYES),
                UnorderedElementsAre(EXPORT_RUNS, L"Save failed.\n\nthe disk is full", UNSAVED));
    ASSERT_TRUE(IsWindow(window));
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'o', 'l', 'd'}));
}

} // namespace
} // namespace velkantrix
