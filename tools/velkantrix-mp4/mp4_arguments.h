// mp4_arguments.h: the command line of velkantrix-mp4.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_path.h"

namespace velkantrix {

// A word as the system hands it over: in the units that file names are made of, so that every file
// can be named.
using NativeText = FilePath;

struct Mp4Arguments {
    NativeText file;
    bool samples = false;
    bool claim = false;
    std::optional<double> keyframeSeconds;
    bool help = false;
    bool version = false;
};

// Reads the arguments after the program's own name. When they can't be meant, the result is absent
// and `problem` says why in one sentence (UTF-8). With --help or --version nothing else is
// required.
[[nodiscard]] std::optional<Mp4Arguments> parseMp4Arguments(const std::vector<NativeText>& words,
                                                            std::string& problem);

// "12" or "12.5", whatever the locale. Absent for anything else, and for what is too large to be
// finite.
[[nodiscard]] std::optional<double> parseSeconds(const NativeText& text);

// What a user typed, as UTF-8 in one line: control characters and halves of UTF-16 pairs are
// replaced.
[[nodiscard]] std::string shownText(std::string_view text);
[[nodiscard]] std::string shownText(std::u16string_view text);
[[nodiscard]] std::string shownText(std::wstring_view text);

// What --help prints.
[[nodiscard]] std::string mp4Usage();

} // namespace velkantrix
