// stream_order.cpp: see stream_order.h.
#include "stream_order.h"
#include "../common/log.h"
#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>
#include <vector>

namespace rig {
namespace {

constexpr DWORD MAX_STREAMS = 64;
constexpr DWORD FIRST_AUDIO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_AUDIO_STREAM);

// Forwards every call with the indices of sound tracks mirrored: with sound at 0, 1 and 3, index 0
// stands for 3. The mirror is its own reverse, so one table serves both directions.
class MirroredReader : public Counted<IMFSourceReader> {
public:
    MirroredReader(Com<IMFSourceReader> reader, std::vector<DWORD> mirror)
        : inner(std::move(reader)), table(std::move(mirror)) {
        while (firstSound < table.size() && table[firstSound] == firstSound) firstSound++;
    }

    STDMETHODIMP GetStreamSelection(DWORD stream, BOOL* on) override {
        return inner->GetStreamSelection(mirrored(stream), on);
    }
    STDMETHODIMP SetStreamSelection(DWORD stream, BOOL on) override {
        return inner->SetStreamSelection(mirrored(stream), on);
    }
    STDMETHODIMP GetNativeMediaType(DWORD stream, DWORD index, IMFMediaType** type) override {
        return inner->GetNativeMediaType(mirrored(stream), index, type);
    }
    STDMETHODIMP GetCurrentMediaType(DWORD stream, IMFMediaType** type) override {
        return inner->GetCurrentMediaType(mirrored(stream), type);
    }
    STDMETHODIMP SetCurrentMediaType(DWORD stream, DWORD* reserved, IMFMediaType* type) override {
        return inner->SetCurrentMediaType(mirrored(stream), reserved, type);
    }
    STDMETHODIMP SetCurrentPosition(REFGUID format, REFPROPVARIANT position) override {
        return inner->SetCurrentPosition(format, position);
    }
    STDMETHODIMP ReadSample(DWORD stream, DWORD control, DWORD* actual, DWORD* flags,
                            LONGLONG* time, IMFSample** sample) override {
        HRESULT hr = inner->ReadSample(mirrored(stream), control, actual, flags, time, sample);
        if (actual) *actual = mirrored(*actual);
        return hr;
    }
    STDMETHODIMP Flush(DWORD stream) override { return inner->Flush(mirrored(stream)); }
    STDMETHODIMP GetServiceForStream(DWORD stream, REFGUID service, REFIID iid,
                                     LPVOID* out) override {
        return inner->GetServiceForStream(mirrored(stream), service, iid, out);
    }
    STDMETHODIMP GetPresentationAttribute(DWORD stream, REFGUID key, PROPVARIANT* value) override {
        return inner->GetPresentationAttribute(mirrored(stream), key, value);
    }

private:
    DWORD mirrored(DWORD stream) const {
        if (stream == FIRST_AUDIO) return mirrored(firstSound);
        return stream < table.size() ? table[stream] : stream;
    }

    const Com<IMFSourceReader> inner;
    const std::vector<DWORD> table;
    DWORD firstSound = 0;
};

bool isSound(IMFSourceReader* reader, DWORD stream) {
    Com<IMFMediaType> type;
    GUID major = GUID_NULL;
    return SUCCEEDED(reader->GetNativeMediaType(stream, 0, type.put())) &&
           SUCCEEDED(type->GetGUID(MF_MT_MAJOR_TYPE, &major)) && major == MFMediaType_Audio;
}

} // namespace

Com<IMFSourceReader> soundInFileOrder(Com<IMFSourceReader> reader) {
    std::vector<DWORD> mirror, sound;
    BOOL on = FALSE;
    for (DWORD i = 0; i < MAX_STREAMS && SUCCEEDED(reader->GetStreamSelection(i, &on)); i++) {
        mirror.push_back(i);
        if (isSound(reader.get(), i)) sound.push_back(i);
    }
    if (sound.size() < 2) return reader;
    for (size_t i = 0; i < sound.size(); i++) mirror[sound[i]] = sound[sound.size() - 1 - i];
    log("source reader: %u sound tracks put into the file's order",
        static_cast<unsigned>(sound.size()));
    return Com<IMFSourceReader>::own(new MirroredReader(std::move(reader), std::move(mirror)));
}

} // namespace rig
