#include "playback/mp4_media_source.h"

#include <cguid.h>
#include <mfapi.h>
#include <mferror.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr const char* AFTER_SHUTDOWN = "it fails behind a shutdown only";

std::atomic<int> liveSources{0};

void queueEvent(IMFMediaEventGenerator* generator, MediaEventType type, HRESULT status = S_OK) {
    ignoreResult(generator->QueueEvent(type, GUID_NULL, status, nullptr), AFTER_SHUTDOWN);
}

void queuePosition(IMFMediaEventGenerator* generator, MediaEventType type, HRESULT status,
                   Ticks position) {
    PROPVARIANT value;
    PropVariantInit(&value);
    value.vt = VT_I8;
    value.hVal.QuadPart = position;
    ignoreResult(generator->QueueEvent(type, GUID_NULL, status, &value), AFTER_SHUTDOWN);
}

} // namespace

int liveMp4MediaSources() {
    return liveSources;
}

Mp4MediaSource::Mp4MediaSource(std::vector<ComPtr<Mp4MediaStream>> streams,
                               ComPtr<IMFPresentationDescriptor> presentation,
                               ComPtr<IMFMediaEventQueue> events)
    : EventGenerator(std::move(events)),
      streams_(std::move(streams)),
      requests_(streams_.size()),
      presentation_(std::move(presentation)) {
    ++liveSources;
}

Mp4MediaSource::~Mp4MediaSource() {
    --liveSources;
}

STDMETHODIMP Mp4MediaSource::GetCharacteristics(DWORD* characteristics) {
    if (!characteristics) return E_POINTER;
    *characteristics = 0;
    const Lock held(lock_);
    if (shutDown_) return MF_E_SHUTDOWN;
    *characteristics = MFMEDIASOURCE_CAN_SEEK | MFMEDIASOURCE_CAN_PAUSE;
    return S_OK;
}

STDMETHODIMP
Mp4MediaSource::CreatePresentationDescriptor(IMFPresentationDescriptor** descriptor) {
    if (!descriptor) return E_POINTER;
    *descriptor = nullptr;
    const Lock held(lock_);
    return shutDown_ ? MF_E_SHUTDOWN : presentation_->Clone(descriptor);
}

STDMETHODIMP Mp4MediaSource::Start(IMFPresentationDescriptor* descriptor, const GUID* timeFormat,
                                   const PROPVARIANT* position) {
    if (!descriptor || !position) return E_INVALIDARG;
    if (timeFormat && !IsEqualGUID(*timeFormat, GUID_NULL)) return MF_E_UNSUPPORTED_TIME_FORMAT;
    if (position->vt != VT_EMPTY && position->vt != VT_I8) return MF_E_UNSUPPORTED_TIME_FORMAT;
    StartOrder order;
    order.hasPosition = position->vt == VT_I8;
    if (order.hasPosition) order.position = position->hVal.QuadPart;
    const Lock held(lock_);
    if (shutDown_) return MF_E_SHUTDOWN;
    try {
        return startWith(std::move(order), descriptor);
    } catch (const std::bad_alloc&) { return E_OUTOFMEMORY; }
}

HRESULT Mp4MediaSource::startWith(StartOrder order, IMFPresentationDescriptor* descriptor) {
    RETURN_IF_FAILED(readSelection(descriptor, order.selected));
    // What was asked for in front of a start at the present position is still wanted: who pauses
    // and goes on doesn't ask again.
    order.serial = order.hasPosition ? serial_ + 1 : serial_.load();
    order.command = commands_ + 1;
    RETURN_IF_FAILED(add(&Mp4MediaSource::runStart, order));
    serial_ = order.serial;
    commands_ = order.command;
    ++pendingStarts_;
    commanded_ = State::Started;
    return S_OK;
}

STDMETHODIMP Mp4MediaSource::Stop() {
    const Lock held(lock_);
    if (shutDown_) return MF_E_SHUTDOWN;
    RETURN_IF_FAILED(add(&Mp4MediaSource::runStop, commands_ + 1));
    ++serial_;
    ++commands_;
    commanded_ = State::Stopped;
    return S_OK;
}

STDMETHODIMP Mp4MediaSource::Pause() {
    const Lock held(lock_);
    if (shutDown_) return MF_E_SHUTDOWN;
    if (commanded_ != State::Started) return MF_E_INVALID_STATE_TRANSITION;
    RETURN_IF_FAILED(add(&Mp4MediaSource::runPause, commands_ + 1));
    ++commands_;
    commanded_ = State::Paused;
    return S_OK;
}

STDMETHODIMP Mp4MediaSource::Shutdown() {
    std::vector<ComPtr<Mp4MediaStream>> streams;
    std::vector<std::deque<Request>> requests; // foreign objects: released without the lock
    {
        const Lock held(lock_);
        if (shutDown_) return MF_E_SHUTDOWN;
        shutDown_ = true;
        ++serial_; // a read in progress is over soon
        streams.swap(streams_);
        requests.swap(requests_);
        presentation_.reset();
    }
    line_->clear();
    ignoreResult(events_->Shutdown(), "it may be shut down already");
    for (const ComPtr<Mp4MediaStream>& stream : streams) {
        stream->shutDown();
        // Behind the work that may still be reading.
        ignoreResult(line_->add([stream] { stream->closeFile(); }),
                     "else the stream's last reference closes it");
    }
    return S_OK;
}

