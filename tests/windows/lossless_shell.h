// lossless_shell.h: a lossless export between a scripted reader and a recording writer.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "export/read_budget.h"
#include "tests/windows/export_shell.h"

namespace velkantrix {

inline constexpr Ticks FRAME = TICKS_PER_SECOND / 10; // ten a second: times are easy to read

// The source's indices, unless a test says otherwise.
inline constexpr DWORD VIDEO = 0;
inline constexpr DWORD AUDIO = 1;

ScriptedRead keyAt(Ticks time);
ScriptedRead pictureAt(Ticks time);
ScriptedRead soundAt(Ticks time);
ScriptedRead failedRead(HRESULT result);
ScriptedRead flagsAlone(DWORD flags); // a read without a sample

// From `first` on, a keyframe each second of ten pictures.
std::vector<ScriptedRead> videoReads(int pictures, Ticks first = 0);
std::vector<ScriptedRead> audioReads(int sounds, Ticks first = 0);

std::vector<Ticks> every(Ticks from, Ticks to, Ticks step = FRAME);

// A source of five seconds, of which the second one [1, 2) is asked for: ten pictures and ten
// sounds. The video pass reads twelve, the keyframe behind the span and one more.
class LosslessShell : public ExportShell {
protected:
    LosslessShell();

    // Makes both sides anew.
    void useStreams(DWORD video, DWORD audio);

    [[nodiscard]] std::vector<ScriptedRead>& video() {
        return reader->stream(*streams.video).reads;
    }
    [[nodiscard]] std::vector<ScriptedRead>& audio() {
        return reader->stream(*streams.audio).reads;
    }

    bool withoutSound = false; // though its source has some

    [[nodiscard]] HRESULT copy(std::int64_t readsPerPass = ReadBudget::READS_PER_PASS);
};

} // namespace velkantrix
