// h264_decoder.cpp: see h264_decoder.h.
#include "h264_decoder.h"
#include "../common/log.h"
#include "../readwrite/codec.h"
#include "wine_mfplat.h"
#include <d3d11.h>
#include <deque>
#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>
#include <mutex>
#include <vector>

namespace rig {
namespace {

using Guard = std::lock_guard<std::mutex>;

constexpr UINT32 padded(UINT32 size) {
    return (size + 15) & ~15u;
}

// What is called of Wine's mfplat: this DLL stands in for it.
HRESULT makeAttributes(IMFAttributes** out) {
    return wineMfplat<HRESULT, IMFAttributes**, UINT32>("MFCreateAttributes", out, 2);
}
HRESULT makeType(IMFMediaType** out) {
    return wineMfplat<HRESULT, IMFMediaType**>("MFCreateMediaType", out);
}
HRESULT makeTextureSample(ID3D11Texture2D* texture, IMFSample** out) {
    Com<IMFMediaBuffer> buffer;
    HRESULT hr = wineMfplat<HRESULT, REFIID, IUnknown*, UINT, BOOL, IMFMediaBuffer**>(
        "MFCreateDXGISurfaceBuffer", __uuidof(ID3D11Texture2D), texture, 0, FALSE, buffer.put());
    if (FAILED(hr)) return hr;
    hr = wineMfplat<HRESULT, IMFSample**>("MFCreateSample", out);
    if (FAILED(hr)) return hr;
    return (*out)->AddBuffer(buffer.get());
}

struct Picture {
    std::vector<BYTE> pixels; // NV12, of the padded size
    LONGLONG time, duration;
};

class H264Decoder : public Counted<IMFTransform> {
public:
    H264Decoder() {
        makeAttributes(attributes.put());
        attributes->SetUINT32(MF_SA_D3D11_AWARE, 1);
    }

    STDMETHODIMP GetStreamLimits(DWORD* a, DWORD* b, DWORD* c, DWORD* d) override {
        *a = *b = *c = *d = 1;
        return S_OK;
    }
    STDMETHODIMP GetStreamCount(DWORD* in, DWORD* out) override {
        *in = *out = 1;
        return S_OK;
    }
    STDMETHODIMP GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetInputStreamInfo(DWORD, MFT_INPUT_STREAM_INFO* info) override {
        *info = {};
        return S_OK;
    }
    STDMETHODIMP GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO* info) override {
        Guard guard(lock);
        *info = {};
        info->dwFlags =
            MFT_OUTPUT_STREAM_WHOLE_SAMPLES | MFT_OUTPUT_STREAM_SINGLE_SAMPLE_PER_BUFFER;
        if (manager) info->dwFlags |= MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
        return S_OK;
    }
    STDMETHODIMP GetAttributes(IMFAttributes** out) override {
        *out = Com<IMFAttributes>(attributes).detach();
        return S_OK;
    }
    STDMETHODIMP GetInputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
    STDMETHODIMP GetOutputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteInputStream(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetInputAvailableType(DWORD, DWORD, IMFMediaType**) override { return E_NOTIMPL; }
    STDMETHODIMP GetOutputAvailableType(DWORD, DWORD index, IMFMediaType** out) override;
    STDMETHODIMP SetInputType(DWORD, IMFMediaType* type, DWORD flags) override;
    STDMETHODIMP SetOutputType(DWORD, IMFMediaType* type, DWORD flags) override;
    STDMETHODIMP GetInputCurrentType(DWORD, IMFMediaType**) override { return E_NOTIMPL; }
    STDMETHODIMP GetOutputCurrentType(DWORD, IMFMediaType** out) override {
        Guard guard(lock);
        if (!outputType) return MF_E_TRANSFORM_TYPE_NOT_SET;
        *out = Com<IMFMediaType>(outputType).detach();
        return S_OK;
    }
    STDMETHODIMP GetInputStatus(DWORD, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetOutputStatus(DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
    STDMETHODIMP ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }
    STDMETHODIMP ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override;
    STDMETHODIMP ProcessInput(DWORD, IMFSample* sample, DWORD flags) override;
    STDMETHODIMP ProcessOutput(DWORD flags, DWORD count, MFT_OUTPUT_DATA_BUFFER* buffers,
                               DWORD* status) override;

private:
    HRESULT receiveAll();
    HRESULT makeTexture(const Picture& picture, ID3D11Texture2D** out) const;
    void addPicture(const std::vector<BYTE>& pixels, LONGLONG time, LONGLONG duration);

    std::mutex lock;
    Com<IMFAttributes> attributes;
    Com<IMFDXGIDeviceManager> manager;
    Com<IMFMediaType> outputType;
    DecoderHandle codec;
    UINT32 width = 0, height = 0;
    bool sizeTold = false; // the padded one
    bool drained = false;
    std::deque<Picture> ready;
};

HRESULT H264Decoder::SetInputType(DWORD, IMFMediaType* type, DWORD) {
    Guard guard(lock);
    GUID subtype = {};
    if (!type || FAILED(type->GetGUID(MF_MT_SUBTYPE, &subtype)) || subtype != MFVideoFormat_H264)
        return MF_E_INVALIDMEDIATYPE;
    UINT64 size = 0;
    if (FAILED(type->GetUINT64(MF_MT_FRAME_SIZE, &size))) return MF_E_INVALIDMEDIATYPE;
    width = static_cast<UINT32>(size >> 32);
    height = static_cast<UINT32>(size);
    RigDecoderOpen open = {};
    open.width = (width + 1) & ~1u;
    open.height = (height + 1) & ~1u;
    if (!width || !height || codecCall(RIG_DECODER_OPEN, &open)) return MF_E_INVALIDMEDIATYPE;
    codec.reset(open.handle);
    outputType.reset();
    sizeTold = drained = false;
    ready.clear();
    log("decoder: H.264 %ux%u", width, height);
    return S_OK;
}

HRESULT H264Decoder::GetOutputAvailableType(DWORD, DWORD index, IMFMediaType** out) {
    Guard guard(lock);
    if (!codec) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (index) return MF_E_NO_MORE_TYPES;
    Com<IMFMediaType> type;
    HRESULT hr = makeType(type.put());
    if (FAILED(hr)) return hr;
    type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video);
    type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12);
    UINT64 size =
        UINT64(sizeTold ? padded(width) : width) << 32 | (sizeTold ? padded(height) : height);
    type->SetUINT64(MF_MT_FRAME_SIZE, size);
    MFVideoArea area = {};
    area.Area = {LONG(width), LONG(height)};
    if (sizeTold)
        type->SetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE, reinterpret_cast<UINT8*>(&area), sizeof area);
    *out = type.detach();
    return S_OK;
}

