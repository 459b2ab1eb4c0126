// The field for a clip's name as the main window makes it, and what ends it.
#include "app/fonts.h"
#include "app/rename_field.h"
#include "platform/gdi.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

// Where the first clip is being named.
class WindowRenameTest : public WindowTest {
protected:
    WindowRenameTest() {
        startEdit(20);
        editState().clips = {{.start = 0, .end = 10, .name = L"Intro"}, {.start = 10, .end = 20}};
        updateControls();
        command(132);
        field = ui().renameField;
        EXPECT_TRUE(field);
    }

    // Notes whether the field is still shown when `message` comes first, before the window sees it.
    void watch(UINT message) {
        watched = message;
        SetWindowSubclass(window, lookFirst, 0, reinterpret_cast<DWORD_PTR>(this));
    }

    static LRESULT CALLBACK lookFirst(HWND target, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                                      DWORD_PTR data) {
        auto& test = *reinterpret_cast<WindowRenameTest*>(data);
        if (message == WM_NCDESTROY) RemoveWindowSubclass(target, lookFirst, 0);
        if (message == test.watched && !test.seen) {
            test.seen = true;
            test.shownWhenSeen = (test.style() & WS_VISIBLE) != 0;
        }
        // Any menu that opens is closed at once.
        if (message == WM_INITMENUPOPUP) PostMessageW(target, WM_KEYDOWN, VK_ESCAPE, 1);
        return DefSubclassProc(target, message, wide, lng);
    }

    void type(const wchar_t* name) const { SetWindowTextW(field, name); }

    void expectNamed(const wchar_t* name) const {
        EXPECT_FALSE(ui().renameField);
        EXPECT_FALSE(IsWindow(field));
        EXPECT_FALSE(renameState().open);
        EXPECT_EQ(editState().clips[0].name, name);
    }

    [[nodiscard]] DWORD style(int which = GWL_STYLE) const {
        return static_cast<DWORD>(GetWindowLongPtrW(field, which));
    }

    HWND field = nullptr;
    UINT watched = 0;
    bool seen = false;
    bool shownWhenSeen = false;
};

TEST_F(WindowRenameTest, TheFieldHasTheNameAllSelectedAndTheFocus) {
    EXPECT_EQ(GetDlgCtrlID(field), 133);
    EXPECT_EQ(GetParent(field), window);
    EXPECT_EQ(GetFocus(), field);
    EXPECT_EQ(readRenameField(), L"Intro");
    DWORD first = 99;
    DWORD last = 99;
    SendMessageW(field, EM_GETSEL, reinterpret_cast<WPARAM>(&first),
                 reinterpret_cast<LPARAM>(&last));
    EXPECT_EQ(first, 0u);
    EXPECT_EQ(last, 5u);
}

TEST_F(WindowRenameTest, AClipWithTheUsualNameHasAnEmptyField) {
    SendMessageW(field, WM_KEYDOWN, VK_TAB, 1);
    field = ui().renameField;
    ASSERT_TRUE(field);
    EXPECT_EQ(editState().selectedClip, 1);
    EXPECT_EQ(readRenameField(), L"");
    EXPECT_EQ(GetFocus(), field);
}

TEST_F(WindowRenameTest, TheFieldIsALittleTranslucentAndHasNoBorder) {
    EXPECT_NE(style(GWL_EXSTYLE) & WS_EX_LAYERED, 0u);
    BYTE alpha = 0;
    DWORD flags = 0;
    ASSERT_TRUE(GetLayeredWindowAttributes(field, nullptr, &alpha, &flags));
    EXPECT_EQ(alpha, 222);
    EXPECT_EQ(flags, static_cast<DWORD>(LWA_ALPHA));
    EXPECT_EQ(style() & (WS_BORDER | WS_DLGFRAME | WS_THICKFRAME | ES_MULTILINE), 0u);
    EXPECT_EQ(style(GWL_EXSTYLE) & (WS_EX_CLIENTEDGE | WS_EX_STATICEDGE | WS_EX_WINDOWEDGE), 0u);
    // Where the system draws the border into the field itself, it takes the style away.
    RECT text = {};
    RECT client = {};
    SendMessageW(field, EM_GETRECT, 0, reinterpret_cast<LPARAM>(&text));
    GetClientRect(field, &client);
    EXPECT_EQ(text.left, 4);
    EXPECT_EQ(text.right, client.right - 4);
    EXPECT_NE(style() & WS_CHILD, 0u);
    EXPECT_NE(style() & WS_VISIBLE, 0u);
}

TEST_F(WindowRenameTest, TheFieldTakesSixtyFourCharactersAndAllKeys) {
    EXPECT_EQ(SendMessageW(field, EM_GETLIMITTEXT, 0, 0), 64);
    EXPECT_EQ(SendMessageW(field, WM_GETDLGCODE, 0, 0), DLGC_WANTALLKEYS);
}

