// The transport bar as a child of the program's window: its mouse, its tips, what it posts.
#include "app/transport_bar.h"

#include <commctrl.h>

#include "app/placing.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A video of two clips is open.
class TransportBarTest : public WindowTest {
protected:
    TransportBarTest() {
        startEdit(10);
        splitClip(0, 5);
        refreshUi();
        bar = ui().transport;
        giveTransport(1272);
    }
    ~TransportBarTest() override { ReleaseCapture(); }
    TransportBarTest(const TransportBarTest&) = delete;
    TransportBarTest& operator=(const TransportBarTest&) = delete;

    // That many pixels wide.
    void giveTransport(int width) const {
        SetWindowPos(bar, nullptr, 24, 700, width, S(62), SWP_NOZORDER | SWP_NOACTIVATE);
    }

    [[nodiscard]] PixelRect rectOf(TransportControl control) const {
        return transportLayout(bar)[control];
    }

    void mouse(UINT message, int x, int y) const {
        SendMessageW(bar, message, 0, MAKELPARAM(x, y));
    }
    // In its middle.
    void mouse(UINT message, TransportControl control) const {
        const PixelRect rect = rectOf(control);
        mouse(message, (rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2);
    }
    void click(TransportControl control) const {
        mouse(WM_LBUTTONDOWN, control);
        mouse(WM_LBUTTONUP, control);
    }

    [[nodiscard]] bool isAskedToPaint(const std::function<void()>& act) const {
        ShowWindow(window, SW_SHOWNA);
        ShowWindow(bar, SW_SHOWNA);
        ValidateRect(bar, nullptr);
        act();
        return GetUpdateRect(bar, nullptr, FALSE) != FALSE;
    }

    HWND bar = nullptr;
};

TEST_F(TransportBarTest, EachButtonPostsItsCommandWhenItIsReleased) {
    for (const auto& [control, id] : {std::pair<TransportControl, WPARAM>{TRANSPORT_BACK, 108},
                                      {TRANSPORT_PLAY, 102},
                                      {TRANSPORT_FORWARD, 109},
                                      {TRANSPORT_SPLIT, 103},
                                      {TRANSPORT_REMOVE, 104},
                                      {TRANSPORT_MUTE, 129},
                                      {TRANSPORT_PREVIOUS_FRAME, 124},
                                      {TRANSPORT_NEXT_FRAME, 123},
                                      {TRANSPORT_DARKER, 162},
                                      {TRANSPORT_EXPOSURE, 164},
                                      {TRANSPORT_BRIGHTER, 161},
                                      {TRANSPORT_ZOOM, 165}}) {
        mouse(WM_LBUTTONDOWN, control);
        EXPECT_EQ(GetCapture(), bar) << control;
        EXPECT_THAT(posted(), IsEmpty());
        mouse(WM_LBUTTONUP, control);
        EXPECT_NE(GetCapture(), bar);
        EXPECT_THAT(posted(), ElementsAre(id)) << control;
    }
}

TEST_F(TransportBarTest, PressedHereAndReleasedThereIsNothing) {
    mouse(WM_LBUTTONDOWN, TRANSPORT_PLAY);
    mouse(WM_MOUSEMOVE, TRANSPORT_BACK);
    mouse(WM_LBUTTONUP, TRANSPORT_BACK);
    mouse(WM_LBUTTONDOWN, TRANSPORT_SPLIT);
    mouse(WM_LBUTTONUP, -5, -5);
    mouse(WM_LBUTTONDOWN, 2, 2); // on no control
    EXPECT_NE(GetCapture(), bar);
    mouse(WM_LBUTTONUP, TRANSPORT_SPLIT);
    mouse(WM_LBUTTONDOWN, TRANSPORT_PLAY);
    mouse(WM_LBUTTONUP, TRANSPORT_VOLUME);
    mouse(WM_LBUTTONUP, TRANSPORT_PLAY); // a release alone
    EXPECT_THAT(posted(), IsEmpty());
    EXPECT_EQ(ui().volume.level, 1);
}

TEST_F(TransportBarTest, LeftAndComeBackItIsStillPressed) {
    mouse(WM_LBUTTONDOWN, TRANSPORT_PLAY);
    mouse(WM_MOUSEMOVE, 2, 2); // within the bar: beyond it the press ends
    mouse(WM_MOUSEMOVE, TRANSPORT_PLAY);
    mouse(WM_LBUTTONUP, TRANSPORT_PLAY);
    EXPECT_THAT(posted(), ElementsAre(102u));
}

TEST_F(TransportBarTest, WhatIsTakenAwayIsNoPress) {
    mouse(WM_LBUTTONDOWN, TRANSPORT_PLAY);
    ReleaseCapture(); // as when another window takes it
    mouse(WM_LBUTTONUP, TRANSPORT_PLAY);
    mouse(WM_LBUTTONDOWN, TRANSPORT_PLAY);
    SendMessageW(bar, WM_MOUSELEAVE, 0, 0);
    mouse(WM_LBUTTONUP, TRANSPORT_PLAY);
    EXPECT_NE(GetCapture(), bar);
    EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(TransportBarTest, TheLastClipCantBeRemoved) {
    command(106); // the split is taken back
    ASSERT_THAT(editState().clips, testing::SizeIs(1));
    click(TRANSPORT_REMOVE);
    EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(TransportBarTest, BehindABoxNothingIsPosted) {
    EnableWindow(window, FALSE);
    EXPECT_FALSE(pressTransport(bar, TRANSPORT_PLAY));
    EnableWindow(window, TRUE);
    EnableWindow(bar, FALSE);
    EXPECT_FALSE(pressTransport(bar, TRANSPORT_PLAY));
    EXPECT_THAT(posted(), IsEmpty());
    EnableWindow(bar, TRUE);
    EXPECT_TRUE(pressTransport(bar, TRANSPORT_PLAY));
}

TEST_F(TransportBarTest, TheSliderSetsTheVolumeWhereItIsPressedAndDragged) {
    const SliderTrack track = sliderTrack(rectOf(TRANSPORT_VOLUME), 96);
    ASSERT_EQ(track.right - track.left, 94);
    mouse(WM_LBUTTONDOWN, track.left + 47, track.middle);
    EXPECT_EQ(ui().volume.level, 0.5);
    EXPECT_EQ(GetCapture(), bar);
    EXPECT_TRUE(ui().volumeDragged);
    mouse(WM_MOUSEMOVE, track.left, 500);
    EXPECT_EQ(ui().volume.level, 0);
    mouse(WM_MOUSEMOVE, -3000, 5);
    EXPECT_EQ(ui().volume.level, 0);
    mouse(WM_MOUSEMOVE, 3000, 5);
    EXPECT_EQ(ui().volume.level, 1);
    mouse(WM_MOUSEMOVE, track.left + 47, track.middle);
    mouse(WM_LBUTTONUP, TRANSPORT_PLAY);
    EXPECT_EQ(ui().volume.level, 0.5);
    EXPECT_FALSE(ui().volumeDragged);
    EXPECT_NE(GetCapture(), bar);
    mouse(WM_MOUSEMOVE, track.left, track.middle);
    EXPECT_EQ(ui().volume.level, 0.5);
    EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(TransportBarTest, ADragOfTheVolumeLeavesItMuted) {
    ui().volume.muted = true;
    mouse(WM_LBUTTONDOWN, TRANSPORT_VOLUME);
    EXPECT_EQ(ui().volume, (Volume{.level = 0.5, .muted = true}));
}

TEST_F(TransportBarTest, ADragOfTheVolumeEndsWhenTheMouseIsTakenAway) {
    mouse(WM_LBUTTONDOWN, TRANSPORT_VOLUME);
    ReleaseCapture();
    EXPECT_FALSE(ui().volumeDragged);
    mouse(WM_MOUSEMOVE, 0, 0);
    EXPECT_EQ(ui().volume.level, 0.5);
}

TEST_F(TransportBarTest, IsPaintedAnewWhenWhatItShowsChanges) {
    EXPECT_TRUE(isAskedToPaint([&] { mouse(WM_MOUSEMOVE, TRANSPORT_PLAY); }));
    EXPECT_FALSE(isAskedToPaint([&] {
        const PixelRect rect = rectOf(TRANSPORT_PLAY);
        mouse(WM_MOUSEMOVE, rect.left + 1, rect.top + 1);
    }));
    EXPECT_TRUE(isAskedToPaint([&] { mouse(WM_LBUTTONDOWN, TRANSPORT_PLAY); }));
    EXPECT_TRUE(isAskedToPaint([&] { mouse(WM_LBUTTONUP, TRANSPORT_PLAY); }));
    EXPECT_TRUE(isAskedToPaint([&] { SendMessageW(bar, WM_MOUSELEAVE, 0, 0); }));
    for (const int id : {129, 130, 131}) // the volume
        EXPECT_TRUE(isAskedToPaint([&] { command(id); })) << id;
    EXPECT_TRUE(isAskedToPaint([&] { command(161); })); // the exposure
    EXPECT_TRUE(isAskedToPaint([&] { command(165); })); // the zoom
    EXPECT_TRUE(isAskedToPaint([&] { command(104); })); // how many clips there are
    EXPECT_TRUE(isAskedToPaint([&] { mouse(WM_LBUTTONDOWN, TRANSPORT_VOLUME); }));
}

TEST_F(TransportBarTest, WhatIsLeftIsNoLongerHovered) {
    mouse(WM_MOUSEMOVE, TRANSPORT_PLAY);
    SendMessageW(bar, WM_MOUSELEAVE, 0, 0);
    EXPECT_TRUE(isAskedToPaint([&] { mouse(WM_MOUSEMOVE, TRANSPORT_PLAY); }));
}

TEST_F(TransportBarTest, ADragOfTheVolumeHoversNothingElse) {
    mouse(WM_MOUSEMOVE, TRANSPORT_VOLUME);
    mouse(WM_LBUTTONDOWN, TRANSPORT_VOLUME);
    mouse(WM_MOUSEMOVE, TRANSPORT_PLAY);
    mouse(WM_LBUTTONUP, TRANSPORT_PLAY);
    EXPECT_TRUE(isAskedToPaint([&] { mouse(WM_MOUSEMOVE, TRANSPORT_PLAY); }));
}

TEST_F(TransportBarTest, APressThatIsTakenAwayIsNotSeenAnyMore) {
    mouse(WM_LBUTTONDOWN, TRANSPORT_PLAY);
    EXPECT_TRUE(isAskedToPaint([] { ReleaseCapture(); }));
}

// The system asks for the pointer itself, which has to be there.
TEST_F(TransportBarTest, ThePointerIsToldOfWhenItLeaves) {
    const ParkedCursor parked;
    ShowWindow(bar, SW_SHOWNA);
    SetWindowPos(window, HWND_TOPMOST, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE | SWP_SHOWWINDOW);
    const PixelRect rect = rectOf(TRANSPORT_PLAY);
    POINT at = {rect.left + 5, rect.top + 5};
    ClientToScreen(bar, &at);
    ASSERT_TRUE(SetCursorPos(at.x, at.y));
    ASSERT_EQ(WindowFromPoint(at), bar);
    mouse(WM_MOUSEMOVE, rect.left + 5, rect.top + 5);
    TRACKMOUSEEVENT event = {sizeof event, TME_QUERY, nullptr, 0};
    EXPECT_TRUE(TrackMouseEvent(&event));
    EXPECT_EQ(event.dwFlags & (TME_LEAVE | TME_HOVER), static_cast<DWORD>(TME_LEAVE));
    EXPECT_EQ(event.hwndTrack, bar);
}

// What a press gives while a menu waits for the user; then the menu is closed.
LRESULT CALLBACK pressInMenu(HWND target, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                             DWORD_PTR pressed) {
    if (message == WM_ENTERIDLE) {
        *reinterpret_cast<bool*>(pressed) = pressTransport(ui().transport, TRANSPORT_PLAY);
        EndMenu();
    }
    return DefSubclassProc(target, message, wide, lng);
}

TEST_F(TransportBarTest, NothingIsPressedBehindAMenuOrADrag) {
    SetCapture(window);
    EXPECT_FALSE(pressTransport(bar, TRANSPORT_PLAY));
    ReleaseCapture();
    bool pressed = true;
    SetWindowSubclass(window, pressInMenu, 0, reinterpret_cast<DWORD_PTR>(&pressed));
    const HMENU menu = CreatePopupMenu();
    AppendMenuW(menu, MF_STRING, 1, L"Item");
    ShowWindow(window, SW_SHOW);
    TrackPopupMenu(menu, TPM_RETURNCMD, 10, 10, 0, window, nullptr);
    RemoveWindowSubclass(window, pressInMenu, 0);
    DestroyMenu(menu);
    EXPECT_FALSE(pressed);
    EXPECT_TRUE(pressTransport(bar, TRANSPORT_PLAY));
}

TEST_F(TransportBarTest, FollowsTheScale) {
    changeDpi(144, {0, 0, 1900, 1000});
    giveTransport(1800);
    EXPECT_EQ(transportLayout(bar).controls, layOutTransport(1800, 144).controls);
    const SliderTrack track = sliderTrack(layOutTransport(1800, 144)[TRANSPORT_VOLUME], 144);
    mouse(WM_LBUTTONDOWN, (track.left + track.right) / 2, track.middle);
    EXPECT_NEAR(ui().volume.level, 0.5, 0.005);
    mouse(WM_MOUSEMOVE, track.right - 7, track.middle);
    EXPECT_NEAR(ui().volume.level, 1 - 7.0 / (track.right - track.left), 1e-9);
    mouse(WM_LBUTTONUP, 0, 0);
}

TEST_F(TransportBarTest, ErasesNothing) {
    EXPECT_EQ(SendMessageW(bar, WM_ERASEBKGND, 0, 0), 1);
}

// Of the tips.
class TransportTipsTest : public TransportBarTest {
protected:
    TransportTipsTest() {
        EnumThreadWindows(GetCurrentThreadId(), find, reinterpret_cast<LPARAM>(this));
        EXPECT_TRUE(tips);
    }

    [[nodiscard]] LRESULT ask(UINT message, WPARAM wide = 0) const {
        return SendMessageW(tips, message, wide, 0);
    }

    [[nodiscard]] std::wstring textOf(std::size_t id) const {
        wchar_t text[256] = L"";
        TTTOOLINFOW tool = {.cbSize = sizeof tool, .hwnd = bar, .uId = id, .lpszText = text};
        SendMessageW(tips, TTM_GETTEXTW, 256, reinterpret_cast<LPARAM>(&tool));
        return text;
    }

    [[nodiscard]] PixelRect placeOf(std::size_t id) const {
        wchar_t text[256] = L"";
        TTTOOLINFOW tool = {.cbSize = sizeof tool, .hwnd = bar, .uId = id, .lpszText = text};
        EXPECT_TRUE(SendMessageW(tips, TTM_GETTOOLINFOW, 0, reinterpret_cast<LPARAM>(&tool)));
        EXPECT_TRUE(tool.uFlags & TTF_SUBCLASS);
        return {tool.rect.left, tool.rect.top, tool.rect.right, tool.rect.bottom};
    }

    void expectPlaces() const {
        for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i)
            EXPECT_EQ(placeOf(i), transportLayout(bar).controls[i]) << i;
    }

    HWND tips = nullptr;

private:
    static BOOL CALLBACK find(HWND candidate, LPARAM test) {
        auto* const self = reinterpret_cast<TransportTipsTest*>(test);
        wchar_t kind[32] = L"";
        GetClassNameW(candidate, kind, 32);
        if (kind == std::wstring(L"tooltips_class32") &&
            SendMessageW(candidate, TTM_GETTOOLCOUNT, 0, 0))
            self->tips = candidate;
        return TRUE;
    }
};

TEST_F(TransportTipsTest, LookLikeTheRestOfTheWindow) {
    EXPECT_EQ(ask(TTM_GETTIPBKCOLOR), 0x0014191C);
    EXPECT_EQ(ask(TTM_GETTIPTEXTCOLOR), 0x00E2EBED);
    EXPECT_EQ(ask(TTM_GETMAXTIPWIDTH), 320);
    const auto style = static_cast<DWORD>(GetWindowLongPtrW(tips, GWL_STYLE));
    EXPECT_EQ(style & (TTS_ALWAYSTIP | TTS_NOPREFIX),
              static_cast<DWORD>(TTS_ALWAYSTIP | TTS_NOPREFIX));
    EXPECT_TRUE(style & WS_POPUP);
    EXPECT_EQ(GetWindow(tips, GW_OWNER), window);
}

TEST_F(TransportTipsTest, ThereIsOneForEachControl) {
    EXPECT_EQ(ask(TTM_GETTOOLCOUNT), 13);
    expectPlaces();
    EXPECT_EQ(textOf(0), L"Back 5 seconds   (←)");
    EXPECT_EQ(textOf(6), L"Volume   (↑ ↓)");
    EXPECT_EQ(textOf(10), L"Auto-fix exposure");
    EXPECT_EQ(textOf(12), L"Zoom to 2×   (Z)");
}

TEST_F(TransportTipsTest, SayWhatTheControlDoesNow) {
    EXPECT_EQ(textOf(5), L"Mute   (M)");
    command(129);
    EXPECT_EQ(textOf(5), L"Unmute   (M)");
    command(162);
    EXPECT_EQ(textOf(10), L"Reset exposure");
    command(165);
    EXPECT_EQ(textOf(12), L"Actual size (1×)   (Z)");
}

TEST_F(TransportTipsTest, FollowTheControls) {
    giveTransport(1180);
    expectPlaces();
    EXPECT_TRUE(placeOf(9).empty());
    giveTransport(1181);
    expectPlaces();
    EXPECT_FALSE(placeOf(9).empty());
    changeDpi(144, {0, 0, 1500, 1000});
    expectPlaces();
    EXPECT_EQ(ask(TTM_GETMAXTIPWIDTH), 480);
}

} // namespace
} // namespace velkantrix
