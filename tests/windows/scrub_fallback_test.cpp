// Previews by way of a source reader: one that does what the test says.
#include "playback/scrub_fallback.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/com.h"
#include "platform/mf_util.h"
#include "tests/windows/pixel_reader.h"
#include "tests/windows/reader_maker.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

constexpr Ticks SECOND = TICKS_PER_SECOND;
using Pixels = std::vector<std::uint8_t>;

class ScrubFallback : public testing::Test {
protected:
    ScrubFallback() {
        // Keyframes at 0 and 4 s, a picture each second.
        for (int i = 0; i < 8; ++i)
            script.pictures.push_back({i * SECOND, static_cast<std::uint8_t>(10 * i), i % 4 == 0});
        host.path = L"any file";
        host.scrub = &scrub;
        scrub.decodersRunning = true;
        host.videoSize = [this] {
            return size;
        };
        readerMaker() = [this](const ReaderRequest& request) {
            asked = request;
            return opens ? ComPtr<IMFSourceReader>::adopt(new PixelReader(script))
                         : ComPtr<IMFSourceReader>();
        };
    }
    ~ScrubFallback() override { readerMaker() = {}; }

    DecodedPreview exact(double seconds) {
        return reader.decodeExact(seconds, [this] { return superseded; });
    }

    // Two rows of two pixels, the top one first.
    static Pixels rowsOf(std::uint8_t grey) {
        Pixels pixels(8, grey);
        pixels.resize(16, static_cast<std::uint8_t>(grey + 1));
        return pixels;
    }

    void expectFrame(const DecodedPreview& got, double seconds, bool isExact) {
        EXPECT_EQ(got.outcome, ScrubOutcome::Done);
        EXPECT_EQ(got.seconds, seconds);
        EXPECT_EQ(got.exact, isExact);
        EXPECT_EQ(reader.pixels(), rowsOf(static_cast<std::uint8_t>(10 * seconds)));
        EXPECT_EQ(reader.size(), size);
    }

    ComApartment apartment{COINIT_MULTITHREADED};
    PictureSize size{2, 2};
    bool opens = true;
    bool superseded = false;
    PixelScript script;
    ReaderRequest asked;
    ScrubRequest scrub;
    ScrubHost host;
    FallbackReader reader{host};
};

TEST_F(ScrubFallback, TheReaderIsAskedForPixelsOfTheVideosSize) {
    expectFrame(reader.decodeKey(0.5), 0, true);
    GUID major{};
    GUID subtype{};
    UINT32 stride = 0;
    UINT32 width = 0;
    UINT32 height = 0;
    script.asked->GetGUID(MF_MT_MAJOR_TYPE, &major);
    script.asked->GetGUID(MF_MT_SUBTYPE, &subtype);
    script.asked->GetUINT32(MF_MT_DEFAULT_STRIDE, &stride);
    MFGetAttributeSize(script.asked.get(), MF_MT_FRAME_SIZE, &width, &height);
    EXPECT_EQ(major, MFMediaType_Video);
    EXPECT_EQ(subtype, MFVideoFormat_RGB32);
    EXPECT_EQ(stride, 8u);
    EXPECT_EQ(width, 2u);
    EXPECT_EQ(height, 2u);
    EXPECT_THAT(script.selections, ElementsAre(std::pair<DWORD, BOOL>(ALL_STREAMS, FALSE),
                                               std::pair<DWORD, BOOL>(FIRST_VIDEO, TRUE)));
    EXPECT_THAT(script.positions, ElementsAre(SECOND / 2));
}

TEST_F(ScrubFallback, TheReaderIsAskedForTheFileAndTheDevice) {
    UINT token = 0;
    ASSERT_EQ(MFCreateDXGIDeviceManager(&token, host.manager.put()), S_OK);
    expectFrame(reader.decodeKey(0.5), 0, true);
    EXPECT_EQ(asked.url, L"any file");
    ASSERT_TRUE(asked.attributes);
    ComPtr<IUnknown> manager;
    asked.attributes->GetUnknown(MF_SOURCE_READER_D3D_MANAGER, __uuidof(IUnknown),
                                 manager.putVoid());
    ComPtr<IUnknown> given;
    host.manager->QueryInterface(__uuidof(IUnknown), given.putVoid());
    EXPECT_EQ(manager.get(), given.get());
    for (const auto& [key, value] :
         {std::pair{MF_SOURCE_READER_ENABLE_ADVANCED_VIDEO_PROCESSING, TRUE},
          std::pair{MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, TRUE},
          std::pair{MF_SOURCE_READER_DISABLE_DXVA, FALSE}}) {
        UINT32 got = 7;
        EXPECT_EQ(asked.attributes->GetUINT32(key, &got), S_OK);
        EXPECT_EQ(got, static_cast<UINT32>(value));
    }
}

TEST_F(ScrubFallback, WithoutADeviceNoneIsGiven) {
    expectFrame(reader.decodeKey(0.5), 0, true);
    ComPtr<IUnknown> manager;
    EXPECT_EQ(asked.attributes->GetUnknown(MF_SOURCE_READER_D3D_MANAGER, __uuidof(IUnknown),
                                           manager.putVoid()),
              MF_E_ATTRIBUTENOTFOUND);
}

