// edit_recorder.h: stands for the window and the engine around the edit. It answers from plain
// fields and writes down every call that asks for an effect, with the edit as it was at that
// moment.
#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "edit/edit_state.h"

namespace velkantrix {

struct EditRecorder {
    // Answers.
    bool engine = true;
    bool playing = false;
    bool fullscreen = false;
    bool labelRoom = true;
    std::int32_t labelWithoutRoom = -1; // of this clip alone
    bool fieldOpens = true;
    double rate = 25;
    std::wstring typed; // what the rename field holds

    // What happened, in order: "seek 3", "dim 0.5", "repaint", "refreshUi", "pause", "open 1",
    // "destroy", "focus".
    std::vector<std::string> calls;
    std::vector<EditState> states; // states[k]: the edit during calls[k]
    std::wstring prefilled;
    bool keepsStates = true; // off for long runs

    void record(const std::string& call) {
        calls.push_back(call);
        if (keepsStates) states.push_back(editState());
    }

    void record(const std::string& call, double value) {
        std::ostringstream text;
        text << call << ' ' << value;
        record(text.str());
    }

    // The edit during the last such call; an empty one when it never came.
    [[nodiscard]] EditState during(const std::string& call) const {
        for (std::size_t k = calls.size(); k-- > 0;) {
            if (calls[k] == call) return states[k];
        }
        return {};
    }

    void forget() {
        calls.clear();
        states.clear();
    }

    // The recorder must outlive the use of the host.
    EditHost host() {
        EditHost host;
        host.engineExists = [this] {
            return engine;
        };
        host.seekEngine = [this](double seconds) {
            record("seek", seconds);
        };
        host.setDim = [this](double gain) {
            record("dim", gain);
        };
        host.frameRate = [this] {
            return rate;
        };
        host.isPlaying = [this] {
            return playing;
        };
        host.pause = [this] {
            playing = false;
            record("pause");
        };
        host.repaint = [this] {
            record("repaint");
        };
        host.refreshUi = [this] {
            record("refreshUi");
        };
        host.isFullscreen = [this] {
            return fullscreen;
        };
        host.labelHasRoom = [this](std::int32_t clip) {
            return labelRoom && clip != labelWithoutRoom;
        };
        host.openRenameField = [this](std::int32_t clip, const std::wstring& text) {
            record("open", clip);
            prefilled = text;
            return fieldOpens;
        };
        host.readRenameField = [this] {
            return typed;
        };
        host.destroyRenameField = [this] {
            record("destroy");
        };
        host.focusMainWindow = [this] {
            record("focus");
        };
        return host;
    }
};

} // namespace velkantrix
