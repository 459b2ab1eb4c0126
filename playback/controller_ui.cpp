// controller_ui.cpp: runs on the UI thread.
#include <algorithm>
#include <cmath>

#include "platform/hresult.h"
#include "playback/controller.h"

namespace velkantrix {

void PlaybackController::play() {
    playPicture(picture_);
}

void PlaybackController::pause() {
    pausePicture(picture_);
}

void PlaybackController::pauseAfterEnd() {
    velkantrix::pauseAfterEnd(picture_);
}

bool PlaybackController::isOrWillBePlaying() const {
    return velkantrix::isOrWillBePlaying(picture_);
}

void PlaybackController::seek(double seconds) {
    seekPicture(picture_, seconds);
}

bool PlaybackController::beginScrub() {
    const bool wasPlaying = velkantrix::beginScrub(picture_);
    if (picture_.owner == PictureOwner::Preview) startDecoders();
    return wasPlaying;
}

void PlaybackController::endScrub(double seconds, bool resume) {
    velkantrix::endScrub(picture_, seconds, resume);
}

double PlaybackController::currentTime() {
    return engineTime(picture_);
}

bool PlaybackController::isSeeking() const {
    return velkantrix::isSeeking(picture_);
}

double PlaybackController::duration() {
    const bool ready = picture_.state == PlaybackState::Paused;
    if (picture_.duration > 0 || !engine_ || !ready) return picture_.duration;
    const double stated = engine_->GetDuration();
    if (std::isfinite(stated) && stated > 0) picture_.duration = stated;
    return picture_.duration;
}

bool PlaybackController::videoSize(std::int32_t& width, std::int32_t& height) {
    const PictureSize size = shownSize();
    width = size.width;
    height = size.height;
    return width > 0 && height > 0;
}

void PlaybackController::requestRedraw() {
    picture_.redrawRequested = true;
}

void PlaybackController::setVolume(double volume) {
    if (std::isnan(volume)) return;
    volume_ = std::clamp(volume, 0.0, 1.0);
    if (engine_) ignoreResult(engine_->SetVolume(volume_), "there may be no sound");
}

void PlaybackController::setMuted(bool muted) {
    muted_ = muted;
    if (engine_) ignoreResult(engine_->SetMuted(muted), "there may be no sound");
}

void PlaybackController::setExposure(double stops) {
    velkantrix::setExposure(picture_, stops);
}

void PlaybackController::setDim(double dim) {
    velkantrix::setDim(picture_, dim);
}

} // namespace velkantrix
