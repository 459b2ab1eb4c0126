#include "export/export_job.h"

#include <gmock/gmock.h>

#include "platform/file_mark.h"
#include "platform/handles.h"
#include "platform/system_text.h"
#include "tests/windows/export_job_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr wchar_t REFUSED[] =
    L"Export failed.\n\nThe export would overwrite the video it is reading.";

TEST_F(ExportJobTest, JoinsTheClipsLosslessly) {
    const std::wstring source = open(L"closed", 8, {{1.5, 3}, {5, 6.5}});
    exportAs(inFolder(L"out.mp4"));
    EXPECT_EQ(suggested, L"Source-cut.mp4");
    EXPECT_EQ(editState().statusText, L"Export complete — File ▸ Show last export in Explorer");
    EXPECT_EQ(exportJob().lastExportPath, inFolder(L"out.mp4"));
    EXPECT_EQ(errorBox, L"");
    EXPECT_DOUBLE_EQ(exportJob().exportProgress, 3);
    EXPECT_EQ(bytesOf(inFolder(L"out.mp4")), exported(source, {{1.5, 3}, {5, 6.5}}));
}

TEST_F(ExportJobTest, ReplacesTheFileThatTheUserChose) {
    const std::wstring source = open(L"closed", 8, {{1.5, 3}, {5, 6.5}});
    writeBytes(inFolder(L"out.mp4"), std::vector<char>(3'000'000, 'x'));
    exportAs(inFolder(L"out.mp4"));
    EXPECT_EQ(bytesOf(inFolder(L"out.mp4")), exported(source, {{1.5, 3}, {5, 6.5}}));
}

TEST_F(ExportJobTest, WritesAFileForEachClip) {
    const std::wstring source =
        open(L"closed", 8, {{0, 2, L"a/b?", 1, 0}, {2, 4}, {5, 6.5, L"Schönes Ende. . "}});
    writeBytes(clipFile(L"clip-02.mp4"), {'o', 'l', 'd'});
    exportAs(clipFolder() + L"\\", LAYOUT_SEPARATE);
    EXPECT_EQ(errorBox, L"");
    EXPECT_THAT(clipFiles(),
                UnorderedElementsAre(L"01 - a-b-.mp4", L"clip-02.mp4", L"03 - Schönes Ende.mp4"));
    EXPECT_EQ(bytesOf(clipFile(L"01 - a-b-.mp4")), exported(source, {{0, 2}}));
    EXPECT_EQ(bytesOf(clipFile(L"clip-02.mp4")), exported(source, {{2, 4}}));
    EXPECT_EQ(bytesOf(clipFile(L"03 - Schönes Ende.mp4")), exported(source, {{5, 6.5}}));
    EXPECT_DOUBLE_EQ(exportJob().exportProgress, 5.5);
    EXPECT_EQ(exportJob().lastExportPath, clipFolder() + L"\\");
}

