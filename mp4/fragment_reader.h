// fragment_reader.h: the samples of one track of a fragmented file, one after the other.
//
// Used by one thread at a time. Open it once, seek, read until nothing comes; seek again at any
// time.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/file_path.h"
#include "mp4/box_walk.h"
#include "mp4/byte_buffer.h"
#include "mp4/fragment.h"
#include "mp4/input_file.h"
#include "mp4/video_index.h"

namespace velkantrix {

struct ReaderSample {
    std::vector<std::uint8_t> data;
    std::int64_t pts = 0, dts = 0; // ticks of the track's time scale, rebased
    std::uint32_t duration = 0;    // ticks
    bool keyframe = false;
    bool hasPayload = false;
};

// What the last call of ReadNextSample came to.
enum class ReadOutcome {
    Nothing, // it wasn't called since the reader was opened or sought
    Sample,  // a sample
    Empty,   // a sample without a single whole NAL unit; there may be more behind it
    End,     // every sample that the file describes behind the last seek has been handed out
    Failed,  // there is more, or should be, but it can't be read: the file is broken off or damaged
};

class FragmentReader {
public:
    // The file's first video track, which must be H.264, handed out as Annex B byte stream with the
    // parameter sets in front of the first keyframe behind each seek. False when it can't be read
    // so.
    [[nodiscard]] bool Open(const FilePath& path);

    // A track that is described elsewhere, its samples handed out as they are stored. False when
    // the table is empty, the time scale 0 or the file can't be opened.
    [[nodiscard]] bool OpenWithTable(const FilePath& path, std::uint32_t trackId,
                                     std::uint32_t timescale, RandomAccessTable entries);

    // Goes to the last keyframe at or before `seconds`, as FindKeyframeAtOrBefore understands it.
    // Its time becomes the table's; that moves all samples behind it likewise. Of a table's entry
    // only the sample's number is used, and counts in all runs of the track's together: on purpose.
    // A number that the fragment doesn't have means its first sample. Where that sample says that
    // it is no keyframe, a byte stream begins at the nearest entry in front that names one, within
    // the limits of keyframe_look_back.h. False when there is no table or the fragment has no
    // samples; the reader then stays where it was.
    [[nodiscard]] bool Seek(double seconds);
    // To what one of index().randomAccess names, whether or not it says that it is a keyframe.
    [[nodiscard]] bool goToEntry(const RandomAccessEntry& entry);
    // The same to the table's first entry. Seek can't always go there: of entries with one time it
    // takes the last, and ffmpeg's tables of sound may begin with two of 0.
    [[nodiscard]] bool seekToFirstEntry();

    // Returns sample.hasPayload. That is false at the end and on errors, and of samples too short
    // to hold a picture; outcome() tells them apart, and there is a sample whenever it says Sample.
    // In a byte stream a NAL unit that runs past its sample is left out. Behind a failed read the
    // reader stands past the sample that failed; behind that no End is reported any more.
    bool ReadNextSample(ReaderSample& sample);
    [[nodiscard]] ReadOutcome outcome() const { return outcome_; }

    // Where it stands, to go back to while the file stays open.
    struct Place {
        std::uint64_t fragment = 0, decodeTimeInFront = 0, passed = 0, cursor = 0;
        std::int64_t rebase = 0;
        bool incomplete = false;
    };
    [[nodiscard]] Place place() const;
    // As a seek to there would: parameter sets come again. A fragment that is still loaded isn't
    // read again. False when it can't be read any more; the reader then stays where it was.
    [[nodiscard]] bool returnTo(const Place& place);

    // No fragment of the track lies in front of all those that the table names: nothing is missed
    // by beginning with its first entry. False where it can't be seen. Behind opening, before
    // seeking.
    [[nodiscard]] bool tableBeginsWithTrack();

    // Computed when the file is opened, from the last fragment in the table and those behind it,
    // MAX_DURATION_FRAGMENTS at most, as far as they are found in MAX_DURATION_BOXES.
    [[nodiscard]] double DurationSeconds() const { return durationSeconds_; }

