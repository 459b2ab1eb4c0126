#include "tests/windows/scripted_transform.h"

#include <mfapi.h>
#include <mferror.h>

#include <atomic>
#include <cstring>

namespace velkantrix {

namespace {

std::atomic<int> activates{0};
ScriptedDecoders* decoders = nullptr;

ComPtr<IMFSample> memorySample(const ScriptedOutput& output) {
    ComPtr<IMFSample> sample;
    ComPtr<IMFMediaBuffer> buffer;
    MFCreateMemoryBuffer(16, buffer.put());
    buffer->SetCurrentLength(16);
    MFCreateSample(sample.put());
    sample->AddBuffer(buffer.get());
    sample->SetSampleTime(output.time);
    if (output.interlaced) sample->SetUINT32(MFSampleExtension_Interlaced, *output.interlaced);
    return sample;
}

} // namespace

class ScriptedTransform final : public Counted<IMFTransform> {
public:
    explicit ScriptedTransform(std::shared_ptr<TransformScript> script)
        : script_(std::move(script)) {
        MFCreateAttributes(script_->attributes.put(), 2);
        script_->attributes->SetUINT32(MF_TRANSFORM_ASYNC, script_->isAsync);
        script_->attributes->SetUINT32(MF_SA_D3D11_AWARE, script_->isD3D11Aware);
    }

    STDMETHODIMP GetAttributes(IMFAttributes** attributes) override {
        if (!script_->hasAttributes) return E_NOTIMPL;
        *attributes = ComPtr<IMFAttributes>(script_->attributes).detach();
        return S_OK;
    }
    STDMETHODIMP GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO* info) override {
        *info = {};
        info->dwFlags = script_->outputFlags;
        return S_OK;
    }
    STDMETHODIMP SetInputType(DWORD stream, IMFMediaType* type, DWORD flags) override {
        if (stream != 0 || flags != 0) return E_INVALIDARG;
        script_->inputType = ComPtr<IMFMediaType>::share(type);
        return script_->inputTypeResult;
    }
    STDMETHODIMP GetOutputAvailableType(DWORD stream, DWORD index, IMFMediaType** type) override;
    STDMETHODIMP SetOutputType(DWORD, IMFMediaType* type, DWORD) override {
        script_->outputType = ComPtr<IMFMediaType>::share(type);
        return S_OK;
    }
    STDMETHODIMP ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override;
    STDMETHODIMP ProcessInput(DWORD, IMFSample* sample, DWORD) override;
    STDMETHODIMP ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* buffers, DWORD*) override;

    // What no decoder thread needs.
    STDMETHODIMP GetStreamLimits(DWORD*, DWORD*, DWORD*, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetStreamCount(DWORD*, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetInputStreamInfo(DWORD, MFT_INPUT_STREAM_INFO*) override { return E_NOTIMPL; }
    STDMETHODIMP GetInputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
    STDMETHODIMP GetOutputStreamAttributes(DWORD, IMFAttributes**) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteInputStream(DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetInputAvailableType(DWORD, DWORD, IMFMediaType**) override { return E_NOTIMPL; }
    STDMETHODIMP GetInputCurrentType(DWORD, IMFMediaType**) override { return E_NOTIMPL; }
    STDMETHODIMP GetOutputCurrentType(DWORD, IMFMediaType**) override { return E_NOTIMPL; }
    STDMETHODIMP GetInputStatus(DWORD, DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP GetOutputStatus(DWORD*) override { return E_NOTIMPL; }
    STDMETHODIMP SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
    STDMETHODIMP ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }

private:
    std::shared_ptr<TransformScript> script_;
    bool changed_ = false;
    std::deque<Ticks> held_; // pictures
    bool gives_ = false;     // the first of them
    bool isDraining_ = false;
};

HRESULT ScriptedTransform::GetOutputAvailableType(DWORD, DWORD index, IMFMediaType** type) {
    const auto& types =
        changed_ && !script_->typesAfterChange.empty() ? script_->typesAfterChange : script_->types;
    if (index >= types.size()) return MF_E_NO_MORE_TYPES;
    const ScriptedType& offered = types[index];
    const HRESULT made = MFCreateMediaType(type);
    if (FAILED(made)) return made;
    (*type)->SetGUID(MF_MT_SUBTYPE, offered.subtype);
    if (offered.width > 0)
        MFSetAttributeSize(*type, MF_MT_FRAME_SIZE, offered.width, offered.height);
    if (offered.aperture.Area.cx > 0)
        (*type)->SetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE,
                         reinterpret_cast<const UINT8*>(&offered.aperture),
                         sizeof offered.aperture);
    for (const auto& [key, value] : offered.more) (*type)->SetUINT32(key, value);
    return S_OK;
}

HRESULT ScriptedTransform::ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) {
    switch (message) {
    case MFT_MESSAGE_COMMAND_FLUSH:
        script_->calls.emplace_back("flush");
        held_.clear();
        isDraining_ = gives_ = false;
        return S_OK;
    case MFT_MESSAGE_COMMAND_DRAIN:
        script_->calls.emplace_back("drain");
        isDraining_ = true;
        return S_OK;
    case MFT_MESSAGE_NOTIFY_START_OF_STREAM:
        script_->calls.emplace_back("start");
        return S_OK;
    case MFT_MESSAGE_NOTIFY_BEGIN_STREAMING:
        script_->calls.emplace_back("begin");
        return S_OK;
    case MFT_MESSAGE_NOTIFY_END_STREAMING:
        script_->calls.emplace_back("end");
        return S_OK;
    case MFT_MESSAGE_SET_D3D_MANAGER:
        script_->calls.emplace_back("manager");
        script_->manager = parameter;
        return script_->managerResult;
    default:
        script_->calls.emplace_back("?");
        return E_INVALIDARG;
    }
}

