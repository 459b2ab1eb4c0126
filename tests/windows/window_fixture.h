// window_fixture.h: the program's main window, made anew for each test with all that is wired to
// it. It stays hidden, unless a test shows it.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/bindings.h"
#include "app/command_table.h"
#include "app/main_window.h"
#include "app/timeline_mouse.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/operations.h"
#include "edit/rename.h"
#include "export/export_job_core.h"
#include "tests/windows/scratch_registry.h"

namespace velkantrix {

class WindowTest : public testing::Test {
protected:
    WindowTest() {
        forgetAll();
        bindHosts();
        window = createMainWindow(GetModuleHandleW(nullptr));
        EXPECT_TRUE(window);
    }
    ~WindowTest() override {
        EnableWindow(window, TRUE);
        DestroyWindow(window);
        // A destroyed window ends its program's loop: that is taken out of the queue, too.
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
        forgetAll();
        openHost() = {};
        editHost() = {};
        timelineMouseHost() = {};
    }
    WindowTest(const WindowTest&) = delete;
    WindowTest& operator=(const WindowTest&) = delete;

    LRESULT send(UINT message, WPARAM wide = 0, LPARAM lng = 0) const {
        return SendMessageW(window, message, wide, lng);
    }

    void command(int id) const { send(WM_COMMAND, static_cast<WPARAM>(id)); }

    void changeDpi(WORD dpi, RECT suggested) const {
        send(WM_DPICHANGED, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(&suggested));
    }

    [[nodiscard]] RECT place() const {
        RECT rect = {};
        GetWindowRect(window, &rect);
        return rect;
    }

    void expectWindowAt(const RECT& expected) const {
        const RECT rect = place();
        EXPECT_TRUE(EqualRect(&rect, &expected))
            << rect.left << ' ' << rect.top << ' ' << rect.right << ' ' << rect.bottom;
    }

    // What of the shown window is to be painted, once `ask` has asked for it.
    template <class Ask>
    [[nodiscard]] RECT asked(Ask ask) const {
        ValidateRect(window, nullptr);
        ask();
        RECT rect = {};
        GetUpdateRect(window, &rect, FALSE);
        return rect;
    }

    // The commands that were posted to the window since the last call.
    [[nodiscard]] std::vector<WPARAM> posted() const {
        std::vector<WPARAM> commands;
        MSG message;
        while (PeekMessageW(&message, window, WM_COMMAND, WM_COMMAND, PM_REMOVE))
            commands.push_back(message.wParam);
        return commands;
    }

    static void makeUnsavedEdit() {
        startEdit(10);
        splitClip(0, 5);
        EXPECT_TRUE(editState().edited);
    }

    ScratchRegistry registry; // the window stores there what it remembers
    HWND window = nullptr;

private:
    static void forgetAll() {
        ui() = {};
        editState() = {};
        openState() = {};
        renameState() = {};
        timelineMouse() = {};
        resetExportJob();
    }
};

// The cursor in a corner of the screen: a menu that opens under it selects the item there. Put back
// in the end.
class ParkedCursor {
public:
    ParkedCursor() {
        GetCursorPos(&before_);
        SetCursorPos(GetSystemMetrics(SM_CXSCREEN) - 1, GetSystemMetrics(SM_CYSCREEN) - 1);
    }
    ~ParkedCursor() { SetCursorPos(before_.x, before_.y); }
    ParkedCursor(const ParkedCursor&) = delete;
    ParkedCursor& operator=(const ParkedCursor&) = delete;

private:
    POINT before_ = {};
};

// Answers this thread's message boxes out of the loops that they run themselves: each new one is
// noted, and the button pressed that `answer` gives for its text.
class BoxAnswers {
public:
    using Answer = std::function<WORD(const std::wstring& text)>;

    explicit BoxAnswers(Answer answer) : answer_(std::move(answer)) {
        current() = this;
        timer_ = SetTimer(nullptr, 0, LOOK_AGAIN, look);
    }
    ~BoxAnswers() {
        KillTimer(nullptr, timer_);
        current() = nullptr;
    }
    BoxAnswers(const BoxAnswers&) = delete;
    BoxAnswers& operator=(const BoxAnswers&) = delete;

    std::vector<std::wstring> texts; // of the boxes, in the order in which they came

private:
    static constexpr UINT LOOK_AGAIN = 20; // milliseconds
    static constexpr int TEXT_ID = 0xFFFF; // of the control with a box's text

    static BoxAnswers*& current() {
        static BoxAnswers* answers = nullptr;
        return answers;
    }

    static void CALLBACK look(HWND, UINT, UINT_PTR, DWORD) {
        EnumThreadWindows(GetCurrentThreadId(), meet, 0);
    }

    static BOOL CALLBACK meet(HWND box, LPARAM) {
        wchar_t kind[16] = {};
        GetClassNameW(box, kind, 16);
        if (kind == std::wstring(L"#32770") && IsWindowVisible(box) && current())
            current()->answer(box);
        return TRUE;
    }

    // A box that has been answered stays until the loop of one that lies over it has ended.
    void answer(HWND box) {
        if (std::ranges::find(seen_, box) != seen_.end()) return;
        seen_.push_back(box);
        wchar_t text[512] = {};
        GetDlgItemTextW(box, TEXT_ID, text, 512);
        texts.emplace_back(text);
        PostMessageW(box, WM_COMMAND, answer_(text), 0);
    }

    Answer answer_;
    UINT_PTR timer_ = 0;
    std::vector<HWND> seen_;
};

} // namespace velkantrix
