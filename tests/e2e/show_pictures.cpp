// show-pictures FILE SEED COUNT [scrub]: opens a video in a window in the screen's corner and seeks
// in it, paused and playing, COUNT times. After each seek it waits until the picture stands still,
// says where, as "TARGET SETTLED PLAYING", in ticks, and goes on when it gets a line: so that
// someone can look at the screen. With scrub each seek is one of a scrub: first it says "TARGET
// PREVIEW 2" of the exact preview, then, when the hand has let go, "TARGET SETTLED 0".
#include <windows.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>

#include "platform/com.h"
#include "platform/media_startup.h"
#include "playback/byte_stream_handler.h"
#include "playback/controller.h"
#include "playback/notices.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

constexpr int WIDTH = 640;
constexpr int HEIGHT = 360;
constexpr ULONGLONG LONGEST_WAIT = 20'000;

bool ready = false;

void pump() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        if (message.message == WM_PLAYBACK_NOTIFY && message.wParam == PLAYBACK_READY) ready = true;
        DispatchMessageW(&message);
    }
}

bool waitFor(const std::function<bool()>& condition) {
    const ULONGLONG begun = GetTickCount64();
    while (!condition()) {
        if (GetTickCount64() - begun > LONGEST_WAIT) return false;
        pump();
        Sleep(1);
    }
    return true;
}

void wait(DWORD milliseconds) {
    const ULONGLONG begun = GetTickCount64();
    waitFor([&] { return GetTickCount64() - begun >= milliseconds; });
}

// Nothing more is drawn.
void waitUntilStill(PlaybackController& controller) {
    std::uint32_t before = 0;
    do {
        before = controller.enginePresentCount();
        wait(60);
    } while (controller.enginePresentCount() != before);
}

int seekAround(PlaybackController& controller, std::uint64_t seed, int count) {
    RandomChoices choices(seed);
    const auto last = static_cast<std::uint32_t>(controller.duration() * 1000) - 1;
    for (int i = 0; i < count; ++i) {
        const bool playing = choices.percent(50);
        if (playing)
            controller.play();
        else
            controller.pause();
        wait(choices.below(playing ? 80 : 1));
        const double target =
            choices.below(last) / 1000.0 + 0.0005; // hardly ever on a frame's edge
        controller.seek(target);
        if (!waitFor([&] { return !controller.isSeeking(); })) return 4;
        const Ticks settled = controller.settledPts();
        if (playing) {
            wait(choices.below(80));
            controller.pause();
        }
        waitUntilStill(controller);
        std::cout << nearestTicks(target) << ' ' << settled << ' ' << playing << std::endl;
        std::string line;
        if (!std::getline(std::cin, line)) return 0;
    }
    return 0;
}

// Someone has looked.
bool goesOn(double target, Ticks shown, int state) {
    std::cout << nearestTicks(target) << ' ' << shown << ' ' << state << std::endl;
    std::string line;
    return static_cast<bool>(std::getline(std::cin, line));
}

int scrubAround(PlaybackController& controller, std::uint64_t seed, int count) {
    RandomChoices choices(seed);
    const double frame = 1 / controller.fps();
    const auto last = static_cast<std::uint32_t>(controller.duration() * 1000) - 1;
    for (int i = 0; i < count; ++i) {
        double target = choices.below(last) / 1000.0 + 0.0005;
        // Of a frame's very edges either side is right.
        const double inside = std::fmod(target, frame);
        if (inside < 0.002 || inside > frame - 0.002) target += 0.004;
        controller.beginScrub();
        controller.seek(target);
        if (!waitFor([&] {
                const double shown = controller.previewShownTime();
                return shown >= 0 && shown <= target + 0.0011 && shown > target - frame - 0.0005;
            }))
            return 5;
        wait(60);
        if (!goesOn(target, nearestTicks(controller.previewShownTime()), 2)) return 0;
        controller.endScrub(target, false);
        if (!waitFor([&] { return !controller.isSeeking(); })) return 4;
        const Ticks settled = controller.settledPts();
        waitUntilStill(controller);
        if (!goesOn(target, settled, 0)) return 0;
    }
    return 0;
}

int run(const wchar_t* path, std::uint64_t seed, int count, bool scrubs) {
    const ComApartment apartment(COINIT_APARTMENTTHREADED);
    if (FAILED(startMedia(registerMp4Source))) return 2;
    const HWND window =
        CreateWindowExW(WS_EX_TOPMOST, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, WIDTH, HEIGHT,
                        nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    int code = 3;
    {
        PlaybackController controller;
        if (SUCCEEDED(controller.open(path, false, window, window)) &&
            waitFor([] { return ready; }) && waitFor([&] { return controller.enginePresented(); }))
            code =
                scrubs ? scrubAround(controller, seed, count) : seekAround(controller, seed, count);
    }
    DestroyWindow(window);
    if (endAllScans()) stopMedia();
    return code;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    const bool scrubs = count == 5 && std::wstring(words[4]) == L"scrub";
    if (count != 4 && !scrubs) return 1;
    return velkantrix::run(words[1], std::wcstoull(words[2], nullptr, 10), _wtoi(words[3]), scrubs);
}
