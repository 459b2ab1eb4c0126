// edit_state.h: the one edit of the process, and what it asks of the world around it.
//
// Everything here belongs to the UI thread. Export workers get a copy of the clip list and never
// look at the state. Times are double seconds of the source unless a name says "edited". Nothing
// fails: what makes no sense (an index without a clip, a time that is no number) changes nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "edit/segment.h"

namespace velkantrix {

// Lengths in seconds.
inline constexpr double MIN_SPLIT_MARGIN = 0.04; // each piece of a split is longer than this
inline constexpr double MIN_CLIP_LENGTH = 0.1;   // no trim or roll cut makes a clip shorter
inline constexpr double MIN_FADE = 0.05;         // a shorter fade is stored as none
inline constexpr double CHANGE_THRESHOLD = 1e-6; // a move this small is no change
inline constexpr double KEY_NUDGE = 5.0;         // one press of an arrow key

inline constexpr std::size_t MAX_HISTORY = 50;

// The whole edit at one moment. A full copy of the list on purpose: undo can't drift from what it
// restores.
struct HistoryEntry {
    ClipList clips;
    std::int32_t selectedClip = -1;
    double playhead = 0;
    const wchar_t* label = L""; // static text, names the operation that followed

    bool operator==(const HistoryEntry&) const = default;
};

struct EditState {
    ClipList clips;
    std::int32_t selectedClip = -1;      // or -1 for none
    double playhead = 0;                 // always within [0, duration]
    double duration = 0;                 // of the source, as the engine measured it
    bool videoLoaded = false;            // a video is open and has its clip list
    bool exportBusy = false;             // a job runs: every edit is refused
    bool edited = false;                 // since the video was opened or last exported
    double exportedExposure = 0;         // stops, of that last export; 0 before there is one
    std::vector<HistoryEntry> undoStack; // top at the back
    std::vector<HistoryEntry> redoStack;
    std::int32_t rollCutIndex = -1; // the cut that drags and key nudges move, -1 for none
    bool gestureRecorded = false;   // the running gesture already has its history entry
    std::wstring statusText;        // the one line that the user reads

    bool operator==(const EditState&) const = default;
};

// The world outside, filled by the application and in tests by a recorder. Each callback may be
// empty: then there is no engine, no room, no field, or nobody to tell.
struct EditHost {
    std::function<bool()> engineExists;
    std::function<void(double seconds)> seekEngine; // called only while the engine exists
    std::function<void(double gain)> setDim;        // likewise; 0 is black, 1 the full picture
    std::function<double()> frameRate;              // frames per second, 0 when unknown
    std::function<bool()> isPlaying;                // or will, once a seek has landed
    std::function<void()> pause;
    std::function<void()> repaint;   // asks for a paint of the main window, later
    std::function<void()> refreshUi; // brings controls up to date, and repaints
    std::function<bool()> isFullscreen;

    // The text field over a clip's label. Opening says whether the field is there.
    std::function<bool(std::int32_t clip)> labelHasRoom;
    std::function<bool(std::int32_t clip, const std::wstring& text)> openRenameField;
    std::function<std::wstring()> readRenameField;
    std::function<void()> destroyRenameField;
    std::function<void()> focusMainWindow;
};

EditState& editState();
EditHost& editHost();

// For the opening of a video: no clips, no history, playhead 0, nothing edited, no video loaded.
// A rename field belongs to the window: the caller closes it before, by commitRename(false).
void emptyEdit();

// When the engine has the video ready: one selected clip over all of it. A duration that can't be
// one (negative, infinite, no number) counts as 0; the one clip is then empty.
void startEdit(double duration);

// Whether saving would change anything. A single clip that misses less than 1 ms of the start and
// less than 50 ms of the end is the whole video.
bool hasEdits();
bool hasEdits(const ClipList& clips, double duration);

// Ends a drag or a row of key nudges: the next change gets its own history entry.
void endGesture();

// Of the open video; 1/30 s when its rate is unknown or not above 1.
double frameDuration();

// Moves engine and playhead to `seconds`, kept within the video. Nothing without engine or video,
// or for no number. All that seeks goes through here.
void seekTo(double seconds);

// Makes the fades of each clip fit its length again, the fade-in first: after shortening to 0.3 s,
// fades 0.5 / 0.5 become 0.3 / none.
void normalizeFades();
void normalizeFades(ClipList& clips);

void repaint();
void refreshUi();

} // namespace velkantrix
