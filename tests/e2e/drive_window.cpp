// drive-window PROGRAM ARGUMENT...: starts a program, does to its window what a user does, and says
// what a user sees. Reads a command a line from standard input and answers each with one line of
// JSON on standard output:
//
//     state                the window, its children from the top one down, who has the focus
//     keys NAME[+NAME]...  presses keys together: CTRL SHIFT SPACE ENTER ESC LEFT A F11 PERIOD ...
//     type TEXT            types the text
//     move X Y             moves the mouse, on the screen
//     click X Y            likewise with the left button; so do doubleclick, press, release
//                          and, with the other button, rightclick
//     box                  the message box or dialog that is open: title, texts, choices, buttons;
//                          and how many there are
//     menu                 whether a popup menu is open
//     cursor               the number of the cursor that is shown; another one has another number
//     modules              the libraries that the program has loaded, in lower case
//     access               what a screen reader is told of the transport bar
//     access-press CHILD   does the default action of one of its children; the result
//     answer ID            presses the button of that box
//     post MESSAGE W L     posts a message to the window, numbers in decimal
//     size W H [COUNT]     gives the window a size; COUNT sizes in a row, each a pixel wider
//     minimise             so do restore and maximise
//     exit-code            waits for the program to end; -1 when it does not
//     quit                 ends the program, if it still runs, and this one
//
// No command waits for the program, but `exit-code`, for ten seconds, and what types, for five,
// until it is in front. In the environment, DRIVE_WINDOW_SHOW is how the program is asked to show
// its window, in decimal, and DRIVE_WINDOW_KEEP lets it remember what it did before: otherwise its
// settings are deleted first.
#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/com.h"
#include "tests/e2e/json_text.h"
#include "tests/e2e/read_access.h"
#include "tests/e2e/user_input.h"

namespace {

constexpr const wchar_t* MAIN_CLASS = L"VelkantrixNative";

DWORD processId = 0;

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
    HWND found; // the top one
    int count;
};

