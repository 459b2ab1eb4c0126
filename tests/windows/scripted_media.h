// scripted_media.h: a source reader that delivers what a test wrote down, and a sink writer that
// keeps what it is given. Both are used by one thread.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>
#include <mftransform.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/com_ptr.h"
#include "base/ticks.h"

namespace velkantrix {

// COM's interfaces have no virtual destructor, and need none: Release deletes the object itself.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Reference counting for an object of one interface. Such classes must not stand in an unnamed
// namespace: there GCC takes their calls for its own and leaves the virtual ones out.
template <class Interface>
class Counted : public Interface {
public:
    Counted() = default;
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(Interface);
        *object = known ? this : nullptr;
        if (!known) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~Counted() = default;

private:
    std::atomic<ULONG> references_ = 1;
};

#pragma GCC diagnostic pop

// What one read delivers.
struct ScriptedRead {
    Ticks time = 0;
    Ticks duration = 0;               // 0: the sample carries none
    std::optional<UINT32> cleanPoint; // the attribute that marks keyframes
    std::optional<Ticks> decodeTime;
    bool hasSample = true;
    ComPtr<IMFMediaBuffer> content; // what the sample holds; none: nothing
    DWORD flags = 0;
    HRESULT result = S_OK;      // a failed read delivers nothing
    std::function<void()> hook; // runs while the read does

