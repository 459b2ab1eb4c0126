// source_choice.h: what whoever opens a file may ask of the program's own media source.
#pragma once

namespace velkantrix {

// While one of these exists, in any thread, no file is served without its sound: one that the
// program's own source would serve so is left to the system's. Exports must not lose sound because
// somebody switched it off for playing.
class AllStreamsWanted {
public:
    AllStreamsWanted();
    ~AllStreamsWanted();
    AllStreamsWanted(const AllStreamsWanted&) = delete;
    AllStreamsWanted& operator=(const AllStreamsWanted&) = delete;
};

[[nodiscard]] bool allStreamsAreWanted();

} // namespace velkantrix
