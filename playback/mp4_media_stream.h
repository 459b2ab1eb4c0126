// mp4_media_stream.h: one stream of the program's own media source: a track and its events.
#pragma once

#include <windows.h>

#include <mfidl.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "base/com_ptr.h"
#include "base/mutex.h"
#include "base/ticks.h"
#include "playback/event_generator.h"
#include "playback/held_files.h"
#include "playback/source_track.h"

namespace velkantrix {

class Mp4MediaSource;

// What one request came to.
struct Delivery {
    TrackRead read = TrackRead::Stopped;
    Ticks time = 0;         // of the sample
    HRESULT failure = S_OK; // with TrackRead::Failed
};

// Calls of IMFMediaStream come from any thread; the source's own ones from its line of work, one at
// a time, unless said otherwise.
class Mp4MediaStream final : public EventGenerator<IMFMediaStream> {
public:
    // `number` is the stream's place among the source's, from 0. The descriptor's type describes
    // the track.
    Mp4MediaStream(DWORD number, SourceTrack track, ComPtr<IMFStreamDescriptor> descriptor,
                   ComPtr<IMFMediaEventQueue> events);

    STDMETHODIMP GetMediaSource(IMFMediaSource** source) override EXCLUDES(ownerLock_);
    STDMETHODIMP GetStreamDescriptor(IMFStreamDescriptor** descriptor) override
        EXCLUDES(ownerLock_);
    STDMETHODIMP RequestSample(IUnknown* token) override EXCLUDES(ownerLock_);

    [[nodiscard]] IMFStreamDescriptor* descriptor() const { return descriptor_.get(); }

    // They belong to each other until shutDown, which any thread may call, and which waits for
    // nothing.
    void belongTo(ComPtr<Mp4MediaSource> owner) EXCLUDES(ownerLock_);
    void shutDown() EXCLUDES(ownerLock_);

    [[nodiscard]] bool selected() const { return selected_; }
    void select(bool selected) { selected_ = selected; }
    [[nodiscard]] bool ended() const { return ended_; }

    // Positions the track for a start. False when that failed; `stopped` may end it.
    [[nodiscard]] bool seek(Ticks position, const std::function<bool()>& stopped) EXCLUDES(lock_);

    // A seek has found the end.
    [[nodiscard]] bool isAtEnd() EXCLUDES(lock_);

    // Whether it was announced already; from now on it is.
    [[nodiscard]] bool announce() { return active_.exchange(true); }
    [[nodiscard]] bool active() const { return active_; }

    // Hands out the next sample, unless `stopped` says that nobody wants it any more. Only a sample
    // is an event here. Behind a failure nothing comes any more until it is sought.
    [[nodiscard]] Delivery deliver(IUnknown* token, const std::function<bool()>& stopped)
        EXCLUDES(lock_);

    // True for the first time since the last seek.
    [[nodiscard]] bool end();

    void closeFile() EXCLUDES(lock_);

private:
    HRESULT makeSample(const TrackSample& from, IUnknown* token, ComPtr<IMFSample>& sample)
        REQUIRES(lock_);

    const DWORD number_;
    const ComPtr<IMFStreamDescriptor> descriptor_;

    // Taken after the source's lock, and not together with the other one here.
    Mutex lock_;                                     // held while the file is read
    std::optional<HeldFile> held_ GUARDED_BY(lock_); // goes behind the track
    SourceTrack track_ GUARDED_BY(lock_);
    bool discontinuity_ GUARDED_BY(lock_) = false; // the next sample doesn't follow the last one
    bool failed_ GUARDED_BY(lock_) = false;        // since the last seek

    Mutex ownerLock_;
    ComPtr<Mp4MediaSource> owner_ GUARDED_BY(ownerLock_); // none after the shutdown

    // Written by the source's line of work; requests look at them.
    std::atomic<bool> selected_{true}, active_{false}, ended_{false};
};

} // namespace velkantrix
