// mp4_bench.cpp: reading MP4 files, beside what the same bytes cost without understanding them and
// beside libavformat. The files' folder is the environment's VELKANTRIX_BENCH_FOLDER. Names are
// "measurement/who"; read them as ratios within a measurement.
extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "mp4/fragment_reader.h"
#include "mp4/plain_samples.h"
#include "mp4/probe.h"
#include "mp4/video_index.h"
#include "tests/support/box_builder.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

std::filesystem::path benchFile(const char* name) {
    const char* folder = std::getenv("VELKANTRIX_BENCH_FOLDER");
    return std::filesystem::path(folder == nullptr ? "." : folder) / name;
}

void require(bool good, const char* what) {
    if (!good) throw std::runtime_error(what);
}

void openByLibavformat(const std::filesystem::path& path) {
    AVFormatContext* context = nullptr;
    require(avformat_open_input(&context, path.c_str(), nullptr, nullptr) == 0, "open");
    require(avformat_find_stream_info(context, nullptr) >= 0, "stream info");
    avformat_close_input(&context);
}

// ---- the index of a long plain file ----------------------------------------------------------

void indexOurs(benchmark::State& bench) {
    for (auto _ : bench) {
        const VideoTrackIndex index = LoadVideoTrackIndex(benchFile("hours.mp4"));
        require(index.valid, "index");
    }
}

void indexLibavformat(benchmark::State& bench) {
    for (auto _ : bench) openByLibavformat(benchFile("hours.mp4"));
}

// Opens the file, finds the moov and reads it.
void indexBytes(benchmark::State& bench) {
    for (auto _ : bench) {
        const InputFile file = OpenForRandomAccess(benchFile("hours.mp4"));
        ByteBuffer moov;
        require(readMoov(moov, file, scanTopLevel(file)), "moov");
        benchmark::DoNotOptimize(moov.data());
    }
}

void walkOurs(benchmark::State& bench) {
    PlainSamples samples;
    require(samples.open(benchFile("hours.mp4")), "samples");
    PlainSample sample;
    for (auto _ : bench) {
        samples.seekToStart();
        while (samples.next(sample) == WalkOutcome::Sample) benchmark::DoNotOptimize(sample);
    }
}

// ---- the probe -------------------------------------------------------------------------------

constexpr std::uint64_t SPARSE_BYTES = std::uint64_t{8} << 30;

// As many boxes as are probed, in 8 GiB.
const TempFile& sparseFile() {
    static TempFile file;
    if (std::filesystem::file_size(file.path()) != 0) return file;
    const std::uint64_t step = SPARSE_BYTES / MAX_PROBED_BOXES;
    file.resize(SPARSE_BYTES);
    for (std::uint32_t i = 0; i < MAX_PROBED_BOXES; ++i) {
        const bool last = i + 1 == MAX_PROBED_BOXES;
        const std::uint64_t size = last ? SPARSE_BYTES - i * step : step;
        file.write(i * step, boxOfSize(i % 2 == 0 ? "moof" : "mdat", size));
    }
    return file;
}

void probeOurs(benchmark::State& bench) {
    const auto& path = sparseFile().path();
    for (auto _ : bench) require(ProbeFile(path).reachedEnd, "probe");
}

void probeBytes(benchmark::State& bench) {
    const auto& path = sparseFile().path();
    const std::uint64_t step = SPARSE_BYTES / MAX_PROBED_BOXES;
    std::uint8_t header[8];
    for (auto _ : bench) {
        const InputFile file = openForSequentialScan(path);
        for (std::uint64_t i = 0; i < MAX_PROBED_BOXES; ++i) {
            require(ReadAt(file, i * step, header, sizeof header), "header");
            benchmark::DoNotOptimize(header);
        }
    }
}

// ---- opening a recording of many fragments ---------------------------------------------------

void fragmentsOurs(benchmark::State& bench) {
    for (auto _ : bench) {
        FragmentReader reader;
        require(reader.Open(benchFile("fragments.mp4")), "open");
        require(reader.DurationSeconds() > 0, "duration");
    }
}

void fragmentsLibavformat(benchmark::State& bench) {
    for (auto _ : bench) openByLibavformat(benchFile("fragments.mp4"));
}

