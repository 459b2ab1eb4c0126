// random_choices.h: seeded choices, the same on every machine: the standard's distributions differ
// between libraries, its generators don't.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <random>

namespace velkantrix {

class RandomChoices {
public:
    explicit RandomChoices(std::uint64_t seed) : generator_(seed) {}

    std::uint32_t below(std::uint32_t limit) {
        return static_cast<std::uint32_t>((generator_() >> 32) * limit >> 32);
    }
    std::uint32_t between(std::uint32_t least, std::uint32_t most) {
        return least + below(most - least + 1);
    }
    bool percent(std::uint32_t chance) { return below(100) < chance; }
    std::uint32_t oneOf(std::initializer_list<std::uint32_t> values) {
        return values.begin()[below(static_cast<std::uint32_t>(values.size()))];
    }

private:
    std::mt19937_64 generator_;
};

// How many rounds a property is tried for: with VELKANTRIX_LONG in the environment, many more.
inline std::uint64_t propertyRounds(std::uint64_t usual) {
    return std::getenv("VELKANTRIX_LONG") != nullptr ? usual * 20 : usual;
}

// The step through the cases of an exhaustive test. Natively, where sanitizers watch, all are
// tried; in the Windows build, where each opening of a file takes long, one in 17 unless
// VELKANTRIX_LONG is set.
inline std::size_t caseStep() {
#ifdef _WIN32
    return std::getenv("VELKANTRIX_LONG") != nullptr ? 1 : 17;
#else
    return 1;
#endif
}

} // namespace velkantrix
