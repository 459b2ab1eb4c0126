// How the program's windows are made, what they look like, and the fonts in them.
#include "app/fonts.h"
#include "app/message_loop.h"
#include "app/resource_ids.h"
#include "platform/gdi.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

constexpr Font ALL_FONTS[] = {Font::Heading, Font::Monospace, Font::Text, Font::Hero, Font::Icons};

class WindowStyleTest : public WindowTest {
protected:
    static WNDCLASSEXW classNamed(const wchar_t* name) {
        WNDCLASSEXW info = {};
        info.cbSize = sizeof info;
        EXPECT_TRUE(GetClassInfoExW(GetModuleHandleW(nullptr), name, &info)) << name;
        return info;
    }

    static DWORD styleOf(HWND of, int which = GWL_STYLE) {
        return static_cast<DWORD>(GetWindowLongPtrW(of, which));
    }

    static std::wstring kindOf(HWND of) {
        wchar_t kind[64] = {};
        GetClassNameW(of, kind, 64);
        return kind;
    }

    static std::wstring titleOf(HWND of) {
        wchar_t title[64] = {};
        GetWindowTextW(of, title, 64);
        return title;
    }
};

TEST_F(WindowStyleTest, TheMainWindowsClassIsRegistered) {
    const WNDCLASSEXW info = classNamed(L"VelkantrixNative");
    EXPECT_EQ(info.style, static_cast<UINT>(CS_HREDRAW | CS_VREDRAW));
    EXPECT_EQ(info.hCursor, LoadCursorW(nullptr, IDC_ARROW));
    EXPECT_EQ(info.hbrBackground, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    EXPECT_FALSE(info.lpszMenuName);
    const HICON icon = LoadIconW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ICON_ID));
    ASSERT_TRUE(icon); // the program of these tests has the same
    EXPECT_EQ(info.hIcon, icon);
}

TEST_F(WindowStyleTest, TheTransportBarsClassIsRegistered) {
    const WNDCLASSEXW info = classNamed(L"VelkantrixTransport");
    EXPECT_EQ(info.style, static_cast<UINT>(CS_HREDRAW | CS_VREDRAW));
    EXPECT_EQ(info.hCursor, LoadCursorW(nullptr, IDC_ARROW));
    EXPECT_FALSE(info.hbrBackground);
    EXPECT_FALSE(info.hIcon);
    EXPECT_FALSE(info.lpszMenuName);
}

TEST_F(WindowStyleTest, TheMainWindowTakesFilesAndLeavesItsChildrenAlone) {
    EXPECT_EQ(kindOf(window), L"VelkantrixNative");
    EXPECT_EQ(titleOf(window), L"Velkantrix");
    constexpr DWORD STYLE = WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN | WS_CLIPSIBLINGS;
    EXPECT_EQ(styleOf(window) & STYLE, STYLE);
    EXPECT_EQ(styleOf(window) & WS_VISIBLE, 0u);
    EXPECT_NE(styleOf(window, GWL_EXSTYLE) & WS_EX_ACCEPTFILES, 0u);
}

TEST_F(WindowStyleTest, TheVideosPlaceIsBlackHiddenAndTellsOfClicks) {
    EXPECT_EQ(kindOf(ui().video), L"Static");
    EXPECT_EQ(titleOf(ui().video), L"Video preview");
    const DWORD style = styleOf(ui().video);
    constexpr DWORD STYLE = WS_CHILD | WS_CLIPSIBLINGS | SS_NOTIFY;
    EXPECT_EQ(style & STYLE, STYLE);
    EXPECT_EQ(style & SS_TYPEMASK, static_cast<DWORD>(SS_BLACKRECT));
    EXPECT_EQ(style & WS_VISIBLE, 0u);
}

TEST_F(WindowStyleTest, TheTransportBarIsAChildAndHiddenWithoutAVideo) {
    EXPECT_EQ(kindOf(ui().transport), L"VelkantrixTransport");
    constexpr DWORD STYLE = WS_CHILD | WS_CLIPSIBLINGS;
    EXPECT_EQ(styleOf(ui().transport) & STYLE, STYLE);
    EXPECT_EQ(styleOf(ui().transport) & WS_VISIBLE, 0u);
    startEdit(10);
    updateControls();
    EXPECT_NE(styleOf(ui().transport) & WS_VISIBLE, 0u);
}

