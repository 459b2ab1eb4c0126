// settings_codec.h: what the program remembers from run to run, as the bytes that are stored. Any
// bytes may come back: what isn't as it was stored counts as not stored.
//
// Numbers are little-endian. Free of any thread: these only calculate.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/recent_files.h"
#include "app/volume.h"
#include "base/file_stamp.h"

namespace velkantrix {

// What is stored for a file goes by this key of 16 hexadecimal digits: over the path, the size in
// bytes and the time of the last change (100 ns since 1601), so that a file that was changed or
// replaced is another one. `lowerPath` is the full path in UTF-16, lowered by the caller; each of
// its units counts once, whatever the size of wchar_t.
std::wstring fileStateKeyOf(std::u16string_view lowerPath, const FileStamp& file);

// Seconds, as an IEEE 754 double of 8 bytes. Not-a-number and infinities are none.
std::optional<double> decodePlayhead(std::span<const std::uint8_t> bytes);

// Where a window stands, as the system's WINDOWPLACEMENT: its rectangle, and whether it was
// maximised; all else is as usual. One that was minimised, or hidden in any other way, comes back
// as a normal one. None where the length isn't 44, and for a rectangle
// without a pixel or larger than any window.
using PlacementBytes = std::array<std::uint8_t, 44>;
std::optional<PlacementBytes> decodePlacement(std::span<const std::uint8_t> bytes);

// In percent. What is stored may be anything, and is taken as a signed number.
std::uint32_t encodeVolume(double level);
double decodeVolume(std::uint32_t stored);

// Texts one after the other, each with a NUL behind it, and one more at the end. Reading stops at
// the first empty text, behind the tenth, and at the end of the bytes; what is longer than any path
// is passed over.
std::vector<std::uint8_t> encodeTexts(const std::vector<std::u16string>& texts);
std::vector<std::u16string> decodeTexts(std::span<const std::uint8_t> bytes);

} // namespace velkantrix
