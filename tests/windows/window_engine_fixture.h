// window_engine_fixture.h: the main window with its own controller, and an engine that does what
// the test says. Its timers tick only when the test says so.
#pragma once

#include <windows.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "playback/notices.h"
#include "tests/windows/scripted_engine.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {

// As the documentation numbers them.
inline constexpr DWORD FAILED_EVENT = 5;
inline constexpr DWORD METADATA_EVENT = 10;
inline constexpr DWORD ENDED_EVENT = 19;

// No such file exists: a video of 10 seconds is what the engine says.
class WindowEngineTest : public WindowTest {
protected:
    WindowEngineTest() {
        EXPECT_EQ(engines.result(), S_OK);
        engines.making.script.duration = 10;
        openHost().addRecent = [] {
        };
    }
    ~WindowEngineTest() override { ui().playback.reset(); } // before the engines' class goes
    WindowEngineTest(const WindowEngineTest&) = delete;
    WindowEngineTest& operator=(const WindowEngineTest&) = delete;

    [[nodiscard]] ScriptedEngine& engine() const { return *engines.making.engine.get(); }

    // What the controller has posted gets to the window, and nothing else.
    void takeNotices() const {
        MSG message;
        while (PeekMessageW(&message, window, WM_PLAYBACK_NOTIFY, WM_PLAYBACK_NOTIFY, PM_REMOVE))
            DispatchMessageW(&message);
    }

    void fire(DWORD event) const {
        ASSERT_TRUE(engine().fire(event));
        takeNotices();
    }

    void beginOpening() {
        engines.making.engine.reset();
        openVideo(L"C:\\no-such-file.mp4");
        ASSERT_TRUE(engines.making.engine);
    }

    // It plays; what was asked of the engine up to here is forgotten.
    void open() {
        beginOpening();
        if (HasFatalFailure()) return;
        fire(METADATA_EVENT);
        ASSERT_TRUE(editState().videoLoaded);
        engine().forgetCalls();
    }

    // Likewise, but none of its pictures can be drawn.
    void openWithoutPicture() {
        beginOpening();
        if (HasFatalFailure()) return;
        engine().failTransfers(std::numeric_limits<int>::max());
        fire(METADATA_EVENT);
        ASSERT_TRUE(editState().videoLoaded);
    }

    void tick() const { send(WM_TIMER, 200); }

    // False when it isn't so within a time that is long enough anywhere.
    static bool waitFor(const std::function<bool()>& condition) {
        const std::uint64_t end = GetTickCount64() + 30'000;
        while (GetTickCount64() < end) {
            if (condition()) return true;
            Sleep(1);
        }
        return false;
    }

    ScriptedEngines engines;
};

} // namespace velkantrix