TEST_F(ScrubFallback, TheKeyframeIsShownFirstAndThenTheFrameItself) {
    expectFrame(reader.decodeKey(6.5), 4, false);
    expectFrame(exact(6.5), 6, true);
    EXPECT_EQ(script.positions.size(), 1u) << "reading goes on";
    EXPECT_EQ(script.reads, 4) << "up to the first frame behind the time";
}

TEST_F(ScrubFallback, AKeyframeThatIsTheFrameItselfIsKnownToBe) {
    expectFrame(reader.decodeKey(4.5), 4, true);
    expectFrame(reader.decodeKey(4.0), 4, true);
    expectFrame(reader.decodeKey(5.0), 4, false);
}

TEST_F(ScrubFallback, AFrameThatBeginsAMillisecondLaterIsMeant) {
    EXPECT_FALSE(reader.decodeKey(0.9995).exact);
    expectFrame(exact(0.9995), 1, true);
    expectFrame(reader.decodeKey(0.998), 0, true);
}

TEST_F(ScrubFallback, AtTheEndTheLastFrameIsShown) {
    EXPECT_FALSE(reader.decodeKey(100).exact);
    expectFrame(exact(100), 7, true);
}

TEST_F(ScrubFallback, BehindTheEndTheLastFrameIsLookedForInFront) {
    script.length = 8 * SECOND;
    expectFrame(reader.decodeKey(9.5), 4, false);
    expectFrame(exact(9.5), 7, true);
    EXPECT_THAT(script.positions, ElementsAre(95'000'000, 85'000'000, 65'000'000));
    expectFrame(exact(1000), 7, true);
    EXPECT_EQ(script.made, 1) << "an end is no failure";
}

TEST_F(ScrubFallback, AnEndThatIsToldByAFailureIsOneToo) {
    script.length = 8 * SECOND;
    script.behindLength = MF_E_INVALIDREQUEST;
    expectFrame(reader.decodeKey(8.5), 4, false);
    expectFrame(exact(8.5), 7, true);
    EXPECT_THAT(script.positions, ElementsAre(85'000'000, 85'000'000, 75'000'000));
    EXPECT_EQ(script.made, 3) << "the first one's age might have been the reason";
    expectFrame(exact(1000), 7, true);
    EXPECT_EQ(script.callsBehindFailures, 0);
}

TEST_F(ScrubFallback, AReaderThatFailsFromTheBeginningOnIsLeft) {
    script.length = 0;
    script.behindLength = MF_E_INVALIDREQUEST;
    EXPECT_EQ(exact(5).outcome, ScrubOutcome::Missed);
    EXPECT_THAT(script.positions, ElementsAre(50'000'000, 50'000'000, 40'000'000, 20'000'000, 0));
    EXPECT_EQ(script.callsBehindFailures, 0);
}

