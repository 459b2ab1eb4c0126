#include "edit/open_flow.h"

#include "edit/operations.h"
#include "edit/rename.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr const wchar_t* DISCARD_QUESTION =
    L"Your edits haven't been exported.\n\nOpen a new video without exporting?";
constexpr const wchar_t* CANNOT_OPEN = L"Windows Media Foundation could not open this video.";

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
        host.recentFile = [](std::size_t index) -> std::optional<std::wstring> {
            if (index == 0) return L"C:\\a.mp4";
            if (index == 1) return L"C:\\gone.mp4";
            return std::nullopt;
        };
        host.removeRecent = [this](std::size_t index) {
            recorder.record("remove recent", static_cast<double>(index));
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
    std::wstring examined, storedUnder, openedPath, statusAtOpen, title;
    bool slow = false;
    std::optional<double> playhead;
    bool hasGeometry = false;
    EngineOpening opening{true, true};
    double duration = 10;
    VideoSize size{640, 360};
};

TEST_F(OpenFlow, OpeningPutsEverythingAwayBeforeTheEngineIsAsked) {
    openVideo(L"C:\\videos\\a.mp4");
    EXPECT_THAT(recorder.calls,
                ElementsAre("start media", "drop gestures", "stop peaks", "store", "examine",
                            "exposure", "refreshUi", "hide video", "open engine", "paint"));
    EXPECT_EQ(openedPath, L"C:\\videos\\a.mp4");
    EXPECT_EQ(examined, L"C:\\videos\\a.mp4");
    EXPECT_EQ(statusAtOpen, L"Opening…");
    EXPECT_EQ(openState().displayName, L"a.mp4");
    EXPECT_EQ(openState().fileSize, 1234u);
    EXPECT_EQ(openState().phase, OpenPhase::Opening);
    EXPECT_FALSE(editState().videoLoaded);
}

TEST_F(OpenFlow, AnEmptyPathDoesNothing) {
    openVideo(L"");
    EXPECT_THAT(recorder.calls, ElementsAre());
}

TEST_F(OpenFlow, ThePathIsMadeAbsolute) {
    openVideo(L"a.mp4");
    EXPECT_EQ(openState().path, L"C:\\here\\a.mp4");
    EXPECT_EQ(openedPath, L"C:\\here\\a.mp4");
    EXPECT_EQ(openState().displayName, L"a.mp4");
}

TEST_F(OpenFlow, TheDisplayNameIsThePathsLastPart) {
    openVideo(L"C:/videos/b.mkv");
    EXPECT_EQ(openState().displayName, L"b.mkv");
    openVideo(L"X:c.mkv");
    EXPECT_EQ(openState().displayName, L"X:c.mkv");
}

TEST_F(OpenFlow, WhileAJobRunsThereIsOnlyABeep) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    editState().exportBusy = true;
    const EditState before = editState();
    openVideo(L"C:\\b.mp4");
    EXPECT_THAT(recorder.calls, ElementsAre("beep"));
    EXPECT_EQ(editState(), before);
    EXPECT_EQ(openState().path, L"C:\\a.mp4");
}

TEST_F(OpenFlow, WhileAJobRunsNoFileIsChosen) {
    editState().exportBusy = true;
    openVideoCommand();
    EXPECT_THAT(recorder.calls, ElementsAre("beep"));
}

TEST_F(OpenFlow, AJobThatBeganBehindTheDialogIsNotDisturbed) {
    openHost().chooseFile = [this] {
        editState().exportBusy = true;
        return chosen;
    };
    openVideoCommand();
    EXPECT_THAT(recorder.calls, ElementsAre("beep"));
}

TEST_F(OpenFlow, AChosenFileIsOpened) {
    openVideoCommand();
    EXPECT_EQ(openedPath, L"C:\\chosen.mp4");
}

TEST_F(OpenFlow, ACancelledDialogOpensNothing) {
    chosen.clear();
    openVideoCommand();
    EXPECT_THAT(recorder.calls, ElementsAre("choose"));
}

TEST_F(OpenFlow, WithoutMediaFoundationNothingIsOpened) {
    mediaStarts = false;
    openVideo(L"C:\\a.mp4");
    EXPECT_THAT(recorder.calls, ElementsAre("start media"));
}

TEST_F(OpenFlow, UnsavedEditsAreAskedAbout) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    openVideo(L"C:\\b.mp4");
    EXPECT_THAT(boxes, ElementsAre(DISCARD_QUESTION));
    EXPECT_EQ(openState().path, L"C:\\b.mp4");
}

TEST_F(OpenFlow, DecliningChangesNothing) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    answer = false;
    const EditState before = editState();
    const OpenState file = openState();
    openVideo(L"C:\\b.mp4");
    EXPECT_THAT(recorder.calls, ElementsAre("start media", "confirm"));
    EXPECT_EQ(editState(), before);
    EXPECT_EQ(openState(), file);
}

