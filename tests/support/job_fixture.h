// job_fixture.h: a loaded video, and a fresh job over a world of the test's own.
#pragma once

#include <string>

#include "edit/open_flow.h"
#include "export/export_job_core.h"
#include "tests/support/edit_fixture.h"
#include "tests/support/job_world.h"

namespace velkantrix {

class ExportJobTest : public EditTest {
protected:
    // Ten seconds, of which two clips are kept.
    ExportJobTest() {
        resetExportJob();
        jobHost() = world.host();
        openState() = {};
        openState().path = L"D:\\v\\source.mkv";
        load(10, {clip(1, 3), clip(5, 9)});
        state.edited = true;
    }

    ~ExportJobTest() override {
        if (state.exportBusy) {
            job.exportCancel = true;
            EXPECT_TRUE(world.waitForEnd()) << "the job goes on";
        }
        openState() = {};
        jobHost() = {};
        resetExportJob();
    }

    void exportTo(const std::wstring& path, bool separate = false) {
        ExportTo(path, separate, job.exportQuality, false, L"", std::nullopt, false);
    }

    void saveTo(const std::wstring& path) {
        ExportTo(path, false, job.exportQuality, true, openState().path, std::nullopt, false);
    }

    // Waits until the job has posted its end, and forgets what the window was asked until then.
    bool waitForEnd() {
        const std::optional<bool> success = world.waitForEnd();
        EXPECT_TRUE(success) << "the job doesn't end";
        world.calls.clear();
        recorder.forget();
        return success.value_or(false);
    }

    void endJob() { finishExport(waitForEnd()); }

    std::wstring error() {
        const Lock held(job.exportErrorLock);
        return job.exportError;
    }

    JobWorld world;
    ExportJobState& job = exportJob();
};

} // namespace velkantrix
