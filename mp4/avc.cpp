#include "mp4/avc.h"

#include <array>
#include <utility>

#include "mp4/byte_buffer.h"

namespace velkantrix {
namespace {

constexpr std::array<std::uint8_t, 4> START_CODE{0, 0, 0, 1};

void appendUnit(ByteView unit, std::vector<std::uint8_t>& output) {
    output.insert(output.end(), START_CODE.begin(), START_CODE.end());
    output.insert(output.end(), unit.begin(), unit.end());
}

// Calls visitor(ByteView) for each NAL unit of a sample.
template <class Visitor>
void walkUnits(ByteView sample, std::uint32_t nalLengthSize, Visitor&& visitor) {
    std::size_t position = 0;
    while (sample.holds(position, nalLengthSize)) {
        const auto length = static_cast<std::size_t>(sample.unsignedField(position, nalLengthSize));
        position += nalLengthSize;
        if (length == 0 || !sample.holds(position, length)) return;
        visitor(sample.part(position, length));
        position += length;
    }
}

// Appends `count` parameter sets from `position` on and moves it behind them. A length that isn't
// wholly there ends the list; a set that isn't is an error.
bool takeParameterSets(ByteView config, std::size_t& position, unsigned count,
                       std::vector<std::uint8_t>& output) {
    for (; count > 0 && config.holds(position, 2); --count) {
        const std::size_t length = config.u16(position);
        position += 2;
        if (!config.holds(position, length)) return false;
        appendUnit(config.part(position, length), output);
        position += length;
    }
    return true;
}

} // namespace

bool AvcConfigToAnnexB(ByteView avcConfig, std::vector<std::uint8_t>& output,
                       std::uint32_t& nalLengthSize) {
    if (avcConfig.size() < 7) return false;
    std::vector<std::uint8_t> sets;
    std::size_t position = 6;
    if (!takeParameterSets(avcConfig, position, avcConfig.u8(5) & 31u, sets)) return false;
    if (!avcConfig.holds(position, 1)) return false;
    const unsigned pictureSets = avcConfig.u8(position++);
    if (!takeParameterSets(avcConfig, position, pictureSets, sets)) return false;
    if (sets.empty()) return false;
    output = std::move(sets);
    nalLengthSize = (avcConfig.u8(4) & 3u) + 1;
    return true;
}

void convertToAnnexB(ByteView sample, std::uint32_t nalLengthSize, ByteView inFront,
                     std::vector<std::uint8_t>& output) {
    std::size_t bytes = inFront.size();
    walkUnits(sample, nalLengthSize,
              [&](ByteView unit) { bytes += START_CODE.size() + unit.size(); });
    emptyWithRoomFor(bytes, output);
    output.insert(output.end(), inFront.begin(), inFront.end());
    walkUnits(sample, nalLengthSize, [&](ByteView unit) { appendUnit(unit, output); });
}

} // namespace velkantrix