TEST_F(OpenFlow, AJobThatBeganBehindTheQuestionIsNotDisturbed) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    duringQuestion = [] {
        editState().exportBusy = true;
    };
    openVideo(L"C:\\b.mp4");
    EXPECT_THAT(recorder.calls, ElementsAre("start media", "confirm", "beep"));
    EXPECT_EQ(openState().path, L"C:\\a.mp4");
}

TEST_F(OpenFlow, NothingIsAskedAboutExportedEdits) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    editState().edited = false;
    openVideo(L"C:\\b.mp4");
    EXPECT_THAT(boxes, ElementsAre());
}

TEST_F(OpenFlow, NothingIsAskedWhenAllOfTheVideoIsKept) {
    openAndReady(L"C:\\a.mp4");
    editState().edited = true;
    openVideo(L"C:\\b.mp4");
    EXPECT_THAT(boxes, ElementsAre());
}

TEST_F(OpenFlow, AnOpenRenameIsDiscarded) {
    openAndReady(L"C:\\a.mp4");
    beginRename();
    recorder.typed = L"typed";
    recorder.forget();
    openVideo(L"C:\\b.mp4");
    EXPECT_FALSE(renameState().open);
    EXPECT_THAT(recorder.calls, Contains("destroy"));
}

TEST_F(OpenFlow, ARunningGestureEnds) {
    openAndReady(L"C:\\a.mp4");
    editState().gestureRecorded = true;
    editState().rollCutIndex = 0;
    openVideo(L"C:\\b.mp4");
    EXPECT_FALSE(editState().gestureRecorded);
    EXPECT_EQ(editState().rollCutIndex, -1);
}

TEST_F(OpenFlow, TheOldFilesStateIsStoredUnderItsOwnPath) {
    openAndReady(L"C:\\a.mp4");
    openVideo(L"C:\\b.mp4");
    EXPECT_EQ(storedUnder, L"C:\\a.mp4");
}

TEST_F(OpenFlow, TheOldEditIsEmptied) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    seekTo(4);
    openVideo(L"C:\\b.mp4");
    EXPECT_TRUE(editState().clips.empty());
    EXPECT_TRUE(editState().undoStack.empty());
    EXPECT_TRUE(editState().redoStack.empty());
    EXPECT_EQ(editState().playhead, 0);
    EXPECT_FALSE(editState().edited);
    EXPECT_FALSE(editState().videoLoaded);
}

TEST_F(OpenFlow, WhenTheEngineIsReadyTheVideoPlaysAsOneClip) {
    openVideo(L"C:\\a.mp4");
    recorder.forget();
    engineReady();
    EXPECT_THAT(recorder.calls,
                ElementsAre("zoom", "geometry", "size window", "title", "add recent", "volume",
                            "load playhead", "refreshUi", "lay out", "play", "reveal"));
    EXPECT_TRUE(editState().videoLoaded);
    EXPECT_EQ(editState().duration, 10);
    EXPECT_THAT(editState().clips, ElementsAre(Segment{.start = 0, .end = 10}));
    EXPECT_EQ(editState().selectedClip, 0);
    EXPECT_EQ(editState().statusText, L"Playing");
    EXPECT_EQ(title, L"a.mp4 - Velkantrix");
    EXPECT_EQ(openState().videoSize, (VideoSize{640, 360}));
    EXPECT_EQ(openState().phase, OpenPhase::None);
}

TEST_F(OpenFlow, AStoredGeometryKeepsTheWindowsSize) {
    hasGeometry = true;
    openVideo(L"C:\\a.mp4");
    engineReady();
    EXPECT_THAT(recorder.calls, Not(Contains("size window")));
}

TEST_F(OpenFlow, PlayingResumesWhereItWasLeft) {
    playhead = 4.25;
    openVideo(L"C:\\a.mp4");
    recorder.forget();
    engineReady();
    EXPECT_EQ(editState().statusText, L"Resumed at 00:04.250");
    EXPECT_EQ(editState().playhead, 4.25);
    EXPECT_EQ(openState().resumedAt, 4.25);
    EXPECT_THAT(recorder.calls, Contains("seek 4.25"));
}

TEST_F(OpenFlow, APlaceNearEitherEndIsNotResumed) {
    for (const double stored : {0.0, 0.03, 0.05, 9.95, 9.97, 10.0, 11.0}) {
        playhead = stored;
        openAndReady(L"C:\\a.mp4");
        EXPECT_EQ(editState().statusText, L"Playing") << stored;
        EXPECT_EQ(editState().playhead, 0) << stored;
        EXPECT_EQ(openState().resumedAt, 0) << stored;
    }
    for (const double stored : {0.0501, 9.9499}) {
        playhead = stored;
        openAndReady(L"C:\\a.mp4");
        EXPECT_EQ(editState().playhead, stored);
    }
}

TEST_F(OpenFlow, ASlowFileSaysSoWhereverItResumes) {
    slow = true;
    openAndReady(L"C:\\a.mp4");
    EXPECT_EQ(editState().statusText,
              L"Seeking is slow on this recording — File ▸ Optimise for editing");
    playhead = 4;
    openAndReady(L"C:\\a.mp4");
    EXPECT_EQ(editState().statusText,
              L"Seeking is slow on this recording — File ▸ Optimise for editing");
    EXPECT_EQ(editState().playhead, 4);
}

