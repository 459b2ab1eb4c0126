// video_claim.h: how far a file's video and its sound go by what the file itself says.
#pragma once

#include <optional>
#include <vector>

namespace velkantrix {

// Of a plain file's sound: at `from` each of its tracks has begun, and up to `to` each goes. Of a
// fragmented file's first sound: where its first and its last fragment begin, as far as they say;
// it counts from the file's first. In seconds.
struct SoundClaim {
    double from = 0;
    double to = 0;
    double delay = 0; // of fragments, by which some readers count later
};

// In seconds of presentation; never later than what is said, where that leaves a choice. What can't
// be told is absent.
struct VideoClaim {
    std::vector<double> keyframes; // ascending: each names a picture
    double delay = 0;              // of those, by which some readers count later
    // Where the last picture of the last fragment with some begins, as far as fragments say; those
    // of a table of keyframes aren't looked at. Of a fragmented file times count from its first.
    std::optional<double> fragment;
    std::optional<double> length;    // that a plain track claims as a whole, which may be wrong
    std::optional<SoundClaim> sound; // which may be wrong too
    std::optional<double> file;      // that a plain file claims for all of it; likewise
    bool fragmented = false;
};

} // namespace velkantrix
