// Exports into places that can't hold them. The rig makes the places: a small disk and a read-only
// one.
#include "export/export_core.h"
#include "export/export_job.h"
#include "export/export_job_core.h"
#include "platform/system_text.h"
#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

ExportRequest largeRequest(const std::wstring& output) {
    return {.sourcePath = mediaFile(L"large"),
            .outputPath = output,
            .spans = {{.start = 0, .end = 40}},
            .losslessAllowed = true};
}

TEST(FullDisk, AnExportThatFillsTheDiskFailsAndLeavesNothing) {
    const std::wstring disk = folderOf(L"RIG_SMALL_DISK");
    if (disk.empty()) GTEST_SKIP() << "the rig has no small disk here (mounting is not allowed)";
    const std::wstring output = disk + L"\\out.mp4";
    double reached = 0;
    ExportRequest wanted = largeRequest(output);
    wanted.progress = [&](double seconds) {
        reached = seconds;
    };
    std::wstring text;
    EXPECT_FALSE(ExportFile(wanted, &text));
    EXPECT_EQ(text, FormatExportError(HRESULT_FROM_WIN32(ERROR_DISK_FULL)));
    EXPECT_GT(reached, 0);
    EXPECT_LT(reached, 40);
    EXPECT_FALSE(exists(output));

    // The room is there again: nothing of the failed one is held.
    wanted.sourcePath = mediaFile(L"closed");
    EXPECT_TRUE(ExportFile(wanted, nullptr));
    EXPECT_TRUE(DeleteFileW(output.c_str()));
}

TEST(FullDisk, ACopyThatFillsTheDiskFailsAndLeavesNothing) {
    const std::wstring disk = folderOf(L"RIG_SMALL_DISK");
    if (disk.empty()) GTEST_SKIP() << "the rig has no small disk here (mounting is not allowed)";
    const std::wstring output = disk + L"\\copy.mp4";
    DeleteFileW(output.c_str()); // of a run that failed
    bindExportJob(nullptr);
    const CopyResult result = jobHost().calls.copyFile(
        mediaFile(L"large"), output, [](std::uint64_t, std::uint64_t) { return true; });
    unbindExportJob();
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.errorText, systemText(ERROR_DISK_FULL));
    EXPECT_FALSE(exists(output));
}

TEST(ReadOnlyDisk, AnExportFailsWithTheSystemsReason) {
    const std::wstring disk = folderOf(L"RIG_READ_ONLY");
    if (disk.empty())
        GTEST_SKIP() << "the rig has no read-only disk here (mounting is not allowed)";
    std::wstring text;
    EXPECT_FALSE(ExportFile(largeRequest(disk + L"\\out.mp4"), &text));
    EXPECT_NE(text.find(L" (0x8007"), std::wstring::npos) << testing::PrintToString(text);
    EXPECT_FALSE(exists(disk + L"\\out.mp4"));
}

} // namespace
} // namespace velkantrix
