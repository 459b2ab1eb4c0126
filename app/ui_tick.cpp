#include "app/ui_tick.h"

#include <cmath>

namespace velkantrix {
namespace {

constexpr std::uint64_t TRANSPORT_STAYS = 2501; // milliseconds without a move of the mouse
constexpr std::uint64_t LONGEST_WAIT = 4000;    // milliseconds for the first picture
constexpr std::uint64_t SHORTEST_WAIT = 120;
constexpr double HAS_MOVED = 0.04;       // seconds behind the place where playing began
constexpr double BEFORE_END = 0.02;      // seconds: the next clip has to be ready in time
constexpr double SAME_PLACE = 1e-6;      // seconds
constexpr double WORTH_PAINTING = 0.005; // seconds

// The first clip that isn't over yet at `time`; -1 behind the last.
std::int32_t clipNotOver(const ClipList& clips, double time) {
    for (std::size_t i = 0; i < clips.size(); ++i) {
        if (time < clips[i].end - BEFORE_END) return static_cast<std::int32_t>(i);
    }
    return -1;
}

} // namespace

TransportChange hideOrShowTransport(TransportHiding& state, ScreenPoint cursor, std::uint64_t now,
                                    bool visible, bool volumeDragged) {
    if (cursor != state.lastCursor) {
        state.lastCursor = cursor;
        state.movedAt = now;
        return visible ? TransportChange::None : TransportChange::Show;
    }
    const bool stays = !visible || volumeDragged || now - state.movedAt < TRANSPORT_STAYS;
    return stays ? TransportChange::None : TransportChange::Hide;
}

bool isTimeToReveal(const RevealInput& input) {
    if (input.presented || input.sinceOpen >= LONGEST_WAIT) return true;
    return input.playing && input.sinceOpen >= SHORTEST_WAIT &&
           input.time > input.resumedAt + HAS_MOVED;
}

PlayOn playOn(const ClipList& clips, double time) {
    if (clips.empty()) return {};
    const std::int32_t next = clipNotOver(clips, time);
    if (next < 0) return {.step = PlayOn::Step::Pause};
    const auto index = static_cast<std::size_t>(next);
    const double start = clips[index].start;
    if (time >= start - SAME_PLACE) return {.clip = next}; // the engine's times are whole ticks
    // Nothing was removed between the two: it plays on by itself, without a jump that is seen.
    if (index > 0 && start - clips[index - 1].end <= SAME_PLACE &&
        time >= clips[index - 1].end - BEFORE_END)
        return {.clip = next - 1};
    return {.step = PlayOn::Step::Jump, .clip = next, .time = start};
}

std::int32_t followedSelection(std::int32_t selected, std::int32_t playedBefore,
                               std::int32_t played) {
    const bool changed = played >= 0 && playedBefore >= 0 && played != playedBefore;
    return changed && selected == playedBefore ? played : selected;
}

TickChange noteTime(TickMemory& memory, double time, bool playing) {
    TickChange change;
    change.playingChanged = playing != memory.wasPlaying;
    change.anything = change.playingChanged || std::abs(time - memory.paintedTime) > WORTH_PAINTING;
    if (!change.anything) return change;
    memory.paintedTime = time;
    memory.wasPlaying = playing;
    return change;
}

bool notePeaks(TickMemory& memory, std::uint64_t version) {
    const bool changed = version != memory.peaksVersion;
    memory.peaksVersion = version;
    return changed;
}

std::optional<std::uint32_t> newTickPeriod(const TickNeeds& needs, std::uint32_t period) {
    const std::uint32_t wanted = needs.awaitsPicture || needs.playing ? PLAYING_TICK : IDLE_TICK;
    if (needs.jobRuns || wanted == period) return std::nullopt;
    return wanted;
}

} // namespace velkantrix
