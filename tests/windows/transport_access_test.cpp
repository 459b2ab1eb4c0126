// The transport bar as those read it who don't see it.
#include <oleacc.h>
#include <oleauto.h>

#include <optional>

#include "app/transport_bar.h"
#include "base/com_ptr.h"
#include "platform/library.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr LONG BAR = 0;
constexpr LONG REMOVE = 5;
constexpr LONG SLIDER = 7;
constexpr LONG DARKER = 10;
constexpr LONG LAST = 13;

VARIANT childId(LONG id) {
    VARIANT variant = {};
    variant.vt = VT_I4;
    variant.lVal = id;
    return variant;
}

class TransportAccessTest : public WindowTest {
protected:
    TransportAccessTest() {
        startEdit(10);
        splitClip(0, 5);
        refreshUi();
        bar = ui().transport;
        SetWindowPos(bar, nullptr, 24, 700, 1272, 62, SWP_NOZORDER | SWP_NOACTIVATE);
        access = objectOf(OBJID_CLIENT);
    }
    ~TransportAccessTest() override { access = {}; }
    TransportAccessTest(const TransportAccessTest&) = delete;
    TransportAccessTest& operator=(const TransportAccessTest&) = delete;

    [[nodiscard]] ComPtr<IAccessible> objectOf(LONG which) const {
        ComPtr<IAccessible> object;
        const auto find = findFunction<decltype(AccessibleObjectFromWindow)>(
            loadSystemLibrary(L"oleacc.dll"), "AccessibleObjectFromWindow");
        EXPECT_EQ(find(bar, static_cast<DWORD>(which), IID_IAccessible,
                       reinterpret_cast<void**>(object.put())),
                  S_OK);
        return object;
    }

    using TextGetter = HRESULT (STDMETHODCALLTYPE IAccessible::*)(VARIANT, BSTR*);
    // None where the object says that there is none.
    [[nodiscard]] std::optional<std::wstring> text(TextGetter getter, LONG child) const {
        BSTR text = nullptr;
        const HRESULT hr = (access.get()->*getter)(childId(child), &text);
        if (hr != S_OK) {
            EXPECT_EQ(hr, S_FALSE);
            EXPECT_FALSE(text);
            return std::nullopt;
        }
        const std::wstring copy(text, SysStringLen(text));
        SysFreeString(text);
        return copy;
    }
    [[nodiscard]] auto name(LONG child) const { return text(&IAccessible::get_accName, child); }
    [[nodiscard]] auto value(LONG child) const { return text(&IAccessible::get_accValue, child); }
    [[nodiscard]] auto action(LONG child) const {
        return text(&IAccessible::get_accDefaultAction, child);
    }
    [[nodiscard]] auto shortcut(LONG child) const {
        return text(&IAccessible::get_accKeyboardShortcut, child);
    }

    [[nodiscard]] LONG role(LONG child) const {
        VARIANT role = {};
        EXPECT_EQ(access->get_accRole(childId(child), &role), S_OK);
        EXPECT_EQ(role.vt, VT_I4);
        return role.lVal;
    }
    [[nodiscard]] LONG state(LONG child) const {
        VARIANT state = {};
        EXPECT_EQ(access->get_accState(childId(child), &state), S_OK);
        EXPECT_EQ(state.vt, VT_I4);
        return state.lVal;
    }

    [[nodiscard]] RECT location(LONG child) const {
        long left = 0;
        long top = 0;
        long width = 0;
        long height = 0;
        EXPECT_EQ(access->accLocation(&left, &top, &width, &height, childId(child)), S_OK);
        return {left, top, left + width, top + height};
    }

    [[nodiscard]] RECT onScreen(const PixelRect& rect) const {
        RECT moved = {rect.left, rect.top, rect.right, rect.bottom};
        MapWindowPoints(bar, nullptr, reinterpret_cast<POINT*>(&moved), 2);
        return moved;
    }

    // The system's own object for the bar as a window.
    void expectIsWindow(IUnknown* object) const {
        ComPtr<IOleWindow> asWindow;
        HWND found = nullptr;
        ASSERT_EQ(object->QueryInterface(IID_IOleWindow, reinterpret_cast<void**>(asWindow.put())),
                  S_OK);
        EXPECT_EQ(asWindow->GetWindow(&found), S_OK);
        EXPECT_EQ(found, bar);
    }

    HWND bar = nullptr;
    ComPtr<IAccessible> access;
};

void expectSame(const RECT& found, const RECT& expected) {
    EXPECT_TRUE(EqualRect(&found, &expected))
        << found.left << ' ' << found.top << ' ' << found.right << ' ' << found.bottom;
}

TEST_F(TransportAccessTest, NamesTheBarAndItsControls) {
    EXPECT_EQ(name(BAR), L"Playback controls");
    std::vector<std::wstring> names;
    for (LONG child = 1; child <= LAST; ++child) names.push_back(name(child).value_or(L"none"));
    EXPECT_THAT(names,
                ElementsAre(L"Back 5 seconds", L"Play", L"Forward 5 seconds", L"Split at playhead",
                            L"Remove selected clip", L"Mute", L"Volume", L"Step back one frame",
                            L"Step forward one frame", L"Darken exposure", L"Auto-fix exposure",
                            L"Brighten exposure", L"Zoom to 2×"));
    ui().volume.muted = true;
    EXPECT_EQ(name(6), L"Unmute");
}

