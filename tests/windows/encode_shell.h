// encode_shell.h: a re-encode between a scripted reader and a recording writer.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <cstdint>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "export/encode_types.h"
#include "export/read_budget.h"
#include "tests/windows/export_shell.h"

namespace velkantrix {

using Content = std::vector<std::uint8_t>;

ComPtr<IMFMediaBuffer> bufferOf(const Content& content);
Content contentOf(IMFSample* sample);

// A source of five seconds, ten pictures and ten sounds a second, of which the second one [1, 2) is
// asked for. Pictures are 8 x 4, of one luma and one chroma; sounds are of one value.
class EncodeShell : public ExportShell {
protected:
    static constexpr Ticks FRAME = TICKS_PER_SECOND / 10;
    static constexpr DWORD VIDEO = 3;
    static constexpr DWORD AUDIO = 1;
    static constexpr UINT32 WIDTH = 8, HEIGHT = 4;
    static constexpr std::uint8_t LUMA = 100, CHROMA = 60;
    static constexpr std::int16_t LOUDNESS = 10'000;

    EncodeShell();

    // Makes both sides anew.
    void reset();

    static ComPtr<IMFMediaType> nativePictures();
    static Content picture(std::uint8_t luma = LUMA, std::uint8_t chroma = CHROMA);
    static Content sound(std::size_t frames = 4800, std::int16_t value = LOUDNESS);
    static ScriptedRead pictureAt(Ticks time);
    static ScriptedRead soundAt(Ticks time);

    [[nodiscard]] std::vector<ScriptedRead>& video() { return reader->stream(VIDEO).reads; }
    [[nodiscard]] std::vector<ScriptedRead>& audio() { return reader->stream(AUDIO).reads; }

    // Time stands still, unless a test moves it in `pause`.
    [[nodiscard]] HRESULT encode(std::int64_t readsPerSpan = ReadBudget::READS_PER_PASS);

    [[nodiscard]] std::vector<ComPtr<IMFSample>> samplesOf(DWORD stream) const;

    Ticks now = 0;
    std::function<void()> pause = [] {
        FAIL() << "nothing has to wait";
    };
};

} // namespace velkantrix
