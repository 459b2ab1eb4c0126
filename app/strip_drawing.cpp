#include "app/strip_drawing.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "app/palette.h"
#include "base/hash64.h"
#include "base/time_text.h"
#include "edit/clip_name.h"
#include "edit/fades.h"

namespace velkantrix {
namespace {

constexpr double MOST_MILLISECONDS = 9e18; // that a key can hold

class Key {
public:
    void add(std::uint64_t value) { hash_.add(value); }
    void add(std::int32_t value) { add(static_cast<std::uint64_t>(std::int64_t{value})); }
    // In milliseconds, rounded to nearest; none is below 0.
    void addTime(double seconds) {
        const double rounded = seconds * 1000 + 0.5;
        add(static_cast<std::uint64_t>(std::min(rounded, MOST_MILLISECONDS)));
    }
    [[nodiscard]] std::uint64_t value() const { return hash_.value(); }

private:
    Hash64 hash_{0xcbf29ce484222325ULL};
};

std::uint64_t hashOf(const std::wstring& text) {
    Key key;
    for (const wchar_t unit : text) key.add(static_cast<std::uint64_t>(unit));
    return key.value();
}

// Apart from the whole, so that the processor works on several clips at a time.
std::uint64_t hashOf(const Segment& clip) {
    Key key;
    key.addTime(clip.start);
    key.addTime(clip.end);
    key.addTime(clip.fadeIn);
    key.addTime(clip.fadeOut);
    key.add(hashOf(clip.name));
    return key.value();
}

// Draws one clip after the other.
class ClipDrawer {
public:
    ClipDrawer(Drawing& drawing, const StripState& state) : drawing_(drawing), state_(state) {}

    void draw(std::int32_t index, const PixelRect& rect) {
        const bool marked = index == state_.selectedClip || index == state_.selectedCut;
        if (rect.empty() && marked) hiddenBars_.push_back({index, rect});
        if (rect.empty()) return;
        const Segment& clip = (*state_.clips)[static_cast<std::size_t>(index)];
        const bool selected = index == state_.selectedClip;
        fill(rect, selected ? SELECTED_CLIP : CLIP);
        drawWaveform(clip, rect, selected);
        drawing_.push_back(OutlineItem{rect, selected ? ACCENT : CLIP_EDGE, selected ? 2 : 1});
        if (marked) drawEdgeBars(rect, index == state_.selectedCut);
        if (index != state_.renamedClip) drawLabel(index, rect, clip);
        drawLength(clip, rect);
        drawFade(clip, rect, false);
        drawFade(clip, rect, true);
    }

    // Those of selected clips without a pixel of their own, over their neighbours.
    void drawHiddenBars() {
        for (const HiddenBars& bars : hiddenBars_)
            drawEdgeBars(bars.rect, bars.clip == state_.selectedCut);
    }

private:
    struct HiddenBars {
        std::int32_t clip = -1;
        PixelRect rect;
    };

    [[nodiscard]] std::int32_t S(std::int32_t units) const {
        return scaledPixels(units, state_.dpi);
    }

    void fill(const PixelRect& rect, std::uint32_t colour) {
        if (!rect.empty()) drawing_.push_back(FillItem{rect, colour});
    }

    void write(const std::wstring& text, const PixelRect& rect, std::uint32_t colour, Font font,
               TextAlign align = TextAlign::Left, bool ellipsis = false) {
        if (!rect.empty()) drawing_.push_back(TextItem{text, rect, colour, font, align, ellipsis});
    }

