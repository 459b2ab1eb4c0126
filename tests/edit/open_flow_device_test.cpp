// The loss of the graphics device, while a file is open and while one opens.
#include "tests/edit/open_flow_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr const wchar_t* CANNOT_OPEN = L"Windows Media Foundation could not open this video.";

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

// Until the picture is there again it isn't shown: it is awaited from that place on.
TEST_F(OpenFlow, AfterALossOfTheDeviceThePictureIsAwaitedWhereItWas) {
    openAndReady(L"C:\\a.mp4");
    seekTo(7);
    reopenAfterDeviceLoss(true);
    engineReady();
    EXPECT_EQ(openState().resumedAt, 7);
}

TEST_F(OpenFlow, AReopeningThatFailsKeepsTheEdit) {
    openAndReady(L"C:\\a.mp4");
    makeUnsavedEdit();
    const ClipList clips = editState().clips;
    reopenAfterDeviceLoss(true);
    engineFailed();
    EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
    EXPECT_EQ(title, L"a.mp4 - Velkantrix");
    EXPECT_TRUE(editState().videoLoaded);
    EXPECT_EQ(editState().clips, clips);
    EXPECT_TRUE(editState().edited);
}

TEST_F(OpenFlow, ALossOfTheDeviceWhileOpeningIsAFailedOpening) {
    openVideo(L"C:\\a.mp4");
    recorder.forget();
    reopenAfterDeviceLoss(false);
    EXPECT_THAT(recorder.calls,
                ElementsAre("close engine", "title", "leave fullscreen", "paint", "error"));
    EXPECT_THAT(boxes, ElementsAre(CANNOT_OPEN));
}

TEST_F(OpenFlow, WithoutAVideoALossOfTheDeviceIsNoNews) {
    reopenAfterDeviceLoss(true);
    EXPECT_THAT(recorder.calls, ElementsAre());
}

} // namespace
} // namespace velkantrix
