// scrub_fixture.h: scrub decoders with a presenter of their own, and what they deliver, read back.
//
// The pictures of the recordings carry their numbers: see tests/support/make_media.py.
#pragma once

#include <windows.h>

#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "platform/com.h"
#include "playback/preview_delivery.h"
#include "playback/scrub_decoder.h"
#include "tests/windows/presenter_fixture.h"
#include "tests/windows/test_files.h"

namespace velkantrix {

// One frame that became the preview.
struct Delivered {
    PreviewFrame frame;
    int picture = -1; // the number that it carries
};

class ScrubTest : public PresenterTest {
protected:
    static constexpr ULONGLONG LONGEST_WAIT = 20'000; // milliseconds

    void TearDown() override {
        stop();
        PresenterTest::TearDown();
    }

    void start(const std::wstring& path, double fps, PictureSize size, int threads = 2) {
        {
            const Lock held(deviceLock);
            setVideoSize(presenter, size.width, size.height);
            ASSERT_TRUE(ensureFrameTexture(presenter));
        }
        host = {};
        host.path = path;
        host.fps = fps;
        host.ownSource = ownSource;
        host.manager = presenter.deviceManager;
        host.scrub = &scrub;
        host.videoSize = [this] {
            const Lock held(deviceLock);
            return PictureSize{presenter.videoWidth, presenter.videoHeight};
        };
        host.deliverTexture = [this](const DecodedTexture& decoded, const PreviewFrame& frame) {
            return takeTexture(decoded, frame);
        };
        host.deliverPixels = [this](std::vector<std::uint8_t>& pixels, PictureSize given,
                                    const PreviewFrame& frame) {
            return takePixels(pixels, given, frame);
        };
        scrub.decodersRunning = true;
        for (int i = 0; i < threads; ++i) decoders.emplace_back([this] { runScrubDecoder(host); });
    }

    void stop() {
        scrub.decodersRunning = false;
        for (std::thread& decoder : decoders) decoder.join();
        decoders.clear();
    }

    // What was delivered for the request once its exact frame has come.
    std::vector<Delivered> ask(double seconds) {
        requestPreview(scrub, seconds);
        return waitForExact(scrub.scrubRequested);
    }

    std::vector<Delivered> waitForExact(std::int64_t number) {
        const ULONGLONG begun = GetTickCount64();
        while (GetTickCount64() - begun < LONGEST_WAIT) {
            {
                const Lock held(deviceLock);
                if (!delivered.empty() && delivered.back().frame.number == number &&
                    delivered.back().frame.exact)
                    return std::exchange(delivered, {});
            }
            Sleep(1);
        }
        ADD_FAILURE() << "no exact frame for request " << number;
        const Lock held(deviceLock);
        return std::exchange(delivered, {});
    }

    // The number in the preview's two halves, as it is drawn.
    int numberDrawn(bool isNv12) {
        const std::vector<std::uint8_t> pixels =
            drawn(64, 36, {.isPreview = true, .isNv12 = isNv12});
        int number = 0;
        int weight = 1;
        for (const std::size_t x : {std::size_t{16}, std::size_t{48}}) {
            const double grey = pixels[(18 * 64 + x) * 4 + 1];
            const double luma = 16 + grey * 219 / 255;
            const int digit = static_cast<int>(std::lround((luma - 32) / 12));
            if (std::abs(luma - 32 - 12 * digit) >= 4) return -1;
            number += digit * weight;
            weight *= 16;
        }
        return number;
    }

    ScrubOutcome takeTexture(const DecodedTexture& decoded, const PreviewFrame& frame) {
        const Lock held(deviceLock);
        ++textures;
        const bool fresh = isFresh(scrub, frame);
        const ScrubOutcome outcome = deliverTexture(presenter, scrub, decoded, frame);
        if (outcome == ScrubOutcome::Done && fresh) {
            EXPECT_TRUE(scrub.previewIsNv12);
            delivered.push_back({frame, numberDrawn(true)});
        }
        return outcome;
    }

    ScrubOutcome takePixels(std::vector<std::uint8_t>& pixels, PictureSize size,
                            const PreviewFrame& frame) {
        const Lock held(deviceLock);
        ++pixelPictures;
        const bool fresh = isFresh(scrub, frame);
        const ScrubOutcome outcome = deliverPixels(presenter, scrub, waiting, pixels, size, frame);
        if (outcome == ScrubOutcome::Done && fresh) {
            EXPECT_FALSE(scrub.previewIsNv12);
            EXPECT_TRUE(uploadPreview(presenter, waiting));
            presenter.previewView = presenter.frameView; // so that it is drawn without an engine
            delivered.push_back({frame, numberDrawn(false)});
        }
        return outcome;
    }

    std::optional<SourceSound> ownSource = SourceSound::Wanted; // as in the application
    Mutex deviceLock;
    ScrubRequest scrub;
    ScrubHost host;
    std::vector<std::thread> decoders;
    std::vector<std::uint8_t> waiting GUARDED_BY(deviceLock);
    std::vector<Delivered> delivered GUARDED_BY(deviceLock);
    int textures GUARDED_BY(deviceLock) = 0; // that came, as the next
    int pixelPictures GUARDED_BY(deviceLock) = 0;
};

} // namespace velkantrix