// ---- all samples of a gigabyte ---------------------------------------------------------------

struct Fragment {
    FragmentSamples::Span span;
    std::vector<SampleRecord> samples;
};

// What is to be read, known beforehand.
std::vector<Fragment>& gigabyteFragments() {
    static std::vector<Fragment> fragments;
    if (!fragments.empty()) return fragments;
    FragmentReader reader;
    require(reader.Open(benchFile("fragmented.mp4")) && reader.Seek(0), "open");
    do {
        Fragment& fragment = fragments.emplace_back();
        fragment.span = reader.samples().span();
        for (std::uint64_t i = 0; i < reader.samples().size(); ++i) {
            fragment.samples.push_back(reader.samples()[i]);
        }
    } while (reader.NextFragment());
    return fragments;
}

std::int64_t bytesOfAllSamples() {
    std::uint64_t bytes = 0;
    for (const Fragment& fragment : gigabyteFragments()) {
        for (const SampleRecord& sample : fragment.samples) bytes += sample.size;
    }
    return static_cast<std::int64_t>(bytes);
}

void readAll(FragmentReader& reader) {
    ReaderSample sample;
    require(reader.Seek(0), "seek");
    while (reader.ReadNextSample(sample)) benchmark::DoNotOptimize(sample.data.data());
    require(reader.outcome() == ReadOutcome::End, "end");
}

void samplesRaw(benchmark::State& bench) {
    const VideoTrackIndex index = LoadVideoTrackIndex(benchFile("fragmented.mp4"));
    FragmentReader reader;
    require(reader.OpenWithTable(benchFile("fragmented.mp4"), index.trackId, index.timescale,
                                 index.randomAccess),
            "open");
    for (auto _ : bench) readAll(reader);
    bench.SetBytesProcessed(bench.iterations() * bytesOfAllSamples());
}

void samplesAnnexB(benchmark::State& bench) {
    FragmentReader reader;
    require(reader.Open(benchFile("fragmented.mp4")), "open");
    for (auto _ : bench) readAll(reader);
    bench.SetBytesProcessed(bench.iterations() * bytesOfAllSamples());
}

// One read of each fragment's samples, and one copy of each sample.
void samplesBytes(benchmark::State& bench) {
    const InputFile file = OpenForRandomAccess(benchFile("fragmented.mp4"));
    std::vector<std::uint8_t> room, copy;
    for (const Fragment& fragment : gigabyteFragments()) {
        room.resize(std::max<std::size_t>(room.size(), fragment.span.end - fragment.span.first));
    }
    for (auto _ : bench) {
        for (const auto& [span, samples] : gigabyteFragments()) {
            require(ReadAt(file, span.first, room.data(), span.end - span.first), "read");
            for (const SampleRecord& sample : samples) {
                const std::uint8_t* bytes = room.data() + (sample.offset - span.first);
                copy.assign(bytes, bytes + sample.size);
                benchmark::DoNotOptimize(copy.data());
            }
        }
    }
    bench.SetBytesProcessed(bench.iterations() * bytesOfAllSamples());
}

BENCHMARK(indexBytes)->Name("index of 4 hours/bytes")->Unit(benchmark::kMicrosecond);
BENCHMARK(indexOurs)->Name("index of 4 hours/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(indexLibavformat)->Name("index of 4 hours/libavformat")->Unit(benchmark::kMicrosecond);
BENCHMARK(walkOurs)->Name("index of 4 hours/walk over all samples")->Unit(benchmark::kMicrosecond);
BENCHMARK(probeBytes)->Name("probe of 8 GiB/bytes")->Unit(benchmark::kMicrosecond);
BENCHMARK(probeOurs)->Name("probe of 8 GiB/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(fragmentsOurs)->Name("opening 20000 fragments/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(fragmentsLibavformat)
    ->Name("opening 20000 fragments/libavformat")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(samplesBytes)->Name("samples of 1 GB/bytes")->Unit(benchmark::kMicrosecond);
BENCHMARK(samplesRaw)->Name("samples of 1 GB/raw")->Unit(benchmark::kMicrosecond);
BENCHMARK(samplesAnnexB)->Name("samples of 1 GB/annex B")->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace velkantrix
