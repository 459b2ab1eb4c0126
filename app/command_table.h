// command_table.h: the window's commands: their numbers, when they may run, and the keys that give
// them.
#pragma once

#include <array>
#include <cstdint>

namespace velkantrix {

// The low word of WM_COMMAND.
enum CommandId : std::uint16_t {
    COMMAND_OPEN = 101,
    COMMAND_PLAY_PAUSE = 102,
    COMMAND_SPLIT = 103,
    COMMAND_REMOVE = 104,
    COMMAND_EXPORT = 105, // or cancel the export that runs
    COMMAND_UNDO = 106,
    COMMAND_EXIT = 107,
    COMMAND_BACK = 108, // 5 seconds, or the selected cut
    COMMAND_FORWARD = 109,
    COMMAND_SHOW_EXPORT = 120,
    COMMAND_VIDEO = 121, // the video child: it is its id, too
    COMMAND_REDO = 122,
    COMMAND_NEXT_FRAME = 123,
    COMMAND_PREVIOUS_FRAME = 124,
    COMMAND_START = 125,
    COMMAND_END = 126,
    COMMAND_ESCAPE = 127,
    COMMAND_FULLSCREEN = 128,
    COMMAND_MUTE = 129,
    COMMAND_LOUDER = 130,
    COMMAND_SOFTER = 131,
    COMMAND_RENAME = 132,
    COMMAND_RENAME_FIELD = 133, // the id of the field
    COMMAND_FADE_IN = 135,
    COMMAND_FADE_OUT = 136,
    COMMAND_AUTO_EXPOSURE = 160,
    COMMAND_BRIGHTER = 161,
    COMMAND_DARKER = 162,
    COMMAND_RESET_EXPOSURE = 163,
    COMMAND_TOGGLE_EXPOSURE = 164,
    COMMAND_ZOOM = 165,
    COMMAND_SAVE = 166,
    COMMAND_OPTIMISE = 167,
    COMMAND_ABOUT = 168,
    COMMAND_FIRST_LAYOUT = 300,  // and one more
    COMMAND_FIRST_QUALITY = 310, // and four more
    COMMAND_FIRST_RECENT = 400,  // and nine more
    COMMAND_CLEAR_RECENT = 419,
};

// What a command may depend on, gathered anew for each.
struct CommandContext {
    bool videoLoaded = false;
    bool exportBusy = false;
};

// Whether the command does anything now. Most others look after themselves.
bool mayRun(std::uint16_t command, const CommandContext& context);

// One key, with the numbers that ACCEL and the virtual keys have.
struct AcceleratorKey {
    std::uint8_t modifiers = 0;
    std::uint16_t key = 0;
    std::uint16_t command = 0;
    bool operator==(const AcceleratorKey&) const = default;
};

inline constexpr std::uint8_t KEY_IS_VIRTUAL = 0x01;
inline constexpr std::uint8_t KEY_WITH_SHIFT = 0x04;
inline constexpr std::uint8_t KEY_WITH_CTRL = 0x08;

// In this order. Redo and fullscreen have two keys each, on purpose.
const std::array<AcceleratorKey, 25>& acceleratorKeys();

} // namespace velkantrix
