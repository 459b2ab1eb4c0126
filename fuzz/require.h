// require.h: how a fuzzer says that it has found something.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace velkantrix {

// An empty text: nothing is wrong.
inline void require(const std::string& problem) {
    if (problem.empty()) return;
    std::fprintf(stderr, "%s\n", problem.c_str());
    std::abort();
}

} // namespace velkantrix
