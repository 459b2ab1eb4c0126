#include "tests/windows/scripted_engine.h"

#include <chrono>
#include <future>
#include <memory>
#include <sstream>
#include <thread>

#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr std::chrono::seconds FOR_EVER{20};

ComPtr<ID3D11Texture2D> textureOf(IUnknown* surface) {
    ComPtr<ID3D11Texture2D> texture;
    if (surface)
        ignoreResult(surface->QueryInterface(__uuidof(ID3D11Texture2D), texture.putVoid()),
                     "a test will miss it");
    return texture;
}

D3D11_TEXTURE2D_DESC describe(ID3D11Texture2D* texture) {
    D3D11_TEXTURE2D_DESC description = {};
    if (texture) texture->GetDesc(&description);
    return description;
}

void paint(ID3D11Texture2D* texture, std::uint8_t grey) {
    if (!texture) return;
    const D3D11_TEXTURE2D_DESC size = describe(texture);
    const std::vector<std::uint8_t> pixels(std::size_t{size.Width} * size.Height * 4, grey);
    ComPtr<ID3D11Device> device;
    texture->GetDevice(device.put());
    ComPtr<ID3D11DeviceContext> context;
    device->GetImmediateContext(context.put());
    context->UpdateSubresource(texture, 0, nullptr, pixels.data(), size.Width * 4, 0);
}

} // namespace

bool ScriptedEngine::fire(DWORD event) const {
    const auto handled = std::make_shared<std::promise<void>>();
    std::future<void> done = handled->get_future();
    std::thread told([notify = notify_, event, handled]() mutable {
        notify->EventNotify(event, 0, 0);
        notify.reset(); // whoever counts the callbacks waits for this, too
        handled->set_value();
    });
    const bool comesBack = done.wait_for(FOR_EVER) == std::future_status::ready;
    // mingw's runtime now and then loses the thread that is started next when one is detached just
    // as it ends.
    if (comesBack)
        told.join();
    else
        told.detach();
    return comesBack;
}

void ScriptedEngine::offer(HRESULT result, Ticks time) {
    const Lock held(lock_);
    offered_.emplace_back(result, time);
}

void ScriptedEngine::failTransfers(int count) {
    const Lock held(lock_);
    failingTransfers_ = count;
}

std::vector<std::string> ScriptedEngine::calls() const {
    const Lock held(lock_);
    return calls_;
}

void ScriptedEngine::forgetCalls() {
    const Lock held(lock_);
    calls_.clear();
}

std::wstring ScriptedEngine::source() const {
    const Lock held(lock_);
    return source_;
}

std::vector<EngineTransfer> ScriptedEngine::transfers() const {
    const Lock held(lock_);
    return transfers_;
}

bool ScriptedEngine::allOffered() const {
    const Lock held(lock_);
    return offered_.empty();
}

bool ScriptedEngine::presenterThreadEnds() const {
    constexpr auto LONGEST =
        static_cast<DWORD>(std::chrono::duration_cast<std::chrono::milliseconds>(FOR_EVER).count());
    HANDLE thread = nullptr;
    {
        const Lock held(lock_);
        thread = presenterThread_.get();
    }
    return WaitForSingleObject(thread, LONGEST) == WAIT_OBJECT_0;
}

ThreadApartment ScriptedEngine::presenterApartment() const {
    const Lock held(lock_);
    return apartment_.value_or(ThreadApartment{});
}

// There is one for each engine.
void ScriptedEngine::meetPresenterThread() {
    if (apartment_) return;
    ThreadApartment apartment;
    apartment.result = CoGetApartmentType(&apartment.type, &apartment.qualifier);
    apartment_ = apartment;
    presenterThread_.reset(OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId()));
}

HRESULT ScriptedEngine::note(const std::string& call) {
    const Lock held(lock_);
    calls_.push_back(call);
    return S_OK;
}

HRESULT ScriptedEngine::note(const std::string& call, double value) {
    std::ostringstream text;
    text << call << ' ' << value;
    return note(text.str());
}

STDMETHODIMP ScriptedEngine::SetSource(BSTR url) {
    note("SetSource");
    const Lock held(lock_);
    source_ = url ? url : L"";
    return script.source;
}

