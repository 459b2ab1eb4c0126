#include "app/timeline_mouse.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "app/timeline_layout.h"
#include "base/time_text.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/open_flow.h"
#include "edit/rename.h"
#include "edit/roll_cut.h"
#include "edit/timeline_map.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t DRAG_SEEK_PERIOD = 32;  // milliseconds: the next comes after more than this
constexpr std::uint64_t SCRUB_SEEK_PERIOD = 15; // likewise
constexpr double SAME_PLACE = 1e-9;             // seconds

TimelineMouse theMouse;
TimelineMouseHost theHost;

bool mayEdit() {
    return editState().videoLoaded && !editState().exportBusy;
}

double cutTime(std::int32_t cut) {
    return editState().clips[static_cast<std::size_t>(cut)].end;
}

// A cut's handle reaches a little below the timeline.
std::int32_t cutAt(const TimelinePlace& place, std::int32_t x, std::int32_t y) {
    if (!mayEdit() || place.track.empty()) return -1;
    return boundaryAtX(place.track, place.dpi, x, y);
}

bool isOnSelectedLabel(const TimelinePlace& place, std::int32_t x, std::int32_t y) {
    const PixelRect clip = clipRect(place.track, editState().selectedClip);
    return mayEdit() && isInside(labelRect(clip, place.dpi), x, y);
}

bool isTimeFor(std::uint64_t period) {
    const std::uint64_t now = theHost.now();
    if (now - theMouse.lastSeek <= period) return false;
    theMouse.lastSeek = now;
    return true;
}

void startDrag(const TimelinePlace& place, std::int32_t cut, std::int32_t x) {
    const double width = std::max(1, place.track.right - place.track.left);
    theMouse.drag = CutDrag{.cut = cut,
                            .anchorTime = cutTime(cut),
                            .anchorX = x,
                            .secondsPerPixel = editedDuration() / width};
    beginCutDrag(cut);
    theHost.capture();
}

void scrubTo(const TimelinePlace& place, std::int32_t x) {
    const double time = editedTimeAtX(place.track, editedDuration(), clampedX(place.track, x));
    seekToEdited(time);
    editState().statusText = L"Scrubbing  " + formatTime(time);
    repaint();
}

void startScrub(const TimelinePlace& place, std::int32_t x) {
    endGesture(); // no cut is selected any more
    theMouse.scrub = Scrub{x, x, theHost.beginScrub()};
    theMouse.lastSeek = theHost.now();
    scrubTo(place, x);
    theHost.capture();
}

void dragTo(std::int32_t x) {
    CutDrag& drag = *theMouse.drag;
    if (editState().exportBusy || !isCut(editState().clips, drag.cut)) return;
    const double target = drag.anchorTime + (x - drag.anchorX) * drag.secondsPerPixel;
    dragCut(target);
    const double landed = cutTime(drag.cut);
    if (std::abs(landed - target) > SAME_PLACE) {
        drag.anchorX = x;
        drag.anchorTime = landed;
    }
    if (isTimeFor(DRAG_SEEK_PERIOD)) seekTo(landed);
}

// The last seek of the drag may have been too soon after the one before, and left out.
void showCut(std::int32_t cut) {
    if (isCut(editState().clips, cut) && cutTime(cut) != editState().playhead) seekTo(cutTime(cut));
}

void hover(const TimelinePlace& place, std::int32_t x, std::int32_t y) {
    if (!editState().videoLoaded || !isInside(place.track, x, y)) return timelineLeft();
    theMouse.hoverX = clampedX(place.track, x);
    theMouse.hoverClip = clipAtX(place.track, x);
    theHost.askForLeave();
    repaint();
}

// The engine takes the picture over again at that place.
void finishScrub(const SourcePlace& place, bool resume) {
    EditState& edit = editState();
    if (place.clip >= 0) edit.selectedClip = place.clip;
    edit.playhead = std::clamp(place.time, 0.0, edit.duration);
    theHost.endScrub(edit.playhead, resume);
    applyFadePreview();
    if (!edit.exportBusy) edit.statusText = L"Ready"; // a job tells its progress there
    refreshUi();
}

} // namespace

TimelineMouse& timelineMouse() {
    return theMouse;
}

TimelineMouseHost& timelineMouseHost() {
    return theHost;
}

void timelinePressed(const TimelinePlace& place, std::int32_t x, std::int32_t y) {
    commitRename(true);
    endTimelineGesture(); // a release that never came
    if (!editState().videoLoaded || place.track.empty()) return;
    // Nothing can be shown under the mouse until the engine has the file again.
    if (openState().phase == OpenPhase::Reopening) return;
    timelineLeft(); // the time is shown again where the pointer moves afterwards
    if (isOnSelectedLabel(place, x, y)) return beginRename();
    const std::int32_t cut = cutAt(place, x, y);
    if (cut >= 0) return startDrag(place, cut, x);
    if (isInside(place.track, x, y)) startScrub(place, x);
}

void timelineMoved(const TimelinePlace& place, std::int32_t x, std::int32_t y) {
    if (theMouse.drag) return dragTo(x);
    if (!theMouse.scrub) return hover(place, x, y);
    theMouse.scrub->lastX = x;
    if (isTimeFor(SCRUB_SEEK_PERIOD)) scrubTo(place, x);
}

void timelineReleased(const TimelinePlace& place, std::int32_t x) {
    if (const std::optional<CutDrag> drag = std::exchange(theMouse.drag, std::nullopt)) {
        theHost.releaseCapture();
        showCut(drag->cut);
        endCutDrag();
        return;
    }
    const std::optional<Scrub> scrub = std::exchange(theMouse.scrub, std::nullopt);
    if (!scrub) return;
    theHost.releaseCapture();
    finishScrub(sourcePlaceAtX(editState().clips, place.track, clampedX(place.track, x)),
                scrub->playedBefore);
}

void timelineCaptureLost() {
    if (const std::optional<CutDrag> drag = std::exchange(theMouse.drag, std::nullopt)) {
        showCut(drag->cut);
        repaint();
    }
    if (std::exchange(theMouse.scrub, std::nullopt)) finishScrub({-1, editState().playhead}, false);
}

void timelineLeft() {
    if (!std::exchange(theMouse.hoverX, std::nullopt)) return;
    theMouse.hoverClip = -1;
    repaint();
}

void endTimelineGesture() {
    if (!theMouse.drag && !theMouse.scrub) return;
    timelineCaptureLost(); // before the capture is given back, which says so once more
    theHost.releaseCapture();
}

bool showsSizingCursor(const TimelinePlace& place, std::int32_t x, std::int32_t y) {
    return theMouse.drag.has_value() || cutAt(place, x, y) >= 0;
}

} // namespace velkantrix
