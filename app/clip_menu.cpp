#include "app/clip_menu.h"

#include <algorithm>

#include "app/menu_rules.h"
#include "app/timeline_layout.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/operations.h"

namespace velkantrix {
namespace {

bool hasClipMenu(const TimelinePlace& place) {
    const EditState& edit = editState();
    return edit.videoLoaded && !edit.exportBusy && !isDragging() && !edit.clips.empty() &&
           !place.track.empty();
}

} // namespace

std::optional<ClipMenuTarget> clipMenuAtPoint(const TimelinePlace& place, std::int32_t x,
                                              std::int32_t y) {
    if (!hasClipMenu(place) || !isInside(place.track, x, y)) return std::nullopt;
    const SourcePlace clicked = sourcePlaceAtX(editState().clips, place.track, x);
    return ClipMenuTarget{clicked.clip, clicked.time, {x, y}};
}

std::optional<ClipMenuTarget> clipMenuByKey(const TimelinePlace& place) {
    if (!hasClipMenu(place)) return std::nullopt;
    const EditState& edit = editState();
    const auto last = static_cast<std::int32_t>(edit.clips.size()) - 1;
    const std::int32_t index = isClip(edit.clips, edit.selectedClip) ? edit.selectedClip : last;
    const Segment& clip = edit.clips[static_cast<std::size_t>(index)];
    const PixelRect rect = clipRect(place.track, index);
    const PixelRect label = labelRect(rect, place.dpi);
    const PixelRect& at = label.empty() ? rect : label;
    return ClipMenuTarget{
        index, std::clamp(edit.playhead, clip.start, clip.end), {at.left, at.bottom}};
}

bool runClipMenuChoice(std::uint16_t choice, const ClipMenuTarget& target) {
    if (isClip(editState().clips, target.clip)) editState().selectedClip = target.clip;
    switch (choice) {
    case CLIP_SPLIT:
        splitClip(target.clip, target.time);
        return true;
    case CLIP_TRIM_START:
    case CLIP_TRIM_END:
        trimClipToHere(target.clip, choice == CLIP_TRIM_END, target.time);
        return true;
    case CLIP_FADE_IN:
    case CLIP_FADE_OUT:
        toggleFade(target.clip, choice == CLIP_FADE_OUT);
        return true;
    default:
        return false;
    }
}

} // namespace velkantrix
