#include "app/transport_drawing.h"

#include <string>

#include "app/palette.h"
#include "base/exposure.h"

namespace velkantrix {
namespace {

// In 96-dpi units.
constexpr std::int32_t CORNER = 14;
constexpr std::int32_t SEPARATOR_DISTANCE = 9; // before the control that it stands in front of
constexpr std::int32_t SEPARATOR_TOP = 15;
constexpr std::int32_t SEPARATOR_BOTTOM = 47;
constexpr std::int32_t TRACK_ABOVE = 2; // the middle
constexpr std::int32_t TRACK_BELOW = 1;
constexpr std::int32_t KNOB_BEFORE = 6; // its point
constexpr std::int32_t KNOB_BEHIND = 7;
constexpr std::int32_t LABELLED_ICON_LEFT = 10;
constexpr std::int32_t LABELLED_ICON_WIDTH = 26;
constexpr std::int32_t LABEL_LEFT = 42;

constexpr const wchar_t* PLAY_ICON = L"\uE768";
constexpr const wchar_t* PAUSE_ICON = L"\uE769";
constexpr const wchar_t* SOUND_ICON = L"\uE767";
constexpr const wchar_t* SILENT_ICON = L"\uE74F";

class Bar {
public:
    Bar(Drawing& drawing, const TransportView& view)
        : drawing_(drawing), view_(view), layout_(layOutTransport(view.client.width, view.dpi)) {}

    void draw() const {
        const TransportState& state = view_.state;
        fill({0, 0, view_.client.width, view_.client.height}, TRANSPORT);
        fill({0, 0, view_.client.width, 1}, BAR_EDGE);
        icon(TRANSPORT_PREVIOUS_FRAME, L"\uE76B");
        icon(TRANSPORT_BACK, L"\uE892");
        icon(TRANSPORT_PLAY, state.playing ? PAUSE_ICON : PLAY_ICON);
        icon(TRANSPORT_FORWARD, L"\uE893");
        icon(TRANSPORT_NEXT_FRAME, L"\uE76C");
        if (layout_.wide) drawExposure();
        separatorBefore(TRANSPORT_SPLIT);
        labelled(TRANSPORT_SPLIT, L"\uE8C6", L"Split");
        labelled(TRANSPORT_REMOVE, L"\uE74D", L"Remove");
        text(TRANSPORT_ZOOM, state.doubled ? L"2×" : L"1×");
        const bool silent = state.volume.muted || state.volume.level <= 0;
        icon(TRANSPORT_MUTE, silent ? SILENT_ICON : SOUND_ICON);
        drawSlider();
    }

private:
    [[nodiscard]] std::int32_t S(std::int32_t units) const {
        return scaledPixels(units, view_.dpi);
    }

    void fill(const PixelRect& rect, std::uint32_t colour) const {
        drawing_.push_back(FillItem{rect, colour});
    }

    // The face's rectangle, once what lies under it is drawn; empty when the control isn't shown.
    [[nodiscard]] PixelRect ground(TransportControl control) const {
        const PixelRect rect = layout_[control];
        if (rect.empty() || view_.hovered != control) return rect;
        const bool pressed = view_.pressed == control;
        drawing_.push_back(
            RoundedItem{rect, pressed ? PRESSED_CONTROL : HOVERED_CONTROL, S(CORNER)});
        return rect;
    }

    [[nodiscard]] std::uint32_t faceColour(TransportControl control) const {
        return isTransportInert(control, view_.state) ? DISABLED_FACE : CONTROL_FACE;
    }

    void face(const std::wstring& characters, const PixelRect& rect, std::uint32_t colour,
              Font font, TextAlign align = TextAlign::Centre) const {
        if (rect.empty()) return;
        drawing_.push_back(TextItem{characters, rect, colour, font, align});
    }

    void icon(TransportControl control, const wchar_t* character) const {
        face(character, ground(control), faceColour(control), Font::Icons);
    }

    void text(TransportControl control, const wchar_t* characters) const {
        face(characters, ground(control), faceColour(control), Font::Text);
    }

    void labelled(TransportControl control, const wchar_t* character, const wchar_t* label) const {
        const PixelRect rect = ground(control);
        const std::uint32_t colour = faceColour(control);
        const std::int32_t iconLeft = rect.left + S(LABELLED_ICON_LEFT);
        face(character, {iconLeft, rect.top, iconLeft + S(LABELLED_ICON_WIDTH), rect.bottom},
             colour, Font::Icons);
        face(label, {rect.left + S(LABEL_LEFT), rect.top, rect.right, rect.bottom}, colour,
             Font::Text, TextAlign::Left);
    }

    void separatorBefore(TransportControl control) const {
        const std::int32_t x = layout_[control].left - S(SEPARATOR_DISTANCE);
        fill({x, S(SEPARATOR_TOP), x + 1, S(SEPARATOR_BOTTOM)}, SEPARATOR_LINE);
    }

    void drawExposure() const {
        separatorBefore(TRANSPORT_DARKER);
        text(TRANSPORT_DARKER, L"\u2212");
        // What is too little to be seen isn't called an exposure anywhere.
        face(L"\uE706", ground(TRANSPORT_EXPOSURE),
             isExposed(view_.state.exposure) ? ACCENT : CONTROL_FACE, Font::Icons);
        text(TRANSPORT_BRIGHTER, L"+");
    }

    void drawSlider() const {
        const PixelRect rect = ground(TRANSPORT_VOLUME);
        if (rect.empty()) return;
        const Volume& volume = view_.state.volume;
        const SliderTrack track = sliderTrack(rect, view_.dpi);
        const std::int32_t top = track.middle - S(TRACK_ABOVE);
        const std::int32_t bottom = track.middle + S(TRACK_BELOW);
        const std::int32_t knob = sliderKnob(track, volume.level);
        fill({track.left, top, track.right, bottom}, SLIDER_TRACK);
        if (!volume.muted) fill({track.left, top, knob, bottom}, ACCENT);
        drawing_.push_back(EllipseItem{{knob - S(KNOB_BEFORE), track.middle - S(KNOB_BEFORE),
                                        knob + S(KNOB_BEHIND), track.middle + S(KNOB_BEHIND)},
                                       volume.muted ? MUTED_KNOB : CONTROL_FACE});
    }

    Drawing& drawing_;
    const TransportView& view_;
    const TransportLayout layout_;
};

} // namespace

void drawTransport(Drawing& drawing, const TransportView& view) {
    Bar(drawing, view).draw();
}

} // namespace velkantrix