HRESULT H264Decoder::SetOutputType(DWORD, IMFMediaType* type, DWORD) {
    Guard guard(lock);
    if (!codec) return MF_E_TRANSFORM_TYPE_NOT_SET;
    outputType = Com<IMFMediaType>::share(type);
    return S_OK;
}

HRESULT H264Decoder::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) {
    Guard guard(lock);
    RigHandle handle = {codec.get()};
    if (message == MFT_MESSAGE_SET_D3D_MANAGER) {
        manager.reset();
        auto object = reinterpret_cast<IUnknown*>(parameter);
        return object ? object->QueryInterface(__uuidof(IMFDXGIDeviceManager), manager.putVoid())
                      : S_OK;
    }
    if (!codec) return S_OK;
    if (message == MFT_MESSAGE_COMMAND_FLUSH) {
        ready.clear();
        codecCall(RIG_DECODER_FLUSH, &handle);
    }
    if (message == MFT_MESSAGE_COMMAND_DRAIN && !drained) {
        RigDecoderSend end = {};
        end.handle = codec.get();
        end.end = 1;
        drained = true;
        if (codecCall(RIG_DECODER_SEND, &end)) return E_FAIL;
        return receiveAll();
    }
    if (message == MFT_MESSAGE_NOTIFY_START_OF_STREAM) drained = false;
    return S_OK;
}

HRESULT H264Decoder::ProcessInput(DWORD, IMFSample* sample, DWORD) {
    Guard guard(lock);
    if (!codec || !outputType) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (!ready.empty() || drained) return MF_E_NOTACCEPTING;
    RigDecoderSend packet = {};
    LONGLONG time = 0, duration = 0;
    HRESULT hr = sample->GetSampleTime(&time);
    if (FAILED(hr)) return hr;
    sample->GetSampleDuration(&duration);
    UINT32 key = 0;
    sample->GetUINT32(MFSampleExtension_CleanPoint, &key);
    packet.handle = codec.get();
    packet.time = time;
    packet.duration = duration;
    packet.decodeTime = RIG_NO_TIME;
    packet.key = key;
    Com<IMFMediaBuffer> buffer;
    BYTE* data = nullptr;
    DWORD size = 0;
    if (FAILED(hr = sample->ConvertToContiguousBuffer(buffer.put()))) return hr;
    if (FAILED(hr = buffer->Lock(&data, nullptr, &size))) return hr;
    packet.data = address(data);
    packet.size = size;
    LONG failed = codecCall(RIG_DECODER_SEND, &packet);
    buffer->Unlock();
    return failed ? E_FAIL : receiveAll();
}

HRESULT H264Decoder::receiveAll() {
    UINT32 evenWidth = (width + 1) & ~1u, evenHeight = (height + 1) & ~1u;
    std::vector<BYTE> pixels(size_t(evenWidth) * evenHeight * 3 / 2);
    for (;;) {
        RigDecoderReceive got = {};
        got.handle = codec.get();
        got.data = address(pixels.data());
        got.capacity = static_cast<uint32_t>(pixels.size());
        if (codecCall(RIG_DECODER_RECEIVE, &got)) return E_FAIL;
        if (got.got != RIG_GOT_ONE) return S_OK;
        addPicture(pixels, got.time, got.duration);
    }
}

