// controller_scrub.cpp: the UI thread starts and ends the scrub decoder threads here; what they
// deliver comes in on their own.
#include "playback/byte_stream_handler.h"
#include "playback/controller.h"
#include "playback/preview_delivery.h"
#include "playback/scrub_decoder.h"

namespace velkantrix {
namespace {

constexpr int DECODERS = 2;

} // namespace

// A thread that can't be started ends the process.
void PlaybackController::startDecoders() noexcept {
    const PictureSize size = shownSize();
    if (picture_.scrub.decodersRunning || path_.empty()) return;
    if (size.width <= 0 || size.height <= 0) return;
    scrubHost_ = scrubHost();
    picture_.scrub.exactDecodes = 0;
    picture_.scrub.decodersRunning = true;
    for (int i = 0; i < DECODERS; ++i)
        decoderThreads_.emplace_back([this] { runScrubDecoder(scrubHost_); });
}

// They take the locks to deliver: none is held here while they are awaited.
void PlaybackController::stopDecoders() {
    picture_.scrub.decodersRunning = false;
    for (std::thread& thread : decoderThreads_) thread.join();
    decoderThreads_.clear();
    scrubHost_ = {};
    const Lock pixels(picture_.previewBufferLock);
    previewPixels_.clear();
}

ScrubHost PlaybackController::scrubHost() {
    ScrubHost host;
    host.path = path_;
    host.fps = picture_.fps;
    host.ownSource = mp4SourceFor(path_);
    host.scrub = &picture_.scrub;
    {
        const Lock device(picture_.deviceLock);
        host.manager = presenter_.deviceManager;
    }
    host.videoSize = [this] {
        return shownSize();
    };
    host.deliverTexture = [this](const DecodedTexture& decoded, const PreviewFrame& frame) {
        return takeTexture(decoded, frame);
    };
    host.deliverPixels = [this](std::vector<std::uint8_t>& pixels, PictureSize size,
                                const PreviewFrame& frame) {
        return takePixels(pixels, size, frame);
    };
    return host;
}

PictureSize PlaybackController::shownSize() {
    const Lock device(picture_.deviceLock);
    return {presenter_.videoWidth, presenter_.videoHeight};
}

ScrubOutcome PlaybackController::takeTexture(const DecodedTexture& decoded,
                                             const PreviewFrame& frame) {
    const Lock device(picture_.deviceLock);
    return deliverTexture(presenter_, picture_.scrub, decoded, frame);
}

ScrubOutcome PlaybackController::takePixels(std::vector<std::uint8_t>& pixels, PictureSize size,
                                            const PreviewFrame& frame) {
    const Lock device(picture_.deviceLock);
    const Lock waiting(picture_.previewBufferLock);
    return deliverPixels(presenter_, picture_.scrub, previewPixels_, pixels, size, frame);
}

} // namespace velkantrix
