// open_flow.h: how a file becomes the edit: what is asked first, what is put away, and what happens
// when the engine has the video, or hasn't. UI thread.
//
//     nothing --openVideo--> opening --engineReady--> one clip over all of it, and it plays
//                                    --engineFailed-> empty; the user is told once
//
// Whatever shows a box lets other messages in: what was true before it is looked at again after it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/file_stamp.h"

namespace velkantrix {

enum class OpenPhase {
    None,      // nothing is awaited from the engine
    Opening,   // it is to say whether it can play the new file
    Reopening, // likewise, for the same file after the graphics device was lost: the edit stays
};

struct VideoSize {
    std::int32_t width = 0; // pixels
    std::int32_t height = 0;
    bool operator==(const VideoSize&) const = default;
};

struct OpenState {
    OpenPhase phase = OpenPhase::None;
    std::wstring path;          // of the file that is open, or was asked for last; absolute
    std::wstring displayName;   // its last part
    std::uint64_t fileSize = 0; // bytes; 0 when the file couldn't be examined
    FileStamp stamp;            // of the file as it was then
    bool slowToSeek = false;
    VideoSize videoSize;
    double resumedAt = 0; // seconds; where playing began, 0 without a stored place
    bool playAfterReopen = false;
    // Said when the file is open, in the place of where it plays; empty as a rule.
    std::wstring statusWhenOpen;

    bool operator==(const OpenState&) const = default;
};

struct ExaminedFile {
    std::uint64_t size = 0; // bytes
    bool slowToSeek = false;
    FileStamp stamp = {};
};

struct EngineOpening {
    bool begun = false;        // the engine will say later how it went
    bool failurePosted = true; // a failure at once comes as a message too, so it needs no box here
};

// What opening needs of the world, filled by the application, in tests by a recorder. None is
// empty.
struct OpenHost {
    std::function<std::wstring()> chooseFile; // empty when nothing was chosen
    std::function<void()> beep;
    std::function<bool()> startMedia;                      // false: it has told the user why
    std::function<bool(const std::wstring& text)> confirm; // Yes, of a question with No as default
    std::function<void(const std::wstring& text)> showError;
    std::function<void(const std::wstring& text)> showWarning;

    std::function<std::wstring(const std::wstring& path)> absolutePath;
    std::function<bool(const std::wstring& path)> isFile; // it is there, and no folder
    std::function<ExaminedFile(const std::wstring& path)> examineFile;

    std::function<void()> storeFileState; // playhead, geometry and zoom of the open file
    std::function<std::optional<double>()> storedPlayhead;
    std::function<void()> restoreZoom;
    std::function<bool()> restoreGeometry; // false: there is none
    std::function<void()> addRecent;       // to the program's list and to the shell's
    std::function<std::optional<std::wstring>(std::size_t index)> recentFile;
    std::function<void(const std::wstring& path)> removeRecent;

    std::function<void()> dropGestures; // a drag, a scrub, what the mouse is over
    std::function<void()> stopPeaks;    // the analysis of the sound
    std::function<void()> resetExposure;
    std::function<void()> hideVideo;
    std::function<void()> repaint;

    std::function<EngineOpening(const std::wstring& path)> openEngine;
    std::function<void()> closeEngine;
    std::function<double()> engineDuration; // seconds
    std::function<VideoSize()> engineVideoSize;
    std::function<void()> play;
    std::function<void()> applyVolume;

    std::function<void()> leaveFullscreen;
    std::function<void()> sizeWindowToVideo; // not when it is maximised or fullscreen
    std::function<void(const std::wstring& title)> setTitle;
    std::function<void()> layOut;
    std::function<void()> beginReveal; // the first picture is awaited; the tick becomes quick
};

OpenState& openState();
OpenHost& openHost();

// File > Open video. Nothing is asked while a job runs.
void openVideoCommand();

// File > Open recent. A file that is gone is reported and leaves the list.
void openRecent(std::size_t index);

// Opens the file, unless a job runs or the user would rather keep what is unsaved. What is open is
// put away before the engine is asked.
void openVideo(const std::wstring& path);

// The engine's answers. Without an opening under way they belong to an earlier file and count for
// nothing.
void engineReady();
void engineFailed();

// The graphics device is gone, and the engine with it: the same file is opened again at the
// playhead, with the edit as it is.
void reopenAfterDeviceLoss(bool wasPlaying);

// What the user has just read goes on being said when the file that is opening is open. Nothing
// when none is.
void keepStatusWhenOpen(const std::wstring& text);

// Opens the open file again, its engine being gone, at the playhead and with the edit as it is.
void reopenWithEdit(bool play);

} // namespace velkantrix
