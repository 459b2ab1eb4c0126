// media_calls.h: the calls of Media Foundation's functions that an export makes: recorded, answered
// by a test, or failing. For programs that are linked so that these calls get here.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <functional>
#include <string>

#include "base/com_ptr.h"

namespace velkantrix {

enum class MediaFunction {
    CreateAttributes,
    CreateMediaType,
    CreateMemoryBuffer,
    CreateSample,
    CreateDeviceManager,
};

// How a writer was asked for.
struct WriterRequest {
    std::wstring url;
    ComPtr<IMFAttributes> attributes; // a copy
};

struct MediaCalls {
    // None: the system's own.
    std::function<ComPtr<IMFSinkWriter>(const WriterRequest&)> makeWriter;

    // The n-th call from now on, from 1 on, fails.
    void failAt(MediaFunction function, int nth, HRESULT result) {
        failing = function;
        left = nth;
        failure = result;
    }

    // What the call is to answer; S_OK: what the system does.
    [[nodiscard]] HRESULT begin(MediaFunction function) {
        return function == failing && --left == 0 ? failure : S_OK;
    }

    MediaFunction failing = {};
    int left = 0; // none fails
    HRESULT failure = S_OK;
};

// Those of this thread.
MediaCalls& mediaCalls();

} // namespace velkantrix
