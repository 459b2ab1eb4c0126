// plain_samples.h: all samples of a plain file's video track, one after the other in decode order,
// straight from its tables. Nothing is unfolded: what is held is the moov.
//
// Used by one thread at a time. Open it once, then seek and take samples at will.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/file_path.h"
#include "mp4/byte_buffer.h"
#include "mp4/input_file.h"
#include "mp4/sample_table.h"

namespace velkantrix {

struct PlainSample {
    std::uint64_t offset = 0; // in the file, bytes
    std::uint32_t size = 0;   // bytes
    // Ticks of the track's time scale, as the tables say them: editOffset() is not in them.
    std::int64_t pts = 0, dts = 0;
    std::uint32_t duration = 0;
    bool sync = false;

    bool operator==(const PlainSample&) const = default;
};

enum class WalkOutcome {
    Sample,
    End,    // that was all that the file describes
    Failed, // there is more, or should be: the file is broken off, or its tables are damaged
};

class PlainSamples {
public:
    // The same track that LoadVideoTrackIndex describes. False when the file can't be read, is
    // fragmented or says so (mvex, and no samples), or has no such track or not all of stts, stsz,
    // stsc and one of stco and co64. Without stss every sample is a sync sample. Damaged tables are
    // opened too: what they still say is handed out, but their end is no End.
    [[nodiscard]] bool open(const FilePath& path);

    // The next sample in decode order; behind anything but Sample `sample` is untouched. Where stts
    // has ended, samples have the total as their decode time and no duration. End is said only when
    // the moov and the track's boxes fill what they lie in, tablesAgree, and no mvex tells of
    // fragments.
    WalkOutcome next(PlainSample& sample);

    // All samples that stsz states have been handed out, whatever the other tables say.
    [[nodiscard]] bool isBehindLast() const { return file_ && next_ >= sizes_.count(); }

    void seekToStart();
    // Goes to the last sync sample, in decode order, whose composition time is at or before `pts`
    // (ticks, without editOffset()), to the first sync sample where there is none. False when there
    // is no sync sample at all; the walk then stays where it was. Takes time in proportion to the
    // tables.
    bool seekToSync(std::int64_t pts);

    [[nodiscard]] std::uint32_t timescale() const { return timescale_; } // ticks per second
    [[nodiscard]] std::uint32_t trackId() const { return trackId_; }
    [[nodiscard]] std::uint32_t sampleCount() const { return sizes_.count(); } // as stated
    // What has to be added to a composition time to get the time at which it is presented, in
    // ticks: by the edit list's empty edits in front and the start of its first other one (ISO/IEC
    // 14496-12, 8.6.6). 0 without an edit list. Further edits aren't looked at.
    [[nodiscard]] std::int64_t editOffset() const { return editOffset_; }
    [[nodiscard]] const InputFile& file() const { return file_; } // for the samples' bytes

private:
    // Places in the tables.
    struct Cursors {
        RunCursor decode, composition;
        OffsetCursor offsets;
    };

    bool load(const FilePath& path);
    [[nodiscard]] Cursors cursorsAtStart() const;
    void goTo(std::uint64_t sample);
    [[nodiscard]] std::optional<std::uint64_t> lastSyncAtOrBefore(std::int64_t pts) const;
    [[nodiscard]] std::optional<std::uint64_t> lastAtOrBefore(std::int64_t pts) const;

    InputFile file_;
    ByteBuffer moov_;
    SampleTables tables_; // in moov_
    SampleSizes sizes_;
    std::uint32_t timescale_ = 0, trackId_ = 0;
    std::int64_t editOffset_ = 0;
    bool allSync_ = false;
    bool isWhole_ = false;                   // the tables are all there, and agree with each other
    std::vector<std::uint32_t> syncNumbers_; // from 1, ascending

    std::uint64_t next_ = 0;            // sample, from 0
    Cursors cursors_;                   // at it or before
    std::size_t nextSync_ = 0;          // the first of syncNumbers_ that isn't before it
    std::uint64_t sampleBytesLeft_ = 0; // that may still be handed out before the next seek
};

} // namespace velkantrix
