#include "tests/windows/media_calls.h"

#include <mfapi.h>

namespace velkantrix {

MediaCalls& mediaCalls() {
    thread_local MediaCalls calls;
    return calls;
}

} // namespace velkantrix

using velkantrix::mediaCalls;
using velkantrix::MediaFunction;

// The linker passes the program's calls to the first of each, and the first's to the system's by
// the second.
extern "C" {

HRESULT WINAPI __real_MFCreateAttributes(IMFAttributes** attributes, UINT32 size);
HRESULT WINAPI __wrap_MFCreateAttributes(IMFAttributes** attributes, UINT32 size) {
    const HRESULT hr = mediaCalls().begin(MediaFunction::CreateAttributes);
    return FAILED(hr) ? hr : __real_MFCreateAttributes(attributes, size);
}

HRESULT WINAPI __real_MFCreateMediaType(IMFMediaType** type);
HRESULT WINAPI __wrap_MFCreateMediaType(IMFMediaType** type) {
    const HRESULT hr = mediaCalls().begin(MediaFunction::CreateMediaType);
    return FAILED(hr) ? hr : __real_MFCreateMediaType(type);
}

HRESULT WINAPI __real_MFCreateMemoryBuffer(DWORD size, IMFMediaBuffer** buffer);
HRESULT WINAPI __wrap_MFCreateMemoryBuffer(DWORD size, IMFMediaBuffer** buffer) {
    const HRESULT hr = mediaCalls().begin(MediaFunction::CreateMemoryBuffer);
    return FAILED(hr) ? hr : __real_MFCreateMemoryBuffer(size, buffer);
}

HRESULT WINAPI __real_MFCreateSample(IMFSample** sample);
HRESULT WINAPI __wrap_MFCreateSample(IMFSample** sample) {
    const HRESULT hr = mediaCalls().begin(MediaFunction::CreateSample);
    return FAILED(hr) ? hr : __real_MFCreateSample(sample);
}

HRESULT WINAPI __real_MFCreateDXGIDeviceManager(UINT* token, IMFDXGIDeviceManager** manager);
HRESULT WINAPI __wrap_MFCreateDXGIDeviceManager(UINT* token, IMFDXGIDeviceManager** manager) {
    const HRESULT hr = mediaCalls().begin(MediaFunction::CreateDeviceManager);
    return FAILED(hr) ? hr : __real_MFCreateDXGIDeviceManager(token, manager);
}

HRESULT WINAPI __real_MFCreateSinkWriterFromURL(const wchar_t* url, IMFByteStream* stream,
                                                IMFAttributes* attributes, IMFSinkWriter** writer);
HRESULT WINAPI __wrap_MFCreateSinkWriterFromURL(const wchar_t* url, IMFByteStream* stream,
                                                IMFAttributes* attributes, IMFSinkWriter** writer) {
    if (!mediaCalls().makeWriter) {
        return __real_MFCreateSinkWriterFromURL(url, stream, attributes, writer);
    }
    velkantrix::WriterRequest request{.url = url, .attributes = {}};
    if (FAILED(__real_MFCreateAttributes(request.attributes.put(), 0)) ||
        (attributes && FAILED(attributes->CopyAllItems(request.attributes.get()))))
        return E_OUTOFMEMORY;
    *writer = mediaCalls().makeWriter(request).detach();
    return *writer ? S_OK : E_FAIL;
}

} // extern "C"
