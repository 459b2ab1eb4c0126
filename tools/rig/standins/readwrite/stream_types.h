// stream_types.h: what the sink writer takes of the types it is told, and the encoders it opens for
// them.
#pragma once
#include "codec.h"
#include "mp4_writer.h"
#include <mfobjects.h>
#include <windows.h>

namespace rig {

struct FrameRate {
    UINT32 numerator = 0, denominator = 1;
};

// The output type of a stream, as its track in the file holds it.
HRESULT describeVideo(IMFMediaType* type, FrameRate& rate, Mp4Track& track);
HRESULT describeAudio(IMFMediaType* type, Mp4Track& track);

// Whether the encoder for the track takes input of this type.
HRESULT checkVideoInput(IMFMediaType* type, REFGUID subtype, const FrameRate& rate,
                        const Mp4Track& track);
HRESULT checkAudioInput(IMFMediaType* type, REFGUID subtype, const Mp4Track& track);

HRESULT openEncoder(const FrameRate& rate, Mp4Track& track, EncoderHandle& encoder);

// The first ones in Annex B data, where the track has none yet.
void takeParameterSets(Mp4Track& track, const uint8_t* data, size_t size);

double numberAskedFor(const char* variable); // 0: it isn't set

} // namespace rig
