#include "app/command_table.h"

namespace velkantrix {
namespace {

enum Needs : std::uint8_t { NEEDS_NOTHING = 0, NEEDS_VIDEO = 1, NEEDS_NO_JOB = 2 };

struct CommandNeeds {
    std::uint16_t command;
    std::uint8_t needs;
};

// What isn't here needs nothing.
constexpr CommandNeeds NEEDS[] = {
    {COMMAND_PLAY_PAUSE, NEEDS_VIDEO},
    {COMMAND_SPLIT, NEEDS_VIDEO | NEEDS_NO_JOB},
    {COMMAND_BACK, NEEDS_VIDEO},
    {COMMAND_FORWARD, NEEDS_VIDEO},
    {COMMAND_VIDEO, NEEDS_VIDEO},
    {COMMAND_NEXT_FRAME, NEEDS_VIDEO | NEEDS_NO_JOB},
    {COMMAND_PREVIOUS_FRAME, NEEDS_VIDEO | NEEDS_NO_JOB},
    {COMMAND_START, NEEDS_VIDEO},
    {COMMAND_END, NEEDS_VIDEO},
    {COMMAND_AUTO_EXPOSURE, NEEDS_VIDEO | NEEDS_NO_JOB},
    {COMMAND_BRIGHTER, NEEDS_VIDEO},
    {COMMAND_DARKER, NEEDS_VIDEO},
    {COMMAND_RESET_EXPOSURE, NEEDS_VIDEO},
    {COMMAND_TOGGLE_EXPOSURE, NEEDS_VIDEO | NEEDS_NO_JOB},
    {COMMAND_ZOOM, NEEDS_VIDEO},
};

std::uint8_t needsOf(std::uint16_t command) {
    for (const CommandNeeds& row : NEEDS) {
        if (row.command == command) return row.needs;
    }
    return NEEDS_NOTHING;
}

constexpr std::uint8_t PLAIN = KEY_IS_VIRTUAL;
constexpr std::uint8_t CTRL = KEY_IS_VIRTUAL | KEY_WITH_CTRL;
constexpr std::uint8_t CTRL_SHIFT = CTRL | KEY_WITH_SHIFT;

// Virtual keys that aren't letters.
constexpr std::uint16_t ESCAPE = 0x1B, SPACE = 0x20, END = 0x23, HOME = 0x24, LEFT = 0x25,
                        UP = 0x26, RIGHT = 0x27, DOWN = 0x28, DELETE_KEY = 0x2E, F2 = 0x71,
                        F11 = 0x7A, COMMA = 0xBC, PERIOD = 0xBE, LEFT_BRACKET = 0xDB,
                        RIGHT_BRACKET = 0xDD;

constexpr std::array<AcceleratorKey, 25> KEYS = {{
    {CTRL, 'O', COMMAND_OPEN},
    {CTRL, 'S', COMMAND_SAVE},
    {CTRL_SHIFT, 'S', COMMAND_EXPORT},
    {CTRL, 'Z', COMMAND_UNDO},
    {CTRL, 'Y', COMMAND_REDO},
    {CTRL_SHIFT, 'Z', COMMAND_REDO},
    {PLAIN, SPACE, COMMAND_PLAY_PAUSE},
    {PLAIN, 'S', COMMAND_SPLIT},
    {PLAIN, DELETE_KEY, COMMAND_REMOVE},
    {PLAIN, LEFT, COMMAND_BACK},
    {PLAIN, RIGHT, COMMAND_FORWARD},
    {PLAIN, PERIOD, COMMAND_NEXT_FRAME},
    {PLAIN, COMMA, COMMAND_PREVIOUS_FRAME},
    {PLAIN, HOME, COMMAND_START},
    {PLAIN, END, COMMAND_END},
    {PLAIN, ESCAPE, COMMAND_ESCAPE},
    {PLAIN, F2, COMMAND_RENAME},
    {PLAIN, F11, COMMAND_FULLSCREEN},
    {PLAIN, 'F', COMMAND_FULLSCREEN},
    {PLAIN, 'M', COMMAND_MUTE},
    {PLAIN, UP, COMMAND_LOUDER},
    {PLAIN, DOWN, COMMAND_SOFTER},
    {PLAIN, RIGHT_BRACKET, COMMAND_BRIGHTER},
    {PLAIN, LEFT_BRACKET, COMMAND_DARKER},
    {PLAIN, 'Z', COMMAND_ZOOM},
}};

} // namespace

bool mayRun(std::uint16_t command, const CommandContext& context) {
    const std::uint8_t needs = needsOf(command);
    if ((needs & NEEDS_VIDEO) != 0 && !context.videoLoaded) return false;
    return (needs & NEEDS_NO_JOB) == 0 || !context.exportBusy;
}

const std::array<AcceleratorKey, 25>& acceleratorKeys() {
    return KEYS;
}

} // namespace velkantrix
