// Whatever bytes are stored: what is read from them can be stored and read again.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "app/settings_codec.h"
#include "fuzz/require.h"

namespace velkantrix {
namespace {

std::string problemOfSettings(std::span<const std::uint8_t> bytes) {
    if (const auto seconds = decodePlayhead(bytes); seconds && !std::isfinite(*seconds))
        return "a playhead that is no number";

    const auto placement = decodePlacement(bytes);
    if (placement && decodePlacement(*placement) != placement)
        return "a placement that isn't the same when read again";

    const std::vector<std::u16string> texts = decodeTexts(bytes);
    if (texts.size() > MAX_RECENT_FILES) return "too many texts";
    if (std::ranges::any_of(texts, [](const auto& text) { return text.empty(); }))
        return "an empty text";
    if (decodeTexts(encodeTexts(texts)) != texts) return "texts that don't come back";

    std::uint32_t stored = 0;
    std::memcpy(&stored, bytes.data(), std::min(bytes.size(), sizeof stored));
    const double volume = decodeVolume(stored);
    if (!(volume >= 0 && volume <= 1)) return "a volume out of its range";
    if (decodeVolume(encodeVolume(volume)) != volume) return "a volume that doesn't come back";

    std::u16string path(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(path.data(), bytes.data(), path.size() * sizeof(char16_t));
    if (fileStateKeyOf(path, {}).size() != 16) return "a key of another length";
    return {};
}

} // namespace
} // namespace velkantrix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr std::uint8_t NOTHING = 0; // memcpy may not be given a null pointer
    velkantrix::require(velkantrix::problemOfSettings({size > 0 ? data : &NOTHING, size}));
    return 0;
}
