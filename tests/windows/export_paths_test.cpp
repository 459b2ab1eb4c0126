#include "export/export_core.h"

#include <algorithm>
#include <utility>

#include "tests/windows/export_file_fixture.h"

namespace velkantrix {
namespace {

constexpr wchar_t OVERWRITE_REFUSED[] = L"The export would overwrite the video it is reading.";

// Makes a folder the process's current one, for its own lifetime.
class CurrentFolder {
public:
    explicit CurrentFolder(const std::wstring& folder) {
        GetCurrentDirectoryW(MAX_PATH, before_);
        EXPECT_TRUE(SetCurrentDirectoryW(folder.c_str()));
    }
    ~CurrentFolder() { SetCurrentDirectoryW(before_); }
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;

private:
    wchar_t before_[MAX_PATH] = L"";
};

// With three slashes, as it should be, and with the two that some take for right.
std::vector<std::wstring> urlsOf(std::wstring path) {
    std::ranges::replace(path, L'\\', L'/');
    return {L"file:///" + path, L"file://" + path};
}

TEST_F(ExportFileTest, WritesByANameOfThreeHundredCharacters) {
    const std::wstring folder = inFolder(std::wstring(150, L'd'));
    ASSERT_TRUE(CreateDirectoryW((L"\\\\?\\" + folder).c_str(), nullptr));
    ExportRequest wanted = request(L"closed");
    wanted.outputPath = folder + L"\\" + std::wstring(150, L'n') + L".mp4";
    const ExportResult result = run(wanted);
    EXPECT_TRUE(result.done) << testing::PrintToString(result.text);
    EXPECT_GT(bytesOf(L"\\\\?\\" + wanted.outputPath).size(), 1'000u);
    EXPECT_TRUE(DeleteFileW((L"\\\\?\\" + wanted.outputPath).c_str()));
    EXPECT_TRUE(RemoveDirectoryW((L"\\\\?\\" + folder).c_str()));
}

TEST_F(ExportFileTest, NeverOverwritesItsSourceByAnyName) {
    const std::wstring source = ownSource(), link = inFolder(L"link.mp4");
    const std::vector<char> before = bytesOf(source);
    ASSERT_TRUE(CreateHardLinkW(link.c_str(), source.c_str(), nullptr));
    const std::vector<std::wstring> names = {
        source,
        inFolder(L"SOURCE.MP4"),
        inFolder(L".\\Source.mp4"),
        inFolder(L"Source.mp4."),
        L"\\\\?\\" + source,
        link,
    };
    for (const std::wstring& name : names) {
        ExportRequest wanted = request(L"closed");
        wanted.sourcePath = source;
        wanted.outputPath = name;
        for (const bool lossless : {true, false}) {
            wanted.losslessAllowed = lossless;
            const ExportResult result = run(wanted);
            EXPECT_FALSE(result.done);
            EXPECT_EQ(result.text, OVERWRITE_REFUSED);
        }
    }
    EXPECT_EQ(bytesOf(source), before);
    EXPECT_EQ(filesInFolder().size(), 2u);
}

TEST_F(ExportFileTest, NeverOverwritesItsSourceThroughAnotherDrive) {
    const std::wstring source = L"M:\\Source.mp4";
    ASSERT_TRUE(CopyFileW(mediaFile(L"closed").c_str(), source.c_str(), FALSE));
    const std::vector<char> before = bytesOf(source);
    ExportRequest wanted = request(L"closed");
    wanted.sourcePath = source;
    wanted.outputPath = L"N:\\source.mp4";
    EXPECT_EQ(run(wanted).text, OVERWRITE_REFUSED);
    EXPECT_EQ(bytesOf(source), before);
    EXPECT_TRUE(DeleteFileW(source.c_str()));
}

TEST_F(ExportFileTest, TheGuardSpeaksBeforeAnEmptySpanListDoes) {
    ExportRequest wanted = request(L"closed");
    wanted.outputPath = wanted.sourcePath;
    wanted.spans.clear();
    EXPECT_EQ(run(wanted).text, OVERWRITE_REFUSED);
}

TEST_F(ExportFileTest, RefusesAStreamOfItsSource) {
    const std::wstring source = ownSource();
    const std::vector<char> before = bytesOf(source);
    for (const wchar_t* stream : {L":x", L":x:$DATA", L"::$DATA"}) {
        ExportRequest wanted = request(L"closed");
        wanted.sourcePath = source;
        wanted.outputPath = source + stream;
        const ExportResult result = run(wanted);
        EXPECT_FALSE(result.done);
        EXPECT_EQ(result.text, OVERWRITE_REFUSED);
    }
    EXPECT_EQ(bytesOf(source), before);
    EXPECT_EQ(filesInFolder(), std::vector<std::wstring>{L"Source.mp4"});
}

TEST_F(ExportFileTest, RefusesARelativePathToItsSource) {
    const std::wstring source = ownSource();
    const std::vector<char> before = bytesOf(source);
    const CurrentFolder here(inFolder(L"."));
    for (const wchar_t* name : {L"source.mp4", L".\\Source.mp4", L"none\\..\\Source.mp4"}) {
        ExportRequest wanted = request(L"closed");
        wanted.sourcePath = source;
        wanted.outputPath = name;
        EXPECT_EQ(run(wanted).text, OVERWRITE_REFUSED);
        std::swap(wanted.sourcePath, wanted.outputPath);
        EXPECT_EQ(run(wanted).text, OVERWRITE_REFUSED);
    }
    EXPECT_EQ(bytesOf(source), before);
}

TEST_F(ExportFileTest, RelativePathsAreTakenFromTheCurrentFolder) {
    ASSERT_FALSE(ownSource().empty());
    const CurrentFolder here(inFolder(L"."));
    ExportRequest wanted = request(L"closed");
    wanted.sourcePath = L"Source.mp4";
    wanted.outputPath = L"cut.mp4";
    EXPECT_TRUE(run(wanted).done);
    EXPECT_TRUE(exists(inFolder(L"cut.mp4")));
}

TEST_F(ExportFileTest, AUrlIsNoSource) {
    for (const std::wstring& url : urlsOf(mediaFile(L"closed"))) {
        ExportRequest wanted = request(L"closed");
        wanted.sourcePath = url;
        const ExportResult result = run(wanted);
        EXPECT_FALSE(result.done);
        EXPECT_NE(result.text.find(L" (0x"), std::wstring::npos)
            << testing::PrintToString(result.text);
        EXPECT_TRUE(filesInFolder().empty());
    }
}

TEST_F(ExportFileTest, AUrlIsNoWayToOverwriteTheSource) {
    const std::wstring source = ownSource();
    const std::vector<char> before = bytesOf(source);
    for (const std::wstring& url : urlsOf(source)) {
        ExportRequest wanted = request(L"closed");
        wanted.sourcePath = url;
        wanted.outputPath = source;
        EXPECT_FALSE(run(wanted).done);
        EXPECT_EQ(bytesOf(source), before);

        std::swap(wanted.sourcePath, wanted.outputPath);
        EXPECT_FALSE(run(wanted).done);
        EXPECT_EQ(bytesOf(source), before);
    }
    EXPECT_EQ(filesInFolder(), std::vector<std::wstring>{L"Source.mp4"});
}

// In the first, the output is never created; in the second it is, and then the writer refuses a
// source without video.
TEST_F(ExportFileTest, AFailedExportNeverTouchesTheSource) {
    ExportRequest wanted = request(L"closed");
    wanted.sourcePath = ownSource();
    std::vector<char> before = bytesOf(wanted.sourcePath);
    wanted.outputPath = inFolder(L"none\\out.mp4");
    EXPECT_FALSE(run(wanted).done);
    EXPECT_EQ(bytesOf(wanted.sourcePath), before);

    wanted.sourcePath = ownSource(L"audio-only");
    before = bytesOf(wanted.sourcePath);
    ASSERT_FALSE(before.empty());
    wanted.outputPath = inFolder(L"out.mp4");
    writeBytes(wanted.outputPath, {'o', 'l', 'd'}); // gone afterwards: it was overwritten
    EXPECT_FALSE(run(wanted).done);
    EXPECT_EQ(bytesOf(wanted.sourcePath), before);
    EXPECT_EQ(filesInFolder(), std::vector<std::wstring>{L"Source.mp4"});
}

TEST_F(ExportFileTest, TheContainerIsMp4WhateverTheName) {
    for (const wchar_t* name : {L"cut.tmp", L"cut", L"cut.avi"}) {
        ExportRequest wanted = request(L"closed");
        wanted.outputPath = inFolder(name);
        EXPECT_TRUE(run(wanted).done);
        const std::vector<char> bytes = bytesOf(wanted.outputPath);
        ASSERT_GT(bytes.size(), 10'000u);
        EXPECT_EQ(std::string(bytes.data() + 4, 4), "ftyp"); // behind the first box's size
    }
}

} // namespace
} // namespace velkantrix