STDMETHODIMP ScriptedEngine::Shutdown() {
    note("Shutdown");
    if (script.whileShutdown) script.whileShutdown();
    for (const DWORD event : script.eventsOfShutdown) {
        if (!fire(event)) shutdownWaitedForEver = true;
    }
    notify_.reset();
    return S_OK;
}

STDMETHODIMP ScriptedEngine::GetNativeVideoSize(DWORD* width, DWORD* height) {
    *width = script.width;
    *height = script.height;
    return script.size;
}

STDMETHODIMP ScriptedEngine::OnVideoStreamTick(LONGLONG* time) {
    ++ticks_;
    const Lock held(lock_);
    meetPresenterThread();
    if (offered_.empty()) return S_FALSE;
    const auto [result, offered] = offered_.front();
    offered_.pop_front();
    *time = offered;
    return result;
}

STDMETHODIMP ScriptedEngine::TransferVideoFrame(IUnknown* surface,
                                                const MFVideoNormalizedRect* source,
                                                const RECT* destination, const MFARGB* border) {
    const ComPtr<ID3D11Texture2D> texture = textureOf(surface);
    paint(texture.get(), script.grey);
    if (script.whileTransfer) script.whileTransfer();
    EngineTransfer transfer{.surface = describe(texture.get()),
                            .hasSource = source != nullptr,
                            .hasDestination = destination != nullptr,
                            .hasBorder = border != nullptr};
    if (destination) transfer.destination = *destination;
    if (border) transfer.border = *border;
    const Lock held(lock_);
    transfers_.push_back(transfer);
    if (failingTransfers_ <= 0) return S_OK;
    --failingTransfers_;
    return E_FAIL;
}

// COM objects don't stand in an unnamed namespace: see scripted_media.h.
class ScriptedFactory final : public ComObject<IMFMediaEngineClassFactory> {
public:
    explicit ScriptedFactory(EngineMaking& making) : making_(making) {}

    STDMETHODIMP CreateInstance(DWORD flags, IMFAttributes* attributes,
                                IMFMediaEngine** engine) override {
        ++making_.asked;
        *engine = nullptr;
        making_.flags = flags;
        ignoreResult(
            attributes->GetUINT32(MF_MEDIA_ENGINE_VIDEO_OUTPUT_FORMAT, &making_.outputFormat),
            "a test looks at it");
        ComPtr<IMFDXGIDeviceManager> manager;
        making_.hasManager = SUCCEEDED(attributes->GetUnknown(
            MF_MEDIA_ENGINE_DXGI_MANAGER, __uuidof(IMFDXGIDeviceManager), manager.putVoid()));
        ComPtr<IMFMediaEngineNotify> notify;
        making_.hasCallback = SUCCEEDED(attributes->GetUnknown(
            MF_MEDIA_ENGINE_CALLBACK, __uuidof(IMFMediaEngineNotify), notify.putVoid()));
        if (FAILED(making_.creation) || !making_.givesEngine) return making_.creation;
        making_.engine =
            ComPtr<ScriptedEngine>::adopt(new ScriptedEngine(making_.script, std::move(notify)));
        *engine = ComPtr<ScriptedEngine>(making_.engine).detach();
        return making_.creation;
    }
    STDMETHODIMP CreateTimeRange(IMFMediaTimeRange**) override { return E_NOTIMPL; }
    STDMETHODIMP CreateError(IMFMediaError**) override { return E_NOTIMPL; }

private:
    EngineMaking& making_;
};

class ScriptedClass final : public ComObject<IClassFactory> {
public:
    explicit ScriptedClass(EngineMaking& making) : making_(making) {}

    STDMETHODIMP CreateInstance(IUnknown*, REFIID id, void** object) override {
        *object = nullptr;
        if (FAILED(making_.factory)) return making_.factory;
        const auto factory = ComPtr<ScriptedFactory>::adopt(new ScriptedFactory(making_));
        return factory->QueryInterface(id, object);
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }

private:
    EngineMaking& making_;
};

ScriptedEngines::ScriptedEngines() {
    const auto made = ComPtr<ScriptedClass>::adopt(new ScriptedClass(making));
    result_ = CoRegisterClassObject(CLSID_MFMediaEngineClassFactory, made.get(),
                                    CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &registration_);
}

ScriptedEngines::~ScriptedEngines() {
    if (SUCCEEDED(result_)) CoRevokeClassObject(registration_);
}

} // namespace velkantrix