HRESULT Mp4MediaSource::request(DWORD stream, IUnknown* token) {
    const Lock held(lock_);
    if (shutDown_) return MF_E_SHUTDOWN;
    if (stream >= requests_.size()) return E_INVALIDARG;
    if (commanded_ == State::Stopped) return MF_E_MEDIA_SOURCE_WRONGSTATE;
    if (pendingStarts_ == 0) { // else nobody knows yet
        if (!streams_[stream]->selected()) return MF_E_INVALIDREQUEST;
        if (streams_[stream]->ended()) return MF_E_END_OF_STREAM;
    }
    try {
        requests_[stream].push_back({ComPtr<IUnknown>::share(token), serial_, commands_});
    } catch (const std::bad_alloc&) { return E_OUTOFMEMORY; }
    const HRESULT added = add(&Mp4MediaSource::runDelivery, stream);
    if (FAILED(added)) requests_[stream].pop_back();
    return added;
}

template <class... Parameters, class... Arguments>
HRESULT Mp4MediaSource::add(void (Mp4MediaSource::*work)(Parameters...), Arguments... arguments) {
    return line_->add([self = ComPtr<Mp4MediaSource>::share(this), work,
                       ... values = std::move(arguments)] { (self.get()->*work)(values...); });
}

HRESULT Mp4MediaSource::readSelection(IMFPresentationDescriptor* descriptor,
                                      std::vector<std::optional<bool>>& selected) {
    selected.assign(streams_.size(), std::nullopt);
    DWORD count = 0;
    RETURN_IF_FAILED(descriptor->GetStreamDescriptorCount(&count));
    for (DWORD i = 0; i < count; ++i) {
        BOOL isSelected = FALSE;
        DWORD id = 0;
        ComPtr<IMFStreamDescriptor> stream;
        RETURN_IF_FAILED(descriptor->GetStreamDescriptorByIndex(i, &isSelected, stream.put()));
        RETURN_IF_FAILED(stream->GetStreamIdentifier(&id));
        // Identifiers are numbers from 1. Of a stream that isn't ours nothing is known.
        if (id >= 1 && id <= selected.size()) selected[id - 1] = isSelected != FALSE;
    }
    return S_OK;
}

void Mp4MediaSource::runStart(const StartOrder& order) {
    bool isSeek = false;
    Ticks position = order.position;
    const HRESULT placed = tryStart(order, position, isSeek);
    std::vector<Request> dropped; // foreign objects: released without the lock
    const Lock held(lock_);
    --pendingStarts_;
    if (shutDown_) return;
    done_ = order.command;
    if (FAILED(placed)) return failStart(order, placed, dropped);
    position_ = position;
    endedCount_ = 0;
    started_ = true;
    state_ = State::Started;
    announceStart(position, isSeek);
    deliverWaiting();
}

// It stands as after a stop: some streams may be elsewhere than others.
void Mp4MediaSource::failStart(const StartOrder& order, HRESULT failure,
                               std::vector<Request>& dropped) {
    state_ = State::Stopped;
    started_ = false;
    position_ = 0;
    if (order.command == commands_) commanded_ = State::Stopped;
    dropRequests(order.command, dropped);
    queuePosition(this, MESourceStarted, failure, order.position);
}

HRESULT Mp4MediaSource::tryStart(const StartOrder& order, Ticks& position, bool& isSeek) {
    try {
        std::vector<ComPtr<Mp4MediaStream>> streams;
        {
            const Lock held(lock_);
            streams = streams_;
            isSeek = started_;
            if (!order.hasPosition) position = started_ ? position_ : 0;
        }
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (order.selected[i]) streams[i]->select(*order.selected[i]);
        }
        return seekSelected(streams, order, position) ? S_OK : MF_E_INVALID_FILE_FORMAT;
    } catch (const std::bad_alloc&) { return E_OUTOFMEMORY; }
}

// Those that were made up to a command. Where there is no room for them they go under the lock.
void Mp4MediaSource::dropRequests(std::uint64_t command, std::vector<Request>& dropped) {
    for (std::deque<Request>& waiting : requests_) {
        for (; !waiting.empty() && waiting.front().command <= command; waiting.pop_front()) {
            try {
                dropped.push_back(std::move(waiting.front()));
            } catch (const std::bad_alloc&) { continue; }
        }
    }
}

// What was asked for during a pause. Stale requests among them are dropped when their turn comes;
// those that have their own work still before them get it twice, and the second finds nothing.
void Mp4MediaSource::deliverWaiting() {
    for (DWORD number = 0; number < requests_.size(); ++number) {
        for (std::size_t i = 0; i < requests_[number].size(); ++i) {
            const HRESULT added = add(&Mp4MediaSource::runDelivery, number);
            if (FAILED(added)) return queueEvent(this, MEError, added);
        }
    }
}

