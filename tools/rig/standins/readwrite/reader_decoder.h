// reader_decoder.h: the H.264 decoder within the layer over Wine's source reader.
#pragma once
#include "../common/com.h"
#include "codec.h"
#include <deque>
#include <mfapi.h>
#include <mfidl.h>
#include <vector>
#include <windows.h>

namespace rig {

// H.264 samples in, samples of a chosen size out: NV12, or RGB32 with the top row first.
class Decoder {
public:
    bool isOpen() const { return static_cast<bool>(codec); }
    UINT32 width() const { return frameWidth; }
    UINT32 height() const { return frameHeight; }
    bool isRgb() const { return rgb; }
    DWORD pictureSize() const { return frameWidth * frameHeight * (rgb ? 8 : 3) / 2; }

    HRESULT open(IMFMediaType* native, UINT32 width, UINT32 height, bool toRgb, bool keepRange);
    void close() {
        ready.clear();
        codec.reset();
    }
    void flush();
    HRESULT send(IMFSample* sample); // null: no more input
    bool take(Com<IMFSample>& sample);

private:
    HRESULT receiveAll();
    HRESULT receive(Com<IMFSample>& sample);
    UINT32 evenWidth() const { return (frameWidth + 1) & ~1u; }
    UINT32 evenHeight() const { return (frameHeight + 1) & ~1u; }
    void convert(BYTE* out) const;

    DecoderHandle codec;
    UINT32 frameWidth = 0, frameHeight = 0;
    bool rgb = false;
    std::vector<BYTE> nv12; // a picture of even size
    std::deque<Com<IMFSample>> ready;
};

} // namespace rig
