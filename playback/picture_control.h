// picture_control.h: who owns the picture on screen, and what play, pause, seek and scrub do about
// it.
//
// The picture has exactly one owner. The engine shows what it plays. While the user drags the
// playhead, previews are shown. After a seek nobody is: the last picture is frozen until the engine
// has the frame that was asked for, so that no picture between is ever seen. Each change of the
// owner, and each new seek, has a new generation; what was prepared for an older one is dropped.
//
// The functions here are the UI thread's. picture_events.h has those of the engine's thread,
// presenter_step.h those of the presenter thread. Seconds are those of the source; ticks are 100
// ns.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "base/mutex.h"
#include "base/ticks.h"
#include "playback/open_rules.h"
#include "playback/scrub_request.h"

namespace velkantrix {

enum class PictureOwner : std::int32_t { Engine = 0, Preview = 1, Frozen = 2 };

// 2 was never in use.
enum class PlaybackState : std::int32_t { Closed = 0, Opening = 1, Paused = 3, Playing = 4 };

inline constexpr Ticks NO_TICKS = -1;
inline constexpr double SMALLEST_DIM_STEP = 1.0 / 512; // less than one step of a colour

// What is asked of the engine. Each call returns at once: the engine answers by events, on a thread
// of its own and never within the call.
struct EngineCalls {
    std::function<void()> play;
    std::function<void()> pause;
    std::function<void(double seconds)> setCurrentTime;
    std::function<double()> currentTime;
};

struct PictureControl {
    // Taken in this order. The control lock makes one thing of each play, pause, seek and scrub, of
    // the engine's beginning to play, and of the landing of a seek.
    Mutex controlLock ACQUIRED_BEFORE(deviceLock);
    Mutex deviceLock ACQUIRED_BEFORE(previewBufferLock); // every call of Direct3D
    Mutex previewBufferLock ACQUIRED_BEFORE(scrub.lock); // the pixels of BGRA previews
    ScrubRequest scrub;

    bool engineExists GUARDED_BY(controlLock) = false;
    EngineCalls engine GUARDED_BY(controlLock); // empty without an engine

    // Changed under deviceLock only: that is what makes the presenter's second look at them, under
    // the same lock, sufficient.
    std::atomic<PictureOwner> owner{PictureOwner::Engine};
    std::atomic<std::uint64_t> generation{0};

    // Changed under controlLock, but for the ends of opening: see failOpening and metadataArrived.
    std::atomic<PlaybackState> state{PlaybackState::Closed};

    std::atomic<Ticks> seekTarget{NO_TICKS};    // what the frozen picture waits for
    std::atomic<Ticks> settledPts{NO_TICKS};    // the frame at which the last seek landed
    std::atomic<Ticks> lastEnginePts{NO_TICKS}; // the engine's frame that was presented last
    std::atomic<bool> waitPlay{false};          // the target is told again once the engine plays
    std::atomic<bool> resumeAfterSeek{false};   // playing goes on when the seek, or the scrub, ends

    std::atomic<bool> engineReady{false};     // the metadata is there; before, nothing is presented
    std::atomic<bool> redrawRequested{false}; // the picture on screen is to be drawn again
    std::atomic<bool> enginePresented{false}; // a frame of the engine has been on screen
    std::atomic<std::uint32_t> enginePresentCount{0};
    std::atomic<std::uint32_t> previewPresentCount{0};
    std::atomic<double> exposure{0}; // stops of base 3; 0 is off
    std::atomic<double> dim{1};      // 0 is black, 1 the full picture

    double duration = 0; // seconds, as the next; 0 when unknown; the UI thread's

    // Constant while an engine exists.
    double videoStart = 0; // where the first frame begins
    double videoEnd = 0;   // where the last frame ends, which may be a little before the duration
    double fps = DEFAULT_FPS;

    double lastScrubRequestTime = 0; // the UI thread's: what was last passed on to the decoders
};

// Back to what a controller is before a file: all but the locks and the picture's settings that
// outlive a file. Only while no thread but the caller's uses the record.
void resetPicture(PictureControl& c) EXCLUDES(c.controlLock, c.deviceLock);

void attachEngine(PictureControl& c, EngineCalls calls) EXCLUDES(c.controlLock);

// Once it returns no call of the engine runs any more, nor will one begin.
void detachEngine(PictureControl& c) EXCLUDES(c.controlLock);

// True for the one caller that ends the opening: it alone tells the window that opening failed.
[[nodiscard]] bool failOpening(PictureControl& c);

// play, pause, seek and the scrubs do nothing before the file is ready, and nothing after it
// failed. Within a scrub playPicture is remembered until the scrub ends: an engine that played
// behind the previews would be somewhere else than they are, and play on unseen.
void playPicture(PictureControl& c) EXCLUDES(c.controlLock, c.deviceLock);
void pausePicture(PictureControl& c) EXCLUDES(c.controlLock);

// Within a scrub it only asks for a preview, and that only half a frame or more away from the last.
// No number is no time: nothing happens.
void seekPicture(PictureControl& c, double seconds) EXCLUDES(c.controlLock, c.deviceLock);

// Whether it was playing, or would have been once a seek had landed: endScrub wants to know.
bool beginScrub(PictureControl& c) EXCLUDES(c.controlLock, c.deviceLock);
void endScrub(PictureControl& c, double seconds, bool resume) EXCLUDES(c.controlLock, c.deviceLock);

// The engine plays, or will once a seek has landed or the scrub ends.
[[nodiscard]] bool isOrWillBePlaying(const PictureControl& c);

// For the window, when it is told that the end was reached: the engine isn't paused by that, and
// would play on after the next seek. Not when it is to play again by now.
void pauseAfterEnd(PictureControl& c) EXCLUDES(c.controlLock);

// A scrub is under way, or a seek has not landed yet: the engine's time isn't that of the picture.
[[nodiscard]] bool isSeeking(const PictureControl& c);

// Where the engine is; 0 without one.
[[nodiscard]] double engineTime(PictureControl& c) EXCLUDES(c.controlLock);

void setExposure(PictureControl& c, double stops);

// Kept within 0 to 1. A change too small to be seen draws nothing.
void setDim(PictureControl& c, double dim);

} // namespace velkantrix
