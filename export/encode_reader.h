// encode_reader.h: the reader of a re-encode: what it is asked to decode to, and what it delivers.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "export/encode_types.h"
#include "export/export_core.h"
#include "export/sample_reads.h"

namespace velkantrix {

// Used by the export's thread. All that it is given outlives it.
class EncodeReader {
public:
    EncodeReader(IMFSourceReader* reader, const SourceStreams& streams, const PicturePlan& plan)
        : reader_(reader), streams_(streams), plan_(plan), coded_(plan.size) {}

    // Asks for what the encoders are to get: both types, the sound's where there is any. Fails when
    // the reader delivers anything else. Before the first read.
    [[nodiscard]] HRESULT setTypes();
    [[nodiscard]] IMFMediaType* pictures() const { return pictures_.get(); }
    [[nodiscard]] IMFMediaType* sound() const { return sound_.get(); }

    // Reads from one stream, or from whichever comes next (ANY_STREAM). A reader that changes to
    // other types on the way is asked for the first ones again; fails when they can't be had.
    [[nodiscard]] HRESULT read(DWORD stream, Read& next);

    // The last read has made it ask. A reader that is asked may build the stream's decoder anew:
    // what that had decoded ahead is gone, and what it decodes next hangs on what it hasn't seen.
    // What was read of the stream is of the other type.
    [[nodiscard]] bool picturesAskedAgain() const { return picturesAskedAgain_; }
    [[nodiscard]] bool soundAskedAgain() const { return soundAskedAgain_; }

    // Of pictures with more bytes than their size takes: the size with the lines and columns that
    // aren't seen.
    [[nodiscard]] FrameSize coded() const { return coded_; }

private:
    [[nodiscard]] HRESULT askForPictures();
    [[nodiscard]] HRESULT takeNewPictures();
    [[nodiscard]] HRESULT takeNewSound();
    [[nodiscard]] HRESULT lookAtPictures(PictureDelivery& delivery);
    [[nodiscard]] HRESULT checkSound(bool& asAsked) const;

    IMFSourceReader* const reader_;
    const SourceStreams& streams_;
    const PicturePlan& plan_;
    ComPtr<IMFMediaType> pictures_;
    ComPtr<IMFMediaType> sound_;
    FrameSize coded_;
    PictureDelivery kept_; // what the reader delivered when it was asked last; to be lived with
    bool picturesAskedAgain_ = false;
    bool soundAskedAgain_ = false;
};

} // namespace velkantrix
