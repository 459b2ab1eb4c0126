// sound_reader.h: a source reader of sound that a test wrote down. Used by one thread at a time.
#pragma once

#include <windows.h>

#include <mfapi.h>
#include <mferror.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/ticks.h"
#include "platform/mf_util.h"
#include "tests/windows/scripted_media.h"

namespace velkantrix {

// A buffer that can't be read.
class UnreadableBuffer final : public Counted<IMFMediaBuffer> {
public:
    HRESULT STDMETHODCALLTYPE Lock(BYTE**, DWORD*, DWORD*) override { return E_OUTOFMEMORY; }
    HRESULT STDMETHODCALLTYPE Unlock() override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetCurrentLength(DWORD* length) override {
        *length = 2;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetCurrentLength(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMaxLength(DWORD* length) override {
        *length = 2;
        return S_OK;
    }
};

// One read: some sound, or none.
struct SoundRead {
    std::vector<std::int16_t> samples;
    DWORD flags = 0;
    HRESULT result = S_OK;
    std::optional<LONGLONG> time; // none: where the sound before ended
    bool unreadable = false;
    std::function<void()> hook; // runs while the read does
};

// A stream of 4096 frames a second in one channel, unless the test says otherwise.
class SoundReader final : public Counted<IMFSourceReader> {
public:
    std::deque<SoundRead> reads; // behind them every read fails
    bool endless = false;        // behind them each brings a silent frame
    UINT32 rate = 4096;
    UINT32 channels = 1;
    GUID subtype = MFAudioFormat_PCM;
    UINT32 bits = 16;
    bool saysFormat = true;
    std::function<void()> onTypeSet; // that is accepted
    HRESULT selectResult = S_OK;
    HRESULT typeResult = S_OK;
    HRESULT currentResult = S_OK;
    std::atomic<int> readsMade{0};
    std::vector<std::string> calls; // all but reads

    HRESULT STDMETHODCALLTYPE GetStreamSelection(DWORD, BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetStreamSelection(DWORD index, BOOL selected) override {
        const bool all = index == ALL_STREAMS;
        if (all) end_ = 0; // it is opened anew
        calls.push_back((selected ? "select " : "deselect ") +
                        (all ? "all" : std::to_string(index)));
        return all ? S_OK : selectResult;
    }
    HRESULT STDMETHODCALLTYPE GetNativeMediaType(DWORD, DWORD, IMFMediaType**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetCurrentMediaType(DWORD index, IMFMediaType** type) override {
        calls.push_back("get type " + std::to_string(index));
        if (FAILED(currentResult)) return currentResult;
        const HRESULT made = MFCreateMediaType(type);
        if (FAILED(made) || !saysFormat) return made;
        (*type)->SetGUID(MF_MT_SUBTYPE, subtype);
        (*type)->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, bits);
        (*type)->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, rate);
        return (*type)->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, channels);
    }
    HRESULT STDMETHODCALLTYPE SetCurrentMediaType(DWORD index, DWORD*,
                                                  IMFMediaType* type) override {
        GUID major = GUID_NULL;
        GUID asked = GUID_NULL;
        type->GetGUID(MF_MT_MAJOR_TYPE, &major);
        type->GetGUID(MF_MT_SUBTYPE, &asked);
        const bool isPcm = IsEqualGUID(major, MFMediaType_Audio) != 0 &&
                           IsEqualGUID(asked, MFAudioFormat_PCM) != 0;
        calls.push_back((isPcm ? "PCM of " : "another type of ") +
                        std::to_string(MFGetAttributeUINT32(type, MF_MT_AUDIO_BITS_PER_SAMPLE, 0)) +
                        " bits for " + std::to_string(index));
        if (SUCCEEDED(typeResult) && onTypeSet) onTypeSet();
        return typeResult;
    }
    HRESULT STDMETHODCALLTYPE SetCurrentPosition(REFGUID, REFPROPVARIANT) override {
        calls.emplace_back("position");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE ReadSample(DWORD index, DWORD, DWORD*, DWORD* flags, LONGLONG* time,
                                         IMFSample** sample) override {
        ++readsMade;
        *flags = 0;
        *time = 0;
        *sample = nullptr;
        if (index != FIRST_AUDIO) return MF_E_INVALIDSTREAMNUMBER;
        if (reads.empty() && !endless) return E_UNEXPECTED;
        const SoundRead read = reads.empty() ? SoundRead{.samples = {0}} : reads.front();
        if (!reads.empty()) reads.pop_front();
        if (read.hook) read.hook();
        *flags = read.flags;
        *time = read.time.value_or(end_);
        if (rate > 0 && channels > 0)
            end_ = *time +
                   TICKS_PER_SECOND * static_cast<LONGLONG>(read.samples.size() / channels) / rate;
        if (FAILED(read.result)) return read.result;
        if (read.samples.empty() && !read.unreadable) return S_OK;
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
    LONGLONG end_ = 0; // of the sound that was read last

    // In two buffers, which the one that reads it has to join.
    static HRESULT makeSample(const SoundRead& read, IMFSample** sample) {
        const HRESULT made = MFCreateSample(sample);
        if (FAILED(made)) return made;
        if (read.unreadable) {
            const auto buffer = ComPtr<UnreadableBuffer>::adopt(new UnreadableBuffer);
            return (*sample)->AddBuffer(buffer.get());
        }
        const std::size_t size = read.samples.size() * sizeof(std::int16_t);
        const auto* bytes = reinterpret_cast<const char*>(read.samples.data());
        addBuffer(*sample, bytes, size / 2);
        addBuffer(*sample, bytes + size / 2, size - size / 2);
        return S_OK;
    }

    static void addBuffer(IMFSample* sample, const char* bytes, std::size_t size) {
        ComPtr<IMFMediaBuffer> buffer;
        BYTE* room = nullptr;
        MFCreateMemoryBuffer(static_cast<DWORD>(size), buffer.put());
        buffer->Lock(&room, nullptr, nullptr);
        std::memcpy(room, bytes, size);
        buffer->Unlock();
        buffer->SetCurrentLength(static_cast<DWORD>(size));
        sample->AddBuffer(buffer.get());
    }
};

} // namespace velkantrix
