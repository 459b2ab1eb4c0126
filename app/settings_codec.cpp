#include "app/settings_codec.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <utility>

#include "base/hash64.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t KEY_START = 0x14650FB0739D0383; // not FNV's own, on purpose

std::u16string decimal(std::uint64_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

std::uint64_t get(std::span<const std::uint8_t> bytes) {
    std::uint64_t number = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) number = number << 8 | bytes[i - 1];
    return number;
}

// The fields of a placement, 32 bits each, in their order.
enum PlacementField : std::size_t { LENGTH, FLAGS, SHOW, POINTS, LEFT = 7, TOP, RIGHT, BOTTOM };
constexpr std::size_t FIELD_BYTES = 4;
constexpr std::size_t LONGEST_PATH = 32'767;  // units of UTF-16
constexpr std::int64_t LONGEST_SIDE = 32'767; // of a window, in pixels
constexpr std::uint8_t SHOW_NORMAL = 1;
constexpr std::uint8_t SHOW_MAXIMISED = 3;

bool isLength(std::int64_t from, std::int64_t to) {
    return from < to && to - from <= LONGEST_SIDE;
}

} // namespace

std::wstring fileStateKeyOf(std::u16string_view lowerPath, const FileStamp& file) {
    const std::u16string text =
        std::u16string(lowerPath) + u"|" + decimal(file.size) + u"|" + decimal(file.time);
    Hash64 hash(KEY_START);
    for (const char16_t unit : text) hash.add(unit);
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llX",
                  static_cast<unsigned long long>(hash.value()));
    return {digits.begin(), digits.end() - 1};
}

std::optional<double> decodePlayhead(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != sizeof(double)) return std::nullopt;
    const auto seconds = std::bit_cast<double>(get(bytes));
    return std::isfinite(seconds) ? std::optional(seconds) : std::nullopt;
}

std::optional<PlacementBytes> decodePlacement(std::span<const std::uint8_t> bytes) {
    PlacementBytes placement{};
    if (bytes.size() != placement.size()) return std::nullopt;
    std::ranges::copy(bytes, placement.begin());
    const auto field = [&](PlacementField which) {
        return static_cast<std::int32_t>(get(bytes.subspan(which * FIELD_BYTES, FIELD_BYTES)));
    };
    if (field(LENGTH) != static_cast<std::int32_t>(placement.size())) return std::nullopt;
    if (!isLength(field(LEFT), field(RIGHT)) || !isLength(field(TOP), field(BOTTOM)))
        return std::nullopt;
    const bool maximised = field(SHOW) == SHOW_MAXIMISED;
    const auto fill = [&](PlacementField first, PlacementField behind, std::uint8_t byte) {
        std::fill(placement.begin() + first * FIELD_BYTES, placement.begin() + behind * FIELD_BYTES,
                  byte);
    };
    fill(FLAGS, POINTS, 0);
    placement[SHOW * FIELD_BYTES] = maximised ? SHOW_MAXIMISED : SHOW_NORMAL;
    fill(POINTS, LEFT, 0xFF); // -1: the system's own
    return placement;
}

std::uint32_t encodeVolume(double level) {
    return static_cast<std::uint32_t>(volumePercent(level));
}

double decodeVolume(std::uint32_t stored) {
    constexpr std::int32_t MOST = 100;
    const auto percent = static_cast<std::int32_t>(stored);
    return std::clamp(percent, 0, MOST) / static_cast<double>(MOST);
}

std::vector<std::uint8_t> encodeTexts(const std::vector<std::u16string>& texts) {
    std::vector<std::uint8_t> bytes;
    const auto add = [&](char16_t unit) {
        bytes.push_back(static_cast<std::uint8_t>(unit));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    };
    for (const std::u16string& text : texts) {
        for (const char16_t unit : text) add(unit);
        add(0);
    }
    add(0);
    return bytes;
}

std::vector<std::u16string> decodeTexts(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t UNIT = 2;
    std::vector<std::u16string> texts;
    std::u16string text;
    const auto take = [&] {
        if (text.size() <= LONGEST_PATH) texts.push_back(std::move(text));
        text.clear();
    };
    for (std::size_t at = 0; bytes.size() - at >= UNIT && texts.size() < MAX_RECENT_FILES;
         at += UNIT) {
        const auto unit = static_cast<char16_t>(get(bytes.subspan(at, UNIT)));
        if (unit != 0) {
            text.push_back(unit);
            continue;
        }
        if (text.empty()) return texts;
        take();
    }
    // Without a NUL at the end: the text is there all the same.
    if (!text.empty() && texts.size() < MAX_RECENT_FILES) take();
    return texts;
}

} // namespace velkantrix