// What is beside the picture is of no colour that a picture has.
void H264Decoder::addPicture(const std::vector<BYTE>& pixels, LONGLONG time, LONGLONG duration) {
    UINT32 evenWidth = (width + 1) & ~1u, evenHeight = (height + 1) & ~1u;
    size_t stride = padded(width);
    Picture picture = {std::vector<BYTE>(stride * padded(height) * 3 / 2, 255), time, duration};
    const BYTE* from = pixels.data();
    BYTE* to = picture.pixels.data();
    for (UINT32 y = 0; y < evenHeight * 3 / 2; y++) {
        if (y == evenHeight) to = picture.pixels.data() + stride * padded(height);
        memcpy(to, from, evenWidth);
        from += evenWidth;
        to += stride;
    }
    ready.push_back(std::move(picture));
}

HRESULT H264Decoder::makeTexture(const Picture& picture, ID3D11Texture2D** out) const {
    HANDLE handle = nullptr;
    HRESULT hr = manager->OpenDeviceHandle(&handle);
    if (FAILED(hr)) return hr;
    Com<ID3D11Device> device;
    hr = manager->LockDevice(handle, __uuidof(ID3D11Device), device.putVoid(), TRUE);
    if (SUCCEEDED(hr)) {
        D3D11_TEXTURE2D_DESC wanted = {};
        wanted.Width = padded(width);
        wanted.Height = padded(height);
        wanted.MipLevels = wanted.ArraySize = wanted.SampleDesc.Count = 1;
        wanted.Format = DXGI_FORMAT_NV12;
        wanted.BindFlags = D3D11_BIND_SHADER_RESOURCE;
        D3D11_SUBRESOURCE_DATA data = {picture.pixels.data(), padded(width), 0};
        hr = device->CreateTexture2D(&wanted, &data, out);
        manager->UnlockDevice(handle, FALSE);
    }
    manager->CloseDeviceHandle(handle);
    return hr;
}

HRESULT H264Decoder::ProcessOutput(DWORD, DWORD count, MFT_OUTPUT_DATA_BUFFER* buffers,
                                   DWORD* status) {
    Guard guard(lock);
    if (count != 1 || !buffers || !status) return E_INVALIDARG;
    if (!codec || !outputType) return MF_E_TRANSFORM_TYPE_NOT_SET;
    if (!manager) return E_NOTIMPL;
    *status = 0;
    buffers[0].dwStatus = 0;
    if (ready.empty()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    if (!sizeTold) {
        sizeTold = true;
        buffers[0].dwStatus = MFT_OUTPUT_DATA_BUFFER_FORMAT_CHANGE;
        return MF_E_TRANSFORM_STREAM_CHANGE;
    }
    Com<ID3D11Texture2D> texture;
    Com<IMFSample> sample;
    HRESULT hr = makeTexture(ready.front(), texture.put());
    if (FAILED(hr) || FAILED(hr = makeTextureSample(texture.get(), sample.put()))) return hr;
    sample->SetSampleTime(ready.front().time);
    sample->SetSampleDuration(ready.front().duration);
    ready.pop_front();
    buffers[0].pSample = sample.detach();
    return S_OK;
}

// An IMFActivate of which nobody calls more than this.
class Activate {
public:
    Activate() {
        for (auto& method : methods) method = reinterpret_cast<void*>(unexpected);
        methods[ADD_REF] = reinterpret_cast<void*>(addRef);
        methods[RELEASE] = reinterpret_cast<void*>(release);
        methods[ACTIVATE_OBJECT] = reinterpret_cast<void*>(activateObject);
    }
    IMFActivate* asInterface() { return reinterpret_cast<IMFActivate*>(this); }

private:
    enum { ADD_REF = 1, RELEASE = 2, ACTIVATE_OBJECT = 33, METHODS = 36 };

    static HRESULT WINAPI unexpected(void*) { return E_NOTIMPL; }
    static ULONG WINAPI addRef(Activate* self) { return InterlockedIncrement(&self->references); }
    static ULONG WINAPI release(Activate* self) {
        ULONG left = InterlockedDecrement(&self->references);
        if (!left) delete self;
        return left;
    }
    static HRESULT WINAPI activateObject(Activate*, REFIID iid, void** out) {
        return makeH264Decoder()->QueryInterface(iid, out);
    }

    void** table = methods; // first, as COM has it
    void* methods[METHODS];
    LONG references = 1;
};

} // namespace

Com<IMFTransform> makeH264Decoder() {
    return Com<IMFTransform>::own(new H264Decoder);
}

HRESULT listH264Decoder(IMFActivate*** found, UINT32* count) {
    auto list = static_cast<IMFActivate**>(CoTaskMemAlloc(sizeof(IMFActivate*)));
    if (!list) return E_OUTOFMEMORY;
    list[0] = (new Activate)->asInterface();
    *found = list;
    *count = 1;
    return S_OK;
}

} // namespace rig
