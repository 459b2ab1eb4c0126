#include "playback/mp4_media_stream.h"

#include <cguid.h>
#include <mfapi.h>
#include <mferror.h>

#include <cstring>
#include <limits>
#include <utility>

#include "platform/hresult.h"
#include "platform/mf_util.h"
#include "playback/mp4_media_source.h"

namespace velkantrix {
namespace {

HRESULT copyIntoBuffer(const std::vector<std::uint8_t>& data, ComPtr<IMFMediaBuffer>& buffer) {
    if (data.size() > std::numeric_limits<DWORD>::max()) return E_OUTOFMEMORY;
    const auto size = static_cast<DWORD>(data.size());
    RETURN_IF_FAILED(MFCreateMemoryBuffer(size, buffer.put()));
    BYTE* bytes = nullptr;
    RETURN_IF_FAILED(buffer->Lock(&bytes, nullptr, nullptr));
    if (size > 0) std::memcpy(bytes, data.data(), size);
    RETURN_IF_FAILED(buffer->Unlock());
    return buffer->SetCurrentLength(size);
}

} // namespace

Mp4MediaStream::Mp4MediaStream(DWORD number, SourceTrack track,
                               ComPtr<IMFStreamDescriptor> descriptor,
                               ComPtr<IMFMediaEventQueue> events)
    : EventGenerator(std::move(events)),
      number_(number),
      descriptor_(std::move(descriptor)),
      held_(std::in_place),
      track_(std::move(track)) {}

STDMETHODIMP Mp4MediaStream::GetMediaSource(IMFMediaSource** source) {
    if (!source) return E_POINTER;
    *source = nullptr;
    const Lock held(ownerLock_);
    if (!owner_) return MF_E_SHUTDOWN;
    *source = ComPtr<Mp4MediaSource>(owner_).detach();
    return S_OK;
}

STDMETHODIMP Mp4MediaStream::GetStreamDescriptor(IMFStreamDescriptor** descriptor) {
    if (!descriptor) return E_POINTER;
    *descriptor = nullptr;
    const Lock held(ownerLock_);
    if (!owner_) return MF_E_SHUTDOWN;
    *descriptor = ComPtr<IMFStreamDescriptor>(descriptor_).detach();
    return S_OK;
}

STDMETHODIMP Mp4MediaStream::RequestSample(IUnknown* token) {
    ComPtr<Mp4MediaSource> source;
    {
        const Lock held(ownerLock_);
        source = owner_;
    }
    return source ? source->request(number_, token) : MF_E_SHUTDOWN;
}

void Mp4MediaStream::belongTo(ComPtr<Mp4MediaSource> owner) {
    const Lock held(ownerLock_);
    owner_ = std::move(owner);
}

void Mp4MediaStream::shutDown() {
    ComPtr<Mp4MediaSource> owner; // released without the lock: it may own this
    {
        const Lock held(ownerLock_);
        owner = std::move(owner_);
    }
    ignoreResult(events_->Shutdown(), "it may be shut down already");
}

bool Mp4MediaStream::seek(Ticks position, const std::function<bool()>& stopped) {
    const Lock held(lock_);
    if (!track_.start(position, stopped)) return false;
    ended_ = false;
    failed_ = false;
    discontinuity_ = true;
    return true;
}

bool Mp4MediaStream::isAtEnd() {
    const Lock held(lock_);
    return track_.isAtEnd();
}

bool Mp4MediaStream::end() {
    return !ended_.exchange(true);
}

Delivery Mp4MediaStream::deliver(IUnknown* token, const std::function<bool()>& stopped) {
    const Lock held(lock_);
    TrackSample read;
    Delivery delivery;
    if (failed_) return delivery;
    delivery.read = track_.read(read, stopped);
    if (delivery.read == TrackRead::Failed) delivery.failure = MF_E_INVALID_FILE_FORMAT;
    if (read.gap) discontinuity_ = true;
    failed_ = delivery.read == TrackRead::Failed;
    if (delivery.read != TrackRead::Sample) return delivery;
    delivery.time = read.time;
    ComPtr<IMFSample> sample;
    delivery.failure = makeSample(read, token, sample);
    if (FAILED(delivery.failure)) {
        delivery.read = TrackRead::Failed;
        failed_ = true;
    } else if (stopped()) {
        delivery.read = TrackRead::Stopped;
    } else {
        discontinuity_ = false;
        ignoreResult(events_->QueueEventParamUnk(MEMediaSample, GUID_NULL, S_OK, sample.get()),
                     "it fails behind a shutdown only");
    }
    return delivery;
}

HRESULT Mp4MediaStream::makeSample(const TrackSample& from, IUnknown* token,
                                   ComPtr<IMFSample>& sample) {
    ComPtr<IMFMediaBuffer> buffer;
    RETURN_IF_FAILED(copyIntoBuffer(from.data, buffer));
    RETURN_IF_FAILED(MFCreateSample(sample.put()));
    RETURN_IF_FAILED(sample->AddBuffer(buffer.get()));
    RETURN_IF_FAILED(sample->SetSampleTime(from.time));
    RETURN_IF_FAILED(sample->SetSampleDuration(from.duration));
    RETURN_IF_FAILED(setDecodeTime(sample.get(), from.decodeTime));
    if (from.keyframe) RETURN_IF_FAILED(sample->SetUINT32(MFSampleExtension_CleanPoint, TRUE));
    if (discontinuity_) RETURN_IF_FAILED(sample->SetUINT32(MFSampleExtension_Discontinuity, TRUE));
    return token ? sample->SetUnknown(MFSampleExtension_Token, token) : S_OK;
}

void Mp4MediaStream::closeFile() {
    const Lock held(lock_);
    track_ = SourceTrack();
    held_.reset();
}

} // namespace velkantrix
