// byte_stream_handler_interface.h: IMFByteStreamHandler as it is documented. Not all headers
// declare it, so it has a name of its own here.
#pragma once

#include <windows.h>

#include <mfidl.h>

namespace velkantrix {

// The system's interfaces have no virtual destructors: their objects end by Release.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// clang-format off: it doesn't know the system's macro for the beginning of a struct.
MIDL_INTERFACE("bb420aa4-765b-4a1f-91fe-d6a8a143924c")
ByteStreamHandlerInterface : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE BeginCreateObject(IMFByteStream* stream, LPCWSTR url,
                                                        DWORD flags, IPropertyStore* properties,
                                                        IUnknown** cancelCookie,
                                                        IMFAsyncCallback* callback,
                                                        IUnknown* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE EndCreateObject(IMFAsyncResult* result, MF_OBJECT_TYPE* type,
                                                      IUnknown** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE CancelObjectCreation(IUnknown* cancelCookie) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMaxNumberOfBytesRequiredForResolution(QWORD* bytes) = 0;
};
// clang-format on

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

} // namespace velkantrix

#ifdef __CRT_UUID_DECL // mingw-w64's way to give it its id
__CRT_UUID_DECL(velkantrix::ByteStreamHandlerInterface, 0xbb420aa4, 0x765b, 0x4a1f, 0x91, 0xfe,
                0xd6, 0xa8, 0xa1, 0x43, 0x92, 0x4c)
#endif
