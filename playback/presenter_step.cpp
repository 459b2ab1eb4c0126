// presenter_step.cpp: runs on the presenter thread.
#include "playback/presenter_step.h"

#include <algorithm>
#include <utility>

namespace velkantrix {
namespace {

constexpr std::int32_t IDLE_WITHOUT_METADATA = 5; // milliseconds, as the two below
constexpr std::int32_t IDLE_SCRUB = 2;
constexpr std::int32_t IDLE_ENGINE = 1;

constexpr double TOLERATED_FRAMES = 1.25;
constexpr double LEAST_TOLERANCE = 0.005; // seconds

void planPreview(PictureControl& c, PresenterTask& task) {
    task.idleMilliseconds = IDLE_SCRUB;
    task.isPreview = true;
    const bool pending = c.scrub.previewPending.exchange(false);
    const bool redraw = c.redrawRequested.exchange(false);
    task.draws = pending || (redraw && c.scrub.previewShownTime >= 0);
}

// What a scrub left behind. One that has begun since has previews of its own.
void dropPreview(PictureControl& c, const PresenterTask& task) {
    if (!c.scrub.previewPending) return;
    const Lock device(c.deviceLock);
    if (c.owner == task.owner && c.generation == task.generation) c.scrub.previewPending = false;
}

// The engine's new frame, or the one that couldn't be drawn last time.
std::optional<Ticks> frameToDraw(PresenterMemory& memory, std::optional<Ticks> newFrame,
                                 std::uint64_t generation) {
    const std::optional<Ticks> undrawn = std::exchange(memory.undrawn, std::nullopt);
    if (newFrame || memory.undrawnGeneration != generation) return newFrame;
    return undrawn;
}

// Before the first frame it is that which was asked for, and behind the last one the last, however
// much earlier the sound begins and later it ends.
Ticks landingPlace(const PictureControl& c, Ticks target) {
    const Ticks within = c.videoEnd > 0 ? std::min(target, nearestTicks(c.videoEnd)) : target;
    return std::max(within, nearestTicks(c.videoStart));
}

void planEngineFrame(PictureControl& c, PresenterTask& task, std::optional<Ticks> frame) {
    task.idleMilliseconds = IDLE_ENGINE;
    task.pts = frame.value_or(NO_TICKS);
    dropPreview(c, task);
    const bool redraw = c.redrawRequested.exchange(false);
    if (task.owner == PictureOwner::Engine) {
        task.draws = frame || redraw;
        return;
    }
    const Ticks target = c.seekTarget;
    if (!frame || target < 0) return;
    const Ticks tolerance = landingTolerance(c.fps);
    const Ticks place = landingPlace(c, target);
    task.draws = *frame >= subtractTicks(std::min(target, place), tolerance) &&
                 *frame <= addTicks(std::max(target, place), tolerance);
}

// The next step tries again what couldn't be drawn.
void keepForNextStep(PictureControl& c, PresenterMemory& memory, const PresenterTask& task)
    REQUIRES(c.deviceLock) {
    if (task.isPreview) {
        c.scrub.previewPending = true;
    } else if (task.pts >= 0) {
        memory.undrawn = task.pts;
        memory.undrawnGeneration = task.generation;
    } else {
        c.redrawRequested = true;
    }
}

void countPresented(PictureControl& c, const PresenterTask& task) REQUIRES(c.deviceLock) {
    if (task.isPreview) {
        c.scrub.previewShownTime = c.scrub.previewTime.load();
        c.scrub.previewShownId = c.scrub.previewRequestId.load();
        ++c.previewPresentCount;
        return;
    }
    c.enginePresented = true;
    ++c.enginePresentCount;
    if (task.pts >= 0) c.lastEnginePts = task.pts;
}

} // namespace

Ticks landingTolerance(double fps) {
    const double period = 1.0 / (fps <= 1.0 ? DEFAULT_FPS : fps);
    return nearestTicks(std::max(TOLERATED_FRAMES * period, LEAST_TOLERANCE));
}

PresenterTask nextTask(PictureControl& c, PresenterMemory& memory, const PresenterCalls& calls) {
    PresenterTask task;
    if (!c.engineReady) {
        task.idleMilliseconds = IDLE_WITHOUT_METADATA;
        return task;
    }
    // Before owner and generation are read: a frame is offered once, and if a seek came in between,
    // judging its frame by the owner before it would lose the frame that the seek waits for. In a
    // scrub it isn't used; asking keeps the engine's clock of frames moving.
    const std::optional<Ticks> newFrame = calls.newFrame();
    task.owner = c.owner;
    task.generation = c.generation;
    if (task.owner == PictureOwner::Preview)
        planPreview(c, task);
    else
        planEngineFrame(c, task, frameToDraw(memory, newFrame, task.generation));
    return task;
}

bool present(PictureControl& c, PresenterMemory& memory, const PresenterCalls& calls,
             const PresenterTask& task) {
    const Lock device(c.deviceLock);
    if (c.owner != task.owner || c.generation != task.generation) return false;
    if (!calls.draw(task.isPreview)) {
        keepForNextStep(c, memory, task);
        return false;
    }
    countPresented(c, task);
    if (calls.log)
        calls.log({task.isPreview, task.pts, c.scrub.previewShownTime, c.seekTarget, c.owner,
                   c.generation, c.waitPlay});
    return true;
}

void landSeek(PictureControl& c, const PresenterTask& task) {
    const Lock control(c.controlLock);
    const Lock device(c.deviceLock);
    if (c.owner != PictureOwner::Frozen || c.generation != task.generation) return;
    c.settledPts = task.pts;
    c.seekTarget = NO_TICKS;
    c.waitPlay = false;
    const bool resume = c.resumeAfterSeek.exchange(false);
    ++c.generation;
    c.owner = PictureOwner::Engine;
    c.state = resume ? PlaybackState::Playing : PlaybackState::Paused;
}

std::int32_t presenterStep(PictureControl& c, PresenterMemory& memory,
                           const PresenterCalls& calls) {
    const PresenterTask task = nextTask(c, memory, calls);
    if (!task.draws || !present(c, memory, calls, task)) return task.idleMilliseconds;
    if (task.owner == PictureOwner::Frozen) landSeek(c, task);
    return 0;
}

} // namespace velkantrix
