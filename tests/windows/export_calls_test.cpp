// Whole exports between a scripted reader and a recording writer: how both are asked for, and in
// which order all ends.
#include <mfapi.h>
#include <mferror.h>

#include <gmock/gmock.h>

#include "export/export_core.h"
#include "platform/mf_util.h"
#include "tests/windows/encode_shell.h"
#include "tests/windows/media_calls.h"
#include "tests/windows/reader_maker.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

constexpr HRESULT BROKEN = MF_E_INVALID_FILE_FORMAT; // no result that the export makes itself

class ExportCallsTest : public EncodeShell {
protected:
    ExportCallsTest() {
        request.sourcePath = L"C:\\none\\source.mp4";
        request.outputPath = L"C:\\none\\output.mp4";
        request.maxWidth = WIDTH;
        request.maxHeight = HEIGHT;
        readerMaker() = [this](const ReaderRequest& wanted) {
            readerRequest = wanted;
            return ComPtr<IMFSourceReader>::adopt(reader.detach());
        };
        mediaCalls().makeWriter = [this](const WriterRequest& wanted) {
            writerRequest = wanted;
            return ComPtr<IMFSinkWriter>::adopt(writer.detach());
        };
        makeAnew();
    }
    ~ExportCallsTest() override {
        readerMaker() = nullptr;
        mediaCalls() = {};
    }

    void makeAnew() {
        reset();
        ends.clear();
        // A source's streams are counted from 0 on; these are of no readable type.
        for (const DWORD other : {0u, 2u}) reader->stream(other) = {.typeReads = 0};
        reader->whenGone = [this] {
            ends.emplace_back("reader");
        };
        writer->whenFinalized = [this] {
            ends.emplace_back("finalized");
        };
        writer->whenGone = [this] {
            ends.emplace_back("writer");
        };
    }

    [[nodiscard]] bool exported(bool lossless = false) {
        request.losslessAllowed = lossless;
        return ExportFile(request, &text);
    }

    static UINT32 numberIn(const ComPtr<IMFAttributes>& attributes, const GUID& key) {
        return attributes ? MFGetAttributeUINT32(attributes.get(), key, 0xDEAD) : 0xBEEF;
    }

    static ComPtr<IMFDXGIDeviceManager> managerIn(const ComPtr<IMFAttributes>& attributes,
                                                  const GUID& key) {
        ComPtr<IMFDXGIDeviceManager> manager;
        EXPECT_EQ(attributes->GetUnknown(key, __uuidof(IMFDXGIDeviceManager), manager.putVoid()),
                  S_OK);
        return manager;
    }

    static UINT32 countOf(const ComPtr<IMFAttributes>& attributes) {
        UINT32 count = 0;
        EXPECT_EQ(attributes->GetCount(&count), S_OK);
        return count;
    }

    ReaderRequest readerRequest;
    WriterRequest writerRequest;
    std::vector<std::string> ends;
    std::wstring text;
};

TEST_F(ExportCallsTest, AReencodesReaderDecodesAndScalesOnTheDevice) {
    ASSERT_TRUE(exported());
    EXPECT_EQ(readerRequest.url, request.sourcePath);
    const auto& attributes = readerRequest.attributes;
    EXPECT_EQ(numberIn(attributes, MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS), 1u);
    EXPECT_EQ(numberIn(attributes, MF_SOURCE_READER_ENABLE_ADVANCED_VIDEO_PROCESSING), 1u);
    EXPECT_TRUE(managerIn(attributes, MF_SOURCE_READER_D3D_MANAGER));
    EXPECT_EQ(countOf(attributes), 3u);
}

TEST_F(ExportCallsTest, AReencodesWriterEncodesOnTheSameDeviceUnthrottled) {
    ASSERT_TRUE(exported());
    EXPECT_EQ(writerRequest.url, request.outputPath);
    const auto& attributes = writerRequest.attributes;
    GUID container = {};
    EXPECT_EQ(attributes->GetGUID(MF_TRANSCODE_CONTAINERTYPE, &container), S_OK);
    EXPECT_TRUE(container == MFTranscodeContainerType_MPEG4);
    EXPECT_EQ(numberIn(attributes, MF_SINK_WRITER_DISABLE_THROTTLING), 1u);
    EXPECT_EQ(numberIn(attributes, MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS), 1u);
    EXPECT_EQ(managerIn(attributes, MF_SINK_WRITER_D3D_MANAGER).get(),
              managerIn(readerRequest.attributes, MF_SOURCE_READER_D3D_MANAGER).get());
    EXPECT_EQ(countOf(attributes), 4u);
}

TEST_F(ExportCallsTest, ALosslessExportsReaderAndWriterNeedNoDevice) {
    ASSERT_TRUE(exported(true));
    EXPECT_FALSE(readerRequest.attributes);
    EXPECT_EQ(numberIn(writerRequest.attributes, MF_SINK_WRITER_DISABLE_THROTTLING), 1u);
    EXPECT_EQ(countOf(writerRequest.attributes), 2u);
}

// Samples that wait in the writer may lie in memory of the reader's, or of the device's.
TEST_F(ExportCallsTest, TheWriterIsFinishedAndReleasedBeforeTheReader) {
    for (const bool lossless : {false, true}) {
        makeAnew();
        ASSERT_TRUE(exported(lossless));
        EXPECT_THAT(ends, ElementsAre("finalized", "writer", "reader"));
    }
}

TEST_F(ExportCallsTest, AlsoWhenTheExportFails) {
    for (const bool lossless : {false, true}) {
        makeAnew();
        writer->failAt(WriterCall::WriteSample, 3, BROKEN);
        EXPECT_FALSE(exported(lossless));
        EXPECT_EQ(text, FormatExportError(BROKEN));
        EXPECT_THAT(ends, ElementsAre("writer", "reader"));
    }
}

TEST_F(ExportCallsTest, AFailureToFinishIsAFailure) {
    for (const bool lossless : {false, true}) {
        makeAnew();
        writer->failAt(WriterCall::Finalize, 1, BROKEN);
        EXPECT_FALSE(exported(lossless));
        EXPECT_EQ(text, FormatExportError(BROKEN));
        EXPECT_THAT(ends, ElementsAre("finalized", "writer", "reader"));
    }
}

TEST_F(ExportCallsTest, WithoutAPictureItSaysSo) {
    for (const bool lossless : {false, true}) {
        makeAnew();
        video().resize(10);
        if (lossless) video().clear();
        EXPECT_FALSE(exported(lossless));
        EXPECT_EQ(text, L"No picture of the video lies within what was to be exported.");
        EXPECT_THAT(ends, ElementsAre("writer", "reader"));
    }
}

TEST_F(ExportCallsTest, AReencodeOfPicturesThatChangeForEverSaysSo) {
    video()[13].flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
    ScriptedStream& script = reader->stream(VIDEO);
    video()[13].hook = [&script] {
        script.delivers = nativePictures();
    };
    script.whenAsked = [&script] {
        script.delivers = {};
    };
    EXPECT_FALSE(exported());
    EXPECT_EQ(text, L"The format of the pictures or of the sound changes again and again: it can't "
                    L"be encoded.");
    EXPECT_THAT(ends, ElementsAre("writer", "reader"));
}

TEST_F(ExportCallsTest, CancelledItIsntFinished) {
    cancel = true;
    EXPECT_FALSE(exported());
    EXPECT_EQ(text, L"Export cancelled");
    EXPECT_THAT(ends, ElementsAre("writer", "reader"));
}

} // namespace
} // namespace velkantrix
