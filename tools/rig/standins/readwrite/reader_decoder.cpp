// reader_decoder.cpp: see reader_decoder.h.
#include "reader_decoder.h"
#include "../common/log.h"
#include "../common/rec709.h"
#include <algorithm>
#include <mferror.h>

namespace rig {

HRESULT Decoder::open(IMFMediaType* native, UINT32 width, UINT32 height, bool toRgb,
                      bool keepRange) {
    close();
    if (!width || !height) return MF_E_INVALIDMEDIATYPE;
    if (!toRgb && (width % 2 || height % 2)) return MF_E_INVALIDMEDIATYPE;
    UINT8* header = nullptr;
    UINT32 size = 0;
    if (FAILED(native->GetAllocatedBlob(MF_MT_MPEG_SEQUENCE_HEADER, &header, &size)) &&
        FAILED(native->GetAllocatedBlob(MF_MT_USER_DATA, &header, &size)))
        size = 0;
    RigDecoderOpen open = {};
    frameWidth = width;
    frameHeight = height;
    rgb = toRgb;
    open.width = evenWidth();
    open.height = evenHeight();
    open.keepRange = keepRange;
    nv12.resize(size_t(open.width) * open.height * 3 / 2);
    open.extra = address(header);
    open.extraSize = size;
    LONG failed = codecCall(RIG_DECODER_OPEN, &open);
    CoTaskMemFree(header);
    if (failed) return MF_E_INVALIDMEDIATYPE;
    codec.reset(open.handle);
    log("source reader: H.264 to %s %ux%u", rgb ? "RGB32" : "NV12", width, height);
    return S_OK;
}

void Decoder::flush() {
    ready.clear();
    RigHandle handle = {codec.get()};
    if (isOpen()) codecCall(RIG_DECODER_FLUSH, &handle);
}

HRESULT Decoder::send(IMFSample* sample) {
    RigDecoderSend packet = {};
    packet.handle = codec.get();
    packet.end = sample == nullptr;
    if (!sample) return codecCall(RIG_DECODER_SEND, &packet) ? E_FAIL : receiveAll();
    LONGLONG time = 0, duration = 0;
    UINT64 decodeTime = 0;
    sample->GetSampleTime(&time);
    sample->GetSampleDuration(&duration);
    packet.time = time;
    packet.duration = duration;
    packet.key = MFGetAttributeUINT32(sample, MFSampleExtension_CleanPoint, 0);
    bool known = SUCCEEDED(sample->GetUINT64(MFSampleExtension_DecodeTimestamp, &decodeTime));
    packet.decodeTime = known ? static_cast<int64_t>(decodeTime) : RIG_NO_TIME;
    Com<IMFMediaBuffer> buffer;
    BYTE* data = nullptr;
    DWORD size = 0;
    HRESULT hr = sample->ConvertToContiguousBuffer(buffer.put());
    if (FAILED(hr) || FAILED(hr = buffer->Lock(&data, nullptr, &size))) return hr;
    packet.data = address(data);
    packet.size = size;
    LONG failed = codecCall(RIG_DECODER_SEND, &packet);
    buffer->Unlock();
    return failed ? E_FAIL : receiveAll();
}

HRESULT Decoder::receiveAll() {
    for (;;) {
        Com<IMFSample> sample;
        HRESULT hr = receive(sample);
        if (FAILED(hr) || !sample) return hr;
        ready.push_back(std::move(sample));
    }
}

void Decoder::convert(BYTE* out) const {
    if (!rgb) {
        std::copy(nv12.begin(), nv12.end(), out);
        return;
    }
    auto pixel = reinterpret_cast<uint32_t*>(out);
    for (UINT32 y = 0; y < frameHeight; y++)
        for (UINT32 x = 0; x < frameWidth; x++)
            *pixel++ = pixelOfNv12(nv12.data(), evenWidth(), evenHeight(), x, y);
}

HRESULT Decoder::receive(Com<IMFSample>& sample) {
    RigDecoderReceive got = {};
    got.handle = codec.get();
    got.data = address(nv12.data());
    got.capacity = static_cast<uint32_t>(nv12.size());
    if (codecCall(RIG_DECODER_RECEIVE, &got)) return E_FAIL;
    if (got.got != RIG_GOT_ONE) return S_OK;
    Com<IMFMediaBuffer> buffer;
    BYTE* data = nullptr;
    HRESULT hr = MFCreateMemoryBuffer(pictureSize(), buffer.put());
    if (FAILED(hr) || FAILED(hr = buffer->Lock(&data, nullptr, nullptr))) return hr;
    convert(data);
    buffer->Unlock();
    buffer->SetCurrentLength(pictureSize());
    if (FAILED(hr = MFCreateSample(sample.put()))) return hr;
    sample->AddBuffer(buffer.get());
    sample->SetSampleTime(got.time);
    sample->SetSampleDuration(got.duration);
    if (got.key) sample->SetUINT32(MFSampleExtension_CleanPoint, 1);
    return S_OK;
}

bool Decoder::take(Com<IMFSample>& sample) {
    if (ready.empty()) return false;
    sample = std::move(ready.front());
    ready.pop_front();
    return true;
}

} // namespace rig
