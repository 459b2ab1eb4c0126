// effects_bench.cpp: what exposure and fades cost, in bytes a second. Read as ratios to copy, the
// bare copy of as many bytes. Pictures come from decoders and go to encoders: here too, each one is
// out of the caches again when its turn comes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "export/picture_effects.h"

namespace velkantrix {
namespace {

constexpr std::size_t PICTURE = std::size_t{1920} * 1080; // bytes
constexpr std::size_t PICTURES = 64;
constexpr Gain HALF = 128;

using Bytes = std::vector<std::uint8_t>;

// Of all values.
Bytes pictureBytes() {
    Bytes bytes(PICTURE);
    std::uint32_t state = 1;
    for (std::uint8_t& byte : bytes) {
        state = state * 1'664'525 + 1'013'904'223;
        byte = static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
}

// Calls `work` with each picture in turn, again and again, and its place among them.
template <typename Work>
void onEachInTurn(benchmark::State& bench, Work work) {
    std::vector<Bytes> pictures(PICTURES, pictureBytes());
    std::size_t next = 0;
    for (auto _ : bench) {
        work(pictures[next], next);
        benchmark::DoNotOptimize(pictures[next].data());
        benchmark::ClobberMemory();
        next = (next + 1) % PICTURES;
    }
    bench.SetBytesProcessed(static_cast<std::int64_t>(bench.iterations() * PICTURE));
}

void copy(benchmark::State& bench) {
    std::vector<Bytes> targets(PICTURES, Bytes(PICTURE));
    onEachInTurn(bench, [&](Bytes& bytes, std::size_t i) {
        std::memcpy(targets[i].data(), bytes.data(), PICTURE);
        benchmark::DoNotOptimize(targets[i].data());
    });
}
BENCHMARK(copy);

template <auto effect>
void change(benchmark::State& bench) {
    onEachInTurn(bench, [](Bytes& bytes, std::size_t) { effect(bytes); });
}

void expose(Bytes& bytes) {
    static const LumaTable table = exposureTable(0.5);
    applyTable(bytes, table);
}

void fadeY(Bytes& bytes) {
    fadeLuma(bytes, HALF);
}

void fadeUv(Bytes& bytes) {
    fadeChroma(bytes, HALF);
}

void fadePcm(Bytes& bytes) {
    fadeSound({reinterpret_cast<std::int16_t*>(bytes.data()), bytes.size() / 2}, HALF);
}

BENCHMARK(change<expose>)->Name("table");
BENCHMARK(change<fadeY>)->Name("fade luma");
BENCHMARK(change<fadeUv>)->Name("fade chroma");
BENCHMARK(change<fadePcm>)->Name("fade sound");

} // namespace
} // namespace velkantrix
