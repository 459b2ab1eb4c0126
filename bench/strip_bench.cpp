// strip-bench: how long painting the strip of clips takes, from the kept picture and anew, beside a
// bare copy of the same area. One line of JSON for each: name, clips, microseconds (median).
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

#include "app/drawing_gdi.h"
#include "app/strip_drawing.h"
#include "platform/gdi.h"

namespace velkantrix {
namespace {

constexpr PixelRect TRACK{28, 606, 1892, 706};
constexpr int WIDTH = 1920;
constexpr int HEIGHT = 820;
constexpr int RUNS = 41;

struct Layer {
    UniqueMemoryDc dc{CreateCompatibleDC(nullptr)};
    UniqueBitmap bitmap;
    Layer() {
        const ScreenDc screen;
        bitmap.reset(CreateCompatibleBitmap(screen.get(), WIDTH, HEIGHT));
        SelectObject(dc.get(), bitmap.get());
    }
};

double medianMicroseconds(const std::function<void()>& paint) {
    std::vector<double> taken;
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    for (int run = 0; run < RUNS; ++run) {
        LARGE_INTEGER begun;
        LARGE_INTEGER ended;
        QueryPerformanceCounter(&begun);
        paint();
        GdiFlush();
        QueryPerformanceCounter(&ended);
        taken.push_back(1e6 * static_cast<double>(ended.QuadPart - begun.QuadPart) /
                        static_cast<double>(frequency.QuadPart));
    }
    std::ranges::sort(taken);
    return taken[taken.size() / 2];
}

void copy(const Layer& to, const Layer& from) {
    BitBlt(to.dc.get(), TRACK.left, TRACK.top, TRACK.right - TRACK.left, TRACK.bottom - TRACK.top,
           from.dc.get(), TRACK.left, TRACK.top, SRCCOPY);
}

void measure(int count) {
    ClipList clips;
    for (int i = 0; i < count; ++i) clips.push_back({.start = i * 2.0, .end = i * 2.0 + 1});
    const std::vector<float> peaks(PEAK_BUCKETS, 0.5F);
    const StripState state{.track = TRACK,
                           .clips = &clips,
                           .selectedClip = 0,
                           .peaks = peaks,
                           .sourceDuration = count * 2.0};
    const Layer window;
    const Layer strip;
    std::uint64_t key = 0;
    const auto report = [&](const char* name, double microseconds) {
        std::printf("{\"name\": \"%s\", \"clips\": %d, \"us\": %.1f}\n", name, count, microseconds);
    };
    report("bare copy", medianMicroseconds([&] { copy(window, strip); }));
    report("kept", medianMicroseconds([&] {
               key ^= stripKey(state);
               copy(window, strip);
           }));
    report("drawn anew", medianMicroseconds([&] {
               Drawing drawing;
               drawStrip(drawing, state);
               carryOut(strip.dc.get(), drawing);
               copy(window, strip);
           }));
    if (key == 1) std::printf("\n"); // so that it has to be calculated
}

} // namespace
} // namespace velkantrix

int main() {
    for (const int count : {1, 100, 2000}) velkantrix::measure(count);
    return 0;
}
