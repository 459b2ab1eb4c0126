// save_in_place.h: the commands that replace the open file itself: by its edit, or by itself with a
// new index. UI thread.
//
//     question --Yes--> a job writes the whole new file beside the original, by a temporary name
//         --it failed, or was cancelled--> the temporary file goes
//         --it is complete--> all of ours lets go of the original, the new file takes its name,
//                             and it is opened
//
// At every moment the original or the complete new file stands, by its own name or by one that the
// user is told: the temporary file is deleted only while the original is there as it was opened.
// save_swap.h has the end of it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/file_look.h"
#include "base/track_count.h"

namespace velkantrix {

// An error by the system's number; 0 is none.
using SystemError = std::uint32_t;

// Whether a save has a file for itself, among all that run on this machine.
struct Claim {
    enum class Outcome { Held, Taken, Failed };
    Outcome outcome = Outcome::Failed;
    SystemError error = 0; // for which it failed
};

struct TracksOfSource {
    std::optional<TrackCount> inFile;  // by its own boxes; absent where it has none
    std::optional<TrackCount> offered; // to exports; absent when it isn't known
};

// What saves ask of the world, beside what JobHost and OpenHost do. None is empty.
struct SaveHost {
    // Questions and boxes. They let messages in.
    std::function<bool(const std::wstring& text)> confirmWarning;     // No by default
    std::function<bool(const std::wstring& text)> confirmDoubt;       // with a question mark; No
    std::function<bool(const std::wstring& text)> confirmInformation; // Yes by default
    std::function<void(const std::wstring& text)> showWarning;

    // The file that is meant by a name that is a link to it; else the path itself. None for a link
    // that can't be followed.
    std::function<std::optional<std::wstring>(const std::wstring& path)> pathBehindLink;
    std::function<FileLook(const std::wstring& path)> lookAt;
    std::function<std::optional<std::uint64_t>(const std::wstring& folder)> freeBytes;
    std::function<TracksOfSource()> countTracks; // of the open file
    std::function<std::wstring(SystemError error)> errorText;

    // What is claimed is released in the end, also by the process's.
    std::function<Claim(const std::wstring& path)> claim;
    std::function<void()> release;
    // Whether a file by a name that is longer by `more` can be written beside the original, and
    // could take its place, as far as can be told before.
    std::function<SystemError(const std::wstring& original, std::size_t more)> askMayReplace;
    // Takes away what an earlier save has left by its temporary name. An error when what stands
    // there can't be that: a folder, a link, what somebody has open.
    std::function<SystemError(const std::wstring& temporary)> clearTemporary;

    // The swap.
    std::function<std::wstring(const std::wstring& path)> stateKey; // of what is remembered of it
    std::function<void(const std::wstring& key)> forgetState;
    std::function<void()> letGoOfFile; // the engine ends, and all else of ours that reads
    std::function<bool()> isFileHeld;  // some of that hasn't ended yet
    std::function<void(std::uint32_t milliseconds)> wait;
    // Tells a file from every other one. Empty when there is none, or it can't be told.
    std::function<std::wstring(const std::wstring& path)> markOf;
    // The original's place is taken by the temporary file, with its attributes and streams.
    std::function<SystemError(const std::wstring& original, const std::wstring& temporary)>
        replaceOriginal;
    // Likewise without those.
    std::function<SystemError(const std::wstring& temporary, const std::wstring& original)>
        moveOver;
    // Likewise, only where nothing stands any more.
    std::function<SystemError(const std::wstring& temporary, const std::wstring& original)>
        moveToFreeName;
};

SaveHost& saveHost();

// Into jobHost(): what jobs ask of saves.
void bindSaveInPlace();

// How many bytes a save needs beside the original, of `fileSize` bytes and `duration` seconds, of
// which `kept` are kept.
std::uint64_t bytesToSave(std::uint64_t fileSize, double kept, double duration);

// How many tracks the new file won't have: it has the first video and the first sound that exports
// are offered. None when that can't be told.
std::uint32_t tracksLeftOut(const TracksOfSource& tracks);

// A file of that name is opened as what a save writes.
bool hasMp4Name(const std::wstring& path);

// Whether the edit fits beside the original; if not, the message says so.
[[nodiscard]] bool hasRoomToSaveInPlace(std::wstring& message);

// File > Save.
void saveCommand();

// Asks whether the original is to be replaced, and begins the save: also when the original was
// chosen as the target of an export.
void confirmSaveInPlace();

// File > Optimise for editing: the whole file as it is, without the edit.
void optimiseCommand();

} // namespace velkantrix
