// describe_file.h: what velkantrix-mp4 prints of a file.
#pragma once

#include <string>

#include "mp4/input_file.h"
#include "tools/velkantrix-mp4/json_writer.h"
#include "tools/velkantrix-mp4/mp4_arguments.h"

namespace velkantrix {

// Writes one JSON object, complete in every case. Empty, or the first reason in one sentence why
// not all of the file could be read. `file` is the arguments' file, open. Holds a file's tables,
// one fragment and one sample, however many there are. Throws std::bad_alloc.
[[nodiscard]] std::string describeFile(const Mp4Arguments& arguments, const InputFile& file,
                                       JsonWriter& json);

} // namespace velkantrix
