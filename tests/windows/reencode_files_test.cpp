// Re-encodes from files to files. What they look like is judged end to end; here, that every kind
// of source is taken, and what goes wrong is told.
#include "export/reencode_export.h"

#include <d3d11.h>
#include <mfapi.h>

#include <algorithm>
#include <atomic>

#include <gtest/gtest.h>

#include "platform/mf_util.h"
#include "tests/windows/export_file_fixture.h"
#include "tests/windows/replaced_import.h"

extern "C" decltype(&D3D11CreateDevice) __imp_D3D11CreateDevice;

namespace velkantrix {
namespace {

struct Streams {
    UINT32 width = 0, height = 0;
    int pictures = 0;
    Ticks soundEnd = 0; // 0: there is none
};

void countSamples(const std::wstring& path, DWORD stream, Streams& found) {
    ComPtr<IMFSourceReader> reader;
    ASSERT_EQ(openSourceReader(path.c_str(), reader), S_OK);
    if (FAILED(selectOnlyStream(reader.get(), stream))) return;
    for (DWORD flags = 0; (flags & MF_SOURCE_READERF_ENDOFSTREAM) == 0;) {
        LONGLONG time = 0;
        ComPtr<IMFSample> sample;
        ASSERT_EQ(reader->ReadSample(stream, 0, nullptr, &flags, &time, sample.put()), S_OK);
        if (!sample) continue;
        if (stream == FIRST_VIDEO) {
            found.pictures++;
        } else {
            found.soundEnd = time + durationOf(sample.get());
        }
    }
}

Streams streamsOf(const std::wstring& path) {
    Streams found;
    ComPtr<IMFSourceReader> reader;
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(openSourceReader(path.c_str(), reader), S_OK);
    if (!reader) return found;
    EXPECT_EQ(reader->GetNativeMediaType(FIRST_VIDEO, 0, type.put()), S_OK);
    EXPECT_EQ(MFGetAttributeSize(type.get(), MF_MT_FRAME_SIZE, &found.width, &found.height), S_OK);
    countSamples(path, FIRST_VIDEO, found);
    countSamples(path, FIRST_AUDIO, found);
    return found;
}

class ReencodeFilesTest : public ExportFileTest {
protected:
    [[nodiscard]] ExportRequest toEncode(const std::wstring& name) const {
        ExportRequest wanted = request(name);
        wanted.losslessAllowed = false;
        wanted.spans = {{.start = 6, .end = 7}, {.start = 1.5, .end = 2.5}};
        return wanted;
    }
};

TEST_F(ReencodeFilesTest, EveryKindOfSourceGivesTheLengthAskedFor) {
    struct Row {
        const wchar_t* name;
        UINT32 width, height;
        int pictures;
        double soundEnd; // seconds
    };
    const Row rows[] = {
        {L"closed", 320, 180, 60, 2},       {L"audio-first", 320, 180, 60, 2},
        {L"open", 320, 180, 60, 2},         {L"pyramid", 320, 180, 60, 2},
        {L"one-keyframe", 320, 180, 60, 2}, {L"mono", 320, 180, 60, 2},
        {L"burst-six", 320, 180, 60, 2},    {L"video-only", 320, 180, 60, 0},
        {L"fragmented", 320, 180, 60, 2},   {L"two-audio", 320, 180, 60, 2},
        {L"audio-short", 320, 180, 60, 2},  {L"portrait", 180, 320, 60, 2},
        {L"anamorphic", 768, 576, 50, 0},   {L"turned", 320, 180, 60, 2},
        {L"full-range", 320, 180, 60, 0},   {L"variable-rate", 320, 180, 100, 2},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(row.name)));
        const ExportResult result = run(toEncode(row.name));
        EXPECT_TRUE(result.done) << testing::PrintToString(result.text);
        EXPECT_EQ(result.text, L"untouched");
        const Streams found = streamsOf(inFolder(L"out.mp4"));
        EXPECT_EQ(found.width, row.width);
        EXPECT_EQ(found.height, row.height);
        EXPECT_EQ(found.pictures, row.pictures);
        EXPECT_NEAR(secondsOf(found.soundEnd), row.soundEnd, 0.05);
    }
}

