#include "tests/e2e/user_input.h"

#include <map>
#include <sstream>
#include <vector>

namespace {

const std::map<std::string, WORD>& namedKeys() {
    static const std::map<std::string, WORD> keys = {{"CTRL", VK_CONTROL},
                                                     {"SHIFT", VK_SHIFT},
                                                     {"ALT", VK_MENU},
                                                     {"SPACE", VK_SPACE},
                                                     {"ENTER", VK_RETURN},
                                                     {"ESC", VK_ESCAPE},
                                                     {"LEFT", VK_LEFT},
                                                     {"RIGHT", VK_RIGHT},
                                                     {"UP", VK_UP},
                                                     {"DOWN", VK_DOWN},
                                                     {"HOME", VK_HOME},
                                                     {"END", VK_END},
                                                     {"DELETE", VK_DELETE},
                                                     {"TAB", VK_TAB},
                                                     {"F2", VK_F2},
                                                     {"F11", VK_F11},
                                                     {"PERIOD", VK_OEM_PERIOD},
                                                     {"COMMA", VK_OEM_COMMA},
                                                     {"BRACKET6", VK_OEM_6},
                                                     {"BRACKET4", VK_OEM_4},
                                                     {"APPS", VK_APPS},
                                                     {"F10", VK_F10},
                                                     {"F4", VK_F4}};
    return keys;
}

void key(WORD code, bool up) {
    INPUT input = {};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = code;
    const bool extended = code == VK_LEFT || code == VK_RIGHT || code == VK_UP || code == VK_DOWN ||
                          code == VK_HOME || code == VK_END || code == VK_DELETE;
    input.ki.dwFlags = (up ? KEYEVENTF_KEYUP : 0U) | (extended ? KEYEVENTF_EXTENDEDKEY : 0U);
    SendInput(1, &input, sizeof input);
}

} // namespace

bool pressKeys(const std::string& names) {
    std::vector<WORD> codes;
    std::istringstream words(names);
    for (std::string name; std::getline(words, name, '+');) {
        const auto named = namedKeys().find(name);
        if (named != namedKeys().end())
            codes.push_back(named->second);
        else if (name.size() == 1)
            codes.push_back(static_cast<WORD>(name[0]));
        else
            return false;
    }
    for (const WORD code : codes) key(code, false);
    for (auto code = codes.rbegin(); code != codes.rend(); ++code) key(*code, true);
    return true;
}

void typeText(const std::wstring& text) {
    for (const wchar_t letter : text) {
        for (const DWORD up : {DWORD{0}, DWORD{KEYEVENTF_KEYUP}}) {
            INPUT input = {};
            input.type = INPUT_KEYBOARD;
            input.ki.wScan = letter;
            input.ki.dwFlags = KEYEVENTF_UNICODE | up;
            SendInput(1, &input, sizeof input);
        }
    }
}

void mouse(DWORD flags, int x, int y) {
    const int width = GetSystemMetrics(SM_CXSCREEN);
    const int height = GetSystemMetrics(SM_CYSCREEN);
    INPUT input = {};
    input.type = INPUT_MOUSE;
    input.mi.dx = (x * 65536 + width - 1) / width;
    input.mi.dy = (y * 65536 + height - 1) / height;
    input.mi.dwFlags = MOUSEEVENTF_ABSOLUTE | MOUSEEVENTF_MOVE | flags;
    SendInput(1, &input, sizeof input);
}

void click(int x, int y) {
    mouse(MOUSEEVENTF_LEFTDOWN, x, y);
    mouse(MOUSEEVENTF_LEFTUP, x, y);
}

void rightClick(int x, int y) {
    mouse(MOUSEEVENTF_RIGHTDOWN, x, y);
    mouse(MOUSEEVENTF_RIGHTUP, x, y);
}