TEST_F(ExportJobTest, CopiesAnUneditedFileByteForByte) {
    const std::wstring source = open(L"closed", 8, {{0, 8}}, L"Source.mov");
    for (const std::int32_t quality : {0, 1}) {
        exportJob().exportQuality = quality;
        exportAs(inFolder(L"out.mov"));
        EXPECT_EQ(suggested, L"Source-copy.mov");
        EXPECT_EQ(errorBox, L"");
        EXPECT_EQ(bytesOf(inFolder(L"out.mov")), bytesOf(source));
        EXPECT_GT(bytesOf(source).size(), 100'000u);
        EXPECT_TRUE(DeleteFileW(inFolder(L"out.mov").c_str()));
    }
}

TEST_F(ExportJobTest, AVideoThatCannotBeReadIsTold) {
    open(L"text", 8, {{1, 2}});
    exportAs(inFolder(L"out.mp4"));
    EXPECT_EQ(editState().statusText, L"Export failed");
    EXPECT_EQ(errorBox.find(L"Export failed.\n\n"), 0u);
    EXPECT_NE(errorBox.find(L" (0x"), std::wstring::npos) << testing::PrintToString(errorBox);
    EXPECT_THAT(files(), ElementsAre(L"Source.mp4"));
    EXPECT_EQ(exportJob().lastExportPath, L"");
}

TEST_F(ExportJobTest, ACopyThatFailsHasTheSystemsText) {
    open(L"closed", 8, {{0, 8}});
    exportAs(inFolder(L"none\\out.mp4"));
    EXPECT_EQ(errorBox, L"Export failed.\n\n" + systemText(ERROR_PATH_NOT_FOUND));
    EXPECT_FALSE(systemText(ERROR_PATH_NOT_FOUND).empty());
    EXPECT_THAT(files(), ElementsAre(L"Source.mp4"));
}

TEST_F(ExportJobTest, ATargetThatIsHeldOpenStaysAsItIs) {
    const std::wstring output = inFolder(L"out.mp4");
    writeBytes(output, {'k', 'e', 'e', 'p'});
    // It can't be written, but it could be deleted.
    UniqueFile held(CreateFileW(output.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    for (const Segment& kept : {Segment{0, 8}, Segment{1, 2}}) {
        open(L"closed", 8, {kept});
        errorBox.clear();
        exportAs(output);
        EXPECT_EQ(
            errorBox.find(L"Export failed.\n\n" + systemText(ERROR_SHARING_VIOLATION).substr(0, 8)),
            0u)
            << testing::PrintToString(errorBox);
    }
    held.reset();
    EXPECT_EQ(bytesOf(output), (std::vector<char>{'k', 'e', 'e', 'p'}));
}

// Opened behind the first look at it, as by a player.
TEST_F(ExportJobTest, WhatCannotReplaceTheOldFileInTheEndIsKept) {
    const std::wstring output = inFolder(L"out.mp4");
    writeBytes(output, {'k', 'e', 'e', 'p'});
    open(L"closed", 8, {{1, 2}});
    UniqueFile held;
    const auto real = jobHost().calls.exportFile;
    jobHost().calls.exportFile = [&](const ExportRequest& request, std::wstring* errorText) {
        held.reset(CreateFileW(output.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                               OPEN_EXISTING, 0, nullptr));
        return real(request, errorText);
    };
    exportAs(output);
    held.reset();
    EXPECT_THAT(files(), testing::UnorderedElementsAre(L"Source.mp4", L"out.mp4", L"out (2).mp4"));
    EXPECT_EQ(bytesOf(output), (std::vector<char>{'k', 'e', 'e', 'p'}));
    EXPECT_GT(bytesOf(inFolder(L"out (2).mp4")).size(), 1000u);
    EXPECT_NE(errorBox.find(L"It was kept as " + inFolder(L"out (2).mp4") + L"."),
              std::wstring::npos)
        << testing::PrintToString(errorBox);
}

TEST_F(ExportJobTest, OfACompleteFileThatIsGoneItIsNotSaidWhereItIs) {
    const std::wstring gone = inFolder(L"gone.tmp"), target = inFolder(L"out.mp4");
    EXPECT_EQ(jobHost().calls.keepBeside(gone, target),
              L"The export is complete, but could not take the place of " + target +
                  L". It is no longer where it was written, as " + gone + L".");
}

TEST_F(ExportJobTest, ASaveKnowsItsFileAgain) {
    open(L"closed", 12, {{0, 5}});
    const std::wstring temporary = inFolder(L"Source.mp4.velkantrix-tmp");
    ExportTo(temporary, false, QUALITY_LOSSLESS, true, openState().path, std::nullopt, false);
    jobHost().swapInSavedFile = [&] {
        const Lock held(exportJob().exportErrorLock);
        EXPECT_EQ(exportJob().writtenMark, markOf(temporary));
        EXPECT_NE(exportJob().writtenMark, L"");
        return true;
    };
    endJob();
    EXPECT_EQ(editState().statusText, L"Saved — the original was replaced");
}

// The tables in front say how much there was; the reader ends where the file does, without an
// error.
TEST_F(ExportJobTest, ASaveOfASourceThatIsBrokenOffIsAskedAboutAndLeavesNothing) {
    const std::wstring path = open(L"tables-first", 12, {{0, 12}});
    std::vector<char> half = bytesOf(path);
    half.resize(half.size() / 2);
    writeBytes(path, half);
    int asked = 0;
    jobHost().acceptShortSave = [&] {
        ++asked;
        return false;
    };
    const std::wstring temporary = inFolder(L"Source.mp4.velkantrix-tmp");
    for (const bool optimise : {true, false}) {
        editState().clips = {{1, 11}};
        const ClipList whole{{0, 12}};
        ExportTo(temporary, false, QUALITY_LOSSLESS, true, path,
                 optimise ? std::optional(whole) : std::nullopt, optimise);
        endJob();
        EXPECT_EQ(std::exchange(asked, 0), 1);
        EXPECT_EQ(editState().statusText, L"Save cancelled — your original is untouched");
        EXPECT_THAT(files(), ElementsAre(L"Source.mp4"));
        EXPECT_EQ(bytesOf(path), half);
    }
}

TEST_F(ExportJobTest, AMissingFolderForClipsIsTold) {
    open(L"closed", 8, {{0, 2}, {2, 4}});
    exportAs(inFolder(L"none"), LAYOUT_SEPARATE);
    EXPECT_EQ(errorBox,
              L"Export failed.\n\n" + FormatExportError(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)));
    EXPECT_EQ(exportJob().lastExportPath, inFolder(L"none"));
}

// Without a save in place nothing at all happens.
TEST_F(ExportJobTest, TheSourceAsTargetStartsNoJob) {
    for (const Segment& kept : {Segment{1, 2}, Segment{0, 8}}) {
        const std::wstring source = open(L"closed", 8, {kept}), link = inFolder(L"link.mp4");
        const std::vector<char> before = bytesOf(source);
        CreateHardLinkW(link.c_str(), source.c_str(), nullptr);
        for (const std::wstring& name : {source, inFolder(L"SOURCE.MP4"), link}) {
            chosen = name;
            exportAsCommand();
            EXPECT_FALSE(editState().exportBusy);
        }
        EXPECT_EQ(errorBox, L"");
        EXPECT_EQ(bytesOf(source), before);
        EXPECT_THAT(files(), UnorderedElementsAre(L"Source.mp4", L"link.mp4"));
        EXPECT_TRUE(DeleteFileW(link.c_str()));
    }
}

TEST_F(ExportJobTest, AJobOntoTheSourceIsRefused) {
    for (const Segment& kept : {Segment{1, 2}, Segment{0, 8}}) {
        const std::wstring source = open(L"closed", 8, {kept});
        const std::vector<char> before = bytesOf(source);
        errorBox.clear();
        ExportTo(inFolder(L"source.MP4"), false, 0, false, L"", std::nullopt, false);
        endJob();
        EXPECT_EQ(errorBox, REFUSED);
        EXPECT_EQ(bytesOf(source), before);
    }
    EXPECT_THAT(files(), ElementsAre(L"Source.mp4"));
}

TEST_F(ExportJobTest, AClipEditedAgainIntoItsOwnFolderIsRefused) {
    const std::wstring source = open(L"closed", 8, {{0, 2}, {2, 4}}, L"clip-02.mp4");
    const std::vector<char> before = bytesOf(source);
    exportAs(inFolder(L""), LAYOUT_SEPARATE);
    EXPECT_EQ(errorBox, REFUSED);
    EXPECT_EQ(bytesOf(source), before);
    EXPECT_THAT(files(), ElementsAre(L"clip-02.mp4"));
}

TEST_F(ExportJobTest, AClipWhoseFileIsALinkToTheSourceIsRefused) {
    const std::wstring source = open(L"closed", 8, {{0, 2}, {2, 4, L"goal"}});
    const std::vector<char> before = bytesOf(source);
    ASSERT_TRUE(CreateHardLinkW(clipFile(L"02 - goal.mp4").c_str(), source.c_str(), nullptr));
    exportAs(clipFolder(), LAYOUT_SEPARATE);
    EXPECT_EQ(errorBox, REFUSED);
    EXPECT_EQ(bytesOf(source), before);
    EXPECT_THAT(clipFiles(), ElementsAre(L"02 - goal.mp4"));
}

TEST_F(ExportJobTest, TheMachineStaysAwakeForAJob) {
    open(L"closed", 8, {{1, 2}});
    SetThreadExecutionState(ES_CONTINUOUS);
    chosen = inFolder(L"out.mp4");
    exportAsCommand();
    const EXECUTION_STATE during = SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED);
    endJob();
    const EXECUTION_STATE after = SetThreadExecutionState(ES_CONTINUOUS);
    EXPECT_EQ(during & ES_SYSTEM_REQUIRED, static_cast<EXECUTION_STATE>(ES_SYSTEM_REQUIRED));
    EXPECT_EQ(after & ES_SYSTEM_REQUIRED, 0u);
}

TEST_F(ExportJobTest, AskedToCloseTheWindowIsGoneAfterTheJob) {
    open(L"closed", 8, {{1, 2}});
    bool closed = false;
    jobHost().closeWindow = [&] {
        closed = true;
        unbindExportJob(); // as the window does at its end
    };
    chosen = inFolder(L"out.mp4");
    exportAsCommand();
    EXPECT_TRUE(closeAfterExport());
    endJob();
    EXPECT_TRUE(closed);
    EXPECT_THAT(files(), ElementsAre(L"Source.mp4"));
}

TEST(SystemText, IsTheSystemsOwn) {
    EXPECT_NE(systemText(ERROR_ACCESS_DENIED), L"");
    EXPECT_EQ(systemText(0x2FFFFFFF), L"");
}

} // namespace
} // namespace velkantrix
