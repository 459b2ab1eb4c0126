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
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/file_stamp.h"
#include "base/track_count.h"
#include "edit/segment.h"
#include "export/export_request.h"

namespace velkantrix {

// An error by the system's number; 0 is none.
using SystemError = std::uint32_t;

// As the system documents them, of a replacement that stopped half-way: the original has lost its
// name, and it is gone, or stands by a name that nobody knows.
inline constexpr SystemError UNABLE_TO_MOVE_REPLACEMENT = 1176;
inline constexpr SystemError UNABLE_TO_MOVE_REPLACEMENT_2 = 1177;

struct StandingFile {
    FileStamp stamp;
    bool readOnly = false;
};

// What saves ask of the world, beside what JobHost and OpenHost do. None is empty.
struct SaveHost {
    // Questions and boxes. They let messages in.
    std::function<bool(const std::wstring& text)> confirmReplacing;  // a warning; No by default
    std::function<bool(const std::wstring& text)> confirmLoss;       // likewise
    std::function<bool(const std::wstring& text)> confirmNeedless;   // a question; likewise
    std::function<bool(const std::wstring& text)> confirmOptimising; // information; Yes by default
    std::function<void(const std::wstring& text)> showWarning;

    // The file that is meant by a name that is a link to it; else the path itself.
    std::function<std::wstring(const std::wstring& path)> pathBehindLink;
    std::function<std::optional<StandingFile>(const std::wstring& path)> lookAt; // none: no file
    std::function<std::optional<std::uint64_t>(const std::wstring& folder)> freeBytes;
    std::function<std::optional<TrackCount>()> countTracks; // of the open file; none: unknown
    std::function<std::wstring(SystemError error)> errorText;

    // One save at a time for each file, among all that run on this machine. False: another one has
    // it. What is claimed is released in the end, also by the process's.
    std::function<bool(const std::wstring& path)> claim;
    std::function<void()> release;
    // Whether another file could take the original's place, as far as can be told before.
    std::function<SystemError(const std::wstring& original)> askReplaceable;
    // Takes away what an earlier save has left by its temporary name. An error when what stands
    // there can't be that: a folder, a link, what somebody has open.
    std::function<SystemError(const std::wstring& temporary)> clearTemporary;

    // The swap.
    std::function<std::wstring(const std::wstring& path)> stateKey; // of what is remembered of it
    std::function<void(const std::wstring& key)> forgetState;
    std::function<void()> letGoOfFile; // the engine ends, and all else of ours that reads
    std::function<bool()> isFileHeld;  // some of that hasn't ended yet
    std::function<void(std::uint32_t milliseconds)> wait;
    // The original's place is taken by the temporary file, with its attributes and streams.
    std::function<SystemError(const std::wstring& original, const std::wstring& temporary)>
        replaceFile;
    // Likewise without those, also where no original is any more.
    std::function<SystemError(const std::wstring& temporary, const std::wstring& original)>
        moveOver;
};

SaveHost& saveHost();

// Into jobHost(): what jobs ask of saves.
void bindSaveInPlace();

// How many bytes a save needs beside the original, of `fileSize` bytes and `duration` seconds, of
// which `kept` are kept.
std::uint64_t bytesToSave(std::uint64_t fileSize, double kept, double duration);

// How many tracks the new file won't have: it has the first video and the first sound.
std::uint32_t tracksLeftOut(const TrackCount& tracks);

// Where the picture of the playhead stands in the new file: the edit counts from its own beginning.
// `written` has a span for each clip where those begin before the clips, or else nothing.
double playheadAfterSave(const ClipList& clips, double playhead,
                         const std::vector<WrittenSpan>& written);

// Whether the edit fits beside the original; if not, the message says so.
[[nodiscard]] bool hasRoomToSaveInPlace(std::wstring& message);

// File > Save.
void saveCommand();

// Asks whether the original is to be replaced, and begins the save: also when the original was
// chosen as the target of an export.
void confirmSaveInPlace();

// File > Optimise for editing: the whole file as it is, without the edit.
void optimiseCommand();

// Of the save whose job is complete: puts its file in the original's place, and opens that, unless
// the window is to close. When it can't, the error is the job's, and the edit goes on as it was.
[[nodiscard]] bool swapInSavedFile();

} // namespace velkantrix
