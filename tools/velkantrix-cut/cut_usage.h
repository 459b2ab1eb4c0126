// cut_usage.h: what velkantrix-cut --help prints.
#pragma once

#include <string>

namespace velkantrix {

[[nodiscard]] std::wstring cutUsage();

} // namespace velkantrix
