// exit_race.cpp: exit_race HOW [SPIN]: ends in the ways that a test program may. check-exit runs it
// and looks at the exit codes.
//   return   ExitProcess(7) while 64 threads end of themselves; SPIN moves the two against each
//   other static   a crash in the destructor of a static object null     a crash in the program's
//   code
#include <cstdlib>
#include <cstring>
#include <windows.h>

namespace {

HANDLE go;
volatile int* volatile nowhere = nullptr;

struct CrashesAtTheEnd {
    bool armed = false;
    ~CrashesAtTheEnd() {
        if (armed) *nowhere = 1;
    }
} atTheEnd;

DWORD WINAPI waitForGo(void*) {
    WaitForSingleObject(go, INFINITE);
    return 0;
}

void endWithThreads(int spin) {
    go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (int i = 0; i < 64; i++) {
        CloseHandle(CreateThread(nullptr, 0, waitForGo, nullptr, 0, nullptr));
    }
    Sleep(10);
    SetEvent(go);
    for (int i = 0; i < spin; i++) YieldProcessor();
    ExitProcess(7);
}

} // namespace

int main(int count, char** arguments) {
    if (count < 2) return 2;
    if (!strcmp(arguments[1], "null")) *nowhere = 1;
    if (!strcmp(arguments[1], "return")) endWithThreads(count > 2 ? atoi(arguments[2]) : 0);
    atTheEnd.armed = true;
    return 0;
}
