#include "playback/byte_stream_handler.h"

#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>

#include <atomic>
#include <new>
#include <string>
#include <utility>

#include "base/com_ptr.h"
#include "platform/byte_stream_handler_interface.h"
#include "platform/com.h"
#include "platform/environment.h"
#include "platform/files.h"
#include "platform/hresult.h"
#include "platform/source_choice.h"
#include "playback/forwarded_attributes.h"
#include "playback/held_files.h"
#include "playback/mp4_media_source.h"
#include "playback/work_line.h"

namespace velkantrix {

namespace {

constexpr UINT32 STORE_ENTRIES = 1;
constexpr wchar_t EXTENSION[] = L".mp4";

std::atomic<bool> registered{false};

bool isSwitchedOff() {
    return environmentVariable(L"VELKANTRIX_MP4SRC").starts_with(L'0');
}

SourceSound wantedSound() {
    return environmentVariable(L"MP4SRC_NOAUDIO").empty() ? SourceSound::Wanted
                                                          : SourceSound::Unwanted;
}

// How files that are opened now are taken; none: they are left to the system's source.
std::optional<SourceSound> servedSound() {
    const SourceSound sound = wantedSound();
    if (sound == SourceSound::Unwanted && allStreamsAreWanted()) return std::nullopt;
    return sound;
}

// What the stream itself says that it was opened from, else what the caller says. Empty: no file.
std::wstring fileOf(IMFByteStream* stream, LPCWSTR url) {
    ComPtr<IMFAttributes> attributes;
    std::wstring name;
    wchar_t* origin = nullptr;
    UINT32 length = 0;
    if (SUCCEEDED(stream->QueryInterface(__uuidof(IMFAttributes), attributes.putVoid())) &&
        SUCCEEDED(attributes->GetAllocatedString(MF_BYTESTREAM_ORIGIN_NAME, &origin, &length))) {
        name.assign(origin, length);
        CoTaskMemFree(origin);
    }
    if (name.empty() && url) name = url;
    return pathOfUrl(name);
}

} // namespace

// One file on its way to a media source. As it is handed out it stands for IUnknown only.
class SourceCreation final : public ComObject<IUnknown> {
public:
    SourceCreation(std::wstring path, SourceSound sound) : path_(std::move(path)), sound_(sound) {}

    // On a work queue; once.
    HRESULT run() {
        outcome_ = cancelled_ ? E_ABORT : createMp4MediaSource(path_, sound_, source_);
        held_.reset();
        return outcome_;
    }
    void cancel() { cancelled_ = true; }

    // Behind run.
    HRESULT take(IUnknown** source) {
        if (cancelled_) return E_ABORT;
        if (FAILED(outcome_)) return outcome_;
        *source = source_.detach();
        return *source ? S_OK : E_UNEXPECTED; // taken twice
    }

private:
    ~SourceCreation() override {
        if (source_) ignoreResult(source_->Shutdown(), "nobody took it");
    }

    const std::wstring path_;
    const SourceSound sound_;
    std::optional<HeldFile> held_{std::in_place}; // until the source's streams hold theirs
    std::atomic<bool> cancelled_{false};
    HRESULT outcome_ = E_PENDING;
    ComPtr<IMFMediaSource> source_;
};

// It is its own activation object, and keeps nothing between files: many may be opened at once.
// What belongs to one of them lies in the result of its creation.
class Mp4ByteStreamHandler final
    : public ForwardedAttributes<ComObject<IMFActivate, ByteStreamHandlerInterface>> {
public:
    explicit Mp4ByteStreamHandler(ComPtr<IMFAttributes> store)
        : ForwardedAttributes(std::move(store)) {}

    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        const bool attributes = IsEqualIID(id, __uuidof(IMFAttributes));
        return ForwardedAttributes::QueryInterface(attributes ? __uuidof(IMFActivate) : id, object);
    }
    STDMETHODIMP ActivateObject(REFIID id, void** object) override {
        return QueryInterface(id, object);
    }
    STDMETHODIMP ShutdownObject() override { return S_OK; }
    STDMETHODIMP DetachObject() override { return S_OK; }

    STDMETHODIMP BeginCreateObject(IMFByteStream* stream, LPCWSTR url, DWORD flags,
                                   IPropertyStore* properties, IUnknown** cancelCookie,
                                   IMFAsyncCallback* callback, IUnknown* state) override;

