// mp4_tool.h: velkantrix-mp4 but for its surroundings, which differ between systems.
#pragma once

#include <vector>

#include "tools/velkantrix-mp4/json_writer.h"
#include "tools/velkantrix-mp4/mp4_arguments.h"

namespace velkantrix {

// Runs the program on the arguments after its own name, and returns its exit code. Both sinks get
// UTF-8 with \n at the end of lines.
int runMp4Tool(const std::vector<NativeText>& words, const TextSink& out, const TextSink& error);

} // namespace velkantrix
