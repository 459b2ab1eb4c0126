// timeline_mouse.h: what the mouse does on the timeline: it drags cuts, scrubs, hovers, and opens
// the field for a clip's name. Decides only; the window carries out. UI thread.
//
//     none --press on a cut--> dragging a cut --release, capture lost--> none
//          --press elsewhere-> scrubbing -----release, capture lost----> none
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "edit/clip_geometry.h"

namespace velkantrix {

// A drag moves the cut from where it was when it was pressed by as much time as the pointer has
// come. At a limit it starts anew from there, so that the cut follows at once when the pointer
// turns back.
struct CutDrag {
    std::int32_t cut = -1;
    double anchorTime = 0; // seconds of the source
    std::int32_t anchorX = 0;
    double secondsPerPixel = 0;
    bool operator==(const CutDrag&) const = default;
};

struct Scrub {
    std::int32_t pressX = 0;
    std::int32_t lastX = 0;
    bool playedBefore = false;
    bool operator==(const Scrub&) const = default;
};

struct TimelineMouse {
    std::optional<CutDrag> drag;
    std::optional<Scrub> scrub;
    std::optional<std::int32_t> hoverX; // the pointer over the timeline
    std::int32_t hoverClip = -1;
    std::uint64_t lastSeek = 0; // milliseconds

    bool operator==(const TimelineMouse&) const = default;
};

// None is empty.
struct TimelineMouseHost {
    std::function<bool()> beginScrub; // whether it was playing
    std::function<void(double seconds, bool resume)> endScrub;
    std::function<void()> capture;
    std::function<void()> releaseCapture; // which may say at once that the capture is lost
    std::function<void()> askForLeave;    // to be told when the pointer leaves the window
    std::function<std::uint64_t()> now;   // milliseconds
};

TimelineMouse& timelineMouse();
TimelineMouseHost& timelineMouseHost();

[[nodiscard]] inline bool isDragging() {
    return timelineMouse().drag.has_value();
}
[[nodiscard]] inline bool isScrubbing() {
    return timelineMouse().scrub.has_value();
}

// Where the timeline is at this moment; empty in fullscreen.
struct TimelinePlace {
    PixelRect track;
    std::int32_t dpi = 96;
};

void timelinePressed(const TimelinePlace& place, std::int32_t x, std::int32_t y);
void timelineMoved(const TimelinePlace& place, std::int32_t x, std::int32_t y);
void timelineReleased(const TimelinePlace& place, std::int32_t x);
void timelineCaptureLost();
void timelineLeft();

// Ends a drag or a scrub as a lost capture does: what it was about may change now, or another
// video comes.
void endTimelineGesture();

// The pointer is on a cut that a press would drag, or drags one.
bool showsSizingCursor(const TimelinePlace& place, std::int32_t x, std::int32_t y);

} // namespace velkantrix
