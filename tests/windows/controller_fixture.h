// controller_fixture.h: a controller with a window for its pictures and one for its messages, which
// are counted.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "playback/controller.h"
#include "playback/notices.h"
#include "tests/windows/test_files.h"

namespace velkantrix {

class ControllerTest : public testing::Test {
protected:
    static constexpr ULONGLONG LONGEST_WAIT = 20'000; // milliseconds

    ControllerTest() {
        window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 320, 180, nullptr,
                                 nullptr, GetModuleHandleW(nullptr), nullptr);
        receiver = CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                   GetModuleHandleW(nullptr), nullptr);
    }
    ~ControllerTest() override {
        controller.close();
        EXPECT_EQ(liveEngineCallbacks(), 0);
        DestroyWindow(receiver);
        DestroyWindow(window);
    }

    HRESULT open(const std::wstring& name) {
        return controller.open(mediaFile(name).c_str(), false, window, receiver);
    }

    // Takes the messages that have come.
    void pump() {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.hwnd == receiver && message.message == WM_PLAYBACK_NOTIFY) {
                EXPECT_EQ(message.lParam, 0);
                notices.push_back(message.wParam);
            }
            DispatchMessageW(&message);
        }
    }

    bool waitFor(const std::function<bool()>& condition) {
        const ULONGLONG begun = GetTickCount64();
        while (GetTickCount64() - begun < LONGEST_WAIT) {
            pump();
            if (condition()) return true;
            Sleep(1);
        }
        return false;
    }

    bool waitForNotice(WPARAM notice) {
        return waitFor([&] { return !notices.empty() && notices.back() == notice; });
    }

    void openAndWait(const std::wstring& name) {
        ASSERT_EQ(open(name), S_OK);
        ASSERT_TRUE(waitForNotice(PLAYBACK_READY));
    }

    using Notices = std::vector<WPARAM>;

    PlaybackController controller;
    HWND window = nullptr;   // for the pictures
    HWND receiver = nullptr; // for the messages
    Notices notices;
};

} // namespace velkantrix
