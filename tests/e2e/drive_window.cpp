// drive-window PROGRAM ARGUMENT...: starts a program, does to its window what a user does, and says
// what a user sees. Reads a command a line from standard input and answers each with one line of
// JSON on standard output:
//
//     state                     the window, its children, who has the focus
//     keys NAME[+NAME]...       presses keys together: CTRL SHIFT SPACE ENTER ESC LEFT A B F11
//     PERIOD ... type TEXT                 types the text move X Y | click X Y | doubleclick X Y |
//     press X Y | release X Y     on the screen box                       the message box or dialog
//     that is open: title, texts, buttons answer ID                 presses the button of that box
//     post MESSAGE W L          posts a message to the window, numbers in decimal
//     size W H | minimise | restore | maximise
//     exit-code                 waits for the program to end; -1 when it does not
//     quit                      ends the program, if it still runs, and this one
#include <windows.h>

#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr const wchar_t* MAIN_CLASS = L"VelkantrixNative";

DWORD processId = 0;

std::string utf8(const std::wstring& text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(), size,
                        nullptr, nullptr);
    return bytes;
}

std::wstring wide(const std::string& text) {
    const int size =
        MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), result.data(),
                        size);
    return result;
}

std::string quoted(const std::wstring& text) {
    std::string out = "\"";
    for (const char byte : utf8(text)) {
        if (byte == '"' || byte == '\\') out += '\\';
        if (byte == '\n')
            out += "\\n";
        else if (static_cast<unsigned char>(byte) < 0x20)
            out += ' ';
        else
            out += byte;
    }
    return out + '"';
}

std::wstring textOf(HWND window) {
    std::wstring text(4096, L'\0');
    text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), 4096)));
    return text;
}

// A control's own text, also from another process.
std::wstring controlText(HWND control) {
    std::wstring text(8192, L'\0');
    DWORD_PTR length = 0;
    if (!SendMessageTimeoutW(control, WM_GETTEXT, text.size(),
                             reinterpret_cast<LPARAM>(text.data()), SMTO_ABORTIFHUNG, 2000,
                             &length))
        return L"";
    text.resize(length);
    return text;
}

std::wstring classOf(HWND window) {
    wchar_t name[256] = L"";
    GetClassNameW(window, name, 256);
    return name;
}

struct Search {
    const wchar_t* kind;
    HWND found;
};

