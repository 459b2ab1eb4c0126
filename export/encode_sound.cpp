// Threads: the export's worker.
#include "export/encode_sound.h"

#include <mfapi.h>

#include <algorithm>
#include <utility>

#include "export/encode_samples.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

HRESULT framesOf(IMFSample* sound, std::uint32_t& frames) {
    DWORD size = 0;
    RETURN_IF_FAILED(sound->GetTotalLength(&size));
    frames = size / SOUND_FRAME_SIZE;
    return S_OK;
}

HRESULT makeSilence(std::uint32_t frames, ComPtr<IMFSample>& silence) {
    ComPtr<IMFMediaBuffer> buffer;
    const DWORD size = frames * SOUND_FRAME_SIZE;
    RETURN_IF_FAILED(MFCreateMemoryBuffer(size, buffer.put()));
    RETURN_IF_FAILED(buffer->SetCurrentLength(size));
    {
        const LockedBytes locked(buffer.get());
        RETURN_IF_FAILED(locked.result());
        std::ranges::fill(locked.bytes(), std::uint8_t{0});
    }
    RETURN_IF_FAILED(MFCreateSample(silence.put()));
    return silence->AddBuffer(buffer.get());
}

} // namespace

HRESULT soundDuration(IMFSample* sound, Ticks& duration) {
    std::uint32_t frames = 0;
    RETURN_IF_FAILED(framesOf(sound, frames));
    duration = ticksFromUnits(frames, SOUND_RATE);
    return S_OK;
}

HRESULT EncodeSound::write(IMFSample* sound, const EncodeCut& cut) {
    RETURN_IF_FAILED(fill(cut.time));
    ComPtr<IMFSample> taken;
    RETURN_IF_FAILED(takeSound(sound, cut, taken));
    return taken ? put(taken.get(), cut.time, cut.duration) : S_OK;
}

HRESULT EncodeSound::fill(Ticks time) {
    while (!outlet_.cancelled()) {
        const std::uint32_t frames = line_.missingUntil(time);
        if (frames == 0) break;
        ComPtr<IMFSample> silence;
        RETURN_IF_FAILED(makeSilence(frames, silence));
        RETURN_IF_FAILED(put(silence.get(), line_.end(), ticksFromUnits(frames, SOUND_RATE)));
    }
    return S_OK;
}

HRESULT EncodeSound::put(IMFSample* sample, Ticks time, Ticks duration) {
    std::uint32_t frames = 0;
    RETURN_IF_FAILED(framesOf(sample, frames));
    if (line_.breaksAt(time)) {
        RETURN_IF_FAILED(sample->SetUINT32(MFSampleExtension_Discontinuity, TRUE));
    }
    RETURN_IF_FAILED(
        outlet_.write(sample, time, duration, std::uint64_t{frames} * SOUND_FRAME_SIZE));
    line_.wrote(time, frames);
    if (waitedInVain_) return S_OK;
    outlet_.waitForEncoder();
    waitedInVain_ = outlet_.encoderStands();
    return S_OK;
}

} // namespace velkantrix
