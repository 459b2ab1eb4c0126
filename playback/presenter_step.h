// presenter_step.h: how the presenter thread decides what to draw, and what having drawn it means.
//
// The presenter thread runs these, again and again. One step is three parts, in this order, between
// which the other threads may do anything: nextTask, present, landSeek.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "playback/picture_control.h"

namespace velkantrix {

// One picture as it went to the screen, for the log.
struct PresentRecord {
    bool isPreview = false;
    Ticks pts = NO_TICKS; // of the engine's frame
    double previewShownTime = NO_PREVIEW_TIME;
    Ticks seekTarget = NO_TICKS;
    PictureOwner owner = PictureOwner::Engine;
    std::uint64_t generation = 0;
    bool waitPlay = false;
};

struct PresenterCalls {
    // The time of a frame that the engine has not offered before; none when there is no new one.
    // Without a lock.
    std::function<std::optional<Ticks>()> newFrame;
    // Puts the engine's present frame, or the preview that waits, on screen. False when that
    // failed. Under the device lock.
    std::function<bool(bool isPreview)> draw;
    // Likewise under the device lock; may be empty.
    std::function<void(const PresentRecord&)> log;
};

// The thread's own memory, from one step to the next.
struct PresenterMemory {
    // The engine offers each frame once; one that couldn't be drawn is tried again, as long as the
    // picture has the same generation.
    std::optional<Ticks> undrawn;
    std::uint64_t undrawnGeneration = 0;
};

// What a step decided, with the owner and the generation that it was decided for.
struct PresenterTask {
    bool draws = false;
    bool isPreview = false;
    Ticks pts = NO_TICKS; // none when the picture is drawn again
    PictureOwner owner = PictureOwner::Engine;
    std::uint64_t generation = 0;
    std::int32_t idleMilliseconds = 0; // when nothing is drawn
};

[[nodiscard]] PresenterTask nextTask(PictureControl& c, PresenterMemory& memory,
                                     const PresenterCalls& calls)
    EXCLUDES(c.controlLock, c.deviceLock);

// Draws, unless the picture has another owner or generation by now. Whether it is on screen.
[[nodiscard]] bool present(PictureControl& c, PresenterMemory& memory, const PresenterCalls& calls,
                           const PresenterTask& task) EXCLUDES(c.controlLock, c.deviceLock);

// The frame that a seek waited for is on screen: the engine owns the picture again.
void landSeek(PictureControl& c, const PresenterTask& task) EXCLUDES(c.controlLock, c.deviceLock);

// One whole step; the milliseconds to wait before the next.
[[nodiscard]] std::int32_t presenterStep(PictureControl& c, PresenterMemory& memory,
                                         const PresenterCalls& calls)
    EXCLUDES(c.controlLock, c.deviceLock);

// How far from its target a frame may lie to be the one that a seek asked for.
[[nodiscard]] Ticks landingTolerance(double fps);

} // namespace velkantrix