TEST_F(WindowRenameTest, TheFieldIsScaledAsTheWindowIs) {
    const auto expectFontAndMargins = [this](int margin) {
        EXPECT_EQ(SendMessageW(field, WM_GETFONT, 0, 0),
                  reinterpret_cast<LRESULT>(font(Font::Text)));
        EXPECT_EQ(SendMessageW(field, EM_GETMARGINS, 0, 0), MAKELRESULT(margin, margin));
    };
    expectFontAndMargins(4);
    changeDpi(144, {30, 40, 1330, 1010});
    command(132);
    field = ui().renameField;
    ASSERT_TRUE(field);
    expectFontAndMargins(6);
}

TEST_F(WindowRenameTest, TakingTheFocusAwayKeepsTheNameAndTheFocus) {
    type(L"Outro");
    SetFocus(ui().transport);
    expectNamed(L"Outro");
    EXPECT_EQ(GetFocus(), ui().transport);
}

TEST_F(WindowRenameTest, EnterKeepsTheNameAndGivesTheFocusBack) {
    type(L"Outro");
    watch(WM_SETFOCUS);
    SendMessageW(field, WM_KEYDOWN, VK_RETURN, 1);
    expectNamed(L"Outro");
    EXPECT_EQ(GetFocus(), window);
    EXPECT_TRUE(shownWhenSeen); // not because its child went
}

TEST_F(WindowRenameTest, EscapeKeepsTheOldNameAndGivesTheFocusBack) {
    type(L"Outro");
    SendMessageW(field, WM_KEYDOWN, VK_ESCAPE, 1);
    expectNamed(L"Intro");
    EXPECT_EQ(GetFocus(), window);
}

TEST_F(WindowRenameTest, AnotherSizeKeepsTheName) {
    type(L"Outro");
    RECT client = {};
    GetClientRect(window, &client);
    send(WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
    expectNamed(L"Outro");
}

TEST_F(WindowRenameTest, AMenuKeepsTheName) {
    type(L"Outro");
    send(WM_ENTERMENULOOP);
    expectNamed(L"Outro");
}

TEST_F(WindowRenameTest, TheNameIsKeptBeforeAClipsMenuOpens) {
    type(L"Outro");
    watch(WM_ENTERMENULOOP);
    send(WM_CONTEXTMENU, reinterpret_cast<WPARAM>(window), MAKELPARAM(-1, -1));
    EXPECT_TRUE(seen);
    EXPECT_FALSE(shownWhenSeen);
    expectNamed(L"Outro");
}

// There no menu opens.
TEST_F(WindowRenameTest, ARightClickBesideTheTimelineKeepsTheName) {
    type(L"Outro");
    POINT beside = {300, 100};
    ClientToScreen(window, &beside);
    watch(WM_INITMENUPOPUP);
    send(WM_CONTEXTMENU, reinterpret_cast<WPARAM>(window), MAKELPARAM(beside.x, beside.y));
    EXPECT_FALSE(seen);
    expectNamed(L"Outro");
}

TEST_F(WindowRenameTest, TheNameIsKeptBeforeTheWindowGoesFullscreen) {
    type(L"Outro");
    watch(WM_SIZE);
    command(128);
    ASSERT_TRUE(ui().fullscreen);
    EXPECT_TRUE(seen);
    EXPECT_FALSE(shownWhenSeen);
    expectNamed(L"Outro");
}

// Though no other size comes with it, which would end the field as well.
TEST_F(WindowRenameTest, AnotherScaleKeepsTheName) {
    type(L"Outro");
    watch(WM_SIZE);
    changeDpi(120, place());
    EXPECT_FALSE(seen);
    expectNamed(L"Outro");
}

// Else there would be nothing to ask about.
TEST_F(WindowRenameTest, TheNameIsKeptBeforeClosingAsks) {
    ASSERT_FALSE(editState().edited);
    type(L"Outro");
    BoxAnswers boxes([](const std::wstring&) { return IDNO; });
    send(WM_CLOSE);
    EXPECT_THAT(boxes.texts,
                ElementsAre(L"Your edits haven't been exported.\n\nClose without exporting?"));
    ASSERT_TRUE(IsWindow(window));
    expectNamed(L"Outro");
}

TEST_F(WindowRenameTest, TheFieldsColoursAreTheWindowsAndItsBrushIsMadeOnce) {
    const ScreenDc screen;
    const UniqueMemoryDc dc(CreateCompatibleDC(screen.get()));
    const auto ask = [&] {
        return send(WM_CTLCOLOREDIT, reinterpret_cast<WPARAM>(dc.get()),
                    reinterpret_cast<LPARAM>(field));
    };
    const LRESULT brush = ask();
    EXPECT_EQ(GetTextColor(dc.get()), RGB(237, 235, 226));
    EXPECT_EQ(GetBkColor(dc.get()), RGB(46, 34, 30));
    EXPECT_EQ(ask(), brush);
    LOGBRUSH made = {};
    ASSERT_EQ(GetObjectW(reinterpret_cast<HBRUSH>(brush), sizeof made, &made),
              static_cast<int>(sizeof made));
    EXPECT_EQ(made.lbStyle, static_cast<UINT>(BS_SOLID));
    EXPECT_EQ(made.lbColor, RGB(46, 34, 30));
}

} // namespace
} // namespace velkantrix