TEST_F(WindowStyleTest, TheBackgroundIsErasedBlack) {
    RECT client = {};
    GetClientRect(window, &client);
    const ScreenDc screen;
    const UniqueBitmap bitmap(
        CreateCompatibleBitmap(screen.get(), client.right + 1, client.bottom + 1));
    const UniqueMemoryDc dc(CreateCompatibleDC(screen.get()));
    const Selected selected(dc.get(), bitmap.get());
    PatBlt(dc.get(), 0, 0, client.right + 1, client.bottom + 1, WHITENESS);
    EXPECT_EQ(send(WM_ERASEBKGND, reinterpret_cast<WPARAM>(dc.get())), 1);
    EXPECT_EQ(GetPixel(dc.get(), 0, 0), RGB(0, 0, 0));
    EXPECT_EQ(GetPixel(dc.get(), client.right - 1, client.bottom - 1), RGB(0, 0, 0));
    EXPECT_EQ(GetPixel(dc.get(), client.right, client.bottom), RGB(255, 255, 255));
}

class WindowFontsTest : public WindowTest {
protected:
    static void expectFont(Font which, LONG height, LONG weight, const std::wstring& face) {
        LOGFONTW made = {};
        ASSERT_EQ(GetObjectW(font(which), sizeof made, &made), static_cast<int>(sizeof made));
        EXPECT_EQ(made.lfHeight, height) << static_cast<int>(which);
        EXPECT_EQ(made.lfWeight, weight) << static_cast<int>(which);
        EXPECT_EQ(made.lfFaceName, face) << static_cast<int>(which);
        EXPECT_EQ(made.lfQuality, CLEARTYPE_QUALITY) << static_cast<int>(which);
        EXPECT_EQ(made.lfCharSet, DEFAULT_CHARSET) << static_cast<int>(which);
        EXPECT_EQ(made.lfItalic, 0) << static_cast<int>(which);
        EXPECT_EQ(made.lfUnderline, 0) << static_cast<int>(which);
    }

    // Where they have the newer faces, these are others.
    static void expectFonts(LONG heading, LONG monospace, LONG text, LONG hero, LONG icons) {
        expectFont(Font::Heading, heading, 700, L"Segoe UI");
        expectFont(Font::Monospace, monospace, 400, L"Consolas");
        expectFont(Font::Text, text, 400, L"Segoe UI");
        expectFont(Font::Hero, hero, 700, L"Segoe UI");
        expectFont(Font::Icons, icons, 400, L"Segoe MDL2 Assets");
    }
};

TEST_F(WindowFontsTest, AreMadeForTheScaleAndOnce) {
    expectFonts(-20, -12, -15, -37, -21);
    for (const Font which : ALL_FONTS) EXPECT_EQ(font(which), font(which));
    changeDpi(144, {30, 40, 1330, 1010});
    expectFonts(-30, -18, -22, -56, -32);
    for (const Font which : ALL_FONTS) EXPECT_EQ(font(which), font(which));
}

TEST_F(WindowFontsTest, AFaceIsTheOneAskedForWhereTheSystemHasIt) {
    EXPECT_EQ(chooseFace(L"DejaVu Sans Mono", L"Segoe UI"), L"DejaVu Sans Mono");
    EXPECT_EQ(chooseFace(L"dejavu sans mono", L"Segoe UI"), L"dejavu sans mono");
    EXPECT_EQ(chooseFace(L"No Such Face", L"Segoe UI"), L"Segoe UI");
}

TEST(Accelerators, AreTheSystemsRecordsOfAllKeys) {
    const HACCEL table = createAccelerators();
    std::vector<ACCEL> entries(26);
    ASSERT_EQ(CopyAcceleratorTableW(table, nullptr, 0), 25);
    entries.resize(static_cast<std::size_t>(CopyAcceleratorTableW(table, entries.data(), 26)));
    DestroyAcceleratorTable(table);
    const auto& keys = acceleratorKeys();
    ASSERT_EQ(entries.size(), keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_EQ(entries[i].fVirt, keys[i].modifiers) << i;
        EXPECT_EQ(entries[i].key, keys[i].key) << i;
        EXPECT_EQ(entries[i].cmd, keys[i].command) << i;
    }
}

} // namespace
} // namespace velkantrix