HWND findWindow(const wchar_t* kind) {
    Search search{kind, nullptr};
    EnumWindows(
        [](HWND window, LPARAM data) -> BOOL {
            auto* const wanted = reinterpret_cast<Search*>(data);
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            if (owner != processId || classOf(window) != wanted->kind || !IsWindowVisible(window))
                return TRUE;
            wanted->found = window;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

std::string rectJson(HWND window) {
    RECT rect = {};
    GetWindowRect(window, &rect);
    std::ostringstream out;
    out << '[' << rect.left << ',' << rect.top << ',' << rect.right << ',' << rect.bottom << ']';
    return out.str();
}

const char* boolJson(bool value) {
    return value ? "true" : "false";
}

std::string state() {
    const HWND window = findWindow(MAIN_CLASS);
    if (!window) return "{\"window\":null}";
    RECT client = {};
    GetClientRect(window, &client);
    POINT origin = {};
    ClientToScreen(window, &origin);
    std::ostringstream out;
    out << "{\"window\":" << rectJson(window) << ",\"client\":[" << origin.x << ',' << origin.y
        << ',' << origin.x + client.right << ',' << origin.y + client.bottom << ']'
        << ",\"title\":" << quoted(textOf(window))
        << ",\"style\":" << static_cast<DWORD>(GetWindowLongPtrW(window, GWL_STYLE))
        << ",\"iconic\":" << boolJson(IsIconic(window))
        << ",\"zoomed\":" << boolJson(IsZoomed(window))
        << ",\"foreground\":" << boolJson(GetForegroundWindow() == window)
        << ",\"enabled\":" << boolJson(IsWindowEnabled(window)) << ",\"children\":{";
    bool first = true;
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        out << (first ? "" : ",") << quoted(classOf(child)) << ":{\"rect\":" << rectJson(child)
            << ",\"visible\":" << boolJson(IsWindowVisible(child))
            << ",\"id\":" << GetDlgCtrlID(child) << ",\"text\":" << quoted(controlText(child))
            << '}';
        first = false;
    }
    out << "}}";
    return out.str();
}

std::string box() {
    const HWND window = findWindow(L"#32770");
    if (!window) return "{\"box\":null}";
    std::ostringstream out;
    out << "{\"box\":{\"title\":" << quoted(textOf(window)) << ",\"texts\":[";
    std::string buttons;
    bool first = true;
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        if (classOf(child) == L"Static" && !controlText(child).empty()) {
            out << (first ? "" : ",") << quoted(controlText(child));
            first = false;
        }
        if (classOf(child) == L"Button")
            buttons += (buttons.empty() ? "" : ",") + std::to_string(GetDlgCtrlID(child));
    }
    GUITHREADINFO thread = {};
    thread.cbSize = sizeof thread;
    GetGUIThreadInfo(GetWindowThreadProcessId(window, nullptr), &thread);
    out << "],\"buttons\":[" << buttons << "],\"focus\":" << GetDlgCtrlID(thread.hwndFocus) << "}}";
    return out.str();
}

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

std::string pressKeys(const std::string& names) {
    std::vector<WORD> codes;
    std::istringstream words(names);
    for (std::string name; std::getline(words, name, '+');) {
        const auto named = namedKeys().find(name);
        if (named != namedKeys().end())
            codes.push_back(named->second);
        else if (name.size() == 1)
            codes.push_back(static_cast<WORD>(name[0]));
        else
            return "{\"error\":\"no such key\"}";
    }
    for (const WORD code : codes) key(code, false);
    for (auto code = codes.rbegin(); code != codes.rend(); ++code) key(*code, true);
    return "{}";
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

std::string answer(int button) {
    const HWND window = findWindow(L"#32770");
    if (!window) return "{\"error\":\"no box\"}";
    PostMessageW(window, WM_COMMAND, static_cast<WPARAM>(button),
                 reinterpret_cast<LPARAM>(GetDlgItem(window, button)));
    return "{}";
}

std::string perform(const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    words >> verb;
    if (verb == "state") return state();
    if (verb == "box") return box();
    std::string rest;
    if (verb == "keys" || verb == "type") {
        std::getline(words >> std::ws, rest);
        if (verb == "keys") return pressKeys(rest);
        typeText(wide(rest));
        return "{}";
    }
    long long a = 0;
    long long b = 0;
    long long c = 0;
    words >> a >> b >> c;
    const int x = static_cast<int>(a);
    const int y = static_cast<int>(b);
    const HWND window = findWindow(MAIN_CLASS);
    if (verb == "answer") return answer(x);
    if (verb == "move")
        mouse(0, x, y);
    else if (verb == "press")
        mouse(MOUSEEVENTF_LEFTDOWN, x, y);
    else if (verb == "release")
        mouse(MOUSEEVENTF_LEFTUP, x, y);
    else if (verb == "click")
        click(x, y);
    else if (verb == "doubleclick")
        click(x, y), click(x, y);
    else if (verb == "post")
        PostMessageW(window, static_cast<UINT>(a), static_cast<WPARAM>(b), static_cast<LPARAM>(c));
    else if (verb == "size")
        SetWindowPos(window, nullptr, 0, 0, x, y, SWP_NOMOVE | SWP_NOZORDER);
    else if (verb == "minimise")
        ShowWindowAsync(window, SW_MINIMIZE);
    else if (verb == "restore")
        ShowWindowAsync(window, SW_RESTORE);
    else if (verb == "maximise")
        ShowWindowAsync(window, SW_MAXIMIZE);
    else
        return "{\"error\":\"no such command\"}";
    return "{}";
}

} // namespace

// drive-window PROGRAM ARGUMENT...: starts the program and drives it; says its exit code at the
// end.
int wmain(int count, wchar_t** words) {
    if (count < 2) return 2;
    SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    std::wstring commandLine;
    for (int i = 1; i < count; ++i)
        commandLine += (i > 1 ? L" " : L"") + (L"\"" + std::wstring(words[i]) + L"\"");
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return 3;
    processId = process.dwProcessId;
    for (std::string line; std::getline(std::cin, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line == "quit") break;
        DWORD code = STILL_ACTIVE;
        if (line == "exit-code") {
            const DWORD waited = WaitForSingleObject(process.hProcess, 10'000);
            GetExitCodeProcess(process.hProcess, &code);
            std::cout << "{\"code\":"
                      << (waited == WAIT_OBJECT_0 ? static_cast<long long>(code) : -1) << "}"
                      << std::endl;
            continue;
        }
        std::cout << perform(line) << std::endl;
    }
    if (WaitForSingleObject(process.hProcess, 0) != WAIT_OBJECT_0)
        TerminateProcess(process.hProcess, 99);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return 0;
}