Search search(const wchar_t* kind) {
    Search search{kind, nullptr, 0};
    EnumWindows(
        [](HWND window, LPARAM data) -> BOOL {
            auto* const wanted = reinterpret_cast<Search*>(data);
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            if (owner != processId || classOf(window) != wanted->kind || !IsWindowVisible(window))
                return TRUE;
            if (wanted->count++ == 0) wanted->found = window;
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search;
}

HWND findWindow(const wchar_t* kind) {
    return search(kind).found;
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

// The rig's system doesn't tell the second version of it from the first.
bool isPerMonitorAware(HWND window) {
    return GetAwarenessFromDpiAwarenessContext(GetWindowDpiAwarenessContext(window)) ==
           DPI_AWARENESS_PER_MONITOR_AWARE;
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
        << ",\"dpi_per_monitor\":" << boolJson(isPerMonitorAware(window))
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

LRESULT askControl(HWND control, UINT message, WPARAM wide, LPARAM lng) {
    DWORD_PTR result = 0;
    if (!SendMessageTimeoutW(control, message, wide, lng, SMTO_ABORTIFHUNG, 2000, &result))
        return 0;
    return static_cast<LRESULT>(result);
}

// The items of every list to choose from, one after the other.
std::string choices(HWND box) {
    std::string items;
    for (HWND list = nullptr; (list = FindWindowExW(box, list, L"ComboBox", nullptr)) != nullptr;) {
        const LRESULT count = askControl(list, CB_GETCOUNT, 0, 0);
        for (LRESULT i = 0; i < count; ++i) {
            std::wstring text(1024, L'\0');
            const LRESULT length = askControl(list, CB_GETLBTEXT, static_cast<WPARAM>(i),
                                              reinterpret_cast<LPARAM>(text.data()));
            text.resize(static_cast<std::size_t>(std::max<LRESULT>(length, 0)));
            items += (items.empty() ? "" : ",") + quoted(text);
        }
    }
    return items;
}

std::string box() {
    const Search boxes = search(L"#32770");
    const HWND window = boxes.found;
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
    out << "],\"choices\":[" << choices(window) << "],\"buttons\":[" << buttons
        << "],\"focus\":" << GetDlgCtrlID(thread.hwndFocus) << ",\"count\":" << boxes.count << "}}";
    return out.str();
}

std::string cursor() {
    CURSORINFO info = {};
    info.cbSize = sizeof info;
    GetCursorInfo(&info);
    return "{\"cursor\":" + std::to_string(reinterpret_cast<std::uintptr_t>(info.hCursor)) + "}";
}

std::string modules() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, processId);
    MODULEENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    std::string names;
    if (snapshot != INVALID_HANDLE_VALUE && Module32FirstW(snapshot, &entry)) {
        do {
            CharLowerW(entry.szModule);
            names += (names.empty() ? "" : ",") + quoted(entry.szModule);
        } while (Module32NextW(snapshot, &entry));
    }
    CloseHandle(snapshot);
    return "{\"modules\":[" + names + "]}";
}

// Keys go to what is in front, which a new window is only a little after it is there. Another
// program may have taken its place since; then a user would fetch it.
bool waitUntilInFront() {
    for (int tries = 0; tries < 500; ++tries) {
        DWORD owner = 0;
        GetWindowThreadProcessId(GetForegroundWindow(), &owner);
        if (owner == processId) return true;
        const HWND box = findWindow(L"#32770");
        if (tries == 100) SetForegroundWindow(box ? box : findWindow(MAIN_CLASS));
        Sleep(10);
    }
    return false;
}

void resize(HWND window, int width, int height, int count) {
    for (int i = 0; i < std::max(count, 1); ++i)
        SetWindowPos(window, nullptr, 0, 0, width + i, height,
                     SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_ASYNCWINDOWPOS);
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
    if (verb == "menu") return findWindow(L"#32768") ? "{\"menu\":true}" : "{\"menu\":false}";
    if (verb == "box") return box();
    if (verb == "cursor") return cursor();
    if (verb == "modules") return modules();
    std::string rest;
    if (verb == "keys" || verb == "type") {
        if (!waitUntilInFront()) return "{\"error\":\"not in front\"}";
        std::getline(words >> std::ws, rest);
        if (verb == "type")
            typeText(wide(rest));
        else if (!pressKeys(rest))
            return "{\"error\":\"no such key\"}";
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
    const HWND transport = FindWindowExW(window, nullptr, L"VelkantrixTransport", nullptr);
    if (verb == "access") return accessJson(transport);
    if (verb == "access-press")
        return "{\"result\":" + std::to_string(pressAccess(transport, x)) + "}";
    if (verb == "move")
        mouse(0, x, y);
    else if (verb == "press")
        mouse(MOUSEEVENTF_LEFTDOWN, x, y);
    else if (verb == "release")
        mouse(MOUSEEVENTF_LEFTUP, x, y);
    else if (verb == "click")
        click(x, y);
    else if (verb == "rightclick")
        rightClick(x, y);
    else if (verb == "doubleclick")
        click(x, y), click(x, y);
    else if (verb == "post")
        PostMessageW(window, static_cast<UINT>(a), static_cast<WPARAM>(b), static_cast<LPARAM>(c));
    else if (verb == "size")
        resize(window, x, y, static_cast<int>(c));
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

// However this program ends, the one that it drives ends with it.
bool endTogether(HANDLE process) {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    const HANDLE job = CreateJobObjectW(nullptr, nullptr); // closed by the system
    return job &&
           SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits,
                                   sizeof limits) &&
           AssignProcessToJobObject(job, process);
}

} // namespace

// 0 at the end, whatever the program's own code; 2 and 3 when there was nothing to drive.
int wmain(int count, wchar_t** words) {
    if (count < 2) return 2;
    SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    const velkantrix::ComApartment apartment(COINIT_MULTITHREADED);
    if (!_wgetenv(L"DRIVE_WINDOW_KEEP")) RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Velkantrix");
    std::wstring commandLine;
    for (int i = 1; i < count; ++i)
        commandLine += (i > 1 ? L" " : L"") + (L"\"" + std::wstring(words[i]) + L"\"");
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    if (const wchar_t* const show = _wgetenv(L"DRIVE_WINDOW_SHOW")) {
        startup.dwFlags = STARTF_USESHOWWINDOW;
        startup.wShowWindow = static_cast<WORD>(_wtoi(show));
    }
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return 3;
    if (!endTogether(process.hProcess)) {
        TerminateProcess(process.hProcess, 99);
        return 3;
    }
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
