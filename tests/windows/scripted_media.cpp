#include "tests/windows/scripted_media.h"

#include <algorithm>
#include <ostream>
#include <utility>

#include <cguid.h>
#include <mfapi.h>
#include <mferror.h>

#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

HRESULT makeSample(const ScriptedRead& read, IMFSample** made) {
    ComPtr<IMFSample> sample;
    RETURN_IF_FAILED(MFCreateSample(sample.put()));
    RETURN_IF_FAILED(sample->SetSampleTime(read.time));
    if (read.duration) RETURN_IF_FAILED(sample->SetSampleDuration(read.duration));
    if (read.cleanPoint) {
        RETURN_IF_FAILED(sample->SetUINT32(MFSampleExtension_CleanPoint, *read.cleanPoint));
    }
    if (read.decodeTime) RETURN_IF_FAILED(setDecodeTime(sample.get(), *read.decodeTime));
    if (read.content) RETURN_IF_FAILED(sample->AddBuffer(read.content.get()));
    *made = sample.detach();
    return S_OK;
}

std::size_t landingOf(const ScriptedStream& stream, Ticks position) {
    std::size_t landing = 0;
    for (std::size_t i = 0; i < stream.reads.size() && !stream.seeksToFirst; i++) {
        const ScriptedRead& read = stream.reads[i];
        if (read.isKeyframe() && read.time <= position) landing = i;
    }
    return landing;
}

HRESULT tellTransform(const std::optional<std::vector<ScriptedTransformOf>>& transforms,
                      DWORD number, GUID* category, IMFTransform** transform) {
    if (!transforms || number >= transforms->size()) return MF_E_INVALIDINDEX;
    *category = (*transforms)[number].category;
    *transform = ComPtr<IMFTransform>((*transforms)[number].transform).detach();
    return S_OK;
}

} // namespace

HRESULT ScriptedReader::QueryInterface(REFIID iid, void** object) {
    const bool extended = iid == __uuidof(IMFSourceReaderEx);
    const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IMFSourceReader);
    *object = known || (extended && transforms) ? this : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT ScriptedReader::GetTransformForStream(DWORD index, DWORD number, GUID* category,
                                              IMFTransform** transform) {
    *transform = nullptr;
    if (!streams_.contains(index)) return MF_E_INVALIDSTREAMNUMBER;
    return tellTransform(transforms, number, category, transform);
}

HRESULT ScriptedReader::steer(std::string step) {
    steering_.push_back(std::move(step));
    return steering_.size() == failingStep_ ? failure_ : S_OK;
}

HRESULT ScriptedReader::GetStreamSelection(DWORD index, BOOL* selected) {
    const auto found = streams_.find(index);
    if (found == streams_.end()) return MF_E_INVALIDSTREAMNUMBER;
    *selected = found->second.selected;
    return S_OK;
}

HRESULT ScriptedReader::SetStreamSelection(DWORD index, BOOL selected) {
    const bool all = index == ALL_STREAMS;
    RETURN_IF_FAILED(
        steer((selected ? "select " : "deselect ") + (all ? "all" : std::to_string(index))));
    if (!all && !streams_.contains(index)) return MF_E_INVALIDSTREAMNUMBER;
    for (auto& [number, state] : streams_) {
        if (all || number == index) state.selected = selected != FALSE;
    }
    return S_OK;
}

HRESULT ScriptedReader::GetNativeMediaType(DWORD index, DWORD typeIndex, IMFMediaType** type) {
    *type = nullptr;
    typesAsked_ = std::max(typesAsked_, index + 1);
    const auto found = streams_.find(index);
    if (found == streams_.end()) return MF_E_INVALIDSTREAMNUMBER;
    if (typeIndex != 0) return MF_E_NO_MORE_TYPES;
    ScriptedStream& script = found->second.script;
    if (script.typeReads <= 0) return MF_E_INVALIDMEDIATYPE;
    script.typeReads--;
    *type = mediaTypeOf(script.major).detach();
    return S_OK;
}

HRESULT ScriptedReader::SetCurrentPosition(REFGUID format, REFPROPVARIANT position) {
    if (format != GUID_NULL || position.vt != VT_I8) return E_INVALIDARG;
    const Ticks ticks = position.hVal.QuadPart;
    RETURN_IF_FAILED(steer("position " + std::to_string(ticks)));
    for (auto& [number, state] : streams_) {
        if (state.selected) state.next = landingOf(state.script, ticks);
    }
    return S_OK;
}

HRESULT ScriptedReader::SetCurrentMediaType(DWORD index, DWORD* reserved, IMFMediaType* type) {
    if (reserved || !type || !streams_.contains(index)) return E_INVALIDARG;
    types_[index] = ComPtr<IMFMediaType>::share(type);
    State& state = streams_.at(index);
    state.next = std::min(state.next + state.script.lostWhenAsked, state.script.reads.size());
    if (state.script.whenAsked) state.script.whenAsked();
    return steer("type " + std::to_string(index));
}

HRESULT ScriptedReader::GetCurrentMediaType(DWORD index, IMFMediaType** type) {
    *type = nullptr;
    RETURN_IF_FAILED(currentTypeFailure_);
    if (!streams_.contains(index)) return MF_E_INVALIDSTREAMNUMBER;
    const ComPtr<IMFMediaType>& delivers = streams_.at(index).script.delivers;
    *type = ComPtr<IMFMediaType>(delivers ? delivers : types_[index]).detach();
    return *type ? S_OK : E_NOTIMPL; // nothing was asked for
}