TEST_F(OpenFlow, ARefusedFileLeavesNothingOpenAndIsReportedOnce) {
    openVideo(L"C:\\a.mp4");
    recorder.forget();
    engineFailed();
    EXPECT_THAT(recorder.calls, ElementsAre("paint", "error"));
    EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
    EXPECT_EQ(editState().statusText, L"Could not open this video");
    EXPECT_FALSE(editState().videoLoaded);
    EXPECT_TRUE(editState().clips.empty());
    engineFailed();
    EXPECT_EQ(boxes.size(), 1u);
}

TEST_F(OpenFlow, AFailureThatComesAsAMessageIsNotReportedAtOnce) {
    opening = {false, true};
    openVideo(L"C:\\a.mp4");
    EXPECT_THAT(boxes, ElementsAre());
    engineFailed();
    EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
}

TEST_F(OpenFlow, AFailureThatNoMessageTellsIsReportedAtOnce) {
    opening = {false, false};
    openVideo(L"C:\\a.mp4");
    EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
    EXPECT_EQ(openState().phase, OpenPhase::None);
}

TEST_F(OpenFlow, AFileWithoutPicturesIsRefused) {
    for (const VideoSize wrong :
         {VideoSize{0, 0}, VideoSize{640, 0}, VideoSize{0, 360}, VideoSize{-1, 360}}) {
        size = wrong;
        boxes.clear();
        openVideo(L"C:\\sound.mp4");
        recorder.forget();
        engineReady();
        EXPECT_THAT(recorder.calls, ElementsAre("close engine", "paint", "error"));
        EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
        EXPECT_FALSE(editState().videoLoaded);
    }
}

TEST_F(OpenFlow, NewsOfAnEarlierFileCountForNothing) {
    engineReady();
    engineFailed();
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    const EditState before = editState();
    engineReady();
    engineFailed();
    EXPECT_EQ(editState(), before);
    EXPECT_THAT(recorder.calls, ElementsAre());
}

TEST_F(OpenFlow, ARecentFileIsOpened) {
    openRecent(0);
    EXPECT_EQ(openedPath, L"C:\\a.mp4");
}

TEST_F(OpenFlow, ARecentFileThatIsGoneLeavesTheList) {
    openRecent(1);
    EXPECT_THAT(recorder.calls, ElementsAre("warning", "remove recent 1"));
    EXPECT_THAT(boxes, ElementsAre(L"C:\\gone.mp4\n\nThis file no longer exists."));
}

TEST_F(OpenFlow, AnEntryThatIsNotThereOpensNothing) {
    openRecent(2);
    EXPECT_THAT(recorder.calls, ElementsAre());
}

TEST_F(OpenFlow, AfterALossOfTheDeviceTheEditGoesOnWhereItWas) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    seekTo(7);
    recorder.forget();
    const EditState before = editState();
    reopenAfterDeviceLoss(true);
    EXPECT_THAT(recorder.calls, ElementsAre("drop gestures", "hide video", "open engine", "paint"));
    EXPECT_EQ(openedPath, L"C:\\a.mp4");
    EXPECT_EQ(editState(), before);
    recorder.forget();
    engineReady();
    EXPECT_THAT(recorder.calls, ElementsAre("volume", "seek 7", "dim 1", "repaint", "refreshUi",
                                            "lay out", "play", "reveal"));
    EXPECT_EQ(editState(), before);
}

TEST_F(OpenFlow, AfterALossOfTheDeviceAPausedVideoStaysPaused) {
    openAndReady(L"C:\\a.mp4");
    reopenAfterDeviceLoss(false);
    engineReady();
    EXPECT_THAT(recorder.calls, Not(Contains("play")));
}

TEST_F(OpenFlow, ASecondLossWhileReopeningRemembersThatItPlayed) {
    openAndReady(L"C:\\a.mp4");
    reopenAfterDeviceLoss(true);
    reopenAfterDeviceLoss(false);
    engineReady();
    EXPECT_THAT(recorder.calls, Contains("play"));
}

TEST_F(OpenFlow, AReopeningThatFailsKeepsTheEdit) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    const ClipList clips = editState().clips;
    reopenAfterDeviceLoss(true);
    engineFailed();
    EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
    EXPECT_TRUE(editState().videoLoaded);
    EXPECT_EQ(editState().clips, clips);
    EXPECT_TRUE(editState().edited);
}

TEST_F(OpenFlow, ALossOfTheDeviceWhileOpeningIsAFailedOpening) {
    openVideo(L"C:\\a.mp4");
    recorder.forget();
    reopenAfterDeviceLoss(false);
    EXPECT_THAT(recorder.calls, ElementsAre("close engine", "paint", "error"));
    EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
}

TEST_F(OpenFlow, WithoutAVideoALossOfTheDeviceIsNoNews) {
    reopenAfterDeviceLoss(true);
    EXPECT_THAT(recorder.calls, ElementsAre());
}

} // namespace
} // namespace velkantrix
