// export_job_fixture.h: whole jobs on real files. A window without a screen gets their ends by
// message, as the program's does.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/unique_handle.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "export/export_core.h"
#include "export/export_job.h"
#include "export/export_job_core.h"
#include "tests/windows/test_files.h"

namespace velkantrix {

struct WindowTraits {
    using Value = HWND;
    static Value none() { return nullptr; }
    static void close(Value window) { DestroyWindow(window); }
};
using UniqueWindow = UniqueHandle<WindowTraits>;

class ExportJobTest : public FolderTest {
protected:
    static constexpr ULONGLONG TIME_LIMIT_MS = 60'000;

    void SetUp() override {
        CreateDirectoryW(clipFolder().c_str(), nullptr);
        window_ = UniqueWindow(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                               nullptr, nullptr, nullptr));
        ASSERT_TRUE(window_);
        editState() = {};
        resetExportJob();
        bindExportJob(window_.get());
        JobHost& host = jobHost();
        host.chooseExportFile = [this](const std::wstring&, const OutputSuggestion& suggestion) {
            suggested = suggestion.name;
            return chosen;
        };
        host.chooseOutputFolder = [this](const std::wstring&) {
            return chosen;
        };
        host.setTimer = [](std::uint32_t) {
        };
        host.isForeground = [] {
            return true;
        };
        host.showError = [this](const std::wstring& text) {
            errorBox = text;
        };
    }

    void TearDown() override {
        EXPECT_FALSE(editState().exportBusy);
        unbindExportJob();
        resetExportJob();
        openState() = {};
        editState() = {};
        window_.reset();
        for (const std::wstring& name : clipFiles())
            DeleteFileW((clipFolder() + L"\\" + name).c_str());
        RemoveDirectoryW(clipFolder().c_str());
    }

    // Opens a copy of a sample recording, which the test may put at risk.
    std::wstring open(const std::wstring& sample, double duration, ClipList clips,
                      const std::wstring& name = L"Source.mp4") {
        const std::wstring path = inFolder(name);
        EXPECT_TRUE(CopyFileW(mediaFile(sample).c_str(), path.c_str(), FALSE));
        openState().path = path;
        startEdit(duration);
        editState().clips = std::move(clips);
        return path;
    }

    // Dispatches messages until the job's end has come, and ends it.
    void endJob() {
        const ULONGLONG begun = GetTickCount64();
        while (GetTickCount64() - begun < TIME_LIMIT_MS) {
            MSG message;
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
                if (message.message == WM_EXPORT_FINISHED) {
                    EXPECT_EQ(message.hwnd, window_.get());
                    return finishExport(message.wParam != 0);
                }
                DispatchMessageW(&message);
            }
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLINPUT);
        }
        ADD_FAILURE() << "the job doesn't end";
    }

    // File > Export As, with that answer to the dialog, up to the end of the job.
    void exportAs(const std::wstring& answer, std::int32_t layout = LAYOUT_JOINED) {
        exportJob().exportLayout = layout;
        chosen = answer;
        exportAsCommand();
        if (editState().exportBusy) endJob();
    }

    // What the export alone writes of these spans.
    std::vector<char> exported(const std::wstring& source, std::vector<ExportSpan> spans) {
        const std::wstring path = inFolder(L"compare.mp4");
        EXPECT_TRUE(ExportFile({.sourcePath = source,
                                .outputPath = path,
                                .spans = std::move(spans),
                                .losslessAllowed = true},
                               nullptr));
        std::vector<char> bytes = bytesOf(path);
        EXPECT_TRUE(DeleteFileW(path.c_str()));
        EXPECT_GT(bytes.size(), 1'000u);
        return bytes;
    }

    [[nodiscard]] std::wstring clipFolder() const { return inFolder(L"clips"); }
    [[nodiscard]] std::wstring clipFile(const std::wstring& name) const {
        return clipFolder() + L"\\" + name;
    }
    [[nodiscard]] std::vector<std::wstring> clipFiles() const { return filesIn(clipFolder()); }
    // In the test's folder, but for the folder of clips.
    [[nodiscard]] std::vector<std::wstring> files() const {
        std::vector<std::wstring> names = filesInFolder();
        std::erase(names, L"clips");
        return names;
    }

    std::wstring chosen;    // the answer to dialogs
    std::wstring suggested; // by the last one for a file
    std::wstring errorBox;  // the last one

private:
    UniqueWindow window_;
};

} // namespace velkantrix