TEST_F(ScrubFallback, AReaderWithoutPicturesOrEndIsLeft) {
    script.emptyReads = std::numeric_limits<int>::max();
    EXPECT_EQ(reader.decodeKey(1).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(script.reads, MOST_EMPTY_READS);
    script.emptyReads = 0;
    expectFrame(reader.decodeKey(0.5), 0, true);
}

TEST_F(ScrubFallback, ItIsGivenUpBetweenItsStepsOnceTheFileIsClosed) {
    script.onRead = [this] {
        scrub.decodersRunning = false;
    };
    EXPECT_EQ(reader.decodeKey(6.5).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(script.reads, 1);
    scrub.decodersRunning = true;
    superseded = true;
    EXPECT_EQ(exact(6.5).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(script.reads, 1);
    script.onRead = {};
    superseded = false;
    expectFrame(exact(6.5), 6, true);
    EXPECT_EQ(script.made, 1);
}

TEST_F(ScrubFallback, BeforeTheFirstFrameTheFirstIsShown) {
    for (PixelPicture& picture : script.pictures) picture.time += 2 * SECOND;
    const DecodedPreview got = reader.decodeKey(0);
    EXPECT_EQ(got.seconds, 2);
    EXPECT_TRUE(got.exact);
    EXPECT_EQ(reader.pixels(), rowsOf(0));
}

TEST_F(ScrubFallback, TheOnlyFrameIsTheOne) {
    script.pictures.resize(1);
    expectFrame(reader.decodeKey(5), 0, true);
}

TEST_F(ScrubFallback, ASupersededSearchIsGivenUp) {
    EXPECT_EQ(reader.decodeKey(7.5).seconds, 4);
    superseded = true;
    const int before = script.reads;
    EXPECT_EQ(exact(7.5).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(script.reads, before);
    superseded = false;
    expectFrame(reader.decodeKey(1.5), 0, false);
    expectFrame(exact(1.5), 1, true);
}

TEST_F(ScrubFallback, WithoutAKeyframeTheSearchSeeksItself) {
    expectFrame(exact(5.5), 5, true);
    expectFrame(exact(2.5), 2, true);
    EXPECT_THAT(script.positions, ElementsAre(5 * SECOND + SECOND / 2, 2 * SECOND + SECOND / 2));
}

TEST_F(ScrubFallback, RowsThatComeBottomFirstAreTurned) {
    script.stride = -8;
    expectFrame(reader.decodeKey(4.5), 4, true);
}

TEST_F(ScrubFallback, RowsMayBeFurtherApartThanAskedFor) {
    script.stride = 12;
    expectFrame(reader.decodeKey(4.5), 4, true);
    script.stride = -12;
    FallbackReader other(host);
    EXPECT_EQ(other.decodeKey(4.5).outcome, ScrubOutcome::Done);
    EXPECT_EQ(other.pixels(), rowsOf(40));
}

TEST_F(ScrubFallback, AStrideThatIsNotToldIsTheOneAskedFor) {
    script.tellsStride = false;
    expectFrame(reader.decodeKey(4.5), 4, true);
}

TEST_F(ScrubFallback, ABufferThatIsTooShortIsNotRead) {
    script.missingBytes = 1;
    EXPECT_EQ(reader.decodeKey(4.5).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(exact(4.5).outcome, ScrubOutcome::Missed);
    script.missingBytes = 0;
    script.stride = 4;
    EXPECT_EQ(reader.decodeKey(4.5).outcome, ScrubOutcome::Missed);
}

TEST_F(ScrubFallback, AnotherSizeThanAskedForIsNotShown) {
    script.width = 3;
    EXPECT_EQ(reader.decodeKey(4.5).outcome, ScrubOutcome::Missed);
}

TEST_F(ScrubFallback, AVideoOfAnotherSizeByNowIsAskedForAnew) {
    expectFrame(reader.decodeKey(4.5), 4, true);
    size = {2, 1};
    script.height = 1;
    EXPECT_EQ(reader.decodeKey(4.5).outcome, ScrubOutcome::Done);
    EXPECT_EQ(reader.pixels(), Pixels(8, 40));
    EXPECT_EQ(script.made, 1);
    size = {0, 0};
    EXPECT_EQ(reader.decodeKey(4.5).outcome, ScrubOutcome::Missed);
}

// A frame is read ahead to know the one that is shown, and may come with another type.
TEST_F(ScrubFallback, RowsLieAsTheirOwnPicturesTypeSays) {
    script.pictures[5].newType = [this] {
        script.stride = -8;
    };
    expectFrame(reader.decodeKey(4.5), 4, true);
    expectFrame(reader.decodeKey(6.5), 4, false);
    expectFrame(exact(6.5), 6, true);
}

TEST_F(ScrubFallback, APictureOfAnotherSizeIsMissedAndTheOneInFrontOfItIsNot) {
    script.pictures[5].newType = [this] {
        script.width = 3;
        script.stride = 12;
    };
    expectFrame(reader.decodeKey(4.5), 4, true);
    script.width = 2;
    script.stride = 8;
    expectFrame(reader.decodeKey(5.5), 4, false);
    EXPECT_EQ(script.made, 1) << "it is asked for the size again";
    EXPECT_EQ(exact(5.5).outcome, ScrubOutcome::Missed);
}

TEST_F(ScrubFallback, ReadsWithoutAPictureAreFollowedByOthers) {
    script.emptyReads = 3;
    expectFrame(reader.decodeKey(6.5), 4, false);
    expectFrame(exact(6.5), 6, true);
}

TEST_F(ScrubFallback, AFileThatCannotBeReadIsMissedUntilItCan) {
    opens = false;
    EXPECT_EQ(reader.decodeKey(4.5).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(exact(4.5).outcome, ScrubOutcome::Missed);
    opens = true;
    expectFrame(reader.decodeKey(4.5), 4, true);
}

TEST_F(ScrubFallback, AReaderThatFailedIsReplaced) {
    script.readsBeforeFailure = 3;
    EXPECT_EQ(reader.decodeKey(7.5).outcome, ScrubOutcome::Done);
    EXPECT_EQ(exact(7.5).outcome, ScrubOutcome::Missed);
    script.readsBeforeFailure = 1000;
    expectFrame(reader.decodeKey(7.5), 4, false);
    EXPECT_EQ(script.made, 2);
    script.seekResult = E_FAIL;
    EXPECT_EQ(reader.decodeKey(7.5).outcome, ScrubOutcome::Missed);
    script.seekResult = S_OK;
    script.typeResult = MF_E_INVALIDMEDIATYPE;
    EXPECT_EQ(reader.decodeKey(7.5).outcome, ScrubOutcome::Missed);
    script.typeResult = S_OK;
    expectFrame(reader.decodeKey(7.5), 4, false);
}

TEST_F(ScrubFallback, AFileWithoutPicturesIsMissed) {
    script.pictures.clear();
    EXPECT_EQ(reader.decodeKey(0).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(exact(0).outcome, ScrubOutcome::Missed);
}

} // namespace
} // namespace velkantrix