TEST_F(TransportAccessTest, TheBarIsAToolbarOfButtonsAndASlider) {
    long count = 0;
    EXPECT_EQ(access->get_accChildCount(&count), S_OK);
    EXPECT_EQ(count, 13);
    EXPECT_EQ(role(BAR), 0x16);
    for (LONG child = 1; child <= LAST; ++child)
        EXPECT_EQ(role(child), child == SLIDER ? 0x33 : 0x2B) << child;
}

TEST_F(TransportAccessTest, OnlyTheSliderHasAValue) {
    ui().volume.level = 0.345;
    for (LONG child = 0; child <= LAST; ++child) {
        if (child == SLIDER) continue;
        EXPECT_EQ(value(child), std::nullopt) << child;
    }
    EXPECT_EQ(value(SLIDER), L"35");
    ui().volume.level = 0;
    EXPECT_EQ(value(SLIDER), L"0");
    ui().volume.level = 1;
    EXPECT_EQ(value(SLIDER), L"100");
}

TEST_F(TransportAccessTest, SaysTheKeys) {
    std::vector<std::wstring> keys;
    for (LONG child = 0; child <= LAST; ++child) keys.push_back(shortcut(child).value_or(L"none"));
    EXPECT_THAT(keys, ElementsAre(L"none", L"Left", L"Space", L"Right", L"S", L"Delete", L"M",
                                  L"Up, Down", L"Comma", L"Period", L"[", L"none", L"]", L"Z"));
}

TEST_F(TransportAccessTest, ButtonsCanBePressed) {
    for (LONG child = 0; child <= LAST; ++child) {
        const bool isButton = child != BAR && child != SLIDER;
        EXPECT_EQ(action(child), isButton ? std::optional<std::wstring>(L"Press") : std::nullopt);
        EXPECT_EQ(access->accDoDefaultAction(childId(child)),
                  isButton ? S_OK : DISP_E_MEMBERNOTFOUND)
            << child;
    }
    EXPECT_THAT(posted(), ElementsAre(108u, 102u, 109u, 103u, 104u, 129u, 124u, 123u, 162u, 164u,
                                      161u, 165u));
}

