#include "export/export_core.h"

#include <atomic>
#include <random>
#include <vector>

#include "platform/handles.h"
#include "platform/mf_util.h"
#include "tests/windows/export_file_fixture.h"

namespace velkantrix {
namespace {

TEST_F(ExportFileTest, SuccessLeavesTheTextAlone) {
    const ExportResult result = run(request(L"closed"));
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

// Its sound ends at 5 s. A track without a sample would make the whole file fail.
TEST_F(ExportFileTest, ACopyThatHasNoSoundHasNoTrackOfIt) {
    struct Row {
        std::vector<ExportSpan> spans;
        bool sound;
    };
    const Row rows[] = {{{{.start = 8, .end = 9}}, false},
                        {{{.start = 8, .end = 9}, {.start = 1, .end = 2}}, true},
                        {{{.start = 1, .end = 9}}, true}};
    for (const auto& [spans, sound] : rows) {
        ExportRequest wanted = request(L"audio-short");
        wanted.spans = spans;
        ASSERT_TRUE(run(wanted).done);
        ComPtr<IMFSourceReader> reader;
        SourceStreams streams;
        ASSERT_EQ(openSourceReader(wanted.outputPath.c_str(), reader), S_OK);
        ASSERT_EQ(discoverStreams(reader.get(), streams), S_OK);
        EXPECT_TRUE(streams.video);
        EXPECT_EQ(streams.audio.has_value(), sound);
    }
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
            const ExportResult result = run(either);
            EXPECT_FALSE(result.done);
            EXPECT_EQ(result.text, L"untouched");
        }
    }
    EXPECT_TRUE(filesInFolder().empty());
}

TEST_F(ExportFileTest, RefusesSourcesThatAreNoVideos) {
    for (const wchar_t* name : {L"none", L"text", L"empty", L"truncated", L"audio-only"}) {
        const ExportResult result = run(request(name));
        EXPECT_FALSE(result.done);
        EXPECT_NE(result.text.find(L" (0x"), std::wstring::npos)
            << testing::PrintToString(result.text);
        EXPECT_TRUE(filesInFolder().empty());
    }
}

TEST_F(ExportFileTest, AMissingOutputFolderIsAnError) {
    ExportRequest wanted = request(L"closed");
    wanted.outputPath = inFolder(L"none\\out.mp4");
    const ExportResult result = run(wanted);
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
        const ExportResult result = run(request(L"closed"));
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
    const ExportResult result = run(wanted);
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.text, L"Export cancelled");
    EXPECT_TRUE(filesInFolder().empty());
    EXPECT_FALSE(reported);
}

TEST_F(ExportFileTest, CancelledIsWhatTheUserIsToldThoughItFailedToo) {
    const std::atomic<bool> cancel = true;
    for (const wchar_t* name : {L"text", L"audio-only"}) {
        ExportRequest wanted = request(name);
        wanted.cancel = &cancel;
        const ExportResult result = run(wanted);
        EXPECT_FALSE(result.done);
        EXPECT_EQ(result.text, L"Export cancelled");
        EXPECT_TRUE(filesInFolder().empty());
    }
}

TEST_F(ExportFileTest, CancelledAtAnyMomentLeavesNothing) {
    std::mt19937 random(20261120);
    for (int i = 0; i < 20; i++) {
        std::atomic<bool> cancel = false;
        const double moment = std::uniform_real_distribution<double>(0, 38)(random);
        ExportRequest wanted = request(L"large");
        wanted.spans = {{.start = 0, .end = 40}};
        wanted.cancel = &cancel;
        wanted.progress = [&](double seconds) {
            cancel = cancel || seconds >= moment;
        };
        const ExportResult result = run(wanted);
        EXPECT_FALSE(result.done) << moment;
        EXPECT_EQ(result.text, L"Export cancelled");
        EXPECT_TRUE(filesInFolder().empty()) << moment;
    }
}

TEST_F(ExportFileTest, ANameMayHoldAnyCharacter) {
    ExportRequest wanted = request(L"closed");
    wanted.outputPath = inFolder(L"Schönes Video – 日本 😀.mp4");
    EXPECT_TRUE(run(wanted).done);
    EXPECT_EQ(filesInFolder(), std::vector<std::wstring>{L"Schönes Video – 日本 😀.mp4"});
}

} // namespace
} // namespace velkantrix