    [[nodiscard]] const VideoTrackIndex& index() const { return index_; }
    [[nodiscard]] std::uint32_t timescale() const { return index_.timescale; } // ticks per second
    // The loaded fragment's samples, and the next one to be handed out.
    [[nodiscard]] const FragmentSamples& samples() const { return track_.samples; }
    [[nodiscard]] std::uint64_t cursor() const { return cursor_; }
    void setCursor(std::uint64_t cursor) { cursor_ = cursor; }
    // Loads the fragment behind this one, its first sample next. False at the end and on errors:
    // outcome() tells which. It isn't looked for again before the next seek then.
    bool NextFragment();
    [[nodiscard]] std::int64_t rebase() const { return rebase_; } // ticks, added to pts and dts
    void setRebase(std::int64_t rebase) { rebase_ = rebase; }     // until the next seek
    [[nodiscard]] bool annexB() const { return annexB_; }

private:
    enum class Load { Done, NoSamples, Failed };

    bool finishOpening(const FilePath& path);
    Load parseFragment(const FileBox& box, std::uint64_t nextDecodeTime, FragmentTrack& track);
    Load loadFragment(const FileBox& box);
    void take(FragmentTrack&& track, const FileBox& box, std::uint64_t decodeTimeInFront);
    bool seekTo(const RandomAccessEntry* entry);
    bool begin(const RandomAccessEntry& entry, std::uint64_t nextDecodeTime);
    bool beginIn(const FileBox& box, const RandomAccessEntry& entry, std::uint64_t nextDecodeTime,
                 bool onlyIfSync);
    void computeDuration();
    void allowAllOfFile();
    void unload();
    void pass(std::uint64_t offset);
    // Nothing when there is one and it is loaded. Counts the boxes that it looks at.
    std::optional<ReadOutcome> searchNextFragment(std::uint32_t& boxesLeft);
    [[nodiscard]] ReadOutcome outcomeAtFileEnd() const;
    void prefetch();
    // Its bytes, until the next call; nothing when they can't be read. Throws std::bad_alloc.
    std::optional<ByteView> readSample(const SampleRecord& record);
    bool readNext(ReaderSample& sample);
    bool fail(ReadOutcome outcome);

    VideoTrackIndex index_;
    InputFile file_;
    std::uint64_t fileLength_ = 0; // bytes, by the file's attributes: no fragment reaches beyond
    std::vector<std::uint8_t> parameterSets_; // behind start codes
    std::uint32_t nalLengthSize_ = 4;         // bytes
    bool annexB_ = false;
    bool needParameterSets_ = false;
    double durationSeconds_ = 0;

    FragmentTrack track_; // with the loaded fragment's samples and offset; offset 0: none
    std::uint64_t fragmentSize_ = 0;      // of its moof, bytes
    std::uint64_t decodeTimeInFront_ = 0; // with which it was parsed
    std::uint64_t cursor_ = 0;
    std::int64_t rebase_ = 0;
    std::vector<std::uint64_t> knownFragments_; // offsets of those in the table, ascending
    std::uint64_t passed_ =
        0;                    // the last fragment with a traf of the track, with samples or without
    bool incomplete_ = false; // something was lost since the last seek: an end is no end then
    ReadOutcome outcome_ = ReadOutcome::Nothing;
    std::optional<ReadOutcome> searchEnd_; // what looking for the fragment behind this one came to

    ByteBuffer moof_;
    ByteBuffer prefetch_;            // the loaded fragment's samples' bytes, or none
    std::uint64_t prefetchBase_ = 0; // their place in the file
    bool prefetchTried_ = false;
    // Fragments of a sound file don't share bytes: all of its length is enough between two seeks.
    // Of a broken one, each of thousands could ask for MAX_PREFETCH_BYTES.
    std::uint64_t prefetchBytesLeft_ = 0;
    std::uint64_t sampleBytesLeft_ = 0; // that may still be handed out before the next seek
    ByteBuffer single_;                 // a sample that isn't among them
};

inline constexpr std::uint64_t MAX_MOOF_BYTES = std::uint64_t{8} << 20;
inline constexpr std::uint64_t MAX_PREFETCH_BYTES = std::uint64_t{64} << 20;
inline constexpr std::uint32_t MAX_SEARCHED_BOXES = 4096;
inline constexpr std::uint32_t MAX_DURATION_FRAGMENTS = 512;
inline constexpr std::uint32_t MAX_DURATION_BOXES = 65'536;

} // namespace velkantrix
