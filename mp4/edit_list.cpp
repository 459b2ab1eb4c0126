#include "mp4/edit_list.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace velkantrix {
namespace {

constexpr std::int64_t MOST = std::int64_t{1} << 61;

// duration * to / from, rounded to nearest, at most MOST.
std::int64_t rescaled(std::uint64_t duration, std::uint32_t from, std::uint32_t to) {
    if (from == 0 || to == 0) return 0;
    if (duration / from >= static_cast<std::uint64_t>(MOST) / to) return MOST;
    const std::uint64_t whole = duration / from * to;                    // at most MOST - to
    const std::uint64_t rest = (duration % from * to + from / 2) / from; // at most to
    return static_cast<std::int64_t>(whole + rest);
}

struct Edit {
    std::uint64_t duration = 0; // of the movie's ticks
    std::int64_t mediaTime = 0; // -1: empty
};

class EditWalk {
public:
    explicit EditWalk(ByteView elst) : elst_(elst), left_(elst.u32(4)) {}

    // The next one; none behind the last, or where the list breaks off, with edits left then.
    std::optional<Edit> next() {
        const bool wide = elst_.u8(0) == 1;
        const std::size_t fieldBytes = wide ? 8 : 4;
        const std::size_t entryBytes = 2 * fieldBytes + 4;
        if (left_ == 0 || !elst_.holds(position_, entryBytes)) return std::nullopt;
        const Edit edit{
            .duration = elst_.unsignedField(position_, fieldBytes),
            .mediaTime = wide ? static_cast<std::int64_t>(elst_.u64(position_ + 8))
                              : std::int64_t{static_cast<std::int32_t>(elst_.u32(position_ + 4))}};
        position_ += entryBytes;
        left_--;
        return edit;
    }

    [[nodiscard]] bool brokenOff() const { return left_ > 0; }

private:
    const ByteView elst_;
    std::uint32_t left_;
    std::size_t position_ = 8;
};

} // namespace

std::int64_t editListOffset(ByteView elst, std::uint32_t movieTimescale,
                            std::uint32_t trackTimescale) {
    EditWalk walk(elst);
    std::uint64_t empty = 0;
    while (const auto edit = walk.next()) {
        if (edit->mediaTime != -1) {
            return rescaled(empty, movieTimescale, trackTimescale) -
                   std::clamp(edit->mediaTime, -MOST, MOST);
        }
        empty += std::min(edit->duration, UINT64_MAX - empty);
    }
    return rescaled(empty, movieTimescale, trackTimescale);
}

std::uint64_t presentedTicks(ByteView elst, std::uint32_t movieTimescale,
                             std::uint32_t trackTimescale, std::uint64_t mediaTicks) {
    if (elst.u32(4) == 0) return mediaTicks;
    EditWalk walk(elst);
    std::uint64_t sum = 0;
    while (const auto edit = walk.next()) {
        if (edit->mediaTime < 0) continue;
        std::uint64_t ticks =
            mediaTicks - std::min(mediaTicks, static_cast<std::uint64_t>(edit->mediaTime));
        if (edit->duration > 0) {
            const std::int64_t asked = rescaled(edit->duration, movieTimescale, trackTimescale);
            ticks = std::min(ticks, static_cast<std::uint64_t>(asked));
        }
        sum += std::min(ticks, UINT64_MAX - sum);
    }
    return walk.brokenOff() ? 0 : sum;
}

} // namespace velkantrix
