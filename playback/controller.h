// controller.h: puts the opened video on screen, with its sound. There is one for each main window;
// opening a video sets it up anew.
//
// All operations are the UI thread's. What happens to the picture is decided in picture_control.h;
// here are the engine, the device and the threads that it is decided for:
//
//     controller_ui.cpp       the UI thread: play, pause, seek, ...
//     controller_open.cpp     the UI thread: opening and closing
//     controller_scrub.cpp    the UI thread starts and ends the scrub decoders; their deliveries
//     controller_events.cpp   the engine's thread: its events
//     presenter_thread.cpp    the presenter thread: what is drawn
#pragma once

#include <windows.h>

#include <mfmediaengine.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/com_ptr.h"
#include "base/mutex.h"
#include "base/track_count.h"
#include "playback/end_scan.h"
#include "playback/engine_notify.h"
#include "playback/picture_control.h"
#include "playback/presenter.h"
#include "playback/scrub_host.h"

namespace velkantrix {

class PlaybackController {
public:
    PlaybackController() = default;
    ~PlaybackController();
    PlaybackController(const PlaybackController&) = delete;
    PlaybackController& operator=(const PlaybackController&) = delete;

    // Closes what is open and opens the file. The picture is drawn into `renderWindow`;
    // `notifyWindow`, which may be none, is posted WM_PLAYBACK_NOTIFY: exactly one READY or FAILED
    // follows, unless the controller is closed before. Waits for the file's header and up to 1.5 s
    // for where its video ends, which isn't looked for where that would take a walk through all of
    // a large file (`largeFragmented`: IsLargeFragmentedFile).
    [[nodiscard]] HRESULT open(const wchar_t* path, bool largeFragmented, HWND renderWindow,
                               HWND notifyWindow);

    // Whether the last open has posted its failure.
    [[nodiscard]] bool failurePosted() const { return failurePosted_; }

    // Ends all threads and lets go of the file and the device.
    void close();

    // While the file isn't ready, these do nothing.
    void play();
    void pause();
    void pauseAfterEnd();
    void seek(double seconds);
    bool beginScrub(); // whether it was playing: for endScrub
    void endScrub(double seconds, bool resume);

    [[nodiscard]] double currentTime();   // seconds; 0 without an engine
    [[nodiscard]] bool isSeeking() const; // currentTime isn't that of the picture
    [[nodiscard]] bool isOrWillBePlaying() const;
    [[nodiscard]] bool videoSize(std::int32_t& width, std::int32_t& height);
    void requestRedraw();

    // Kept from file to file.
    void setVolume(double volume); // kept within 0 to 1
    void setMuted(bool muted);

    void setExposure(double stops); // of the file that is open: another one has none
    [[nodiscard]] double exposure() const { return picture_.exposure; }
    void setDim(double dim);

    [[nodiscard]] bool hasEngine() const { return static_cast<bool>(engine_); }
    [[nodiscard]] PlaybackState state() const { return picture_.state; }
    [[nodiscard]] double duration(); // seconds; what the engine says, where nothing else tells
    [[nodiscard]] double fps() const { return picture_.fps; }
    [[nodiscard]] TrackCount tracks() const { return tracks_; } // as they are read; may be none
    [[nodiscard]] Ticks settledPts() const { return picture_.settledPts; } // of the last seek
    [[nodiscard]] bool enginePresented() const { return picture_.enginePresented; }
    [[nodiscard]] std::uint32_t enginePresentCount() const { return picture_.enginePresentCount; }
    [[nodiscard]] std::uint32_t previewPresentCount() const { return picture_.previewPresentCount; }
    // The preview on screen, in seconds; -1 when there is none.
    [[nodiscard]] double previewShownTime() const { return picture_.scrub.previewShownTime; }
    [[nodiscard]] bool previewIsNv12() const { return picture_.scrub.previewIsNv12; } // the latest
    [[nodiscard]] std::uint32_t exactDecodes() const { return picture_.scrub.exactDecodes; }

private:
    friend class EngineNotify;

    HRESULT openFile(bool largeFragmented);
    void probe(double& containerDuration);
    void findDuration(double containerDuration, bool largeFragmented);
    HRESULT createEngine();
    HRESULT startEngine();
    HRESULT failOpen(HRESULT reason);
    bool post(WPARAM notice) const; // false: there is nobody to tell

    void handleEvent(DWORD event); // the engine's thread
    void takeMetadata();           // likewise

    void startDecoders() noexcept EXCLUDES(picture_.deviceLock);
    void stopDecoders() EXCLUDES(picture_.deviceLock, picture_.previewBufferLock);
    [[nodiscard]] ScrubHost scrubHost() EXCLUDES(picture_.deviceLock);
    [[nodiscard]] PictureSize shownSize() EXCLUDES(picture_.deviceLock); // any thread
    ScrubOutcome takeTexture(const DecodedTexture& decoded, const PreviewFrame& frame)
        EXCLUDES(picture_.deviceLock); // a decoder's thread
    ScrubOutcome takePixels(std::vector<std::uint8_t>& pixels, PictureSize size,
                            const PreviewFrame& frame)
        EXCLUDES(picture_.deviceLock, picture_.previewBufferLock); // likewise

    void startPresenterThread() noexcept;
    void runPresenterThread(); // the presenter thread
    bool draw(bool isPreview) REQUIRES(picture_.deviceLock);
    void checkDevice(ULONGLONG& lastCheck) EXCLUDES(picture_.deviceLock);
    void reportDeviceLoss();

    PictureControl picture_;
    Presenter presenter_ GUARDED_BY(picture_.deviceLock);
    std::vector<std::uint8_t> previewPixels_ GUARDED_BY(picture_.previewBufferLock); // BGRA

    // Constant while the presenter thread runs and events come.
    ComPtr<IMFMediaEngine> engine_;
    ComPtr<EngineNotify> notify_;
    HWND renderWindow_ = nullptr;
    HWND notifyWindow_ = nullptr;

    // Two, so that a keyframe can be on its way while the one before is still being decoded.
    ScrubHost scrubHost_; // constant while they run
    std::vector<std::thread> decoderThreads_;

    std::thread presenterThread_;
    std::atomic<bool> running_{false}; // the presenter thread is to go on
    std::atomic<bool> deviceLost_{false};

    std::wstring path_;
    std::shared_ptr<EndScan> endScan_;
    TrackCount tracks_;
    double volume_ = 1.0;
    bool muted_ = false;
    bool failurePosted_ = false;
};

// Of all controllers, how many engine callbacks are alive: for tests that look for leaks.
[[nodiscard]] int liveEngineCallbacks();

} // namespace velkantrix
