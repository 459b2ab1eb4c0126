#include "app/transport_access.h"

#include <oleacc.h>
#include <oleauto.h>

#include <string>

#include "app/transport_bar.h"
#include "app/transport_rules.h"
#include "app/ui_state.h"
#include "base/com_ptr.h"
#include "platform/com.h"
#include "platform/library.h"

namespace velkantrix {
namespace {

// Loaded when somebody asks: few do.
HMODULE accessLibrary() {
    static const HMODULE library = loadSystemLibrary(L"oleacc.dll");
    return library;
}

// Hands out a copy of the text; none, and S_FALSE, where it is empty.
HRESULT giveText(const std::wstring& text, BSTR* out) {
    if (!out) return E_INVALIDARG;
    *out = nullptr;
    if (text.empty()) return S_FALSE;
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT giveNumber(LONG number, VARIANT* out) {
    if (!out) return E_INVALIDARG;
    VariantInit(out);
    out->vt = VT_I4;
    out->lVal = number;
    return S_OK;
}

HRESULT giveNothing(VARIANT* out) {
    if (!out) return E_INVALIDARG;
    VariantInit(out);
    return S_FALSE;
}

} // namespace

// Child 0 is the bar itself, child 1 the first control. Not in an unnamed namespace: there a
// compiler may take calls through the interface for ones that nobody makes.
class TransportAccess final : public ComObject<IAccessible> {
public:
    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        return ComObject::QueryInterface(IsEqualIID(id, IID_IDispatch) ? IID_IAccessible : id,
                                         object);
    }

    // It is called by its own interface only.
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        if (!count) return E_INVALIDARG;
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                        UINT*) override {
        return E_NOTIMPL;
    }

    // The window that the bar is.
    STDMETHODIMP get_accParent(IDispatch** parent) override {
        if (!parent) return E_INVALIDARG;
        *parent = nullptr;
        const auto find = findFunction<decltype(AccessibleObjectFromWindow)>(
            accessLibrary(), "AccessibleObjectFromWindow");
        if (!find || !isThere()) return S_FALSE;
        return find(bar(), static_cast<DWORD>(OBJID_WINDOW), IID_IDispatch,
                    reinterpret_cast<void**>(parent));
    }

    STDMETHODIMP get_accChildCount(long* count) override {
        if (!count) return E_INVALIDARG;
        *count = TRANSPORT_CONTROL_COUNT;
        return S_OK;
    }

    // None is an object of its own.
    STDMETHODIMP get_accChild(VARIANT child, IDispatch** object) override {
        if (!object) return E_INVALIDARG;
        *object = nullptr;
        return isChild(child) ? S_FALSE : E_INVALIDARG;
    }

    STDMETHODIMP get_accName(VARIANT child, BSTR* name) override {
        return withChild(child, [&](TransportControl control) {
            if (control == TRANSPORT_NONE) return giveText(L"Playback controls", name);
            return giveText(transportName(control, transportState()), name);
        });
    }

    STDMETHODIMP get_accValue(VARIANT child, BSTR* value) override {
        return withChild(child, [&](TransportControl control) {
            if (control != TRANSPORT_VOLUME) return giveText({}, value);
            return giveText(std::to_wstring(volumePercent(ui().volume.level)), value);
        });
    }

    STDMETHODIMP get_accDescription(VARIANT child, BSTR* text) override {
        return withChild(child, [&](TransportControl) { return giveText({}, text); });
    }

    STDMETHODIMP get_accRole(VARIANT child, VARIANT* role) override {
        return withChild(child, [&](TransportControl control) {
            if (control == TRANSPORT_NONE) return giveNumber(ROLE_SYSTEM_TOOLBAR, role);
            return giveNumber(
                control == TRANSPORT_VOLUME ? ROLE_SYSTEM_SLIDER : ROLE_SYSTEM_PUSHBUTTON, role);
        });
    }

    STDMETHODIMP get_accState(VARIANT child, VARIANT* state) override {
        return withChild(child, [&](TransportControl control) {
            const bool unavailable =
                !isTransportEnabled(bar()) || isTransportInert(control, transportState());
            LONG bits = unavailable ? STATE_SYSTEM_UNAVAILABLE : 0;
            if (control != TRANSPORT_NONE && transportLayout(bar())[control].empty())
                bits |= STATE_SYSTEM_INVISIBLE;
            return giveNumber(bits, state);
        });
    }

    STDMETHODIMP get_accHelp(VARIANT child, BSTR* text) override {
        return get_accDescription(child, text);
    }

