// file_path.h: the name of a file as the system takes it.
#pragma once

#include <filesystem>

namespace velkantrix {

// UTF-16 on Windows, bytes elsewhere. A plain string: std::filesystem::path itself, once used,
// brings conversions of text and all of the standard's locales into a program, more than half of
// its size.
using FilePath = std::filesystem::path::string_type;

} // namespace velkantrix
