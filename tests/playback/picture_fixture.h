// picture_fixture.h: a picture control with an engine that only notes what it is asked, and a
// presenter whose frames the test chooses.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "playback/picture_control.h"
#include "playback/picture_events.h"
#include "playback/presenter_step.h"

namespace velkantrix {

class Picture : public ::testing::Test {
protected:
    Picture() {
        control.state = PlaybackState::Opening;
        control.duration = 10;
        control.fps = 25;
        attachEngine(control,
                     {[this] { asked.push_back("play"); }, [this] { asked.push_back("pause"); },
                      [this](double t) { asked.push_back("seek " + number(t)); },
                      [this] {
                          return engineAt;
                      }});
        calls.newFrame = [this] {
            return std::exchange(offered, std::nullopt);
        };
        calls.draw = [this](bool isPreview) {
            if (drawFails) return false;
            drawn.push_back(isPreview ? "preview" : "engine");
            return true;
        };
        calls.log = [this](const PresentRecord& record) {
            logged.push_back(record);
        };
    }

    // A file that is open and paused.
    void makeReady() { EXPECT_TRUE(metadataArrived(control)); }

    // One step of the presenter, with a new frame of the engine.
    std::int32_t stepWithFrame(double seconds) {
        offered = nearestTicks(seconds);
        return step();
    }
    std::int32_t step() { return presenterStep(control, memory, calls); }

    std::vector<std::string> takeAsked() { return std::exchange(asked, {}); }
    std::vector<std::string> takeDrawn() { return std::exchange(drawn, {}); }

    static std::string number(double value) {
        std::string text = std::to_string(value);
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.') text.pop_back();
        return text;
    }

    PictureControl control;
    PresenterCalls calls;
    PresenterMemory memory;
    std::optional<Ticks> offered;
    bool drawFails = false;
    double engineAt = 0;
    std::vector<std::string> asked; // of the engine
    std::vector<std::string> drawn;
    std::vector<PresentRecord> logged;
};

using Texts = std::vector<std::string>;

} // namespace velkantrix
