#include "app/window_drawing.h"

#include <algorithm>
#include <cmath>

#include "app/palette.h"
#include "app/timeline_layout.h"
#include "base/time_text.h"
#include "edit/timeline_map.h"

namespace velkantrix {
namespace {

constexpr std::int32_t WIDE_WINDOW = 1000; // 96-dpi units: with room for the video's facts
constexpr std::size_t LONG_STATUS = 37;    // characters: it needs the whole row
constexpr std::uint64_t BYTES_PER_MB = 1'048'576;
constexpr std::uint64_t DOT_PERIOD = 400; // milliseconds
constexpr std::uint8_t CARD_ICON_OPACITY = 205;

class WindowDrawer {
public:
    WindowDrawer(Drawing& drawing, const WindowState& state)
        : drawing_(drawing),
          state_(state),
          width_(state.client.width),
          height_(state.client.height),
          track_(state.strip.track) {}

    void drawLoadingCard() {
        const PixelRect card{S(24), S(24), width_ - S(24),
                             std::max(S(180), height_ - S(246)) + S(24)};
        fill(card, LOADING_CARD);
        const std::int32_t middle = (card.top + card.bottom) / 2;
        drawing_.push_back(IconItem{width_, middle + S(4), S(96), CARD_ICON_OPACITY});
        write(L"Loading video" + std::wstring(state_.tick / DOT_PERIOD % 4, L'.'),
              {0, middle + S(30), width_, middle + S(62)}, SECONDARY_TEXT, Font::Text,
              TextAlign::Centre);
    }

    void drawBottomBar() {
        const std::int32_t top = barTop();
        fill({0, top, width_, height_}, BAR);
        fill({0, top, width_, top + 1}, BAR_EDGE);
    }

    void drawHoverTip() {
        if (!state_.hoverX || state_.scrubbing || state_.cutDrag || track_.empty()) return;
        const std::int32_t x = *state_.hoverX;
        if (x < track_.left || x > track_.right) return;
        drawing_.push_back(LineItem{{x, track_.top}, {x, track_.bottom}, SECONDARY_TEXT, 1, true});
        const std::int32_t half = S(55);
        const std::int32_t centre = std::max(track_.left + half, std::min(x, track_.right - half));
        PixelRect box{centre - half, track_.top - S(24), centre - half + S(110), track_.top - S(4)};
        if (liesUnderVideo(box)) {
            box.top = track_.top + S(4);
            box.bottom = track_.top + S(24);
        }
        fill(box, TIP);
        write(formatTime(editedTimeAtX(track_, total(), x)), box, TIP_TEXT, Font::Monospace,
              TextAlign::Centre);
    }

    void drawPlayhead() {
        if (track_.empty()) return;
        std::int32_t x = playheadX(track_, total(), state_.editedTime);
        std::uint32_t colour = ACCENT;
        if (state_.cutDrag && isCut(*state_.strip.clips, *state_.cutDrag)) {
            x = clipRect(*state_.strip.clips, track_, *state_.cutDrag).right;
            colour = SELECTED_CUT;
        }
        drawing_.push_back(LineItem{
            {x, track_.top - S(10)}, {x, track_.bottom + S(8)}, colour, std::max(2, S(2))});
    }

    void drawTextRow() {
        const PixelRect row{S(28), barTop() + S(2), width_ - S(28), height_ - S(2)};
        if (state_.statusText.size() >= LONG_STATUS)
            return write(state_.statusText, row, SECONDARY_TEXT, Font::Monospace, TextAlign::Right,
                         true);
        const bool wide = width_ > S(WIDE_WINDOW);
        const std::int32_t third = (row.right - row.left) / 3;
        const std::int32_t infoEnd = row.left + (wide ? third : 2 * third) - S(12);
        write(infoText(), {row.left, row.top, infoEnd, row.bottom}, SECONDARY_TEXT, Font::Monospace,
              TextAlign::Left, true);
        if (wide)
            write(videoFacts(), {row.left + third, row.top, row.left + 2 * third, row.bottom},
                  FAINT_TEXT, Font::Monospace, TextAlign::Centre);
        write(state_.statusText, {row.left + 2 * third, row.top, row.right, row.bottom},
              SECONDARY_TEXT, Font::Monospace, TextAlign::Right);
    }

