// scrub-bench FILE SEED COUNT: how long previews of random times of a video take, and the bare
// decoding of the same samples by the same decoder. A JSON object for each: milliseconds by the
// clock.
//
// A request's exact frame comes when the hand has rested for 75 ms; they are left out of its time.
#include <windows.h>

#include <mferror.h>
#include <timeapi.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>
#include <vector>

#include "platform/com.h"
#include "platform/media_startup.h"
#include "playback/exact_search.h"
#include "playback/preview_delivery.h"
#include "playback/scrub_decoder.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

constexpr DWORD LONGEST_WAIT = 20'000;

double milliseconds() {
    LARGE_INTEGER frequency;
    LARGE_INTEGER now;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return 1e3 * static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

void print(const char* name, double value) {
    std::printf("{\"name\": \"%s\", \"ms\": %.3f}\n", name, value);
}

// The samples that the decoder takes for a time, read beforehand.
struct Samples {
    ScrubSample key;
    std::vector<ScrubSample> exact;
};

std::optional<Samples> samplesFor(ScrubSamples& reader, double seconds) {
    Samples samples;
    const Ticks target = addTicks(nearestTicks(seconds), SCRUB_SLACK);
    if (!reader.keyframeAt(seconds, samples.key) || !reader.begin(target, [] { return false; }))
        return std::nullopt;
    ExactSearch search(target);
    ScrubSample sample;
    while (reader.next(sample, [] { return false; }) == WalkOutcome::Sample) {
        samples.exact.push_back(sample);
        if (search.fed(sample.pts, sample.duration) == ExactSearch::Feed::Drain) break;
    }
    return samples;
}

// All pictures of the samples up to the target.
bool decodeBare(H264Transform& transform, const std::vector<ScrubSample>& samples, Ticks target) {
    if (FAILED(transform.restart())) return false;
    ComPtr<IMFSample> best;
    Ticks bestTime = -1;
    const auto pullAll = [&] {
        DecodedPicture picture;
        while (SUCCEEDED(transform.pull(picture))) {
            LONGLONG time = 0;
            picture.sample->GetSampleTime(&time);
            if (time > target && best) continue;
            if (time > bestTime) best = picture.sample;
            bestTime = std::max<Ticks>(bestTime, time);
        }
    };
    for (const ScrubSample& sample : samples) {
        while (transform.feed(sample) == MF_E_NOTACCEPTING) pullAll();
        pullAll();
    }
    if (FAILED(transform.drain())) return false;
    pullAll();
    return static_cast<bool>(best);
}

class Bench {
public:
    Bench(const wchar_t* path, HWND window) : path_(path) {
        const Lock held(lock_);
        ok_ = setUpPresenter(presenter_, window) && reader_.open(path, SourceSound::Wanted);
        const PictureSize size{static_cast<std::int32_t>(reader_.width()),
                               static_cast<std::int32_t>(reader_.height())};
        setVideoSize(presenter_, size.width, size.height);
        ok_ = ok_ && SUCCEEDED(transform_.setUp({size, {30, 1}}, presenter_.deviceManager.get()));
    }
    ~Bench() {
        scrub_.decodersRunning = false;
        for (std::thread& thread : threads_) thread.join();
        const Lock held(lock_);
        releasePresenter(presenter_);
    }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    bool run(std::uint64_t seed, int count) {
        if (!ok_) return false;
        start();
        RandomChoices choices(seed);
        for (int i = 0; i < count + 1; ++i) {
            const double seconds = choices.below(9'000) / 1000.0;
            if (!measure(seconds, i > 0)) return false; // the first one warms all up
        }
        return true;
    }

private:
    void start() {
        host_.path = path_;
        host_.fps = 30;
        host_.scrub = &scrub_;
        {
            const Lock held(lock_);
            host_.manager = presenter_.deviceManager;
        }
        host_.videoSize = [] {
            return PictureSize{};
        };
        host_.deliverTexture = [this](const DecodedTexture& decoded, const PreviewFrame& frame) {
            const Lock held(lock_);
            const ScrubOutcome outcome = deliverTexture(presenter_, scrub_, decoded, frame);
            (frame.exact ? exactAt_ : keyAt_) = milliseconds();
            return outcome;
        };
        host_.deliverPixels = [](std::vector<std::uint8_t>&, PictureSize, const PreviewFrame&) {
            return ScrubOutcome::Missed;
        };
        scrub_.decodersRunning = true;
        for (int i = 0; i < 2; ++i) threads_.emplace_back([this] { runScrubDecoder(host_); });
    }

    bool measure(double seconds, bool counts) {
        keyAt_ = 0;
        exactAt_ = 0;
        const double begun = milliseconds();
        requestPreview(scrub_, seconds);
        while (exactAt_ == 0 && milliseconds() - begun < LONGEST_WAIT) Sleep(1);
        if (keyAt_ == 0 || exactAt_ == 0) return false;
        const std::optional<Samples> samples = samplesFor(reader_, seconds);
        if (!samples) return false;
        const Ticks target = addTicks(nearestTicks(seconds), SCRUB_SLACK);
        const double first = milliseconds();
        if (!decodeBare(transform_, {samples->key}, samples->key.pts)) return false;
        const double second = milliseconds();
        if (!decodeBare(transform_, samples->exact, target)) return false;
        const double third = milliseconds();
        if (!counts) return true;
        print("keyframe", keyAt_ - begun);
        print("keyframe, bare", second - first);
        print("exact", exactAt_ - keyAt_ - SCRUB_SETTLE);
        print("exact, bare", third - second);
        return true;
    }

    const wchar_t* path_;
    bool ok_ = false;
    Mutex lock_;
    Presenter presenter_ GUARDED_BY(lock_);
    ScrubRequest scrub_;
    ScrubHost host_;
    ScrubSamples reader_;
    H264Transform transform_;
    std::vector<std::thread> threads_;
    std::atomic<double> keyAt_{0};
    std::atomic<double> exactAt_{0};
};

int run(const wchar_t* path, std::uint64_t seed, int count) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    if (FAILED(startMedia())) return 2;
    timeBeginPeriod(1);
    const HWND window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 640, 360, nullptr,
                                        nullptr, GetModuleHandleW(nullptr), nullptr);
    bool done = false;
    {
        Bench bench(path, window);
        done = bench.run(seed, count);
    }
    DestroyWindow(window);
    stopMedia();
    return done ? 0 : 3;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    if (count != 4) return 1;
    return velkantrix::run(words[1], std::wcstoull(words[2], nullptr, 10), _wtoi(words[3]));
}