    STDMETHODIMP EndCreateObject(IMFAsyncResult* result, MF_OBJECT_TYPE* type,
                                 IUnknown** object) override {
        if (!result || !type || !object) return E_POINTER;
        *type = MF_OBJECT_INVALID;
        *object = nullptr;
        ComPtr<IUnknown> creation;
        RETURN_IF_FAILED(result->GetObject(creation.put()));
        RETURN_IF_FAILED(static_cast<SourceCreation*>(creation.get())->take(object));
        *type = MF_OBJECT_MEDIASOURCE;
        return S_OK;
    }

    STDMETHODIMP CancelObjectCreation(IUnknown* cancelCookie) override {
        if (!cancelCookie) return E_POINTER;
        static_cast<SourceCreation*>(cancelCookie)->cancel();
        return S_OK;
    }

    // The file is read by its name; the stream isn't touched.
    STDMETHODIMP GetMaxNumberOfBytesRequiredForResolution(QWORD* bytes) override {
        if (!bytes) return E_POINTER;
        *bytes = 0;
        return S_OK;
    }
};

STDMETHODIMP Mp4ByteStreamHandler::BeginCreateObject(IMFByteStream* stream, LPCWSTR url,
                                                     DWORD flags, IPropertyStore*,
                                                     IUnknown** cancelCookie,
                                                     IMFAsyncCallback* callback, IUnknown* state) {
    if (cancelCookie) *cancelCookie = nullptr;
    if (!stream || !callback || !(flags & MF_RESOLUTION_MEDIASOURCE)) return E_INVALIDARG;
    const std::optional<SourceSound> sound = servedSound();
    if (!sound) return MF_E_UNSUPPORTED_BYTESTREAM_TYPE;
    try {
        std::wstring path = fileOf(stream, url);
        if (path.empty()) return MF_E_UNSUPPORTED_BYTESTREAM_TYPE;
        const auto creation =
            ComPtr<SourceCreation>::adopt(new SourceCreation(std::move(path), *sound));
        ComPtr<IMFAsyncResult> result;
        RETURN_IF_FAILED(MFCreateAsyncResult(creation.get(), callback, state, result.put()));
        const auto line = ComPtr<WorkLine>::adopt(new WorkLine);
        // Before the work can begin: the callback may come, and this caller be gone, at any moment.
        if (cancelCookie) *cancelCookie = ComPtr<SourceCreation>(creation).detach();
        const HRESULT added = line->add([creation, result] {
            ignoreResult(result->SetStatus(creation->run()), "EndCreateObject tells it as well");
            ignoreResult(MFInvokeCallback(result.get()), "there is nobody else to tell");
        });
        if (FAILED(added) && cancelCookie) std::exchange(*cancelCookie, nullptr)->Release();
        return added;
    } catch (const std::bad_alloc&) { return E_OUTOFMEMORY; }
}

HRESULT createMp4ByteStreamHandler(ComPtr<IMFActivate>& handler) {
    ComPtr<IMFAttributes> store;
    RETURN_IF_FAILED(MFCreateAttributes(store.put(), STORE_ENTRIES));
    handler = ComPtr<IMFActivate>::adopt(new Mp4ByteStreamHandler(std::move(store)));
    return S_OK;
}

HRESULT registerMp4Source() {
    static std::atomic<bool> done{false};
    if (isSwitchedOff() || done.exchange(true)) return S_OK;
    ComPtr<IMFActivate> handler;
    RETURN_IF_FAILED(createMp4ByteStreamHandler(handler));
    RETURN_IF_FAILED(MFRegisterLocalByteStreamHandler(EXTENSION, L"video/mp4", handler.get()));
    registered = true;
    return S_OK;
}

std::optional<SourceSound> mp4SourceFor(const std::wstring& path) {
    const std::size_t dot = path.find_last_of(L"./\\");
    if (!registered || dot == std::wstring::npos) return std::nullopt;
    if (CompareStringOrdinal(path.c_str() + dot, -1, EXTENSION, -1, TRUE) != CSTR_EQUAL)
        return std::nullopt;
    return servedSound();
}

} // namespace velkantrix
