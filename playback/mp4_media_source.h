// mp4_media_source.h: the program's own media source for fragmented recordings: the picture, and
// the sound if there is some, straight from the index that their files bring.
//
// It follows the documented contract of IMFMediaSource. Start, Stop, Pause and requests return at
// once; what they ask for is done on one line of work, in the order of the calls, and answered by
// events.
#pragma once

#include <windows.h>

#include <mfidl.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "base/com_ptr.h"
#include "base/file_path.h"
#include "base/mutex.h"
#include "base/ticks.h"
#include "playback/event_generator.h"
#include "playback/mp4_media_stream.h"
#include "playback/work_line.h"

namespace velkantrix {

// Reads the file's index; MF_E_UNSUPPORTED_BYTESTREAM_TYPE for all files that the system's source
// is to have: those that aren't fragmented H.264 with a table of keyframes, that are shown
// otherwise than coded or before 0, or whose first track of sound it couldn't serve.
[[nodiscard]] HRESULT createMp4MediaSource(const FilePath& path, SourceSound sound,
                                           ComPtr<IMFMediaSource>& source);

// Of all sources, how many are alive: for tests that look for leaks.
[[nodiscard]] int liveMp4MediaSources();

class Mp4MediaSource final : public EventGenerator<IMFMediaSource> {
public:
    // The first stream is the picture.
    Mp4MediaSource(std::vector<ComPtr<Mp4MediaStream>> streams,
                   ComPtr<IMFPresentationDescriptor> presentation,
                   ComPtr<IMFMediaEventQueue> events);

    STDMETHODIMP GetCharacteristics(DWORD* characteristics) override EXCLUDES(lock_);
    STDMETHODIMP CreatePresentationDescriptor(IMFPresentationDescriptor** descriptor) override
        EXCLUDES(lock_);
    STDMETHODIMP Start(IMFPresentationDescriptor* descriptor, const GUID* timeFormat,
                       const PROPVARIANT* position) override EXCLUDES(lock_);
    STDMETHODIMP Stop() override EXCLUDES(lock_);
    STDMETHODIMP Pause() override EXCLUDES(lock_);
    STDMETHODIMP Shutdown() override EXCLUDES(lock_);

    // A stream's: somebody asked for its next sample.
    [[nodiscard]] HRESULT request(DWORD stream, IUnknown* token) EXCLUDES(lock_);

private:
    enum class State { Stopped, Started, Paused };

    // Carries the numbers of what it was made after. Behind a later start at a position nobody
    // waits for it; before its own command is done it isn't its turn.
    struct Request {
        ComPtr<IUnknown> token;
        std::uint64_t serial = 0;
        std::uint64_t command = 0;
    };

    struct StartOrder {
        std::vector<std::optional<bool>> selected; // by stream; none: as it is
        bool hasPosition = false;
        Ticks position = 0;
        std::uint64_t serial = 0;
        std::uint64_t command = 0;
    };

    ~Mp4MediaSource() override;

    // Adds a call of a member of this to the line of work.
    template <class... Parameters, class... Arguments>
    HRESULT add(void (Mp4MediaSource::*work)(Parameters...), Arguments... arguments)
        REQUIRES(lock_);
    HRESULT startWith(StartOrder order, IMFPresentationDescriptor* descriptor) REQUIRES(lock_);
    HRESULT readSelection(IMFPresentationDescriptor* descriptor,
                          std::vector<std::optional<bool>>& selected) REQUIRES(lock_);
    [[nodiscard]] bool isStale(std::uint64_t serial) const { return serial_ != serial; }

    // On the line of work.
    void runStart(const StartOrder& order) EXCLUDES(lock_);
    [[nodiscard]] bool seekSelected(const std::vector<ComPtr<Mp4MediaStream>>& streams,
                                    const StartOrder& order, Ticks position);
    [[nodiscard]] HRESULT tryStart(const StartOrder& order, Ticks& position, bool& isSeek)
        EXCLUDES(lock_);
    void failStart(const StartOrder& order, HRESULT failure, std::vector<Request>& dropped)
        REQUIRES(lock_);
    void dropRequests(std::uint64_t command, std::vector<Request>& dropped) REQUIRES(lock_);
    void announceStart(Ticks position, bool isSeek) REQUIRES(lock_);
    void endStream(Mp4MediaStream* stream) REQUIRES(lock_);
    void endPresentationWhenAllEnded() REQUIRES(lock_);
    void deliverWaiting() REQUIRES(lock_);
    void runStop(std::uint64_t command) EXCLUDES(lock_);
    void runPause(std::uint64_t command) EXCLUDES(lock_);
    ComPtr<Mp4MediaStream> takeRequest(DWORD number, Request& request) EXCLUDES(lock_);
    void runDelivery(DWORD number) EXCLUDES(lock_);
    void settle(DWORD number, Mp4MediaStream* stream, const Delivery& delivery) REQUIRES(lock_);
    [[nodiscard]] std::size_t selectedCount() const REQUIRES(lock_);

    const ComPtr<WorkLine> line_ = ComPtr<WorkLine>::adopt(new WorkLine);

    // Counts the starts at a position of their own, the stops and the shutdown. Written under the
    // lock; a read in progress looks at it without, to see whether it is still wanted.
    std::atomic<std::uint64_t> serial_{0};

    Mutex lock_; // taken before a stream's; never held while a file is read
    std::vector<ComPtr<Mp4MediaStream>> streams_ GUARDED_BY(lock_);
    std::vector<std::deque<Request>> requests_ GUARDED_BY(lock_); // by stream, oldest first
    ComPtr<IMFPresentationDescriptor> presentation_ GUARDED_BY(lock_);
    bool shutDown_ GUARDED_BY(lock_) = false;
    State commanded_ GUARDED_BY(lock_) = State::Stopped; // by the last call
    std::uint64_t commands_ GUARDED_BY(lock_) = 0;       // starts, stops and pauses asked for
    std::uint64_t done_ GUARDED_BY(lock_) = 0;           // how many of them were done
    std::size_t pendingStarts_ GUARDED_BY(lock_) = 0;    // asked for and not done yet
    State state_ GUARDED_BY(lock_) = State::Stopped;     // by what was done of them
    bool started_ GUARDED_BY(lock_) = false;             // since the last stop
    Ticks position_ GUARDED_BY(lock_) = 0; // of the last start, then of the last picture delivered
    std::size_t endedCount_ GUARDED_BY(lock_) = 0; // selected streams at their end
};

} // namespace velkantrix
