#include "edit/open_flow.h"

#include <limits>

#include "edit/rename.h"
#include "tests/edit/open_flow_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr const wchar_t* DISCARD_QUESTION =
    L"Your edits haven't been exported.\n\nOpen a new video without exporting?";
constexpr const wchar_t* CANNOT_OPEN = L"Windows Media Foundation could not open this video.";

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
                            "dim 1", "load playhead", "refreshUi", "lay out", "play", "reveal"));
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

// What is left of it when it is opened again: its place was stored before the file was put away.
TEST_F(OpenFlow, TheSameFileGoesOnWhereItWas) {
    openHost().storeFileState = [this] {
        storedUnder = openState().path;
        playhead = editState().playhead;
    };
    openAndReady(L"C:\\a.mp4");
    seekTo(4.25);
    openVideo(L"C:\\a.mp4");
    EXPECT_EQ(storedUnder, L"C:\\a.mp4");
    EXPECT_EQ(playhead, 4.25);
    EXPECT_EQ(editState().playhead, 0);
    engineReady();
    EXPECT_EQ(editState().playhead, 4.25);
    EXPECT_EQ(editState().statusText, L"Resumed at 00:04.250");
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
    EXPECT_THAT(recorder.calls, ElementsAre("title", "leave fullscreen", "paint", "error"));
    EXPECT_EQ(title, L"Velkantrix");
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
        EXPECT_THAT(recorder.calls,
                    ElementsAre("close engine", "title", "leave fullscreen", "paint", "error"));
        EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
        EXPECT_FALSE(editState().videoLoaded);
    }
}

// There would be nothing to cut, and no place to seek to.
TEST_F(OpenFlow, AFileOfUnknownLengthIsRefused) {
    for (const double wrong : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        duration = wrong;
        boxes.clear();
        openVideo(L"C:\\torn.ts");
        recorder.forget();
        engineReady();
        EXPECT_THAT(recorder.calls,
                    ElementsAre("close engine", "title", "leave fullscreen", "paint", "error"));
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
    EXPECT_THAT(recorder.calls, ElementsAre("warning", "remove recent"));
    EXPECT_THAT(boxes, ElementsAre(L"C:\\gone.mp4\n\nThis file no longer exists."));
    EXPECT_THAT(recent, ElementsAre(L"C:\\a.mp4"));
}

TEST_F(OpenFlow, AnEntryThatIsNotThereOpensNothing) {
    openRecent(2);
    EXPECT_THAT(recorder.calls, ElementsAre());
}

} // namespace
} // namespace velkantrix
