#include "tests/e2e/read_access.h"

#include <oleacc.h>
#include <oleauto.h>

#include <sstream>

#include "base/com_ptr.h"
#include "tests/e2e/json_text.h"

namespace {

using velkantrix::ComPtr;

HRESULT findAccess(HWND window, ComPtr<IAccessible>& object) {
    // Not IID_IAccessible, which the import library takes for a function.
    return AccessibleObjectFromWindow(window, static_cast<DWORD>(OBJID_CLIENT),
                                      __uuidof(IAccessible),
                                      reinterpret_cast<void**>(object.put()));
}

VARIANT childId(long id) {
    VARIANT child = {};
    child.vt = VT_I4;
    child.lVal = id;
    return child;
}

using TextGetter = HRESULT (STDMETHODCALLTYPE IAccessible::*)(VARIANT, BSTR*);

std::string textJson(IAccessible* object, TextGetter getter, long child) {
    BSTR text = nullptr;
    if ((object->*getter)(childId(child), &text) != S_OK || !text) return "null";
    const std::string json = quoted({text, SysStringLen(text)});
    SysFreeString(text);
    return json;
}

using NumberGetter = HRESULT (STDMETHODCALLTYPE IAccessible::*)(VARIANT, VARIANT*);

std::string numberJson(IAccessible* object, NumberGetter getter, long child) {
    VARIANT number = {};
    if ((object->*getter)(childId(child), &number) != S_OK || number.vt != VT_I4) return "null";
    return std::to_string(number.lVal);
}

std::string placeJson(IAccessible* object, long child) {
    long left = 0;
    long top = 0;
    long width = 0;
    long height = 0;
    VARIANT hit = {};
    if (object->accLocation(&left, &top, &width, &height, childId(child)) != S_OK ||
        object->accHitTest(left + width / 2, top + height / 2, &hit) != S_OK)
        return "\"rect\":null,\"hit\":null";
    std::ostringstream out;
    out << "\"rect\":[" << left << ',' << top << ',' << left + width << ',' << top + height
        << "],\"hit\":" << hit.lVal;
    return out.str();
}

} // namespace

std::string accessJson(HWND window) {
    ComPtr<IAccessible> access;
    const HRESULT found = findAccess(window, access);
    if (FAILED(found)) return "{\"error\":\"no accessible object: " + std::to_string(found) + "\"}";
    long count = 0;
    if (access->get_accChildCount(&count) != S_OK) return "{\"error\":\"no children\"}";
    IAccessible* const object = access.get();
    std::ostringstream out;
    out << "{\"children\":[";
    for (long child = 0; child <= count; ++child) {
        out << (child > 0 ? "," : "")
            << "{\"name\":" << textJson(object, &IAccessible::get_accName, child)
            << ",\"role\":" << numberJson(object, &IAccessible::get_accRole, child)
            << ",\"state\":" << numberJson(object, &IAccessible::get_accState, child)
            << ",\"value\":" << textJson(object, &IAccessible::get_accValue, child)
            << ",\"shortcut\":" << textJson(object, &IAccessible::get_accKeyboardShortcut, child)
            << ",\"action\":" << textJson(object, &IAccessible::get_accDefaultAction, child) << ','
            << placeJson(object, child) << '}';
    }
    out << "]}";
    return out.str();
}

HRESULT pressAccess(HWND window, long child) {
    ComPtr<IAccessible> access;
    const HRESULT found = findAccess(window, access);
    return FAILED(found) ? found : access->accDoDefaultAction(childId(child));
}
