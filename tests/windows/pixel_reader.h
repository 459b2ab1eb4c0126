// pixel_reader.h: a source reader of small pictures with 32 bits a pixel, for what is asked of it
// and what it may answer. Used by one thread at a time.
#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mferror.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "base/ticks.h"
#include "tests/windows/scripted_media.h"

namespace velkantrix {

struct PixelPicture {
    Ticks time = 0;
    std::uint8_t grey = 0; // of the top row; each row below has one more
    bool isKey = false;
    std::function<void()> newType{}; // changes what is granted, from this one on
};

// What the test says, and what was seen. Outlives its readers.
struct PixelScript {
    UINT32 width = 2; // granted, whatever is asked for
    UINT32 height = 2;
    INT32 stride = 8;        // granted
    bool tellsStride = true; // else nothing is said
    std::size_t missingBytes = 0;
    std::vector<PixelPicture> pictures; // in the order of showing
    HRESULT typeResult = S_OK;
    HRESULT seekResult = S_OK;
    std::atomic<int> readsBeforeFailure{1'000'000};
    int emptyReads = 0;                               // before each picture
    Ticks length = std::numeric_limits<Ticks>::max(); // behind it there is an end at once
    HRESULT behindLength = S_OK;                      // or this, by the first read
    std::function<void()> onRead;

    std::atomic<int> made{0};
    std::atomic<int> reads{0};
    std::atomic<int> callsBehindFailures{0}; // of one and the same reader, which nobody may make
    std::vector<LONGLONG> positions;
    std::vector<std::pair<DWORD, BOOL>> selections;
    ComPtr<IMFMediaType> asked;
};

class PixelReader final : public Counted<IMFSourceReader> {
public:
    explicit PixelReader(PixelScript& script) : script_(script) { ++script_.made; }

    HRESULT STDMETHODCALLTYPE SetStreamSelection(DWORD index, BOOL selected) override {
        script_.selections.emplace_back(index, selected);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentMediaType(DWORD, IMFMediaType** type) override {
        const HRESULT made = MFCreateMediaType(type);
        if (FAILED(made)) return made;
        if (script_.tellsStride)
            (*type)->SetUINT32(MF_MT_DEFAULT_STRIDE, static_cast<UINT32>(script_.stride));
        return MFSetAttributeSize(*type, MF_MT_FRAME_SIZE, script_.width, script_.height);
    }
    HRESULT STDMETHODCALLTYPE SetCurrentMediaType(DWORD, DWORD*, IMFMediaType* type) override {
        script_.asked = ComPtr<IMFMediaType>::share(type);
        return script_.typeResult;
    }
    HRESULT STDMETHODCALLTYPE SetCurrentPosition(REFGUID, REFPROPVARIANT position) override {
        if (failed_) ++script_.callsBehindFailures;
        const LONGLONG at = position.hVal.QuadPart;
        script_.positions.push_back(at);
        next_ = 0;
        for (std::size_t i = 0; i < script_.pictures.size(); ++i)
            if (script_.pictures[i].isKey && script_.pictures[i].time <= at) next_ = i;
        behind_ = at >= script_.length;
        if (behind_) next_ = script_.pictures.size();
        return script_.seekResult;
    }
    HRESULT STDMETHODCALLTYPE ReadSample(DWORD, DWORD, DWORD*, DWORD* flags, LONGLONG* time,
                                         IMFSample** sample) override {
        *flags = 0;
        *time = 0;
        *sample = nullptr;
        ++script_.reads;
        if (script_.onRead) script_.onRead();
        if (failed_) ++script_.callsBehindFailures;
        HRESULT result = behind_ ? script_.behindLength : S_OK;
        if (script_.readsBeforeFailure-- <= 0) result = MF_E_INVALID_STREAM_DATA;
        failed_ = failed_ || FAILED(result);
        if (failed_) {
            *flags = MF_SOURCE_READERF_ERROR;
            return FAILED(result) ? result : E_FAIL;
        }
        if (++empty_ <= script_.emptyReads) return S_OK;
        empty_ = 0;
        if (next_ >= script_.pictures.size()) {
            *flags = MF_SOURCE_READERF_ENDOFSTREAM;
            return S_OK;
        }
        const PixelPicture& picture = script_.pictures[next_++];
        *time = picture.time;
        if (picture.newType) {
            picture.newType();
            *flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
        }
        return makeSample(picture, sample);
    }

    HRESULT STDMETHODCALLTYPE GetStreamSelection(DWORD, BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNativeMediaType(DWORD, DWORD, IMFMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Flush(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetServiceForStream(DWORD, REFGUID, REFIID, void**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPresentationAttribute(DWORD, REFGUID, PROPVARIANT*) override {
        return E_NOTIMPL;
    }

private:
    HRESULT makeSample(const PixelPicture& picture, IMFSample** sample) const {
        const UINT32 step = static_cast<UINT32>(std::abs(script_.stride));
        const DWORD size = step * script_.height;
        ComPtr<IMFMediaBuffer> buffer;
        BYTE* bytes = nullptr;
        MFCreateMemoryBuffer(size, buffer.put());
        buffer->Lock(&bytes, nullptr, nullptr);
        for (UINT32 row = 0; row < script_.height; ++row) {
            const UINT32 place = script_.stride < 0 ? script_.height - 1 - row : row;
            std::memset(bytes + place * step, picture.grey + static_cast<int>(row), step);
        }
        buffer->Unlock();
        buffer->SetCurrentLength(size - static_cast<DWORD>(script_.missingBytes));
        const HRESULT made = MFCreateSample(sample);
        if (SUCCEEDED(made)) (*sample)->AddBuffer(buffer.get());
        return made;
    }

    PixelScript& script_;
    std::size_t next_ = 0;
    int empty_ = 0;
    bool behind_ = false; // the length
    bool failed_ = false;
};

} // namespace velkantrix
