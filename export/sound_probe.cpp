#include "export/sound_probe.h"

#include <algorithm>
#include <optional>

#include "base/ticks.h"
#include "export/sample_reads.h"
#include "export/span_cutter.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

// All that it is given outlives it.
class SoundProbe {
public:
    SoundProbe(const ExportRequest& request, IMFSourceReader* reader, const SourceStreams& streams,
               std::int64_t reads)
        : request_(request), reader_(reader), streams_(streams), reads_(reads) {}

    [[nodiscard]] HRESULT lookIn(const ExportSpan& span, bool& found) const;

private:
    template <typename Wanted>
    [[nodiscard]] HRESULT firstOf(DWORD stream, Ticks from, Wanted isWanted,
                                  std::optional<Ticks>& first) const;
    [[nodiscard]] HRESULT goesBeyond(Ticks time, Ticks begin, const ExportSpan& span,
                                     bool& beyond) const;

    const ExportRequest& request_;
    IMFSourceReader* const reader_;
    const SourceStreams& streams_;
    const std::int64_t reads_;
};

// The time of the first sample wanted that comes behind a seek to `from`; none where the stream
// ends before.
template <typename Wanted>
HRESULT SoundProbe::firstOf(DWORD stream, Ticks from, Wanted isWanted,
                            std::optional<Ticks>& first) const {
    RETURN_IF_FAILED(selectOnlyStream(reader_, stream));
    RETURN_IF_FAILED(seekReader(reader_, from));
    ReadBudget budget(reads_);
    for (Read next; !next.atEnd;) {
        if (isCancelled(request_)) return E_ABORT;
        if (!budget.take()) return TOO_MANY_READS;
        RETURN_IF_FAILED(readNext(reader_, stream, next));
        if (!next.sample || !isWanted(next)) continue;
        first = next.time;
        return S_OK;
    }
    return S_OK;
}

// Whether a copy that begins at `begin` goes on behind `time`: as its cutter says, which is shown
// the pictures from the keyframe before on.
HRESULT SoundProbe::goesBeyond(Ticks time, Ticks begin, const ExportSpan& span,
                               bool& beyond) const {
    const Ticks end = spanBoundaryTicks(span.end);
    SpanCutter cutter({span});
    cutter.beginSpan(span);
    bool ended = false;
    const auto tells = [&](const Read& read) {
        IMFSample* const picture = read.sample.get();
        const bool keyframe = isKeyframe(picture);
        ended = keyframe && read.time >= end && read.time > begin && read.time <= time;
        if (ended) return true;
        const Placing placing =
            cutter
                .placeVideo(
                    {.time = read.time, .duration = durationOf(picture), .keyframe = keyframe})
                .placing;
        return placing == Placing::Stop || (placing == Placing::Write && read.time >= time);
    };
    std::optional<Ticks> told;
    RETURN_IF_FAILED(firstOf(*streams_.video, time, tells, told));
    beyond = !ended && cutter.hasCut() && time < cutter.cutEnd();
    return S_OK;
}

HRESULT SoundProbe::lookIn(const ExportSpan& span, bool& found) const {
    std::optional<Ticks> begin, sound;
    const auto isKey = [](const Read& read) {
        return isKeyframe(read.sample.get());
    };
    RETURN_IF_FAILED(firstOf(*streams_.video, spanBoundaryTicks(span.start), isKey, begin));
    if (!begin) return S_OK;
    const bool whole = isWholeSource(span);
    const Ticks from = whole ? std::min<Ticks>(0, *begin) : *begin;
    const auto isHeard = [from](const Read& read) {
        return addTicks(read.time, durationOf(read.sample.get())) > from;
    };
    RETURN_IF_FAILED(firstOf(*streams_.audio, from, isHeard, sound));
    found = sound && (whole || *sound <= *begin);
    if (found || !sound) return S_OK;
    return goesBeyond(*sound, *begin, span, found);
}

} // namespace

bool copyHasSound(const ExportRequest& request, IMFSourceReader* reader,
                  const SourceStreams& streams, std::int64_t reads) {
    const SoundProbe probe(request, reader, streams, reads);
    return std::ranges::any_of(request.spans, [&](const ExportSpan& span) {
        bool found = false;
        return FAILED(probe.lookIn(span, found)) || found;
    });
}

} // namespace velkantrix