// A start that a later one overtakes is done as well, for all that anybody will see of it.
bool Mp4MediaSource::seekSelected(const std::vector<ComPtr<Mp4MediaStream>>& streams,
                                  const StartOrder& order, Ticks position) {
    const auto overtaken = [&] {
        return isStale(order.serial);
    };
    return std::all_of(streams.begin(), streams.end(), [&](const ComPtr<Mp4MediaStream>& stream) {
        return !stream->selected() || stream->seek(position, overtaken) || overtaken();
    });
}

void Mp4MediaSource::announceStart(Ticks position, bool isSeek) {
    for (const ComPtr<Mp4MediaStream>& stream : streams_) {
        if (!stream->selected()) continue;
        const MediaEventType type = stream->announce() ? MEUpdatedStream : MENewStream;
        ignoreResult(events_->QueueEventParamUnk(type, GUID_NULL, S_OK, stream.get()),
                     AFTER_SHUTDOWN);
    }
    for (const ComPtr<Mp4MediaStream>& stream : streams_) {
        if (!stream->selected()) continue;
        queuePosition(stream.get(), isSeek ? MEStreamSeeked : MEStreamStarted, S_OK, position);
        if (stream->isAtEnd()) endStream(stream.get());
    }
    queuePosition(this, isSeek ? MESourceSeeked : MESourceStarted, S_OK, position);
    endPresentationWhenAllEnded();
}

void Mp4MediaSource::endStream(Mp4MediaStream* stream) {
    if (!stream->end()) return;
    queueEvent(stream, MEEndOfStream);
    ++endedCount_;
}

void Mp4MediaSource::endPresentationWhenAllEnded() {
    if (endedCount_ > 0 && endedCount_ == selectedCount()) queueEvent(this, MEEndOfPresentation);
}

void Mp4MediaSource::runStop(std::uint64_t command) {
    std::vector<Request> dropped; // foreign objects: released without the lock
    const Lock held(lock_);
    if (shutDown_) return;
    done_ = command;
    dropRequests(command, dropped);
    state_ = State::Stopped;
    started_ = false;
    position_ = 0;
    for (const ComPtr<Mp4MediaStream>& stream : streams_) {
        if (stream->active() && stream->selected()) queueEvent(stream.get(), MEStreamStopped);
    }
    queueEvent(this, MESourceStopped);
}

void Mp4MediaSource::runPause(std::uint64_t command) {
    std::vector<Request> dropped; // foreign objects: released without the lock
    const Lock held(lock_);
    if (shutDown_) return;
    done_ = command;
    if (state_ != State::Started) { // the start in front of it failed
        if (command == commands_) commanded_ = State::Stopped;
        dropRequests(command, dropped);
        queueEvent(this, MESourcePaused, MF_E_INVALID_STATE_TRANSITION);
        return;
    }
    state_ = State::Paused;
    for (const ComPtr<Mp4MediaStream>& stream : streams_) {
        if (stream->selected()) queueEvent(stream.get(), MEStreamPaused);
    }
    queueEvent(this, MESourcePaused);
}

// None while the source is paused: requests wait then, and the next start adds the work for them.
// None either when the oldest was made behind a command that is still to come on the line.
ComPtr<Mp4MediaStream> Mp4MediaSource::takeRequest(DWORD number, Request& request) {
    const Lock held(lock_);
    if (shutDown_ || state_ != State::Started || requests_[number].empty()) return nullptr;
    if (requests_[number].front().command > done_) return nullptr;
    request = std::move(requests_[number].front());
    requests_[number].pop_front();
    return streams_[number];
}

// One piece of work for each request.
void Mp4MediaSource::runDelivery(DWORD number) {
    Request request;
    const ComPtr<Mp4MediaStream> stream = takeRequest(number, request);
    if (!stream || !stream->selected()) return;
    const auto stale = [&] {
        return isStale(request.serial);
    };
    const Delivery delivery = stream->deliver(request.token.get(), stale);
    const Lock held(lock_);
    if (!shutDown_ && !stale()) settle(number, stream.get(), delivery);
}

void Mp4MediaSource::settle(DWORD number, Mp4MediaStream* stream, const Delivery& delivery) {
    switch (delivery.read) {
    case TrackRead::Sample:
        if (number == 0) position_ = delivery.time;
        break;
    case TrackRead::End:
        if (stream->ended()) break;
        endStream(stream);
        endPresentationWhenAllEnded();
        break;
    case TrackRead::Failed:
        queueEvent(this, MEError, delivery.failure);
        break;
    case TrackRead::Stopped:
        break;
    }
}

std::size_t Mp4MediaSource::selectedCount() const {
    return static_cast<std::size_t>(
        std::count_if(streams_.begin(), streams_.end(),
                      [](const ComPtr<Mp4MediaStream>& stream) { return stream->selected(); }));
}

} // namespace velkantrix
