// luma_reader.h: a source reader of pictures that a test wrote down. Used by one thread.
#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mferror.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <utility>
#include <vector>

#include "tests/windows/scripted_media.h"

namespace velkantrix {

// One read: a picture of so many bytes of one luma, or none.
struct LumaRead {
    std::size_t size = 0;
    std::uint8_t luma = 0;
    DWORD flags = 0;
    HRESULT result = S_OK;
};

// A stream of NV12, 16 by 4 pixels unless the test says otherwise.
class LumaReader final : public Counted<IMFSourceReader> {
public:
    std::deque<LumaRead> reads; // behind them every read fails
    UINT32 width = 16;
    UINT32 height = 4;
    HRESULT typeResult = S_OK;
    HRESULT seekResult = S_OK;
    std::vector<LONGLONG> positions;
    std::vector<std::pair<DWORD, BOOL>> selections;
    GUID asked = GUID_NULL; // the type

    HRESULT STDMETHODCALLTYPE GetStreamSelection(DWORD, BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetStreamSelection(DWORD index, BOOL selected) override {
        selections.emplace_back(index, selected);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetNativeMediaType(DWORD, DWORD, IMFMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentMediaType(DWORD, IMFMediaType** type) override {
        const HRESULT made = MFCreateMediaType(type);
        if (FAILED(made)) return made;
        return MFSetAttributeSize(*type, MF_MT_FRAME_SIZE, width, height);
    }
    HRESULT STDMETHODCALLTYPE SetCurrentMediaType(DWORD, DWORD*, IMFMediaType* type) override {
        type->GetGUID(MF_MT_SUBTYPE, &asked);
        return typeResult;
    }
    HRESULT STDMETHODCALLTYPE SetCurrentPosition(REFGUID, REFPROPVARIANT position) override {
        positions.push_back(position.hVal.QuadPart);
        return seekResult;
    }
    HRESULT STDMETHODCALLTYPE ReadSample(DWORD, DWORD, DWORD*, DWORD* flags, LONGLONG* time,
                                         IMFSample** sample) override {
        if (reads.empty()) return E_UNEXPECTED;
        const LumaRead read = reads.front();
        reads.pop_front();
        *flags = read.flags;
        *time = 0;
        *sample = nullptr;
        if (FAILED(read.result) || read.size == 0) return read.result;
        return makeSample(read, sample);
    }
    HRESULT STDMETHODCALLTYPE Flush(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetServiceForStream(DWORD, REFGUID, REFIID, void**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPresentationAttribute(DWORD, REFGUID, PROPVARIANT*) override {
        return E_NOTIMPL;
    }

private:
    // In two buffers, which the one that reads it has to join.
    static HRESULT makeSample(const LumaRead& read, IMFSample** sample) {
        const HRESULT made = MFCreateSample(sample);
        for (const std::size_t size : {read.size / 2, read.size - read.size / 2}) {
            if (FAILED(made) || size == 0) continue;
            ComPtr<IMFMediaBuffer> buffer;
            BYTE* bytes = nullptr;
            MFCreateMemoryBuffer(static_cast<DWORD>(size), buffer.put());
            buffer->Lock(&bytes, nullptr, nullptr);
            std::memset(bytes, read.luma, size);
            buffer->Unlock();
            buffer->SetCurrentLength(static_cast<DWORD>(size));
            (*sample)->AddBuffer(buffer.get());
        }
        return made;
    }
};

} // namespace velkantrix
