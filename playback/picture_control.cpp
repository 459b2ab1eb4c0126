// picture_control.cpp: runs on the UI thread.
#include "playback/picture_control.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velkantrix {
namespace {

constexpr double BEFORE_EVERY_TIME = -1e9; // no time of a scrub is near it
constexpr double SHORTEST_STEP_WITHOUT_FPS = 0.016;

bool isReady(const PictureControl& c) {
    const PlaybackState state = c.state;
    return state == PlaybackState::Paused || state == PlaybackState::Playing;
}

double withinVideo(const PictureControl& c, double seconds) {
    const double positive = std::max(seconds, 0.0);
    return c.duration > 0 ? std::min(positive, c.duration) : positive;
}

double shortestScrubStep(const PictureControl& c) {
    return c.fps <= 1.0 ? SHORTEST_STEP_WITHOUT_FPS : 0.5 / c.fps;
}

bool awaitsFrame(const PictureControl& c) {
    return c.owner == PictureOwner::Frozen && c.seekTarget >= 0;
}

void scrubTo(PictureControl& c, double seconds) {
    if (std::abs(seconds - c.lastScrubRequestTime) < shortestScrubStep(c)) return;
    c.lastScrubRequestTime = seconds;
    requestPreview(c.scrub, seconds);
}

// The screen keeps its picture until the engine has the frame at `seconds`.
void freeze(PictureControl& c, double seconds, bool resume) REQUIRES(c.deviceLock) {
    c.seekTarget = nearestTicks(seconds);
    c.settledPts = NO_TICKS;
    c.resumeAfterSeek = resume;
    ++c.generation;
    c.owner = PictureOwner::Frozen;
}

} // namespace

void resetPicture(PictureControl& c) {
    const Lock control(c.controlLock);
    const Lock device(c.deviceLock);
    c.owner = PictureOwner::Engine;
    c.generation = 0;
    c.state = PlaybackState::Closed;
    c.seekTarget = NO_TICKS;
    c.settledPts = NO_TICKS;
    c.lastEnginePts = NO_TICKS;
    c.waitPlay = false;
    c.resumeAfterSeek = false;
    c.engineReady = false;
    c.redrawRequested = false;
    c.enginePresented = false;
    c.enginePresentCount = 0;
    c.previewPresentCount = 0;
    c.exposure = 0;
    c.duration = 0;
    c.videoStart = 0;
    c.videoEnd = 0;
    c.fps = DEFAULT_FPS;
    supersedePreviews(c.scrub);
    c.scrub.previewShownTime = NO_PREVIEW_TIME;
    c.scrub.previewShownId = NO_PREVIEW_ID;
}

void attachEngine(PictureControl& c, EngineCalls calls) {
    const Lock control(c.controlLock);
    c.engine = std::move(calls);
    c.engineExists = true;
}

void detachEngine(PictureControl& c) {
    const Lock control(c.controlLock);
    c.engineExists = false;
    c.engine = {};
}

bool failOpening(PictureControl& c) {
    PlaybackState opening = PlaybackState::Opening;
    return c.state.compare_exchange_strong(opening, PlaybackState::Closed);
}

void playPicture(PictureControl& c) {
    const Lock control(c.controlLock);
    if (!c.engineExists || !isReady(c)) return;
    if (c.owner == PictureOwner::Preview) {
        c.resumeAfterSeek = true;
        return;
    }
    c.scrub.previewPending = false;
    const bool awaits = awaitsFrame(c);
    const bool startsLater = awaits && c.state != PlaybackState::Playing;
    c.resumeAfterSeek = awaits;
    c.waitPlay = startsLater;
    c.engine.play();
    c.state = startsLater ? PlaybackState::Paused : PlaybackState::Playing;
}

void pausePicture(PictureControl& c) {
    const Lock control(c.controlLock);
    if (!c.engineExists || !isReady(c)) return;
    const bool waited = c.waitPlay.exchange(false);
    c.resumeAfterSeek = false;
    c.engine.pause();
    c.state = PlaybackState::Paused;
    if (waited && c.seekTarget >= 0) c.engine.setCurrentTime(secondsOf(c.seekTarget));
}

void seekPicture(PictureControl& c, double seconds) {
    if (std::isnan(seconds)) return;
    const double time = withinVideo(c, seconds);
    // Only this thread begins and ends scrubs, so this needs no lock.
    if (c.owner == PictureOwner::Preview) return scrubTo(c, time);
    const Lock control(c.controlLock);
    if (!c.engineExists || !isReady(c)) return;
    const bool resume = isOrWillBePlaying(c);
    c.scrub.previewPending = false;
    {
        const Lock device(c.deviceLock);
        freeze(c, time, resume);
        c.waitPlay = false;
        c.redrawRequested = true;
    }
    c.engine.setCurrentTime(time);
}

bool beginScrub(PictureControl& c) {
    const Lock control(c.controlLock);
    if (!c.engineExists || !isReady(c)) return false;
    const bool wasPlaying = isOrWillBePlaying(c);
    c.waitPlay = false;
    c.resumeAfterSeek = false;
    c.engine.pause();
    c.state = PlaybackState::Paused;
    {
        const Lock device(c.deviceLock);
        const Lock pixels(c.previewBufferLock);
        supersedePreviews(c.scrub);
        c.scrub.previewShownTime = NO_PREVIEW_TIME;
        c.scrub.previewShownId = NO_PREVIEW_ID;
        c.seekTarget = NO_TICKS;
        ++c.generation;
        c.redrawRequested = false;
        c.owner = PictureOwner::Preview;
    }
    c.lastScrubRequestTime = BEFORE_EVERY_TIME;
    return wasPlaying;
}

void endScrub(PictureControl& c, double seconds, bool resume) {
    if (std::isnan(seconds)) seconds = 0;
    const double time = withinVideo(c, seconds);
    const Lock control(c.controlLock);
    const bool play = resume || c.resumeAfterSeek;
    {
        const Lock device(c.deviceLock);
        if (c.owner != PictureOwner::Preview) return;
        const Lock pixels(c.previewBufferLock);
        supersedePreviews(c.scrub);
        freeze(c, time, play);
        c.waitPlay = play;
        c.redrawRequested = false; // the last preview stays on screen
    }
    if (!c.engineExists || !isReady(c)) return;
    c.state = PlaybackState::Paused;
    // The engine begins to play first: its event then issues the seek.
    if (play)
        c.engine.play();
    else
        c.engine.setCurrentTime(time);
}

bool isOrWillBePlaying(const PictureControl& c) {
    return c.state == PlaybackState::Playing || c.resumeAfterSeek;
}

void pauseAfterEnd(PictureControl& c) {
    const Lock control(c.controlLock);
    if (c.engineExists && isReady(c) && !isOrWillBePlaying(c)) c.engine.pause();
}

bool isSeeking(const PictureControl& c) {
    return c.owner == PictureOwner::Preview || awaitsFrame(c);
}

double engineTime(PictureControl& c) {
    const Lock control(c.controlLock);
    return c.engineExists ? c.engine.currentTime() : 0;
}

void setExposure(PictureControl& c, double stops) {
    if (std::isnan(stops)) return;
    c.exposure = stops;
    c.redrawRequested = true;
}

void setDim(PictureControl& c, double dim) {
    if (std::isnan(dim)) return;
    const double wanted = std::clamp(dim, 0.0, 1.0);
    if (std::abs(wanted - c.dim) < SMALLEST_DIM_STEP) return;
    c.dim = wanted;
    c.redrawRequested = true;
}

} // namespace velkantrix
