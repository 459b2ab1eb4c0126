#include "export/export_core.h"

#include <atomic>
#include <random>
#include <thread>

#include "platform/handles.h"
#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

constexpr wchar_t OVERWRITE_REFUSED[] = L"The export would overwrite the video it is reading.";

class ExportFileTest : public FolderTest {
protected:
    [[nodiscard]] ExportRequest request(const std::wstring& name) const {
        return {.sourcePath = mediaFile(name),
                .outputPath = inFolder(L"out.mp4"),
                .spans = {{.start = 1.5, .end = 3}},
                .losslessAllowed = true};
    }

    // A source of the test's own, which it may put at risk.
    [[nodiscard]] std::wstring ownSource() const {
        const std::wstring path = inFolder(L"Source.mp4");
        EXPECT_TRUE(CopyFileW(mediaFile(L"closed").c_str(), path.c_str(), FALSE));
        return path;
    }
};

struct Result {
    bool done = false;
    std::wstring text = L"untouched";
};

Result run(const ExportRequest& request) {
    Result result;
    result.done = ExportFile(request, &result.text);
    return result;
}

TEST_F(ExportFileTest, SuccessLeavesTheTextAlone) {
    const Result result = run(request(L"closed"));
    EXPECT_TRUE(result.done);
    EXPECT_EQ(result.text, L"untouched");
    EXPECT_GT(bytesOf(inFolder(L"out.mp4")).size(), 10'000u);
}

TEST_F(ExportFileTest, NeedsNeitherTextNorProgressNorCancel) {
    EXPECT_TRUE(ExportFile(request(L"closed"), nullptr));
    const ExportRequest wrong = request(L"text");
    EXPECT_FALSE(ExportFile(wrong, nullptr));
}

TEST_F(ExportFileTest, ReportsTheTotalOnceAndLast) {
    ExportRequest wanted = request(L"closed");
    std::vector<double> reports;
    wanted.spans = {{.start = 1.5, .end = 3.2}, {.start = 5.1, .end = 5.9}};
    wanted.progress = [&](double seconds) {
        reports.push_back(seconds);
    };
    ASSERT_TRUE(run(wanted).done);
    const double total = 1.7 + (5.9 - 5.1);
    ASSERT_GT(reports.size(), 10u);
    EXPECT_DOUBLE_EQ(reports.back(), total);
    for (size_t i = 0; i + 1 < reports.size(); i++) EXPECT_LT(reports[i], total - 1e-9) << i;
}

TEST_F(ExportFileTest, NoSpansOrPathsDoNothingAndSayNothing) {
    std::vector<ExportRequest> incomplete(3, request(L"closed"));
    incomplete[0].spans.clear();
    incomplete[1].sourcePath.clear();
    incomplete[2].outputPath.clear();
    for (const ExportRequest& wanted : incomplete) {
        for (const bool lossless : {true, false}) {
            ExportRequest either = wanted;
            either.losslessAllowed = lossless;
            const Result result = run(either);
            EXPECT_FALSE(result.done);
            EXPECT_EQ(result.text, L"untouched");
        }
    }
    EXPECT_TRUE(filesInFolder().empty());
}

TEST_F(ExportFileTest, RefusesToReencode) {
    ExportRequest wanted = request(L"closed");
    wanted.losslessAllowed = false;
    const Result result = run(wanted);
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.text,
              L"This version cannot re-encode yet. Only lossless exports, without fades "
              L"and exposure, are possible.");
    EXPECT_TRUE(filesInFolder().empty());
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
            const Result result = run(wanted);
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

TEST_F(ExportFileTest, RefusesSourcesThatAreNoVideos) {
    for (const wchar_t* name : {L"none", L"text", L"empty", L"truncated", L"audio-only"}) {
        const Result result = run(request(name));
        EXPECT_FALSE(result.done);
        EXPECT_NE(result.text.find(L" (0x"), std::wstring::npos)
            << testing::PrintToString(result.text);
        EXPECT_TRUE(filesInFolder().empty());
    }
}

TEST_F(ExportFileTest, AMissingOutputFolderIsAnError) {
    ExportRequest wanted = request(L"closed");
    wanted.outputPath = inFolder(L"none\\out.mp4");
    const Result result = run(wanted);
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.text, FormatExportError(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)));
}

