// open_flow_fixture.h: opening with a world that only notes what it is asked.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "edit/open_flow.h"
#include "edit/operations.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {

class OpenFlow : public EditTest {
protected:
    OpenFlow() {
        openState() = {};
        openHost() = makeHost();
        recorder.keepsStates = false;
    }
    ~OpenFlow() override {
        openState() = {};
        openHost() = {};
    }

    std::function<void()> note(const char* call) {
        return [this, call] {
            recorder.record(call);
        };
    }

    OpenHost makeHost() {
        OpenHost host;
        host.chooseFile = [this] {
            recorder.record("choose");
            return chosen;
        };
        host.beep = note("beep");
        host.startMedia = [this] {
            recorder.record("start media");
            return mediaStarts;
        };
        host.confirm = [this](const std::wstring& text) {
            recorder.record("confirm");
            boxes.push_back(text);
            if (duringQuestion) duringQuestion();
            return answer;
        };
        host.showError = [this](const std::wstring& text) {
            recorder.record("error");
            boxes.push_back(text);
        };
        host.showWarning = [this](const std::wstring& text) {
            recorder.record("warning");
            boxes.push_back(text);
            if (duringQuestion) duringQuestion();
        };
        host.absolutePath = [](const std::wstring& path) {
            return path.find(L':') == std::wstring::npos ? L"C:\\here\\" + path : path;
        };
        host.isFile = [](const std::wstring& path) {
            return path != L"C:\\gone.mp4";
        };
        host.examineFile = [this](const std::wstring& path) {
            recorder.record("examine");
            examined = path;
            return ExaminedFile{1234, slow};
        };
        host.storeFileState = [this] {
            recorder.record("store");
            storedUnder = openState().path;
        };
        host.storedPlayhead = [this] {
            recorder.record("load playhead");
            return playhead;
        };
        host.restoreZoom = note("zoom");
        host.restoreGeometry = [this] {
            recorder.record("geometry");
            return hasGeometry;
        };
        host.addRecent = note("add recent");
        host.recentFile = [this](std::size_t index) -> std::optional<std::wstring> {
            if (index >= recent.size()) return std::nullopt;
            return recent[index];
        };
        host.removeRecent = [this](const std::wstring& path) {
            recorder.record("remove recent");
            std::erase(recent, path);
        };
        host.dropGestures = note("drop gestures");
        host.stopPeaks = note("stop peaks");
        host.resetExposure = note("exposure");
        host.hideVideo = note("hide video");
        host.repaint = note("paint");
        host.openEngine = [this](const std::wstring& path) {
            recorder.record("open engine");
            openedPath = path;
            statusAtOpen = editState().statusText;
            return opening;
        };
        host.closeEngine = note("close engine");
        host.engineDuration = [this] {
            return duration;
        };
        host.engineVideoSize = [this] {
            return size;
        };
        host.play = note("play");
        host.applyVolume = note("volume");
        host.leaveFullscreen = note("leave fullscreen");
        host.sizeWindowToVideo = note("size window");
        host.setTitle = [this](const std::wstring& text) {
            recorder.record("title");
            title = text;
        };
        host.layOut = note("lay out");
        host.beginReveal = note("reveal");
        return host;
    }

    void openAndReady(const std::wstring& path) {
        openVideo(path);
        engineReady();
        recorder.forget();
        boxes.clear();
    }

    void makeUnsavedEdit() {
        splitClip(0, 5);
        EXPECT_TRUE(editState().edited);
        recorder.forget();
    }

    std::wstring chosen = L"C:\\chosen.mp4";
    bool mediaStarts = true;
    bool answer = true;
    std::function<void()> duringQuestion;
    std::vector<std::wstring> boxes;
    std::vector<std::wstring> recent{L"C:\\a.mp4", L"C:\\gone.mp4"};
    std::wstring examined, storedUnder, openedPath, statusAtOpen, title;
    bool slow = false;
    std::optional<double> playhead;
    bool hasGeometry = false;
    EngineOpening opening{true, true};
    double duration = 10;
    VideoSize size{640, 360};
};

} // namespace velkantrix
