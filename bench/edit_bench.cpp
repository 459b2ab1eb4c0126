// edit_bench.cpp: what each edit operation costs, by the number of clips. Read as ratios to
// copyClips, the bare copy of the list, of which each operation's snapshot needs one.
#include <benchmark/benchmark.h>

#include "edit/clip_geometry.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/history.h"
#include "edit/operations.h"
#include "edit/roll_cut.h"
#include "edit/timeline_map.h"

namespace velkantrix {
namespace {

constexpr PixelRect TRACK{0, 0, 1900, 100};

std::int32_t clipCount(const benchmark::State& bench) {
    return static_cast<std::int32_t>(bench.range(0));
}

// A loaded edit: clips of two seconds, one second of removed material between them, some named. Its
// history is full, so that each further step drops one: the steady state of a long session.
EditState& loadClips(const benchmark::State& bench) {
    editHost() = {};
    const std::int32_t count = clipCount(bench);
    startEdit(count * 3.0);
    EditState& state = editState();
    state.clips.clear();
    for (std::int32_t i = 0; i < count; ++i) {
        state.clips.push_back({i * 3.0, i * 3.0 + 2, i % 4 == 0 ? L"interview, second take" : L"",
                               i % 8 == 0 ? 0.5 : 0.0, 0});
    }
    state.selectedClip = count / 2;
    state.playhead = state.clips[static_cast<std::size_t>(count / 2)].start + 1;
    for (std::size_t i = 0; i < MAX_HISTORY; ++i) pushHistory(L"trim");
    return state;
}

void copyClips(benchmark::State& bench) {
    const EditState& state = loadClips(bench);
    for (auto _ : bench) {
        ClipList copy = state.clips;
        benchmark::DoNotOptimize(copy);
    }
}

// With the undo that gives the list its size back: it moves the list, so its share is small, while
// stopping the clock for it would cost more than the split of a short list.
void splitAndUndo(benchmark::State& bench) {
    EditState& state = loadClips(bench);
    const std::int32_t middle = clipCount(bench) / 2;
    const double t = state.playhead;
    for (auto _ : bench) {
        splitClip(middle, t);
        undo();
    }
}

void removeAndUndo(benchmark::State& bench) {
    loadClips(bench);
    for (auto _ : bench) {
        removeSelectedClip();
        undo();
    }
}

// Between two places, a gesture each: every one records.
void trim(benchmark::State& bench) {
    EditState& state = loadClips(bench);
    const std::int32_t middle = clipCount(bench) / 2;
    const double start = state.playhead - 1;
    bool there = false;
    for (auto _ : bench) {
        endGesture();
        there = !there;
        trimClip(middle, false, there ? start + 0.5 : start);
    }
}

void roll(benchmark::State& bench) {
    EditState& state = loadClips(bench);
    const std::int32_t middle = clipCount(bench) / 2;
    const double cut = state.playhead + 1;
    bool there = false;
    for (auto _ : bench) {
        endGesture();
        there = !there;
        rollCut(middle - 1, there ? cut - 3.5 : cut - 3);
    }
}

// A move within a drag: no snapshot any more.
void rollWithinDrag(benchmark::State& bench) {
    EditState& state = loadClips(bench);
    const std::int32_t middle = clipCount(bench) / 2;
    const double cut = state.playhead - 2;
    beginCutDrag(middle - 1);
    bool there = false;
    for (auto _ : bench) {
        there = !there;
        dragCut(there ? cut - 0.5 : cut);
    }
}

void fade(benchmark::State& bench) {
    loadClips(bench);
    for (auto _ : bench) toggleFadeOfSelectedClip(true);
}

void undoAndRedo(benchmark::State& bench) {
    loadClips(bench);
    for (auto _ : bench) {
        undo();
        redo();
    }
}

void mapSourceToEdited(benchmark::State& bench) {
    const EditState& state = loadClips(bench);
    for (auto _ : bench) benchmark::DoNotOptimize(sourceToEdited(state.playhead));
}

void mapEditedToSource(benchmark::State& bench) {
    loadClips(bench);
    const double middle = editedDuration() / 2;
    for (auto _ : bench) {
        std::int32_t clip = -1;
        benchmark::DoNotOptimize(editedToSource(middle, clip));
    }
}

void hitClip(benchmark::State& bench) {
    loadClips(bench);
    for (auto _ : bench) benchmark::DoNotOptimize(clipAtX(TRACK, 950));
}

void hitBoundary(benchmark::State& bench) {
    loadClips(bench);
    for (auto _ : bench) benchmark::DoNotOptimize(boundaryAtX(TRACK, 96, 950, 50));
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(10)->Arg(1'000)->Arg(10'000);
}

BENCHMARK(copyClips)->Apply(sizes);
BENCHMARK(splitAndUndo)->Apply(sizes);
BENCHMARK(removeAndUndo)->Apply(sizes);
BENCHMARK(trim)->Apply(sizes);
BENCHMARK(roll)->Apply(sizes);
BENCHMARK(rollWithinDrag)->Apply(sizes);
BENCHMARK(fade)->Apply(sizes);
BENCHMARK(undoAndRedo)->Apply(sizes);
BENCHMARK(mapSourceToEdited)->Apply(sizes);
BENCHMARK(mapEditedToSource)->Apply(sizes);
BENCHMARK(hitClip)->Apply(sizes);
BENCHMARK(hitBoundary)->Apply(sizes);

} // namespace
} // namespace velkantrix
