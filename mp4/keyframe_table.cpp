#include "mp4/keyframe_table.h"

#include <algorithm>

#include "mp4/sample_table.h"
#include "mp4/track_description.h"

namespace velkantrix {
namespace {

using Entries = RandomAccessTable::iterator;

// Fills in entries whose sampleNumber is a sample's number in the track, ascending, from 1.
void fillEntries(Entries first, Entries last, const SampleTables& tables,
                 const SampleSizes& sizes) {
    RunCursor times(*tables.stts);
    OffsetCursor offsets(tables, sizes);
    for (Entries entry = first; entry != last; ++entry) {
        const std::uint64_t sample = entry->sampleNumber - 1;
        times.advanceTo(sample);
        offsets.advanceTo(sample);
        const bool timed = times.covers() || times.coveredSamples() == sample;
        entry->time = timed ? times.sumBefore() : 0;
        entry->offset = offsets.offset();
        entry->size = sizes.of(sample);
        entry->sampleNumber = 1;
    }
}

} // namespace

void BuildKeyframeTable(ByteView stbl, std::uint32_t timescale, VideoTrackIndex& track) {
    const SampleTables tables = findSampleTables(stbl);
    if (tables.stsd && tables.stsd->size() > 8) readVideoSampleEntry(tables.stsd->from(8), track);
    if (!tables.stss || !tables.stts || !tables.stsz || !tables.stsc) return;
    if (!tables.stco && !tables.co64) return;

    const SampleSizes sizes(*tables.stsz);
    const SyncNumbers numbers(*tables.stss, sizes.count());
    RandomAccessTable& table = track.randomAccess;
    const std::size_t before = table.size();
    table.reserve(before + numbers.countValid());
    for (std::uint32_t i = 0; i < numbers.size(); ++i) {
        if (!numbers.valid(i)) continue;
        table.emplace_back().sampleNumber = numbers[i];
    }
    // Cursors only go forward. The order of the numbers is of no account: the index is sorted by
    // time.
    const auto byNumber = [](const RandomAccessEntry& a, const RandomAccessEntry& b) {
        return a.sampleNumber < b.sampleNumber;
    };
    const Entries first = table.begin() + static_cast<std::ptrdiff_t>(before);
    if (!std::is_sorted(first, table.end(), byNumber)) std::sort(first, table.end(), byNumber);
    fillEntries(first, table.end(), tables, sizes);
    track.timescale = timescale;
}

} // namespace velkantrix