HRESULT ScriptedTransform::ProcessInput(DWORD, IMFSample* sample, DWORD) {
    if (FAILED(script_->inputResult)) return script_->inputResult;
    if (script_->mostHeld > 0 && held_.size() >= script_->mostHeld) {
        ++script_->refusals;
        gives_ = true;
        return MF_E_NOTACCEPTING;
    }
    FedSample fed;
    LONGLONG number = 0;
    sample->GetSampleTime(&fed.time);
    if (SUCCEEDED(sample->GetSampleDuration(&number))) fed.duration = number;
    fed.cleanPoint = MFGetAttributeUINT32(sample, MFSampleExtension_CleanPoint, 0);
    ComPtr<IMFMediaBuffer> buffer;
    BYTE* bytes = nullptr;
    DWORD length = 0;
    sample->GetBufferByIndex(0, buffer.put());
    buffer->Lock(&bytes, nullptr, &length);
    fed.bytes.assign(reinterpret_cast<const char*>(bytes), length);
    buffer->Unlock();
    if (script_->givesFedPictures) script_->outputs.push_back({.time = fed.time});
    if (script_->mostHeld > 0) held_.push_back(fed.time);
    script_->fed.push_back(std::move(fed));
    return S_OK;
}

HRESULT ScriptedTransform::ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* buffers, DWORD*) {
    if (!held_.empty() && (gives_ || isDraining_)) {
        script_->outputs.push_back({.time = held_.front()});
        held_.pop_front();
        gives_ = false;
    }
    if (script_->outputs.empty()) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    const ScriptedOutput output = script_->outputs.front();
    script_->outputs.pop_front();
    if (output.result == MF_E_TRANSFORM_STREAM_CHANGE) changed_ = true;
    if (SUCCEEDED(output.result) && output.hasPicture)
        buffers->pSample = memorySample(output).detach();
    return output.result;
}

// The list's entries.
class ScriptedActivate final : public Counted<IMFActivate> {
public:
    explicit ScriptedActivate(const ScriptedCandidate& candidate)
        : script_(candidate.script), flags_(candidate.flags) {
        ++activates;
    }
    STDMETHODIMP ActivateObject(REFIID id, void** object) override {
        if (!script_) return E_FAIL;
        ++script_->activations;
        const auto transform = ComPtr<ScriptedTransform>::adopt(new ScriptedTransform(script_));
        return transform->QueryInterface(id, object);
    }
    STDMETHODIMP ShutdownObject() override {
        if (script_) ++script_->shutdowns;
        return S_OK;
    }
    STDMETHODIMP DetachObject() override { return S_OK; }

