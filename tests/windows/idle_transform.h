// idle_transform.h: a transform that is there to be asked for its attributes.
#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mftransform.h>

#include <utility>

#include <gtest/gtest.h>

#include "base/com_ptr.h"
#include "tests/windows/scripted_media.h"

namespace velkantrix {

// A transform that has attributes, or hasn't, and does nothing.
class IdleTransform final : public Counted<IMFTransform> {
public:
    explicit IdleTransform(ComPtr<IMFAttributes> attributes) : attributes_(std::move(attributes)) {}

    HRESULT STDMETHODCALLTYPE GetAttributes(IMFAttributes** attributes) override {
        *attributes = ComPtr<IMFAttributes>(attributes_).detach();
        return *attributes ? S_OK : E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE GetStreamLimits(DWORD*, DWORD*, DWORD*, DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetStreamCount(DWORD*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInputStreamInfo(DWORD, MFT_INPUT_STREAM_INFO*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInputStreamAttributes(DWORD, IMFAttributes**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetOutputStreamAttributes(DWORD, IMFAttributes**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteInputStream(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetInputAvailableType(DWORD, DWORD, IMFMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD, DWORD, IMFMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetInputType(DWORD, IMFMediaType*, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetOutputType(DWORD, IMFMediaType*, DWORD) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInputCurrentType(DWORD, IMFMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD, IMFMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetInputStatus(DWORD, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetOutputStatus(DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE, ULONG_PTR) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ProcessInput(DWORD, IMFSample*, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER*,
                                            DWORD*) override {
        return E_NOTIMPL;
    }

private:
    const ComPtr<IMFAttributes> attributes_;
};

inline ComPtr<IMFAttributes> noAttributes() {
    ComPtr<IMFAttributes> attributes;
    EXPECT_EQ(MFCreateAttributes(attributes.put(), 1), S_OK);
    return attributes;
}

inline ComPtr<IMFTransform> transformWith(const ComPtr<IMFAttributes>& attributes) {
    return ComPtr<IMFTransform>::adopt(new IdleTransform(attributes));
}

} // namespace velkantrix