    void drawExportProgress() {
        if (!state_.exportShare) return;
        const std::int32_t top = height_ - S(5);
        fill({0, top, width_, height_}, TIP);
        const double share = std::clamp(*state_.exportShare, 0.0, 1.0);
        fill({0, top, static_cast<std::int32_t>(width_ * share), height_}, ACCENT);
    }

    void drawEmptyState() {
        const std::int32_t base = 2 * height_ / 5;
        drawing_.push_back(IconItem{width_, base, S(124), 255});
        write(L"Cut the wait.", {0, base + S(6), width_, base + S(56)}, PRIMARY_TEXT, Font::Hero,
              TextAlign::Centre);
        write(L"Open a video. Slice what you don't need. Export without losing a pixel.",
              {0, base + S(64), width_, base + S(90)}, SECONDARY_TEXT, Font::Text,
              TextAlign::Centre);
        write(L"Ctrl+O   ·   File ▸ Open video   ·   or drop a file anywhere in this window",
              {0, base + S(98), width_, base + S(122)}, FAINT_TEXT, Font::Monospace,
              TextAlign::Centre);
    }

    void drawDiagnostics() {
        write(state_.diagnostics, {0, S(3), width_ - S(20), S(22)}, DIAGNOSTICS_TEXT,
              Font::Monospace, TextAlign::Right);
    }

private:
    [[nodiscard]] std::int32_t S(std::int32_t units) const {
        return scaledPixels(units, state_.dpi);
    }
    [[nodiscard]] std::int32_t barTop() const { return height_ - S(36); }
    [[nodiscard]] double total() const { return editedDuration(*state_.strip.clips); }

    [[nodiscard]] bool liesUnderVideo(const PixelRect& box) const {
        if (!state_.videoOnScreen) return false;
        const PixelRect& video = *state_.videoOnScreen;
        return box.top < video.bottom && box.left < video.right && box.right > video.left;
    }

    [[nodiscard]] std::wstring infoText() const {
        return L"Clip " + std::to_wstring(state_.strip.selectedClip + 1) + L"/" +
               std::to_wstring(state_.strip.clips->size()) + L"  ·  " +
               formatTime(state_.editedTime) + L" / " + formatTime(total());
    }

    [[nodiscard]] std::wstring videoFacts() const {
        return std::to_wstring(state_.videoSize.width) + L"×" +
               std::to_wstring(state_.videoSize.height) + L"  ·  " +
               std::to_wstring(state_.fileSize / BYTES_PER_MB) + L" MB";
    }

    void fill(const PixelRect& rect, std::uint32_t colour) {
        if (!rect.empty()) drawing_.push_back(FillItem{rect, colour});
    }

    void write(const std::wstring& text, const PixelRect& rect, std::uint32_t colour, Font font,
               TextAlign align, bool ellipsis = false) {
        if (!rect.empty()) drawing_.push_back(TextItem{text, rect, colour, font, align, ellipsis});
    }

    Drawing& drawing_;
    const WindowState& state_;
    std::int32_t width_;
    std::int32_t height_;
    PixelRect track_;
};

} // namespace

void drawBackground(Drawing& drawing, const WindowState& state) {
    drawing.push_back(FillItem{{0, 0, state.client.width, state.client.height}, BACKGROUND});
    if (state.fullscreen || !state.videoLoaded) return;
    WindowDrawer drawer(drawing, state);
    if (!state.firstFrameShown) drawer.drawLoadingCard();
    drawer.drawBottomBar();
}

void drawForeground(Drawing& drawing, const WindowState& state) {
    if (state.fullscreen) return;
    WindowDrawer drawer(drawing, state);
    if (state.videoLoaded) {
        drawer.drawHoverTip();
        drawer.drawPlayhead();
        drawer.drawTextRow();
        drawer.drawExportProgress();
    } else {
        drawer.drawEmptyState();
    }
    drawer.drawDiagnostics();
}

} // namespace velkantrix