    [[nodiscard]] bool isKeyframe() const { return hasSample && cleanPoint.value_or(0) != 0; }
};

struct ScriptedStream {
    GUID major{};                                    // GUID_NULL: a type that doesn't say
    int typeReads = std::numeric_limits<int>::max(); // so many reads of the type succeed
    std::vector<ScriptedRead> reads;                 // behind them the stream ends
    bool seeksToFirst = false;       // else to the last keyframe at or before the position
    ComPtr<IMFMediaType> delivers{}; // what GetCurrentMediaType says; none: what was asked for
    std::function<void()> whenAsked; // runs when a type is set
    // So many reads are gone when a type is set: the decoder is built anew, and what it had decoded
    // ahead, or can't decode from the middle on, doesn't come.
    std::size_t lostWhenAsked = 0;
};

// What a reader says of a transform that it decodes with, or a writer of one that it encodes with.
struct ScriptedTransformOf {
    GUID category{};
    ComPtr<IMFTransform> transform; // may be none
};

// As strict as a real one: only a selected stream can be read, a seek moves only the selected ones,
// and who reads on after the end has been told gets E_UNEXPECTED.
class ScriptedReader final : public Counted<IMFSourceReaderEx> {
public:
    ~ScriptedReader() override {
        if (whenGone) whenGone();
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;

    // Makes the stream when there is none of this index.
    [[nodiscard]] ScriptedStream& stream(DWORD index) { return streams_[index].script; }

    // The n-th selection, seek or setting of a type, from 1 on, fails.
    void failSteering(std::size_t nth, HRESULT result) {
        failingStep_ = nth;
        failure_ = result;
    }

    // Whoever reads any stream gets this one as long as there is something in it: streams needn't
    // lie in a file in the order of their times.
    void preferStream(DWORD index) { preferred_ = index; }

    std::function<void()> whenGone; // runs when nobody holds it any more

    // What GetTransformForStream finds of any stream; none: as old systems, which haven't it.
    std::optional<std::vector<ScriptedTransformOf>> transforms;

    // "deselect all", "select 1", "position 15000000" (a VT_I8 in GUID_NULL's ticks), "type 1"
    [[nodiscard]] const std::vector<std::string>& steering() const { return steering_; }
    [[nodiscard]] int readsOf(DWORD index) const {
        return reads_.contains(index) ? reads_.at(index) : 0;
    }
    // What the stream is to be decoded to; none: it wasn't said.
    [[nodiscard]] IMFMediaType* typeOf(DWORD index) const {
        return types_.contains(index) ? types_.at(index).get() : nullptr;
    }
    // GetCurrentMediaType fails.
    void failCurrentType(HRESULT result) { currentTypeFailure_ = result; }
    [[nodiscard]] DWORD typesAsked() const { return typesAsked_; } // the highest index, and one

    HRESULT STDMETHODCALLTYPE GetStreamSelection(DWORD index, BOOL* selected) override;
    HRESULT STDMETHODCALLTYPE SetStreamSelection(DWORD index, BOOL selected) override;
    HRESULT STDMETHODCALLTYPE GetNativeMediaType(DWORD index, DWORD typeIndex,
                                                 IMFMediaType** type) override;
    HRESULT STDMETHODCALLTYPE SetCurrentPosition(REFGUID format, REFPROPVARIANT position) override;
    HRESULT STDMETHODCALLTYPE ReadSample(DWORD index, DWORD controlFlags, DWORD* actualIndex,
                                         DWORD* flags, LONGLONG* time, IMFSample** sample) override;

    HRESULT STDMETHODCALLTYPE GetCurrentMediaType(DWORD index, IMFMediaType** type) override;
    HRESULT STDMETHODCALLTYPE SetCurrentMediaType(DWORD index, DWORD* reserved,
                                                  IMFMediaType* type) override;

    HRESULT STDMETHODCALLTYPE GetTransformForStream(DWORD index, DWORD number, GUID* category,
                                                    IMFTransform** transform) override;

    // What no export needs.
    HRESULT STDMETHODCALLTYPE SetNativeMediaType(DWORD, IMFMediaType*, DWORD*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE AddTransformForStream(DWORD, IUnknown*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RemoveAllTransformsForStream(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Flush(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetServiceForStream(DWORD, REFGUID, REFIID, void**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPresentationAttribute(DWORD, REFGUID, PROPVARIANT*) override {
        return E_NOTIMPL;
    }

private:
    struct State {
        ScriptedStream script;
        bool selected = true;
        std::size_t next = 0;
    };
    [[nodiscard]] HRESULT steer(std::string step);
    [[nodiscard]] DWORD comingNext() const;

    std::map<DWORD, State> streams_;
    std::map<DWORD, int> reads_;
    std::map<DWORD, ComPtr<IMFMediaType>> types_;
    HRESULT currentTypeFailure_ = S_OK;
    std::vector<std::string> steering_;
    DWORD typesAsked_ = 0;
    std::optional<DWORD> preferred_;
    std::size_t failingStep_ = 0; // none
    HRESULT failure_ = S_OK;
};

struct WrittenSample {
    DWORD stream = 0;
    Ticks time = 0;
    Ticks duration = 0;
    std::optional<Ticks> decodeTime;
    bool discontinuity = false; // sound or pictures don't go on where they were

    bool operator==(const WrittenSample&) const = default;
};
void PrintTo(const WrittenSample& sample, std::ostream* out);

enum class WriterCall { AddStream, SetInputMediaType, BeginWriting, WriteSample, Finalize };

class RecordingWriter final : public Counted<IMFSinkWriterEx> {
public:
    ~RecordingWriter() override {
        if (whenGone) whenGone();
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;

    // The index of the first stream that is added: none that a source in these tests has.
    static constexpr DWORD FIRST_INDEX = 10;

    // The n-th call of this kind, from 1 on, fails.
    void failAt(WriterCall call, int nth, HRESULT result) { failure_ = {call, nth, result}; }

    [[nodiscard]] const std::vector<WriterCall>& calls() const { return calls_; }
    [[nodiscard]] const std::vector<ComPtr<IMFMediaType>>& added() const { return added_; }
    // By index as the writer counts.
    [[nodiscard]] const std::map<DWORD, ComPtr<IMFMediaType>>& inputs() const { return inputs_; }
    [[nodiscard]] const std::vector<WrittenSample>& written() const { return written_; }
    // The samples themselves, in the same order.
    [[nodiscard]] const std::vector<ComPtr<IMFSample>>& samples() const { return samples_; }

    std::function<void()> whenFinalized, whenGone;

    // Else samples() has none of what it was given: that may be more than there is memory.
    bool keepsSamples = true;

    // What it encodes the first stream with, told from BeginWriting on; none: as old systems, which
    // haven't GetTransformForStream.
    std::optional<std::vector<ScriptedTransformOf>> transforms;

    // What GetStatistics says; none: it fails.
    std::function<MF_SINK_WRITER_STATISTICS(DWORD index)> statistics;

    HRESULT STDMETHODCALLTYPE AddStream(IMFMediaType* type, DWORD* index) override;
    HRESULT STDMETHODCALLTYPE SetInputMediaType(DWORD index, IMFMediaType* type,
                                                IMFAttributes* parameters) override;
    HRESULT STDMETHODCALLTYPE BeginWriting() override;
    HRESULT STDMETHODCALLTYPE WriteSample(DWORD index, IMFSample* sample) override;
    HRESULT STDMETHODCALLTYPE Finalize() override;
    HRESULT STDMETHODCALLTYPE GetStatistics(DWORD index, MF_SINK_WRITER_STATISTICS* out) override;
    HRESULT STDMETHODCALLTYPE GetTransformForStream(DWORD index, DWORD number, GUID* category,
                                                    IMFTransform** transform) override;

    // What no copy of samples needs.
    HRESULT STDMETHODCALLTYPE SendStreamTick(DWORD, LONGLONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PlaceMarker(DWORD, void*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE NotifyEndOfSegment(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Flush(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetServiceForStream(DWORD, REFGUID, REFIID, void**) override {
        return E_NOTIMPL;
    }

private:
    struct Failure {
        WriterCall call = WriterCall::AddStream;
        int nth = 0; // none
        HRESULT result = S_OK;
    };
    [[nodiscard]] HRESULT begin(WriterCall call);

    Failure failure_;
    std::vector<WriterCall> calls_;
    std::vector<ComPtr<IMFMediaType>> added_;
    std::map<DWORD, ComPtr<IMFMediaType>> inputs_;
    std::vector<WrittenSample> written_;
    std::vector<ComPtr<IMFSample>> samples_;
};

// A type that says no more than what it is; GUID_NULL: not even that.
ComPtr<IMFMediaType> mediaTypeOf(const GUID& major);
GUID majorTypeOf(IMFMediaType* type); // GUID_NULL: none

} // namespace velkantrix
