// scripted_transform.h: decoders that do what a test wrote down, and what looking for decoders
// finds: for programs that are linked so that their calls of MFTEnumEx get here.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mftransform.h>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "tests/windows/scripted_media.h"

namespace velkantrix {

// One answer of ProcessOutput.
struct ScriptedOutput {
    HRESULT result = S_OK;
    Ticks time = 0; // of the picture, which lies in memory
    bool hasPicture = true;
    std::optional<UINT32> interlaced{}; // as the picture says of itself
};

// An output type that is offered.
struct ScriptedType {
    GUID subtype{};
    UINT32 width = 0; // 0: it doesn't say
    UINT32 height = 0;
    MFVideoArea aperture{}; // none when empty
    std::vector<std::pair<GUID, UINT32>> more{};
};

// What was fed.
struct FedSample {
    Ticks time = 0;
    Ticks duration = -1; // it carries none
    UINT32 cleanPoint = 0;
    std::string bytes;
};

// Kept by the test, which reads it once the decoder is idle or gone.
struct TransformScript {
    UINT32 isAsync = 0;
    UINT32 isD3D11Aware = 1;
    bool hasAttributes = true;
    HRESULT managerResult = S_OK;
    HRESULT inputTypeResult = S_OK;
    HRESULT inputResult = S_OK;
    DWORD outputFlags = MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
    std::vector<ScriptedType> types;
    std::vector<ScriptedType> typesAfterChange; // none: the same
    std::deque<ScriptedOutput> outputs;         // behind them it needs more input
    bool givesFedPictures = false;              // instead: each sample at once, in memory
    // Or so: a sample beyond so many is refused, and then the first picture comes; the rest when it
    // is drained. 0: not so.
    std::size_t mostHeld = 0;

    std::vector<std::string> calls; // "flush", "start", "drain", "begin", "end", "manager"
    std::vector<FedSample> fed;
    int refusals = 0; // by mostHeld
    ComPtr<IMFMediaType> inputType;
    ComPtr<IMFMediaType> outputType;
    ComPtr<IMFAttributes> attributes;
    ULONG_PTR manager = 0;
    int activations = 0;
    int shutdowns = 0; // by way of what activated it
};

// What a search for decoders finds.
struct ScriptedCandidate {
    std::shared_ptr<TransformScript> script; // none: it can't be activated
    UINT32 flags = 0;                        // as it is registered; 0: it doesn't say
};

struct DecoderSearch {
    GUID category{};
    UINT32 flags = 0;
    GUID input{};
    GUID output{};
};

// Answers MFTEnumEx while it lives; the system does when there is none.
class ScriptedDecoders {
public:
    ScriptedDecoders();
    ~ScriptedDecoders();
    ScriptedDecoders(const ScriptedDecoders&) = delete;
    ScriptedDecoders& operator=(const ScriptedDecoders&) = delete;

    std::vector<ScriptedCandidate> hardware; // found by the first search only
    std::vector<ScriptedCandidate> software; // by the second
    HRESULT result = S_OK;
    std::vector<DecoderSearch> searches;

    // Found and not released yet.
    [[nodiscard]] static int liveActivates();
};

} // namespace velkantrix