    STDMETHODIMP get_accHelpTopic(BSTR* file, VARIANT child, long* topic) override {
        if (topic) *topic = 0;
        return get_accDescription(child, file);
    }

    STDMETHODIMP get_accKeyboardShortcut(VARIANT child, BSTR* keys) override {
        return withChild(child, [&](TransportControl control) {
            return giveText(transportShortcut(control), keys);
        });
    }

    // The keyboard is the main window's.
    STDMETHODIMP get_accFocus(VARIANT* child) override { return giveNothing(child); }
    STDMETHODIMP get_accSelection(VARIANT* children) override { return giveNothing(children); }

    STDMETHODIMP get_accDefaultAction(VARIANT child, BSTR* action) override {
        return withChild(child, [&](TransportControl control) {
            return giveText(isButton(control) ? L"Press" : L"", action);
        });
    }

    STDMETHODIMP accSelect(long, VARIANT child) override {
        return isChild(child) ? DISP_E_MEMBERNOTFOUND : E_INVALIDARG;
    }

    STDMETHODIMP accLocation(long* left, long* top, long* width, long* height,
                             VARIANT child) override {
        if (!left || !top || !width || !height) return E_INVALIDARG;
        *left = *top = *width = *height = 0;
        return withChild(child, [&](TransportControl control) {
            RECT rect = {};
            GetClientRect(bar(), &rect);
            if (control != TRANSPORT_NONE) {
                const PixelRect place = transportLayout(bar())[control];
                rect = {place.left, place.top, place.right, place.bottom};
            }
            *width = rect.right - rect.left;
            *height = rect.bottom - rect.top;
            MapWindowPoints(bar(), nullptr, reinterpret_cast<POINT*>(&rect), 2);
            *left = rect.left;
            *top = rect.top;
            return S_OK;
        });
    }

    STDMETHODIMP accNavigate(long, VARIANT child, VARIANT* end) override {
        return withChild(child, [&](TransportControl) { return giveNothing(end); });
    }

    STDMETHODIMP accHitTest(long left, long top, VARIANT* child) override {
        if (!child) return E_INVALIDARG;
        if (!isThere()) return CO_E_OBJNOTCONNECTED;
        POINT point = {left, top};
        ScreenToClient(bar(), &point);
        RECT client = {};
        GetClientRect(bar(), &client);
        if (!PtInRect(&client, point)) return giveNothing(child);
        return giveNumber(transportControlAt(transportLayout(bar()), point.x, point.y) + 1, child);
    }

    STDMETHODIMP accDoDefaultAction(VARIANT child) override {
        return withChild(child, [&](TransportControl control) -> HRESULT {
            if (!isButton(control)) return DISP_E_MEMBERNOTFOUND;
            return pressTransport(bar(), control) ? S_OK : S_FALSE;
        });
    }

    STDMETHODIMP put_accName(VARIANT, BSTR) override { return DISP_E_MEMBERNOTFOUND; }
    STDMETHODIMP put_accValue(VARIANT, BSTR) override { return DISP_E_MEMBERNOTFOUND; }

private:
    static HWND bar() { return ui().transport; }

    // Whoever has the object may ask on when the window is gone.
    static bool isThere() { return IsWindow(bar()) != FALSE; }

    static bool isButton(TransportControl control) {
        return control != TRANSPORT_NONE && control != TRANSPORT_VOLUME;
    }

    static bool isChild(const VARIANT& child) {
        constexpr LONG LAST = TRANSPORT_CONTROL_COUNT;
        return child.vt == VT_I4 && child.lVal >= CHILDID_SELF && child.lVal <= LAST;
    }

    // TRANSPORT_NONE stands for the bar.
    template <class Answer>
    static HRESULT withChild(const VARIANT& child, Answer answer) {
        if (!isChild(child)) return E_INVALIDARG;
        if (!isThere()) return CO_E_OBJNOTCONNECTED;
        return answer(static_cast<TransportControl>(child.lVal - 1));
    }
};

namespace {

// One for the process, kept until its end.
IAccessible* transportAccess() {
    static const auto object = ComPtr<IAccessible>::adopt(new TransportAccess);
    return object.get();
}

} // namespace

std::optional<LRESULT> answerObjectRequest(WPARAM wide, LPARAM lng) {
    // The system passes the number on in 32 bits, with or without its sign.
    if (static_cast<LONG>(lng) != OBJID_CLIENT) return std::nullopt;
    const auto make =
        findFunction<decltype(LresultFromObject)>(accessLibrary(), "LresultFromObject");
    if (!make) return std::nullopt;
    return make(IID_IAccessible, wide, transportAccess());
}

} // namespace velkantrix
