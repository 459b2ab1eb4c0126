// What the mouse does on the main window's timeline, as the system tells it; and files that are
// dropped on the window.
#include <cstring>
#include <new>

#include "app/layout.h"
#include "app/timeline_layout.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Two clips of 10 seconds each, and an engine that goes wherever it is sent.
class WindowMouseTest : public WindowTest {
protected:
    WindowMouseTest() {
        editHost().engineExists = [] {
            return true;
        };
        editHost().seekEngine = [](double) {
        };
        editHost().setDim = [](double) {
        };
        timelineMouseHost().now = [this] {
            return now += 1000;
        };
        startEdit(20);
        editState().clips = {{.start = 0, .end = 10}, {.start = 10, .end = 20}};
        ShowWindow(window, SW_SHOWNOACTIVATE);
        RECT client = {};
        GetClientRect(window, &client);
        track = timelineRect({client.right, client.bottom}, ui().dpi, false);
    }
    ~WindowMouseTest() override { ReleaseCapture(); }
    WindowMouseTest(const WindowMouseTest&) = delete;
    WindowMouseTest& operator=(const WindowMouseTest&) = delete;

    [[nodiscard]] int middle() const { return (track.left + track.right) / 2; }
    [[nodiscard]] int row() const { return (track.top + track.bottom) / 2; }

    void press(int x) const { send(WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, row())); }
    void move(int x) const { send(WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(x, row())); }
    void release(int x) const { send(WM_LBUTTONUP, 0, MAKELPARAM(x, row())); }

    std::uint64_t now = 0;
    PixelRect track;
};

TEST_F(WindowMouseTest, AScrubLeftOfTheWindowIsAtTheStart) {
    press(middle() + 40);
    ASSERT_TRUE(isScrubbing());
    EXPECT_GT(editState().playhead, 10);
    move(-20);
    EXPECT_EQ(editState().playhead, 0);
    EXPECT_EQ(timelineMouse().scrub->lastX, -20);
    move(middle() + 40);
    release(-20);
    EXPECT_FALSE(isScrubbing());
    EXPECT_EQ(editState().playhead, 0);
}

TEST_F(WindowMouseTest, ACutDraggedLeftOfTheWindowIsAtItsLeftLimit) {
    press(middle());
    ASSERT_TRUE(isDragging());
    move(-20);
    EXPECT_DOUBLE_EQ(editState().clips[0].end, 0.1);
    release(-20);
    EXPECT_FALSE(isDragging());
}

// The system asks for the pointer itself, which has to be there.
TEST_F(WindowMouseTest, ThePointerOverTheTimelineIsToldOfWhenItLeaves) {
    const ParkedCursor parked;
    POINT at = {middle() + 40, row()};
    ClientToScreen(window, &at);
    SetWindowPos(window, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    ASSERT_TRUE(SetCursorPos(at.x, at.y));
    ASSERT_EQ(WindowFromPoint(at), window);
    const auto wanted = [] {
        TRACKMOUSEEVENT event = {sizeof event, TME_QUERY, nullptr, 0};
        EXPECT_TRUE(TrackMouseEvent(&event));
        return event;
    };
    EXPECT_EQ(wanted().dwFlags & TME_LEAVE, 0u);
    move(middle() + 40);
    ASSERT_EQ(timelineMouse().hoverX, middle() + 40);
    EXPECT_EQ(wanted().dwFlags & TME_LEAVE, static_cast<DWORD>(TME_LEAVE));
    EXPECT_EQ(wanted().hwndTrack, window);
}

// DROPFILES, whose header is larger than all else together.
struct DroppedFiles {
    DWORD list = sizeof(DroppedFiles); // where it begins
    POINT at = {};
    BOOL outsideClient = FALSE;
    BOOL wide = TRUE;
};

class WindowOpeningTest : public WindowMouseTest {
protected:
    WindowOpeningTest() {
        openHost().startMedia = [] {
            return true;
        };
        openHost().absolutePath = [](const std::wstring& path) {
            return path;
        };
        openHost().openEngine = [this](const std::wstring& path) {
            opened.push_back(path);
            return EngineOpening{.begun = true};
        };
    }

    void drop(const std::vector<std::wstring>& paths) const {
        std::wstring list;
        for (const std::wstring& path : paths) list += path + L'\0';
        list += L'\0';
        const std::size_t size = list.size() * sizeof list[0];
        const HGLOBAL memory = GlobalAlloc(GHND, sizeof(DroppedFiles) + size);
        ASSERT_TRUE(memory);
        auto* const files = new (GlobalLock(memory)) DroppedFiles;
        std::memcpy(static_cast<void*>(files + 1), list.data(), size);
        GlobalUnlock(memory);
        send(WM_DROPFILES, reinterpret_cast<WPARAM>(memory)); // which frees it
    }

    std::vector<std::wstring> opened;
};

TEST_F(WindowOpeningTest, AScrubUnderWayIsEnded) {
    press(middle() + 40);
    ASSERT_TRUE(isScrubbing());
    ASSERT_EQ(GetCapture(), window);
    openVideo(L"C:\\next.mp4");
    ASSERT_THAT(opened, ElementsAre(L"C:\\next.mp4"));
    EXPECT_FALSE(isScrubbing());
    EXPECT_FALSE(GetCapture());
}

TEST_F(WindowOpeningTest, ADragUnderWayIsEnded) {
    press(middle());
    ASSERT_TRUE(isDragging());
    ASSERT_EQ(GetCapture(), window);
    openVideo(L"C:\\next.mp4");
    ASSERT_THAT(opened, ElementsAre(L"C:\\next.mp4"));
    EXPECT_FALSE(isDragging());
    EXPECT_FALSE(GetCapture());
}

TEST_F(WindowOpeningTest, ThePointersPlaceIsForgotten) {
    timelineMouse().hoverX = middle();
    timelineMouse().hoverClip = 1;
    openVideo(L"C:\\next.mp4");
    ASSERT_THAT(opened, ElementsAre(L"C:\\next.mp4"));
    EXPECT_FALSE(timelineMouse().hoverX);
    EXPECT_EQ(timelineMouse().hoverClip, -1);
}

TEST_F(WindowOpeningTest, OfSeveralDroppedFilesTheFirstIsOpened) {
    drop({L"C:\\one.mp4", L"C:\\two.mp4"});
    EXPECT_THAT(opened, ElementsAre(L"C:\\one.mp4"));
}

TEST_F(WindowOpeningTest, ADroppedFileMayHaveAVeryLongPath) {
    const std::wstring path = L"C:\\" + std::wstring(32000, L'f') + L".mp4";
    drop({path});
    EXPECT_THAT(opened, ElementsAre(path));
}

TEST_F(WindowOpeningTest, AFileDroppedBehindABoxIsLeft) {
    EnableWindow(window, FALSE);
    drop({L"C:\\one.mp4"});
    EXPECT_THAT(opened, IsEmpty());
    EnableWindow(window, TRUE);
    drop({L"C:\\two.mp4"});
    EXPECT_THAT(opened, ElementsAre(L"C:\\two.mp4"));
}

} // namespace
} // namespace velkantrix
