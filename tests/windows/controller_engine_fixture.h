// controller_engine_fixture.h: the controller with its own threads and device, and an engine that
// does what the test says.
#pragma once

#include <string>
#include <vector>

#include "tests/windows/controller_fixture.h"
#include "tests/windows/scripted_engine.h"

namespace velkantrix {

// As the documentation numbers them.
inline constexpr DWORD FAILED_EVENT = 5;
inline constexpr DWORD METADATA_EVENT = 10;
inline constexpr DWORD PLAYING_EVENT = 13;
inline constexpr DWORD ENDED_EVENT = 19;

inline constexpr Ticks SECOND = 10'000'000;

using Calls = std::vector<std::string>;

// No such file exists: all that is known of the video comes from the engine.
class ControllerEngineTest : public ControllerTest {
protected:
    ControllerEngineTest() { EXPECT_EQ(engines.result(), S_OK); }
    ~ControllerEngineTest() override { controller.close(); }

    ScriptedEngine& engine() { return *engines.making.engine.get(); }
    void fire(DWORD event) {
        ASSERT_TRUE(engine().fire(event));
        pump();
    }

    void beginOpening() {
        ASSERT_EQ(open(L"no-such-file"), S_OK);
        ASSERT_TRUE(engines.making.engine);
    }

    // Ready, with the first picture on screen; what was asked of the engine up to here is
    // forgotten.
    void openScripted() {
        beginOpening();
        if (HasFatalFailure()) return;
        fire(METADATA_EVENT);
        ASSERT_EQ(notices, Notices{PLAYBACK_READY});
        ASSERT_TRUE(waitFor([&] { return controller.enginePresentCount() == 1; }));
        engine().forgetCalls();
    }

    // All that was offered has been dealt with.
    void waitForTicks() {
        ASSERT_TRUE(waitFor([&] { return engine().allOffered(); }));
        const std::uint32_t before = engine().ticks();
        ASSERT_TRUE(waitFor([&] { return engine().ticks() > before + 1; }));
    }

    void expectFailedOnce(HRESULT opened, HRESULT expected) {
        EXPECT_EQ(opened, expected);
        EXPECT_EQ(controller.state(), PlaybackState::Closed);
        EXPECT_TRUE(controller.failurePosted());
        pump();
        EXPECT_EQ(notices, Notices{PLAYBACK_FAILED});
    }

    void expectVideoSize(std::int32_t width, std::int32_t height) {
        std::int32_t gotWidth = -1;
        std::int32_t gotHeight = -1;
        EXPECT_EQ(controller.videoSize(gotWidth, gotHeight), width > 0);
        EXPECT_EQ(gotWidth, width);
        EXPECT_EQ(gotHeight, height);
    }

    ScriptedEngines engines;
};

} // namespace velkantrix
