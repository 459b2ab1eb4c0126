#include "playback/peak_analysis.h"

namespace velkantrix {

void analysePeaks(PeakFiller& filler, const PeakSource& source) {
    for (std::int32_t reads = 0; reads < MOST_PEAK_READS && source.isWanted(); ++reads) {
        const PeakRead read = source.readNext(filler);
        if (read == PeakRead::GoesOn) continue;
        if (read == PeakRead::Ended) filler.finish();
        return;
    }
}

} // namespace velkantrix
