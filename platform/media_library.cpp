// media_library.cpp: stands in the program for Media Foundation's import libraries.
//
// Editions of Windows without media features lack its DLLs, or have some that do nothing. A program
// that imports from them can't even start there; this one can, and tells the user what to install.
// So the functions that the program uses are defined here, by their documented names, and passed on
// to DLLs that are loaded at the first call. A function that isn't there answers as a missing
// module does.
#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>
#include <mftransform.h>

#include "platform/library.h"

namespace {

constexpr HRESULT MISSING = HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);

// Never freed: Media Foundation has threads of its own until the process ends.
template <class Function>
Function* platformFunction(const char* name) {
    static const HMODULE library = velkantrix::loadSystemLibrary(L"mfplat.dll");
    return velkantrix::findFunction<Function>(library, name);
}

template <class Function>
Function* readWriteFunction(const char* name) {
    static const HMODULE library = velkantrix::loadSystemLibrary(L"mfreadwrite.dll");
    return velkantrix::findFunction<Function>(library, name);
}

} // namespace

extern "C" {

HRESULT WINAPI MFStartup(ULONG version, DWORD flags) {
    const auto function = platformFunction<decltype(MFStartup)>("MFStartup");
    return function ? function(version, flags) : MISSING;
}

HRESULT WINAPI MFShutdown() {
    const auto function = platformFunction<decltype(MFShutdown)>("MFShutdown");
    return function ? function() : MISSING;
}

HRESULT WINAPI MFCreateAttributes(IMFAttributes** attributes, UINT32 size) {
    const auto function = platformFunction<decltype(MFCreateAttributes)>("MFCreateAttributes");
    return function ? function(attributes, size) : MISSING;
}

HRESULT WINAPI MFCreateMediaType(IMFMediaType** type) {
    const auto function = platformFunction<decltype(MFCreateMediaType)>("MFCreateMediaType");
    return function ? function(type) : MISSING;
}

HRESULT WINAPI MFCreateDXGIDeviceManager(UINT* token, IMFDXGIDeviceManager** manager) {
    const auto function =
        platformFunction<decltype(MFCreateDXGIDeviceManager)>("MFCreateDXGIDeviceManager");
    return function ? function(token, manager) : MISSING;
}

HRESULT WINAPI MFCreateAsyncResult(IUnknown* object, IMFAsyncCallback* callback, IUnknown* state,
                                   IMFAsyncResult** result) {
    const auto function = platformFunction<decltype(MFCreateAsyncResult)>("MFCreateAsyncResult");
    return function ? function(object, callback, state, result) : MISSING;
}

HRESULT WINAPI MFCreateEventQueue(IMFMediaEventQueue** queue) {
    const auto function = platformFunction<decltype(MFCreateEventQueue)>("MFCreateEventQueue");
    return function ? function(queue) : MISSING;
}

HRESULT WINAPI MFCreateMemoryBuffer(DWORD size, IMFMediaBuffer** buffer) {
    const auto function = platformFunction<decltype(MFCreateMemoryBuffer)>("MFCreateMemoryBuffer");
    return function ? function(size, buffer) : MISSING;
}

HRESULT WINAPI MFCreatePresentationDescriptor(DWORD count, IMFStreamDescriptor** streams,
                                              IMFPresentationDescriptor** presentation) {
    const auto function = platformFunction<decltype(MFCreatePresentationDescriptor)>(
        "MFCreatePresentationDescriptor");
    return function ? function(count, streams, presentation) : MISSING;
}

HRESULT WINAPI MFCreateSample(IMFSample** sample) {
    const auto function = platformFunction<decltype(MFCreateSample)>("MFCreateSample");
    return function ? function(sample) : MISSING;
}

HRESULT WINAPI MFCreateStreamDescriptor(DWORD id, DWORD count, IMFMediaType** types,
                                        IMFStreamDescriptor** stream) {
    const auto function =
        platformFunction<decltype(MFCreateStreamDescriptor)>("MFCreateStreamDescriptor");
    return function ? function(id, count, types, stream) : MISSING;
}

HRESULT WINAPI MFInvokeCallback(IMFAsyncResult* result) {
    const auto function = platformFunction<decltype(MFInvokeCallback)>("MFInvokeCallback");
    return function ? function(result) : MISSING;
}

HRESULT WINAPI MFPutWorkItem(DWORD queue, IMFAsyncCallback* callback, IUnknown* state) {
    const auto function = platformFunction<decltype(MFPutWorkItem)>("MFPutWorkItem");
    return function ? function(queue, callback, state) : MISSING;
}

HRESULT WINAPI MFRegisterLocalByteStreamHandler(PCWSTR extension, PCWSTR mimeType,
                                                IMFActivate* activation) {
    const auto function = platformFunction<decltype(MFRegisterLocalByteStreamHandler)>(
        "MFRegisterLocalByteStreamHandler");
    return function ? function(extension, mimeType, activation) : MISSING;
}

HRESULT WINAPI MFTEnumEx(GUID category, UINT32 flags, const MFT_REGISTER_TYPE_INFO* input,
                         const MFT_REGISTER_TYPE_INFO* output, IMFActivate*** found,
                         UINT32* count) {
    const auto function = platformFunction<decltype(MFTEnumEx)>("MFTEnumEx");
    return function ? function(category, flags, input, output, found, count) : MISSING;
}

HRESULT WINAPI MFCreateSourceReaderFromURL(LPCWSTR url, IMFAttributes* attributes,
                                           IMFSourceReader** reader) {
    const auto function =
        readWriteFunction<decltype(MFCreateSourceReaderFromURL)>("MFCreateSourceReaderFromURL");
    return function ? function(url, attributes, reader) : MISSING;
}

HRESULT WINAPI MFCreateSinkWriterFromURL(LPCWSTR url, IMFByteStream* stream,
                                         IMFAttributes* attributes, IMFSinkWriter** writer) {
    const auto function =
        readWriteFunction<decltype(MFCreateSinkWriterFromURL)>("MFCreateSinkWriterFromURL");
    return function ? function(url, stream, attributes, writer) : MISSING;
}

} // extern "C"
