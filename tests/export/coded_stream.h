// coded_stream.h: compressed samples as a reader delivers them, and what a cutter makes of them.
#pragma once

#include <vector>

#include "export/span_cutter.h"

namespace velkantrix {

inline constexpr Ticks SECOND = TICKS_PER_SECOND;
inline constexpr Ticks FRAME = SECOND / 10; // ten pictures a second, so that times are easy to read

inline CodedSample key(Ticks time) {
    return {.time = time, .duration = FRAME, .keyframe = true};
}
inline CodedSample picture(Ticks time) {
    return {.time = time, .duration = FRAME};
}
inline CodedSample decodedAt(Ticks decodeTime, CodedSample sample) {
    sample.decodeTime = decodeTime;
    return sample;
}

// Ten seconds with a keyframe each second.
inline std::vector<CodedSample> plainStream() {
    std::vector<CodedSample> stream;
    for (int i = 0; i < 100; i++) {
        stream.push_back(i % 10 ? picture(i * FRAME) : key(i * FRAME));
    }
    return stream;
}

struct Copied {
    std::vector<Ticks> read;    // of the samples written: their times in the source
    std::vector<Ticks> written; // and in the output
    std::vector<Ticks> decode;
    std::vector<double> progress;
};

// What a reader delivers: from the keyframe at or before the position on.
inline size_t startOf(const std::vector<CodedSample>& stream, Ticks position) {
    size_t start = 0;
    for (size_t i = 0; i < stream.size(); i++) {
        if (stream[i].keyframe && stream[i].time <= position) start = i;
    }
    return start;
}

inline void copySpan(SpanCutter& cutter, const ExportSpan& span,
                     const std::vector<CodedSample>& stream, Copied& copied) {
    cutter.beginSpan(span);
    for (size_t i = startOf(stream, cutter.startTicks()); i < stream.size(); i++) {
        const Placement placement = cutter.placeVideo(stream[i]);
        if (placement.placing == Placing::Stop) break;
        if (placement.placing == Placing::Drop) continue;
        copied.read.push_back(stream[i].time);
        copied.written.push_back(placement.time);
        copied.decode.push_back(placement.decodeTime.value_or(placement.time));
        if (const auto seconds = cutter.progressAfter(stream[i])) {
            copied.progress.push_back(*seconds);
        }
    }
}

inline Copied copyVideo(const std::vector<ExportSpan>& spans,
                        const std::vector<CodedSample>& stream) {
    SpanCutter cutter(spans);
    Copied copied;
    for (const ExportSpan& span : spans) {
        copySpan(cutter, span, stream, copied);
        cutter.endSpan();
    }
    return copied;
}

inline std::vector<Ticks> every(Ticks from, Ticks to) {
    std::vector<Ticks> times;
    for (Ticks t = from; t < to; t += FRAME) times.push_back(t);
    return times;
}

} // namespace velkantrix