// Of the selected streams the one whose next sample is the earliest; those that have told their end
// are left out, as long as there are others.
DWORD ScriptedReader::comingNext() const {
    std::optional<DWORD> found;
    Ticks earliest = 0;
    for (const auto& [number, state] : streams_) {
        const std::vector<ScriptedRead>& reads = state.script.reads;
        if (!state.selected || state.next > reads.size()) continue;
        const bool ends = state.next == reads.size();
        if (number == preferred_ && !ends) return number;
        const Ticks time = ends ? std::numeric_limits<Ticks>::max() : reads[state.next].time;
        if (!found || time < earliest) {
            found = number;
            earliest = time;
        }
    }
    return found.value_or(streams_.begin()->first);
}

HRESULT ScriptedReader::ReadSample(DWORD index, DWORD /*controlFlags*/, DWORD* actualIndex,
                                   DWORD* flags, LONGLONG* time, IMFSample** sample) {
    if (index == ANY_STREAM) index = comingNext();
    if (actualIndex) *actualIndex = index;
    *flags = 0;
    *time = 0;
    *sample = nullptr;
    reads_[index]++;
    const auto found = streams_.find(index);
    if (found == streams_.end()) return MF_E_INVALIDSTREAMNUMBER;
    State& state = found->second;
    if (!state.selected) return MF_E_INVALIDREQUEST;
    const std::size_t next = state.next++;
    if (next > state.script.reads.size()) return E_UNEXPECTED;
    if (next == state.script.reads.size()) {
        *flags = MF_SOURCE_READERF_ENDOFSTREAM;
        return S_OK;
    }
    const ScriptedRead& read = state.script.reads[next];
    if (read.hook) read.hook();
    *flags = read.flags;
    RETURN_IF_FAILED(read.result);
    *time = read.time;
    return read.hasSample ? makeSample(read, sample) : S_OK;
}

void PrintTo(const WrittenSample& sample, std::ostream* out) {
    *out << sample.stream << ": " << sample.time << " for " << sample.duration;
    if (sample.decodeTime) *out << ", decoded at " << *sample.decodeTime;
}

HRESULT RecordingWriter::QueryInterface(REFIID iid, void** object) {
    const bool extended = iid == __uuidof(IMFSinkWriterEx);
    const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IMFSinkWriter);
    *object = known || (extended && transforms) ? this : nullptr;
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT RecordingWriter::GetTransformForStream(DWORD index, DWORD number, GUID* category,
                                               IMFTransform** transform) {
    *transform = nullptr;
    if (std::ranges::count(calls_, WriterCall::BeginWriting) == 0) return MF_E_INVALIDREQUEST;
    if (index != FIRST_INDEX) return MF_E_INVALIDSTREAMNUMBER;
    return tellTransform(transforms, number, category, transform);
}

HRESULT RecordingWriter::begin(WriterCall call) {
    calls_.push_back(call);
    const bool fails = failure_.call == call && std::ranges::count(calls_, call) == failure_.nth;
    return fails ? failure_.result : S_OK;
}

HRESULT RecordingWriter::AddStream(IMFMediaType* type, DWORD* index) {
    *index = FIRST_INDEX + static_cast<DWORD>(added_.size());
    added_.push_back(ComPtr<IMFMediaType>::share(type));
    return begin(WriterCall::AddStream);
}

HRESULT RecordingWriter::SetInputMediaType(DWORD index, IMFMediaType* type, IMFAttributes*) {
    inputs_[index] = ComPtr<IMFMediaType>::share(type);
    return begin(WriterCall::SetInputMediaType);
}

HRESULT RecordingWriter::BeginWriting() {
    return begin(WriterCall::BeginWriting);
}

HRESULT RecordingWriter::WriteSample(DWORD index, IMFSample* sample) {
    const bool begun = std::ranges::count(calls_, WriterCall::BeginWriting) == 1;
    RETURN_IF_FAILED(begin(WriterCall::WriteSample));
    if (!begun) return MF_E_INVALIDREQUEST;
    WrittenSample written{.stream = index};
    RETURN_IF_FAILED(sample->GetSampleTime(&written.time));
    written.duration = durationOf(sample);
    written.decodeTime = decodeTimeOf(sample);
    written.discontinuity =
        MFGetAttributeUINT32(sample, MFSampleExtension_Discontinuity, FALSE) != FALSE;
    written_.push_back(written);
    samples_.push_back(keepsSamples ? ComPtr<IMFSample>::share(sample) : ComPtr<IMFSample>());
    return S_OK;
}

HRESULT RecordingWriter::Finalize() {
    if (whenFinalized) whenFinalized();
    return begin(WriterCall::Finalize);
}

HRESULT RecordingWriter::GetStatistics(DWORD index, MF_SINK_WRITER_STATISTICS* out) {
    if (!statistics || out->cb != sizeof *out) return E_INVALIDARG;
    *out = statistics(index);
    return S_OK;
}

ComPtr<IMFMediaType> mediaTypeOf(const GUID& major) {
    ComPtr<IMFMediaType> type;
    const bool made = SUCCEEDED(MFCreateMediaType(type.put()));
    if (made && major != GUID_NULL) {
        ignoreResult(type->SetGUID(MF_MT_MAJOR_TYPE, major), "a test will miss it");
    }
    return type;
}

GUID majorTypeOf(IMFMediaType* type) {
    GUID major{};
    if (!type || FAILED(type->GetMajorType(&major))) return GUID_NULL;
    return major;
}

} // namespace velkantrix
