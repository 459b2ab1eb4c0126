#include "platform/source_choice.h"

#include <atomic>

namespace velkantrix {
namespace {

std::atomic<int> wanting{0};

} // namespace

AllStreamsWanted::AllStreamsWanted() {
    ++wanting;
}

AllStreamsWanted::~AllStreamsWanted() {
    --wanting;
}

bool allStreamsAreWanted() {
    return wanting > 0;
}

} // namespace velkantrix
