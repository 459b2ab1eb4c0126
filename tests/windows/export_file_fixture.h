// export_file_fixture.h: whole exports, from files to files.
#pragma once

#include <string>

#include "export/export_core.h"
#include "tests/windows/test_files.h"

namespace velkantrix {

class ExportFileTest : public FolderTest {
protected:
    [[nodiscard]] ExportRequest request(const std::wstring& name) const {
        return {.sourcePath = mediaFile(name),
                .outputPath = inFolder(L"out.mp4"),
                .spans = {{.start = 1.5, .end = 3}},
                .losslessAllowed = true};
    }

    // A source of the test's own, which it may put at risk.
    [[nodiscard]] std::wstring ownSource(const std::wstring& name = L"closed") const {
        const std::wstring path = inFolder(L"Source.mp4");
        EXPECT_TRUE(CopyFileW(mediaFile(name).c_str(), path.c_str(), FALSE));
        return path;
    }
};

struct ExportResult {
    bool done = false;
    std::wstring text = L"untouched";
};

inline ExportResult run(const ExportRequest& request) {
    ExportResult result;
    result.done = ExportFile(request, &result.text);
    return result;
}

} // namespace velkantrix
