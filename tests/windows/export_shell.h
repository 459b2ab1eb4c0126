// export_shell.h: an export between a scripted reader and a recording writer, of whichever kind.
#pragma once

#include <windows.h>

#include <mferror.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include <gtest/gtest.h>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "export/export_core.h"
#include "export/export_request.h"
#include "tests/windows/scripted_media.h"

namespace velkantrix {

// The second one [1, 2) of a source is asked for.
class ExportShell : public testing::Test {
protected:
    static constexpr DWORD VIDEO_OUT = RecordingWriter::FIRST_INDEX;
    static constexpr DWORD AUDIO_OUT = RecordingWriter::FIRST_INDEX + 1;

    ExportShell() {
        request.spans = {{.start = 1, .end = 2}};
        request.cancel = &cancel;
        request.progress = [this](double seconds) {
            reports.push_back(seconds);
        };
    }

    void makeReaderAndWriter() {
        reader = ComPtr<ScriptedReader>::adopt(new ScriptedReader);
        writer = ComPtr<RecordingWriter>::adopt(new RecordingWriter);
    }

    [[nodiscard]] std::vector<WrittenSample> writtenTo(DWORD stream) const {
        std::vector<WrittenSample> found;
        for (const WrittenSample& sample : writer->written()) {
            if (sample.stream == stream) found.push_back(sample);
        }
        return found;
    }

    [[nodiscard]] std::vector<Ticks> timesOf(DWORD stream) const {
        std::vector<Ticks> times;
        for (const WrittenSample& sample : writtenTo(stream)) times.push_back(sample.time);
        return times;
    }

    // Each failing call of the writer's is the result of `run`, and its last call. An export writes
    // twenty samples.
    template <class Prepare, class Run>
    void expectWritersFailures(const Prepare& prepare, const Run& run) {
        struct Row {
            WriterCall call;
            int nth;
        };
        const Row rows[] = {
            {WriterCall::AddStream, 1},         {WriterCall::AddStream, 2},
            {WriterCall::SetInputMediaType, 1}, {WriterCall::SetInputMediaType, 2},
            {WriterCall::BeginWriting, 1},      {WriterCall::WriteSample, 1},
            {WriterCall::WriteSample, 2},       {WriterCall::WriteSample, 10},
            {WriterCall::WriteSample, 11},      {WriterCall::WriteSample, 20},
        };
        constexpr HRESULT BROKEN = MF_E_INVALID_FILE_FORMAT; // no result that exports make
        for (const auto& [call, nth] : rows) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(call) << ", " << nth);
            prepare();
            writer->failAt(call, nth, BROKEN);
            EXPECT_EQ(run(), BROKEN);
            EXPECT_EQ(writer->calls().back(), call);
            EXPECT_EQ(std::ranges::count(writer->calls(), call), nth);
        }
    }

    ComPtr<ScriptedReader> reader;
    ComPtr<RecordingWriter> writer;
    SourceStreams streams;
    ExportRequest request;
    std::atomic<bool> cancel = false;
    std::vector<double> reports; // of the progress
};

} // namespace velkantrix
