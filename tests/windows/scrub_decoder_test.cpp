// The decoder threads as a whole: real recordings and decoders, and those that don't do.
#include "playback/scrub_decoder.h"

#include <mfapi.h>
#include <mferror.h>

#include <algorithm>

#include "tests/windows/scripted_transform.h"
#include "tests/windows/scrub_fixture.h"

namespace velkantrix {
namespace {

constexpr PictureSize NUMBERED{640, 360};
constexpr double FPS = 25;

class ScrubDecoderTest : public ScrubTest {
protected:
    void startNumbered(const std::wstring& name = L"numbered-25-30-3") {
        start(mediaFile(name), FPS, NUMBERED);
    }

    int pictureAt(double seconds) {
        const std::vector<Delivered> got = ask(seconds);
        return got.empty() ? -1 : got.back().picture;
    }

    int countPixels() {
        const Lock held(deviceLock);
        return pixelPictures;
    }
    int countTextures() {
        const Lock held(deviceLock);
        return textures;
    }

    // Nothing more is being worked on.
    void waitUntilClaimed() {
        while (scrub.scrubClaimed != scrub.scrubRequested) Sleep(1);
    }
};

TEST_F(ScrubDecoderTest, BeforeTheFirstAndBehindTheLastPictureThoseAreShown) {
    startNumbered();
    EXPECT_EQ(pictureAt(0), 0);
    EXPECT_EQ(pictureAt(-3), 0);
    EXPECT_EQ(pictureAt(100), 239);
    EXPECT_EQ(countPixels(), 0);
}

TEST_F(ScrubDecoderTest, AVideoThatBeginsLateShowsItsFirstPictureBefore) {
    start(mediaFile(L"video-late"), 30, {320, 180});
    const std::vector<Delivered> got = ask(0.5);
    ASSERT_FALSE(got.empty());
    EXPECT_NEAR(got.front().frame.seconds, 1.5, 0.001);
    EXPECT_NEAR(got.back().frame.seconds, 1.5, 0.001);
}

TEST_F(ScrubDecoderTest, EveryKindOfRecordingGivesThePictureOfItsTime) {
    for (const auto& [name, fps] :
         {std::pair{L"pyramid", 30.0}, std::pair{L"open", 30.0}, std::pair{L"fragmented", 30.0},
          std::pair{L"tables-first", 30.0}, std::pair{L"variable-rate", 60.0}}) {
        start(mediaFile(name), fps, {320, 180});
        for (const double seconds : {0.01, 0.52, 1.007, 2.29, 5.83, 9.999, 11.9}) {
            const std::vector<Delivered> got = ask(seconds);
            ASSERT_FALSE(got.empty()) << name;
            // Of one recording the first picture comes only 2 frames behind its start.
            const double first = seconds < 0.067 ? 0.067 : seconds;
            EXPECT_LE(got.back().frame.seconds, first + 0.0011) << name << " " << seconds;
            EXPECT_GT(got.back().frame.seconds, seconds - 0.051) << name << " " << seconds;
        }
        stop();
        EXPECT_EQ(countPixels(), 0) << name;
    }
}

TEST_F(ScrubDecoderTest, RecordingsThatTheSystemsSourceHasArePreviewedByTheReader) {
    for (const auto& [name, own] :
         {std::pair{L"mp4/fragmented-opus", std::optional(SourceSound::Wanted)},
          std::pair{L"fragmented", std::optional<SourceSound>()}}) {
        ownSource = own;
        start(mediaFile(name), 30, {320, 180});
        EXPECT_FALSE(ask(0.5).empty()) << name;
        stop();
        EXPECT_EQ(countTextures(), 0) << name;
        EXPECT_GE(countPixels(), 1) << name;
    }
}

// A hand that doesn't rest: each request comes before the one in front has settled.
TEST_F(ScrubDecoderTest, SupersededRequestsAreNeverDecodedExactly) {
    startNumbered();
    for (int i = 0; i < 30; ++i) {
        requestPreview(scrub, i / 4.0);
        waitUntilClaimed();
        Sleep(20);
    }
    const std::vector<Delivered> got = waitForExact(scrub.scrubRequested);
    EXPECT_EQ(scrub.exactDecodes, 1u);
    for (std::size_t i = 0; i + 1 < got.size(); ++i) {
        EXPECT_FALSE(got[i].frame.exact);
        EXPECT_LT(got[i].frame.number, got[i + 1].frame.number + 1);
    }
    EXPECT_GT(got.size(), 2u) << "pictures come on the way";
}

TEST_F(ScrubDecoderTest, NothingComesOnceAScrubHasEnded) {
    startNumbered();
    requestPreview(scrub, 3);
    {
        const Lock held(deviceLock);
        supersedePreviews(scrub);
        delivered.clear();
    }
    Sleep(200);
    {
        const Lock held(deviceLock);
        EXPECT_TRUE(delivered.empty());
        EXPECT_FALSE(scrub.previewPending);
    }
    EXPECT_EQ(pictureAt(3.02), 75);
}

TEST_F(ScrubDecoderTest, TheFileIsLetGoWhenTheThreadsEnd) {
    const TestFolder folder;
    const std::wstring path = folder.path(L"copy.mp4");
    ASSERT_TRUE(CopyFileW(mediaFile(L"numbered-25-30-3").c_str(), path.c_str(), FALSE));
    start(path, FPS, NUMBERED);
    EXPECT_EQ(pictureAt(3.02), 75);
    stop();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(ScrubDecoderTest, AFileThatIsNotThereIsMissed) {
    start(L"Z:\\no-such-file.mp4", FPS, NUMBERED);
    requestPreview(scrub, 1);
    waitUntilClaimed();
    Sleep(150);
    stop();
    EXPECT_EQ(countPixels() + countTextures(), 0);
}

TEST_F(ScrubDecoderTest, AFileThatBecomesUnreadableIsMissed) {
    const TestFolder folder;
    const std::wstring path = folder.path(L"copy.mp4");
    ASSERT_TRUE(CopyFileW(mediaFile(L"tables-first").c_str(), path.c_str(), FALSE));
    start(path, 30, {320, 180});
    ASSERT_FALSE(ask(3).empty());
    {
        const HANDLE file =
            CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        SetFilePointer(file, 60'000, nullptr, FILE_BEGIN);
        EXPECT_TRUE(SetEndOfFile(file));
        CloseHandle(file);
    }
    requestPreview(scrub, 9);
    waitUntilClaimed();
    Sleep(200);
    const Lock held(deviceLock);
    EXPECT_TRUE(delivered.empty());
}

TEST_F(ScrubDecoderTest, OtherCodecsAndSoundAloneArePreviewedByTheReaderOrNotAtAll) {
    start(mediaFile(L"audio-only"), FPS, NUMBERED);
    requestPreview(scrub, 1);
    waitUntilClaimed();
    Sleep(150);
    stop();
    EXPECT_EQ(countPixels() + countTextures(), 0);
}

// ---- decoders that can't be used: the same request is answered by the reader ------------------

class ScrubWithoutDecoder : public ScrubDecoderTest {
protected:
    void TearDown() override { // before the decoders that it looks for go
        ScrubDecoderTest::TearDown();
    }

    // One of its own for each thread.
    std::shared_ptr<TransformScript> addDecoder() {
        auto script = std::make_shared<TransformScript>();
        script->types = {{MFVideoFormat_NV12, 640, 360}};
        decoders_.hardware = {{script}};
        return script;
    }

    void expectPictureByReader() {
        start(mediaFile(L"numbered-25-30-3"), FPS, NUMBERED, 1);
        const std::vector<Delivered> got = ask(3.02);
        ASSERT_EQ(got.size(), 2u);
        EXPECT_EQ(got.front().picture, 60);
        EXPECT_EQ(got.back().picture, 75);
        EXPECT_GE(countPixels(), 2);
        EXPECT_EQ(countTextures(), 0);
        EXPECT_EQ(scrub.scrubRequested, 1);
    }

    ScriptedDecoders decoders_;
};

TEST_F(ScrubWithoutDecoder, WhereNoneIsFound) {
    expectPictureByReader();
}

TEST_F(ScrubWithoutDecoder, WhereItRefusesTheDevice) {
    addDecoder()->managerResult = E_FAIL;
    expectPictureByReader();
}

TEST_F(ScrubWithoutDecoder, WhereItGivesNoNv12) {
    addDecoder()->types.clear();
    expectPictureByReader();
}

TEST_F(ScrubWithoutDecoder, WhereItIsAsynchronous) {
    addDecoder()->isAsync = 1;
    expectPictureByReader();
}

TEST_F(ScrubWithoutDecoder, WhereItsPicturesLieInMemory) {
    const auto script = addDecoder();
    script->givesFedPictures = true;
    expectPictureByReader();
    stop();
    ASSERT_EQ(script->fed.size(), 1u) << "the first picture tells";
    EXPECT_EQ(script->fed[0].cleanPoint, 1u);
    EXPECT_EQ(script->fed[0].time, 24'000'000);
    EXPECT_EQ(script->calls.back(), "end");
}

TEST_F(ScrubWithoutDecoder, WhereItWantsMemoryFromItsCaller) {
    addDecoder()->outputFlags = 0;
    expectPictureByReader();
}

// The video is shown another way than it is coded: turned, here.
TEST_F(ScrubDecoderTest, WhereThePictureIsNotTheVideosTheReaderIsAsked) {
    start(mediaFile(L"numbered-25-30-3"), FPS, {360, 640}, 1);
    const std::vector<Delivered> got = ask(3.02);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_GE(countTextures(), 1);
    EXPECT_EQ(countPixels(), 2);
}

// ---- exact decoding with a decoder that does what the test says ------------------------------

class ExactDecode : public testing::Test {
protected:
    ExactDecode() {
        script->types = {{MFVideoFormat_NV12, 640, 360}};
        decoders.hardware = {{script}};
        host.path = mediaFile(L"numbered-25-30-0");
        host.fps = FPS;
        host.scrub = &scrub;
        scrub.decodersRunning = true;
        EXPECT_TRUE(decoder.setUp(host));
    }

    DecodedPreview decode(double seconds) {
        return decoder.decodeExact(seconds, [this] { return superseded && superseded(); });
    }

    ComApartment apartment{COINIT_MULTITHREADED};
    ScriptedDecoders decoders;
    std::shared_ptr<TransformScript> script = std::make_shared<TransformScript>();
    ScrubRequest scrub;
    ScrubHost host;
    ScrubDecoder decoder;
    std::function<bool()> superseded;
};

TEST_F(ExactDecode, FeedsFromTheKeyframeToThreeBeyondTheTarget) {
    script->givesFedPictures = true;
    const DecodedPreview got = decode(1.3);
    EXPECT_EQ(got.outcome, ScrubOutcome::Done);
    EXPECT_EQ(got.seconds, 1.28);
    ASSERT_EQ(script->fed.size(), 6u); // 30 to 32, and 33 to 35
    EXPECT_EQ(script->fed.front().time, 12'000'000);
    EXPECT_EQ(script->fed.front().cleanPoint, 1u);
    EXPECT_EQ(script->fed.front().duration, 400'000);
    EXPECT_EQ(script->fed[1].cleanPoint, 0u);
    EXPECT_EQ(script->fed.back().time, 14'000'000);
}

TEST_F(ExactDecode, ADecoderThatHoldsPicturesBackIsDrained) {
    const DecodedPreview got = decode(1.3);
    EXPECT_EQ(got.outcome, ScrubOutcome::Missed) << "nothing ever came";
    EXPECT_EQ(script->calls.back(), "drain");
    EXPECT_EQ(std::count(script->calls.begin(), script->calls.end(), "drain"), 1);
}

TEST_F(ExactDecode, WhatIsRefusedIsFedAgainOncePicturesWereTaken) {
    script->mostHeld = 2;
    const DecodedPreview got = decode(1.3);
    EXPECT_EQ(got.outcome, ScrubOutcome::Done);
    EXPECT_EQ(got.seconds, 1.28);
    EXPECT_GE(script->refusals, 2);
    ASSERT_EQ(script->fed.size(), 6u) << "each once";
    for (std::size_t i = 0; i < script->fed.size(); ++i)
        EXPECT_EQ(script->fed[i].time, 12'000'000 + static_cast<Ticks>(i) * 400'000);
}

TEST_F(ExactDecode, ItIsGivenUpOnceSuperseded) {
    script->givesFedPictures = true;
    int looks = 0;
    superseded = [&] {
        return ++looks > 4; // the first one is the way to the keyframe's
    };
    EXPECT_EQ(decode(5).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(script->fed.size(), 3u);
    DecodedTexture decoded;
    EXPECT_FALSE(decoder.takeTexture(decoded));
}

TEST_F(ExactDecode, ADecoderThatTakesNothingIsGivenUp) {
    script->inputResult = MF_E_NOTACCEPTING;
    EXPECT_EQ(decode(1).outcome, ScrubOutcome::Missed);
    script->inputResult = E_FAIL;
    EXPECT_EQ(decode(1).outcome, ScrubOutcome::Missed);
    EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Missed);
}

TEST_F(ExactDecode, ADecoderThatFailsIsGivenUp) {
    script->outputs = {{E_FAIL}};
    EXPECT_EQ(decode(1).outcome, ScrubOutcome::Missed);
    script->outputs = {{E_FAIL}};
    EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Missed);
    script->outputs.assign(2, {MF_E_SAMPLEALLOCATOR_EMPTY});
    script->givesFedPictures = true;
    EXPECT_EQ(decode(1).outcome, ScrubOutcome::Done) << "not now is no failure";
}

TEST_F(ExactDecode, ADecoderThatFailsAgainAndAgainIsNotUsed) {
    script->inputResult = E_FAIL;
    for (int i = 1; i < MOST_TRANSFORM_FAILURES; ++i)
        EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Missed) << i;
    script->inputResult = S_OK;
    script->outputs = {{.time = 0}};
    EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Done) << "it works after all";
    for (int i = 1; i < MOST_TRANSFORM_FAILURES; ++i)
        EXPECT_EQ(decode(1).outcome, ScrubOutcome::Missed) << "no picture ever comes";
    EXPECT_EQ(decode(1).outcome, ScrubOutcome::Unusable);
}

// The data may be damaged here and there.
TEST_F(ExactDecode, ADecoderThatHasWorkedIsNotBlamedForPicturesThatDoNotCome) {
    script->givesFedPictures = true;
    EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Done);
    EXPECT_EQ(decode(1).outcome, ScrubOutcome::Done);
    script->givesFedPictures = false;
    script->outputs.clear();
    for (int i = 0; i < 3 * MOST_TRANSFORM_FAILURES; ++i) {
        EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Missed) << i;
        EXPECT_EQ(decode(1).outcome, ScrubOutcome::Missed) << i;
    }
    script->inputResult = E_FAIL;
    for (int i = 1; i < MOST_TRANSFORM_FAILURES; ++i)
        EXPECT_EQ(decode(1).outcome, ScrubOutcome::Missed) << i;
    EXPECT_EQ(decode(1).outcome, ScrubOutcome::Unusable);
}

TEST_F(ExactDecode, ADecoderThatGivesKeyframesAloneIsNotUsed) {
    for (int i = 1; i <= MOST_TRANSFORM_FAILURES; ++i) {
        script->outputs = {{.time = 0}};
        EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Done) << i;
        script->outputs = {{E_FAIL}};
        const bool isLast = i == MOST_TRANSFORM_FAILURES;
        EXPECT_EQ(decode(1).outcome, isLast ? ScrubOutcome::Unusable : ScrubOutcome::Missed) << i;
    }
}

TEST_F(ExactDecode, WhatIsNoFaultOfTheDecoderDoesNotCountAgainstIt) {
    for (int i = 0; i < 3 * MOST_TRANSFORM_FAILURES; ++i) {
        script->outputs.assign(60, {MF_E_SAMPLEALLOCATOR_EMPTY});
        EXPECT_EQ(decoder.decodeKey(1).outcome, ScrubOutcome::Missed);
        superseded = [] {
            return true;
        };
        EXPECT_EQ(decode(1).outcome, ScrubOutcome::Missed);
    }
}

TEST_F(ExactDecode, OnceTheFileIsClosedNoDecoderIsLookedFor) {
    scrub.decodersRunning = false;
    const std::size_t before = decoders.searches.size();
    ScrubDecoder late;
    EXPECT_FALSE(late.setUp(host));
    EXPECT_EQ(decoders.searches.size(), before);
}

} // namespace
} // namespace velkantrix