TEST_F(TransportAccessTest, TheLastClipCantBeRemoved) {
    EXPECT_EQ(state(REMOVE), 0);
    command(106);
    EXPECT_EQ(state(REMOVE), STATE_SYSTEM_UNAVAILABLE);
    EXPECT_EQ(state(4), 0);
    EXPECT_EQ(access->accDoDefaultAction(childId(REMOVE)), S_FALSE);
    EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(TransportAccessTest, ABarThatIsDisabledIsUnavailableInAllItsParts) {
    for (const HWND disabled : {bar, window}) {
        EnableWindow(disabled, FALSE);
        for (LONG child = 0; child <= LAST; ++child) {
            EXPECT_EQ(state(child), STATE_SYSTEM_UNAVAILABLE) << child;
            EXPECT_NE(access->accDoDefaultAction(childId(child)), S_OK);
        }
        EnableWindow(disabled, TRUE);
    }
    EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(TransportAccessTest, ANarrowBarsExposureIsNotSeen) {
    SetWindowPos(bar, nullptr, 24, 700, 1180, 62, SWP_NOZORDER | SWP_NOACTIVATE);
    for (LONG child = 0; child <= LAST; ++child) {
        const bool seen = child < DARKER || child == LAST;
        EXPECT_EQ(state(child), seen ? 0 : STATE_SYSTEM_INVISIBLE) << child;
    }
}

TEST_F(TransportAccessTest, SaysWhereTheControlsAre) {
    expectSame(location(BAR), onScreen({0, 0, 1272, 62}));
    const TransportLayout layout = transportLayout(bar);
    for (LONG child = 1; child <= LAST; ++child)
        expectSame(location(child), onScreen(layout.controls[static_cast<std::size_t>(child) - 1]));
}

TEST_F(TransportAccessTest, FindsWhatIsAtAPoint) {
    const TransportLayout layout = transportLayout(bar);
    VARIANT found = {};
    for (LONG child = 1; child <= LAST; ++child) {
        const RECT rect = onScreen(layout.controls[static_cast<std::size_t>(child) - 1]);
        EXPECT_EQ(access->accHitTest(rect.left, rect.top, &found), S_OK);
        EXPECT_EQ(found.vt, VT_I4);
        EXPECT_EQ(found.lVal, child);
    }
    const RECT all = onScreen({0, 0, 1272, 62});
    EXPECT_EQ(access->accHitTest(all.left, all.top, &found), S_OK);
    EXPECT_EQ(found.lVal, BAR);
    EXPECT_EQ(access->accHitTest(all.left - 1, all.top, &found), S_FALSE);
    EXPECT_EQ(found.vt, VT_EMPTY);
    EXPECT_EQ(access->accHitTest(all.left, all.bottom, &found), S_FALSE);
}

TEST_F(TransportAccessTest, ChildrenThatThereAreNotAreInvalid) {
    VARIANT empty = {};
    for (const VARIANT& child : {childId(-1), childId(LAST + 1), empty}) {
        BSTR text = nullptr;
        VARIANT out = {};
        IDispatch* object = nullptr;
        long number = 0;
        EXPECT_EQ(access->get_accName(child, &text), E_INVALIDARG);
        EXPECT_EQ(access->get_accValue(child, &text), E_INVALIDARG);
        EXPECT_EQ(access->get_accDescription(child, &text), E_INVALIDARG);
        EXPECT_EQ(access->get_accHelp(child, &text), E_INVALIDARG);
        EXPECT_EQ(access->get_accHelpTopic(&text, child, &number), E_INVALIDARG);
        EXPECT_EQ(access->get_accKeyboardShortcut(child, &text), E_INVALIDARG);
        EXPECT_EQ(access->get_accDefaultAction(child, &text), E_INVALIDARG);
        EXPECT_EQ(access->get_accRole(child, &out), E_INVALIDARG);
        EXPECT_EQ(access->get_accState(child, &out), E_INVALIDARG);
        EXPECT_EQ(access->get_accChild(child, &object), E_INVALIDARG);
        EXPECT_EQ(access->accLocation(&number, &number, &number, &number, child), E_INVALIDARG);
        EXPECT_EQ(access->accSelect(SELFLAG_TAKEFOCUS, child), E_INVALIDARG);
        EXPECT_EQ(access->accNavigate(NAVDIR_NEXT, child, &out), E_INVALIDARG);
        EXPECT_EQ(access->accDoDefaultAction(child), E_INVALIDARG);
    }
    EXPECT_THAT(posted(), IsEmpty());
}

TEST_F(TransportAccessTest, ItsParentIsTheWindowThatItIs) {
    ComPtr<IDispatch> parent;
    ASSERT_EQ(access->get_accParent(parent.put()), S_OK);
    expectIsWindow(parent.get());
}

TEST_F(TransportAccessTest, WhatItHasNotItSaysSo) {
    VARIANT out = {};
    EXPECT_EQ(access->get_accFocus(&out), S_FALSE);
    EXPECT_EQ(out.vt, VT_EMPTY);
    EXPECT_EQ(access->get_accSelection(&out), S_FALSE);
    IDispatch* object = nullptr;
    EXPECT_EQ(access->get_accChild(childId(1), &object), S_FALSE);
    EXPECT_FALSE(object);
    EXPECT_EQ(text(&IAccessible::get_accDescription, 1), std::nullopt);
    EXPECT_EQ(text(&IAccessible::get_accHelp, 1), std::nullopt);
    EXPECT_EQ(access->put_accName(childId(1), nullptr), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(access->put_accValue(childId(SLIDER), nullptr), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(access->accSelect(SELFLAG_TAKEFOCUS, childId(1)), DISP_E_MEMBERNOTFOUND);
}

TEST_F(TransportAccessTest, ThereIsOneObject) {
    ComPtr<IDispatch> dispatch;
    EXPECT_EQ(access->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(dispatch.put())),
              S_OK);
    ComPtr<IUnknown> first;
    ComPtr<IUnknown> second;
    EXPECT_EQ(access->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(first.put())), S_OK);
    EXPECT_EQ(objectOf(OBJID_CLIENT)
                  ->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(second.put())),
              S_OK);
    EXPECT_EQ(first.get(), second.get());
}

// Other objects of the bar's window are the system's.
TEST_F(TransportAccessTest, AnswersForItsClientAlone) {
    expectIsWindow(objectOf(OBJID_WINDOW).get());
    EXPECT_EQ(SendMessageW(bar, WM_GETOBJECT, 0, 12345), 0);
    // With and without the number's sign.
    EXPECT_GT(SendMessageW(bar, WM_GETOBJECT, 0, static_cast<LPARAM>(OBJID_CLIENT)), 0);
    EXPECT_GT(SendMessageW(bar, WM_GETOBJECT, 0, static_cast<DWORD>(OBJID_CLIENT)), 0);
}

TEST_F(TransportAccessTest, OnceTheWindowIsGoneItIsConnectedToNothing) {
    DestroyWindow(window);
    BSTR text = nullptr;
    VARIANT out = {};
    long number = 0;
    EXPECT_EQ(access->get_accName(childId(1), &text), CO_E_OBJNOTCONNECTED);
    EXPECT_EQ(access->get_accState(childId(1), &out), CO_E_OBJNOTCONNECTED);
    EXPECT_EQ(access->accHitTest(0, 0, &out), CO_E_OBJNOTCONNECTED);
    EXPECT_EQ(access->accLocation(&number, &number, &number, &number, childId(1)),
              CO_E_OBJNOTCONNECTED);
    EXPECT_EQ(access->accDoDefaultAction(childId(1)), CO_E_OBJNOTCONNECTED);
    ComPtr<IDispatch> parent;
    EXPECT_EQ(access->get_accParent(parent.put()), S_FALSE);
}

} // namespace
} // namespace velkantrix
