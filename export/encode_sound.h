// encode_sound.h: the sound of a re-encode, and the silence where there is none.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <utility>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "export/encode_cutter.h"
#include "export/encode_outlet.h"
#include "export/sound_line.h"

namespace velkantrix {

// How long the sound lasts: what its data takes, whatever its source states of it.
[[nodiscard]] HRESULT soundDuration(IMFSample* sound, Ticks& duration);

// Used by the export's thread.
class EncodeSound {
public:
    explicit EncodeSound(EncodeOutlet outlet) : outlet_(std::move(outlet)) {}

    [[nodiscard]] EncodeOutlet& outlet() { return outlet_; }

    void beginSpan() { line_.beginSpan(); }

    // A sound of the source's that is placed in the output, behind the silence before it.
    [[nodiscard]] HRESULT write(IMFSample* sound, const EncodeCut& cut);

    // Silence up to a time of the output, where there is no sound before it.
    [[nodiscard]] HRESULT fill(Ticks time);

    [[nodiscard]] Ticks end() const { return line_.end(); }

    // A picture has been written. What writes both into one file may hold back what is far ahead of
    // the pictures: an encoder of sound that stands is waited for once between two of them, or the
    // next one would come late. One that gets on is waited for however far ahead it is: a picture
    // may stand for hours.
    void pictureWritten() { waitedInVain_ = false; }

private:
    [[nodiscard]] HRESULT put(IMFSample* sample, Ticks time, Ticks duration);

    EncodeOutlet outlet_;
    SoundLine line_;
    bool waitedInVain_ = false; // since the last picture
};

} // namespace velkantrix
