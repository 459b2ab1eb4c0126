// source_layer.h: a layer over a media source of the program's own, for what Wine 10's source
// reader does otherwise than Windows' with such a source:
//  - once a stream was deselected, it starts the source at its present position before every single
//    read, though nothing has changed. Those starts don't reach the program's source here;
//  - it doesn't know MEError, and waits for ever. Here all streams end as well, and the layer over
//    the reader (readwrite/source_reader.cpp) asks for the failure and reports it.
#pragma once
#include "../common/com.h"
#include <mfidl.h>

namespace rig {

// What the layer over the reader asks the source for.
inline constexpr IID SOURCE_FAILURE_ID = {
    0x6d1c7a52, 0x0f5e, 0x4a7e, {0x9c, 0x31, 0x52, 0x49, 0x47, 0x4c, 0x61, 0x79}};
struct SourceFailure : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetFailure() = 0; // S_OK: none
};

Com<IUnknown> layerOver(Com<IUnknown> source); // the same object when it is no media source

} // namespace rig
