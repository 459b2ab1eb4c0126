// source_track.h: one track of a fragmented file, as the program's own media source serves it.
//
// Used by one thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "base/file_path.h"
#include "base/ticks.h"
#include "mp4/byte_view.h"
#include "mp4/fragment_reader.h"
#include "mp4/track_description.h"

namespace velkantrix {

struct TrackSample {
    std::vector<std::uint8_t> data; // of video: Annex B byte stream
    Ticks time = 0, decodeTime = 0, duration = 0;
    bool keyframe = false;
    bool gap = false; // damaged ones in front of it were passed over
};

enum class TrackRead {
    Sample,
    End,     // that was all that the file describes
    Failed,  // there is more, or should be, but it can't be read
    Stopped, // nobody wants it any more
};

class SourceTrack {
public:
    // The file's first video track, which must be H.264, shown as it is coded, not before 0, and of
    // one description, all of it in fragments that its table leads to. It stands at its beginning.
    [[nodiscard]] bool openVideo(const FilePath& path);
    // The track of sound that was found in the file. False when it can't be read.
    [[nodiscard]] bool openSound(const FilePath& path, FileSound sound);

    // Goes to the last keyframe at or before `position`, the first one when there is none, also
    // where the table doesn't name it. Of sound, whose samples all stand for themselves, to the one
    // that holds the position. False when there is no such place, or when that would take more
    // steps than any recording has; also when `stopped` says so.
    [[nodiscard]] bool start(Ticks position, const std::function<bool()>& stopped);

    // Goes back to where the last start that succeeded came to.
    [[nodiscard]] bool startAgain() { return reader_.returnTo(begin_); }

    // The next sample in decode order. Damaged ones that hold no picture are passed over, but not
    // without end.
    TrackRead read(TrackSample& sample, const std::function<bool()>& stopped);

    // Passes over the next sample without reading it: the time at which it is shown. None at the
    // end, where there is more that can't be read, and when `stopped` says so.
    std::optional<Ticks> pass(const std::function<bool()>& stopped);

    // A start has found that the track ends at or before its position.
    [[nodiscard]] bool isAtEnd() const;

    [[nodiscard]] Ticks duration() const;
    [[nodiscard]] const FragmentReader& reader() const { return reader_; }
    [[nodiscard]] const AudioTrackInfo& sound() const { return sound_.track; } // without its table

    // The duration of the middle sample of those that are loaded, in units of the time scale; 0
    // without any.
    [[nodiscard]] std::uint32_t middleDuration() const;

private:
    struct KeyframeSearch {
        const Ticks position;
        const std::function<bool()>& stopped;
        std::optional<FragmentReader::Place> found;
        std::optional<FragmentReader::Place> nearest; // where decoding begins without any
        std::optional<FragmentReader::Place> end;     // what is behind it has been looked at
        std::uint64_t passed = 0;                     // samples
        bool incomplete = false;                      // some can't be looked at
    };

    [[nodiscard]] Ticks timeOf(std::uint64_t units) const;
    [[nodiscard]] bool beginsBeforeZero() const;
    bool startVideo(Ticks position, const std::function<bool()>& stopped);
    bool findLastKeyframe(KeyframeSearch& search);
    bool findFirstKeyframe(KeyframeSearch& search);
    void placeFirstSound();
    bool advanceTo(Ticks position, const std::function<bool()>& stopped);

    FragmentReader reader_;
    FragmentReader::Place begin_;
    bool withoutKeyframes_ = false; // the track's samples all say that they are none
    FileSound sound_;
};

enum class SourceSound { Wanted, Unwanted };

// All that is delivered of a file.
struct SourceTracks {
    SourceTrack video;
    std::optional<SourceTrack> sound; // where it is wanted and there is some
};

// What the program's own media source has of a file. None, when it leaves the file to the system's:
// when the video isn't as SourceTrack needs it, or its first track of sound is there, wanted, and
// can't be served. The one rule for that: previews follow it, to show what the engine shows.
[[nodiscard]] std::optional<SourceTracks> openServedTracks(const FilePath& path, SourceSound sound);

// Whether decoders of AAC can be expected to take it: low complexity, with what HE-AAC adds to
// that.
[[nodiscard]] bool isPlainAac(const FileSound& sound);

// What a decoder of raw AAC finds behind its WAVEFORMATEX: the rest of Windows' HEAACWAVEINFO, 12
// bytes that say "raw, profile unknown", then the AudioSpecificConfig (ISO/IEC 14496-3).
std::vector<std::uint8_t> aacUserData(const std::vector<std::uint8_t>& audioConfig);

// Samples that a start may pass over on its way: a day of sound, or of video in one direction.
inline constexpr std::uint64_t MAX_PASSED_SAMPLES = std::uint64_t{1} << 22;
// Samples in a row with nothing in them. A run of 2^32 takes a broken file a few bytes.
inline constexpr std::uint32_t MAX_EMPTY_SAMPLES = 1u << 16;

} // namespace velkantrix