TEST_F(ExportFileTest, AnOutputThatIsHeldOpenStaysAsItIs) {
    const std::wstring output = inFolder(L"out.mp4");
    writeBytes(output, {'k', 'e', 'e', 'p'});
    {
        const UniqueFile held(CreateFileW(output.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                          OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(held);
        const Result result = run(request(L"closed"));
        EXPECT_FALSE(result.done);
        EXPECT_EQ(result.text, FormatExportError(HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION)));
    }
    EXPECT_EQ(bytesOf(output), (std::vector<char>{'k', 'e', 'e', 'p'}));
}

TEST_F(ExportFileTest, CancelledBeforeTheFirstSampleLeavesNothing) {
    ExportRequest wanted = request(L"closed");
    const std::atomic<bool> cancel = true;
    bool reported = false;
    wanted.cancel = &cancel;
    wanted.progress = [&](double) {
        reported = true;
    };
    // The output is created and taken away again: what stood there before is gone too.
    writeBytes(inFolder(L"out.mp4"), {'o', 'l', 'd'});
    const Result result = run(wanted);
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.text, L"Export cancelled");
    EXPECT_TRUE(filesInFolder().empty());
    EXPECT_FALSE(reported);
}

TEST_F(ExportFileTest, CancelledAtAnyMomentLeavesNothing) {
    std::mt19937 random(20261120);
    int cancelled = 0;
    for (int i = 0; i < 20; i++) {
        std::atomic<bool> cancel = false;
        const double moment = std::uniform_real_distribution<double>(0, 38)(random);
        ExportRequest wanted = request(L"large");
        wanted.spans = {{.start = 0, .end = 40}};
        wanted.cancel = &cancel;
        wanted.progress = [&](double seconds) {
            cancel = cancel || seconds >= moment;
        };
        const Result result = run(wanted);
        EXPECT_FALSE(result.done) << moment;
        EXPECT_EQ(result.text, L"Export cancelled");
        EXPECT_TRUE(filesInFolder().empty()) << moment;
        cancelled += !result.done;
    }
    EXPECT_EQ(cancelled, 20);
}

TEST_F(ExportFileTest, AFailedReencodeOrLosslessNeverTouchesTheSource) {
    const std::wstring source = ownSource();
    const std::vector<char> before = bytesOf(source);
    ExportRequest wanted = request(L"closed");
    wanted.sourcePath = source;
    EXPECT_TRUE(run(wanted).done);
    wanted.outputPath = inFolder(L"none\\out.mp4");
    EXPECT_FALSE(run(wanted).done);
    EXPECT_EQ(bytesOf(source), before);
}

TEST_F(ExportFileTest, TwoExportsRunAtOnce) {
    ExportRequest first = request(L"closed"), second = request(L"pyramid");
    first.outputPath = inFolder(L"first.mp4");
    second.outputPath = inFolder(L"second.mp4");
    bool firstDone = false, secondDone = false;
    {
        std::thread worker([&] { firstDone = ExportFile(first, nullptr); });
        secondDone = ExportFile(second, nullptr);
        worker.join();
    }
    EXPECT_TRUE(firstDone);
    EXPECT_TRUE(secondDone);

    // Each as if it had run alone.
    const std::vector<char> together = bytesOf(first.outputPath);
    ASSERT_TRUE(ExportFile(first, nullptr));
    EXPECT_EQ(bytesOf(first.outputPath), together);
}

TEST_F(ExportFileTest, ANameMayHoldAnyCharacter) {
    ExportRequest wanted = request(L"closed");
    wanted.outputPath = inFolder(L"Schönes Video – 日本 😀.mp4");
    EXPECT_TRUE(run(wanted).done);
    EXPECT_EQ(filesInFolder(), std::vector<std::wstring>{L"Schönes Video – 日本 😀.mp4"});
}

} // namespace
} // namespace velkantrix