TEST_F(ReencodeFilesTest, FitsIntoTheBoxInEvenNumbers) {
    struct Row {
        std::int32_t maxWidth, maxHeight;
        UINT32 width, height;
    };
    for (const auto& [maxWidth, maxHeight, width, height] :
         {Row{1280, 720, 1280, 720}, Row{854, 480, 852, 480}, Row{101, 999, 100, 56}}) {
        ExportRequest wanted = toEncode(L"closed");
        wanted.maxWidth = maxWidth;
        wanted.maxHeight = maxHeight;
        ASSERT_TRUE(run(wanted).done);
        const Streams found = streamsOf(inFolder(L"out.mp4"));
        EXPECT_EQ(found.width, width);
        EXPECT_EQ(found.height, height);
    }
}

TEST_F(ReencodeFilesTest, TheProgressEndsAtTheTotal) {
    ExportRequest wanted = toEncode(L"closed");
    std::vector<double> reports;
    wanted.exposure = 0.5;
    wanted.progress = [&](double seconds) {
        reports.push_back(seconds);
    };
    ASSERT_TRUE(run(wanted).done);
    ASSERT_EQ(reports.size(), 61u);
    EXPECT_TRUE(std::ranges::is_sorted(reports));
    EXPECT_DOUBLE_EQ(reports.back(), 2);
}

TEST_F(ReencodeFilesTest, SourcesThatAreNoVideosLeaveNothing) {
    for (const wchar_t* name : {L"none", L"text", L"empty", L"truncated", L"audio-only"}) {
        const ExportResult result = run(toEncode(name));
        EXPECT_FALSE(result.done);
        EXPECT_NE(result.text.find(L" (0x"), std::wstring::npos);
        EXPECT_TRUE(filesInFolder().empty());
    }
}

TEST_F(ReencodeFilesTest, CancelledAtAnyMomentLeavesNothing) {
    for (const int moment : {0, 1, 7, 30, 59}) {
        std::atomic<bool> cancel = moment == 0;
        int pictures = 0;
        ExportRequest wanted = toEncode(L"closed");
        wanted.cancel = &cancel;
        wanted.progress = [&](double) {
            cancel = cancel || ++pictures >= moment;
        };
        const ExportResult result = run(wanted);
        EXPECT_FALSE(result.done);
        EXPECT_EQ(result.text, L"Export cancelled");
        EXPECT_TRUE(filesInFolder().empty());
    }
}

TEST_F(ReencodeFilesTest, AMissingOutputFolderIsAnError) {
    ExportRequest wanted = toEncode(L"closed");
    wanted.outputPath = inFolder(L"none\\out.mp4");
    EXPECT_EQ(run(wanted).text, FormatExportError(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)));
}

// What the first call for a device was.
struct DeviceCall {
    D3D_DRIVER_TYPE driver = D3D_DRIVER_TYPE_UNKNOWN;
    UINT flags = 0;
    std::vector<D3D_FEATURE_LEVEL> levels;
};
DeviceCall& deviceCall() {
    static DeviceCall call;
    return call;
}

HRESULT WINAPI noDevice(IDXGIAdapter*, D3D_DRIVER_TYPE driver, HMODULE, UINT flags,
                        const D3D_FEATURE_LEVEL* levels, UINT count, UINT, ID3D11Device**,
                        D3D_FEATURE_LEVEL*, ID3D11DeviceContext**) {
    deviceCall() = {driver, flags, {levels, levels + count}};
    return DXGI_ERROR_UNSUPPORTED;
}

TEST_F(ReencodeFilesTest, WithoutGraphicsHardwareItFailsAndCreatesNothing) {
    const ReplacedImport replaced(__imp_D3D11CreateDevice, &noDevice);
    const ExportResult result = run(toEncode(L"closed"));
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.text, FormatExportError(DXGI_ERROR_UNSUPPORTED));
    EXPECT_TRUE(filesInFolder().empty());
    EXPECT_EQ(deviceCall().driver, D3D_DRIVER_TYPE_HARDWARE);
    EXPECT_EQ(deviceCall().flags, UINT{0x820});
    EXPECT_EQ(deviceCall().levels, (std::vector{D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0,
                                                D3D_FEATURE_LEVEL_10_1, D3D_FEATURE_LEVEL_10_0}));
}

} // namespace
} // namespace velkantrix