    void drawWaveform(const Segment& clip, const PixelRect& rect, bool selected) {
        if (state_.peaks.empty() || !(state_.sourceDuration > 0)) return;
        const std::int32_t centre = (rect.top + rect.bottom) / 2;
        const std::int32_t most = (rect.bottom - rect.top) / 2 - S(6);
        const std::int32_t step = std::max(1, S(2));
        const double width = std::max(1, rect.right - rect.left);
        for (std::int32_t x = rect.left + 1; x < rect.right - 1; x += step) {
            const double time = (x - rect.left) / width * clipLength(clip) + clip.start;
            const double bucket = std::clamp(
                std::trunc(time / state_.sourceDuration * PEAK_BUCKETS), 0.0, PEAK_BUCKETS - 1.0);
            const auto place = static_cast<std::size_t>(bucket);
            if (place >= state_.peaks.size()) return;
            const double peak = state_.peaks[place];
            const std::int32_t half =
                std::max(1, static_cast<std::int32_t>(std::max(0, most) * peak));
            fill({x, centre - half, x + step, centre + half}, selected ? SELECTED_WAVE : WAVE);
        }
    }

    void drawEdgeBars(const PixelRect& rect, bool endIsCut) {
        const std::int32_t top = rect.top + 1;
        const std::int32_t bottom = rect.bottom - 1;
        fill({rect.left + 1, top, rect.left + 1 + S(3), bottom}, EDGE_BAR);
        fill({rect.right - S(3) - 1, top, rect.right - 1, bottom},
             endIsCut ? SELECTED_CUT : EDGE_BAR);
    }

    void drawLabel(std::int32_t index, const PixelRect& rect, const Segment& clip) {
        write(clipLabel(*state_.clips, index),
              {rect.left + S(8), rect.top + S(5), rect.right - S(4), rect.top + S(30)}, CLIP_TEXT,
              clip.name.empty() ? Font::Monospace : Font::Text, TextAlign::Left, true);
    }

    void drawLength(const Segment& clip, const PixelRect& rect) {
        write(formatTime(clipLength(clip)),
              {rect.left + S(8), rect.bottom - S(28), rect.right - S(4), rect.bottom - S(4)},
              SECONDARY_TEXT, Font::Monospace);
    }

    void drawFade(const Segment& clip, const PixelRect& rect, bool isOut) {
        const double length = isOut ? clip.fadeOut : clip.fadeIn;
        if (!(length > 0)) return;
        const double share = length / clipLength(clip);
        const auto ramp = static_cast<std::int32_t>(
            std::min(share * (rect.right - rect.left), 1.0 * (rect.right - rect.left)));
        const std::int32_t edge = isOut ? rect.right : rect.left;
        const std::int32_t inner = isOut ? rect.right - ramp : rect.left + ramp;
        const PixelPoint foot{edge, rect.bottom - 1};
        const PixelPoint top{inner, rect.top + 1};
        drawing_.push_back(TriangleItem{{PixelPoint{edge, rect.top + 1}, top, foot}, FADE_SHADE});
        drawing_.push_back(LineItem{foot, top, CLIP_TEXT, std::max(1, S(1))});
        const std::int32_t left = isOut ? inner - S(66) : inner + S(6);
        write(formatFadeLength(length), {left, rect.top + S(2), left + S(60), rect.top + S(20)},
              FADE_TEXT, Font::Monospace, isOut ? TextAlign::Right : TextAlign::Left);
    }

    Drawing& drawing_;
    const StripState& state_;
    std::vector<HiddenBars> hiddenBars_;
};

} // namespace

std::uint64_t stripKey(const StripState& state) {
    Key key;
    key.add(state.track.right - state.track.left);
    key.add(state.track.bottom - state.track.top);
    key.add(state.track.left);
    key.add(state.track.top);
    key.add(state.dpi);
    key.add(state.selectedClip);
    key.add(state.selectedCut);
    key.add(state.peaksVersion);
    key.addTime(state.sourceDuration);
    key.add(state.renamedClip + 1);
    key.add(std::uint64_t{state.clips->size()});
    for (const Segment& clip : *state.clips) key.add(hashOf(clip));
    return key.value();
}

void drawStrip(Drawing& drawing, const StripState& state) {
    if (state.track.empty()) return;
    drawing.push_back(FillItem{state.track, TRACK});
    ClipDrawer drawer(drawing, state);
    std::int32_t index = 0;
    for (const PixelRect& rect : clipRects(*state.clips, state.track)) drawer.draw(index++, rect);
    drawer.drawHiddenBars();
}

} // namespace velkantrix
