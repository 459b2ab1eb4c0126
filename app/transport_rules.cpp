#include "app/transport_rules.h"

#include <array>

#include "app/command_table.h"
#include "base/exposure.h"

namespace velkantrix {
namespace {

constexpr std::uint16_t NO_COMMAND = 0;

struct ControlRow {
    const wchar_t* name;
    const wchar_t* key;      // as a tooltip shows it
    const wchar_t* shortcut; // in words
    std::uint16_t command;
};

constexpr std::array<ControlRow, TRANSPORT_CONTROL_COUNT> ROWS = {{
    {L"Back 5 seconds", L"\u2190", L"Left", COMMAND_BACK},
    {L"Play", L"Space", L"Space", COMMAND_PLAY_PAUSE},
    {L"Forward 5 seconds", L"\u2192", L"Right", COMMAND_FORWARD},
    {L"Split at playhead", L"S", L"S", COMMAND_SPLIT},
    {L"Remove selected clip", L"Del", L"Delete", COMMAND_REMOVE},
    {L"Mute", L"M", L"M", COMMAND_MUTE},
    {L"Volume", L"\u2191 \u2193", L"Up, Down", NO_COMMAND},
    {L"Step back one frame", L",", L"Comma", COMMAND_PREVIOUS_FRAME},
    {L"Step forward one frame", L".", L"Period", COMMAND_NEXT_FRAME},
    {L"Darken exposure", L"[", L"[", COMMAND_DARKER},
    {L"Auto-fix exposure", L"", L"", COMMAND_TOGGLE_EXPOSURE},
    {L"Brighten exposure", L"]", L"]", COMMAND_BRIGHTER},
    {L"Zoom to 2×", L"Z", L"Z", COMMAND_ZOOM},
}};

const ControlRow* rowOf(TransportControl control) {
    if (control < 0 || static_cast<std::size_t>(control) >= ROWS.size()) return nullptr;
    return &ROWS[static_cast<std::size_t>(control)];
}

} // namespace

std::wstring transportName(TransportControl control, const TransportState& state) {
    if (control == TRANSPORT_PLAY && state.playing) return L"Pause";
    if (control == TRANSPORT_MUTE && state.volume.muted) return L"Unmute";
    if (control == TRANSPORT_EXPOSURE && isExposed(state.exposure)) return L"Reset exposure";
    if (control == TRANSPORT_ZOOM && state.doubled) return L"Actual size (1×)";
    const ControlRow* const row = rowOf(control);
    return row ? row->name : L"";
}

std::wstring transportTip(TransportControl control, const TransportState& state) {
    const ControlRow* const row = rowOf(control);
    if (!row) return {};
    std::wstring text = transportName(control, state);
    if (*row->key) text.append(L"   (").append(row->key).append(L")");
    return text;
}

std::wstring transportShortcut(TransportControl control) {
    const ControlRow* const row = rowOf(control);
    return row ? row->shortcut : L"";
}

std::optional<std::uint16_t> transportCommand(TransportControl control,
                                              const TransportState& state) {
    const ControlRow* const row = rowOf(control);
    if (!row || row->command == NO_COMMAND || isTransportInert(control, state)) return std::nullopt;
    return row->command;
}

bool isTransportInert(TransportControl control, const TransportState& state) {
    return control == TRANSPORT_REMOVE && state.clipCount < 2;
}

} // namespace velkantrix