    STDMETHODIMP GetItem(REFGUID, PROPVARIANT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItemType(REFGUID, MF_ATTRIBUTE_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP CompareItem(REFGUID, REFPROPVARIANT, BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP Compare(IMFAttributes*, MF_ATTRIBUTES_MATCH_TYPE, BOOL*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP GetUINT32(REFGUID key, UINT32* value) override {
        if (flags_ == 0 || key != MF_TRANSFORM_FLAGS_Attribute) return MF_E_ATTRIBUTENOTFOUND;
        *value = flags_;
        return S_OK;
    }
    STDMETHODIMP GetUINT64(REFGUID, UINT64*) override { return E_NOTIMPL; }
    STDMETHODIMP GetDouble(REFGUID, double*) override { return E_NOTIMPL; }
    STDMETHODIMP GetGUID(REFGUID, GUID*) override { return E_NOTIMPL; }
    STDMETHODIMP GetStringLength(REFGUID, UINT32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetString(REFGUID, LPWSTR, UINT32, UINT32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetAllocatedString(REFGUID, LPWSTR*, UINT32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetBlobSize(REFGUID, UINT32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetBlob(REFGUID, UINT8*, UINT32, UINT32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetAllocatedBlob(REFGUID, UINT8**, UINT32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetUnknown(REFGUID, REFIID, void**) override { return E_NOTIMPL; }
    STDMETHODIMP SetItem(REFGUID, REFPROPVARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteItem(REFGUID) override { return E_NOTIMPL; }
    STDMETHODIMP DeleteAllItems() override { return E_NOTIMPL; }
    STDMETHODIMP SetUINT32(REFGUID, UINT32) override { return E_NOTIMPL; }
    STDMETHODIMP SetUINT64(REFGUID, UINT64) override { return E_NOTIMPL; }
    STDMETHODIMP SetDouble(REFGUID, double) override { return E_NOTIMPL; }
    STDMETHODIMP SetGUID(REFGUID, REFGUID) override { return E_NOTIMPL; }
    STDMETHODIMP SetString(REFGUID, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP SetBlob(REFGUID, const UINT8*, UINT32) override { return E_NOTIMPL; }
    STDMETHODIMP SetUnknown(REFGUID, IUnknown*) override { return E_NOTIMPL; }
    STDMETHODIMP LockStore() override { return E_NOTIMPL; }
    STDMETHODIMP UnlockStore() override { return E_NOTIMPL; }
    STDMETHODIMP GetCount(UINT32*) override { return E_NOTIMPL; }
    STDMETHODIMP GetItemByIndex(UINT32, GUID*, PROPVARIANT*) override { return E_NOTIMPL; }
    STDMETHODIMP CopyAllItems(IMFAttributes*) override { return E_NOTIMPL; }

private:
    ~ScriptedActivate() override { --activates; }

    std::shared_ptr<TransformScript> script_;
    UINT32 flags_;
};

ScriptedDecoders::ScriptedDecoders() {
    decoders = this;
}

ScriptedDecoders::~ScriptedDecoders() {
    decoders = nullptr;
}

int ScriptedDecoders::liveActivates() {
    return activates;
}

} // namespace velkantrix

// The linker passes the program's calls to the first, and the first's to the system's by the
// second.
extern "C" HRESULT WINAPI __real_MFTEnumEx(GUID category, UINT32 flags,
                                           const MFT_REGISTER_TYPE_INFO* input,
                                           const MFT_REGISTER_TYPE_INFO* output,
                                           IMFActivate*** found, UINT32* count);
extern "C" HRESULT WINAPI __wrap_MFTEnumEx(GUID category, UINT32 flags,
                                           const MFT_REGISTER_TYPE_INFO* input,
                                           const MFT_REGISTER_TYPE_INFO* output,
                                           IMFActivate*** found, UINT32* count) {
    using namespace velkantrix;
    if (!decoders) return __real_MFTEnumEx(category, flags, input, output, found, count);
    decoders->searches.push_back({category, flags, input->guidSubtype, output->guidSubtype});
    if (FAILED(decoders->result)) return decoders->result;
    const auto& list = flags & MFT_ENUM_FLAG_HARDWARE ? decoders->hardware : decoders->software;
    *count = static_cast<UINT32>(list.size());
    *found = nullptr;
    if (list.empty()) return S_OK;
    *found = static_cast<IMFActivate**>(CoTaskMemAlloc(list.size() * sizeof(IMFActivate*)));
    for (std::size_t i = 0; i < list.size(); ++i) (*found)[i] = new ScriptedActivate(list[i]);
    return S_OK;
}
