#include "edit/fades.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "edit/edge_limits.h"
#include "edit/edit_state.h"
#include "edit/history.h"

namespace velkantrix {
namespace {

// How far outside of a clip the playhead still counts as inside: seeks land a little off.
constexpr double PREVIEW_TOLERANCE = 0.01;

double fadeLength(double seconds, double room) {
    const double kept = seconds > room ? room : std::max(seconds, 0.0);
    return kept < MIN_FADE ? 0 : kept;
}

} // namespace

double fadeRoom(const Segment& clip, bool isOut) {
    const double length = clipLength(clip);
    if (isOut) return std::max(length - clip.fadeIn, clip.fadeOut);
    const double room = std::max(0.0, length - clip.fadeOut);
    // Rounding up would leave the fade-out less than its length, and normalizeFades then shortens
    // it, down to none if it was the shortest there is. One step down is more than the rounding.
    const bool isTooMuch = room > 0 && length - room < clip.fadeOut;
    // Rounding down must not take away what a fade-in already has.
    return std::max(isTooMuch ? std::nextafter(room, 0.0) : room, clip.fadeIn);
}

bool canFade(const Segment& clip, bool isOut) {
    return fadeRoom(clip, isOut) >= MIN_FADE;
}

void setFade(std::int32_t i, bool isOut, double seconds) {
    EditState& state = editState();
    if (state.exportBusy || !isClip(state.clips, i) || std::isnan(seconds)) return;
    Segment& clip = state.clips[static_cast<std::size_t>(i)];
    if (!canFade(clip, isOut)) {
        state.statusText = L"This clip is too short to fade";
        repaint();
        return;
    }
    double& fade = isOut ? clip.fadeOut : clip.fadeIn;
    const double length = fadeLength(seconds, fadeRoom(clip, isOut));
    if (isSameTime(length, fade)) return;

    pushHistory(isOut ? L"fade out" : L"fade in");
    fade = length;
    state.selectedClip = i;
    state.statusText = (isOut ? L"Fade out " : L"Fade in ") + formatFadeLength(length) +
                       L" — renders on export (re-encode)";
    refreshUi();
}

void toggleFade(std::int32_t i, bool isOut) {
    const ClipList& clips = editState().clips;
    if (!isClip(clips, i)) return;
    const Segment& clip = clips[static_cast<std::size_t>(i)];
    const double fade = isOut ? clip.fadeOut : clip.fadeIn;
    setFade(i, isOut, fade > 0 ? 0 : DEFAULT_FADE);
}

void toggleFadeOfSelectedClip(bool isOut) {
    toggleFade(editState().selectedClip, isOut);
}

// By to_chars, because printf's decimal point follows the locale.
std::wstring formatFadeLength(double seconds) {
    std::array<char, 320> digits{}; // the longest double has 309 before the point
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), seconds,
                                    std::chars_format::fixed, 1)
                          .ptr;
    return std::wstring(digits.data(), end) + L" s";
}

double fadePreviewGain() {
    const EditState& state = editState();
    if (!state.videoLoaded || !isClip(state.clips, state.selectedClip)) return 1.0;
    return fadePreviewGain(state.clips[static_cast<std::size_t>(state.selectedClip)],
                           state.playhead);
}

double fadePreviewGain(const Segment& clip, double playhead) {
    const double offset = playhead - clip.start;
    const double length = clipLength(clip);
    if (offset < -PREVIEW_TOLERANCE || offset > length + PREVIEW_TOLERANCE) return 1.0;
    double gain = 1.0;
    if (clip.fadeIn > 0 && offset < clip.fadeIn) {
        gain = std::min(std::max(offset, 0.0) / clip.fadeIn, 1.0);
    }
    if (clip.fadeOut > 0 && offset > length - clip.fadeOut) {
        gain = std::min(std::max(length - offset, 0.0) / clip.fadeOut, gain);
    }
    return std::clamp(gain, 0.0, 1.0);
}

void applyFadePreview() {
    const EditHost& host = editHost();
    if (!host.engineExists || !host.engineExists() || !host.setDim) return;
    host.setDim(fadePreviewGain());
}

} // namespace velkantrix
