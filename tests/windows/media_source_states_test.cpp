// Starts, pauses, stops and the shutdown of the program's own media source.
#include <algorithm>
#include <functional>
#include <thread>

#include "playback/held_files.h"
#include "tests/windows/media_source_fixture.h"

namespace velkantrix {
namespace {

const std::wstring RECORDING = L"fragmented";

TEST_F(MediaSourceTest, AFirstStartWithoutAPositionBeginsAtZero) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin(std::nullopt);
    const auto sample = sampleOf(video());
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->time, 666'666);
}

TEST_F(MediaSourceTest, AStartBeginsAtTheKeyframeAtOrBeforeItsPosition) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin(Ticks{25'000'000});
    // Keyframes are shown at 0.0667 s and a whole number of seconds later.
    const struct {
        Ticks position, picture;
    } places[] = {
        {0, 666'666},
        {666'666, 666'666},
        {10'666'665, 666'666},
        {10'666'666, 10'666'666},
        {10'666'667, 10'666'666},
        {20'000'000, 10'666'666},
        {60'700'000, 60'666'666},
        {990'000'000, 110'666'666},
    };
    for (const auto& [position, picture] : places) {
        goTo(position, position);
        const auto sample = sampleOf(video());
        ASSERT_TRUE(sample);
        EXPECT_EQ(sample->time, picture) << position;
        EXPECT_TRUE(sample->clean);
        EXPECT_TRUE(sample->discontinuity);
    }
}

TEST_F(MediaSourceTest, SoundStartsWithTheSampleThatHoldsThePosition) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    for (const Ticks position : {Ticks{25'000'000}, Ticks{7}, Ticks{213'333}, Ticks{99'999'999}}) {
        goTo(position, position);
        const auto sample = sampleOf(sound());
        ASSERT_TRUE(sample);
        EXPECT_LE(sample->time, position);
        EXPECT_GT(sample->time + sample->duration + 1, position);
        EXPECT_TRUE(sample->discontinuity);
    }
}

TEST_F(MediaSourceTest, AStartWithoutAPositionGoesOnAtTheLastPictureAndCountsAsASeek) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin(Ticks{30'000'000});
    Ticks last = 0;
    for (int i = 0; i < 40; ++i) {
        const auto sample = sampleOf(video());
        ASSERT_TRUE(sample);
        last = sample->time;
    }
    ASSERT_TRUE(sampleOf(sound())); // which moves nothing
    goTo(std::nullopt, last);
    const auto again = sampleOf(video());
    ASSERT_TRUE(again);
    EXPECT_TRUE(again->clean);
    EXPECT_LE(again->time, last);
    EXPECT_GT(again->time, last - 10'000'001);
    // Without any picture in between it is where the start was.
    goTo(Ticks{50'000'000}, 50'000'000);
    goTo(std::nullopt, 50'000'000);
}

TEST_F(MediaSourceTest, AStartThatAsksForTheImpossibleDoesNothing) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    PROPVARIANT position;
    PropVariantInit(&position);
    const GUID seconds = MFMediaType_Video; // no time format
    EXPECT_EQ(source->Start(nullptr, nullptr, &position), E_INVALIDARG);
    EXPECT_EQ(source->Start(presentation.get(), nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(source->Start(presentation.get(), &seconds, &position), MF_E_UNSUPPORTED_TIME_FORMAT);
    position.vt = VT_R8;
    EXPECT_EQ(source->Start(presentation.get(), nullptr, &position), MF_E_UNSUPPORTED_TIME_FORMAT);
    EXPECT_TRUE(isQuiet(source.get()));
    // The null format says the same as none.
    position.vt = VT_EMPTY;
    EXPECT_EQ(source->Start(presentation.get(), &GUID_NULL, &position), S_OK);
    takeStream(MENewStream);
}

TEST_F(MediaSourceTest, ASeekDropsTheRequestsInFrontOfIt) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    for (int i = 0; i < 300; ++i) ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    ASSERT_EQ(start(Ticks{60'000'000}), S_OK);
    std::optional<SourceEvent> event = next(video());
    std::size_t before = 0;
    for (; event && event->type == MEMediaSample; event = next(video())) ++before;
    ASSERT_TRUE(event);
    EXPECT_EQ(event->type, MEStreamSeeked);
    EXPECT_LT(before, 300U);
    // Behind it come only those that were asked for behind it.
    ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    other = next(video());
    const auto sample = takenSample();
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->time, 50'666'666);
    EXPECT_TRUE(sample->discontinuity);
    expectNext(sound(), MEStreamSeeked, 60'000'000);
    EXPECT_TRUE(isQuiet(video()));
}

TEST_F(MediaSourceTest, DuringAPauseRequestsWaitForTheStartThatGoesOn) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    ASSERT_EQ(source->Pause(), S_OK);
    expectNext(video(), MEStreamPaused);
    expectNext(sound(), MEStreamPaused);
    expectNext(source.get(), MESourcePaused);
    EXPECT_EQ(source->Pause(), MF_E_INVALID_STATE_TRANSITION);
    ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    // A stop and a start of the other kind of work show that the requests had their turn.
    ASSERT_EQ(start(std::nullopt), S_OK);
    expectNext(video(), MEStreamSeeked, 0);
    expectNext(video(), MEMediaSample);
    expectNext(video(), MEMediaSample);
    EXPECT_TRUE(isQuiet(video()));
}

TEST_F(MediaSourceTest, ASeekOutOfAPauseDropsThem) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    ASSERT_EQ(source->Pause(), S_OK);
    expectNext(video(), MEStreamPaused);
    ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    ASSERT_EQ(start(Ticks{60'000'000}), S_OK);
    expectNext(video(), MEStreamSeeked, 60'000'000);
    const auto sample = sampleOf(video());
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->time, 50'666'666);
    EXPECT_TRUE(isQuiet(video()));
}

TEST_F(MediaSourceTest, AStopEndsItAndTheNextStartBeginsAnew) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin(Ticks{50'000'000});
    ASSERT_TRUE(sampleOf(video()));
    ASSERT_EQ(source->Stop(), S_OK);
    expectNext(video(), MEStreamStopped);
    expectNext(sound(), MEStreamStopped);
    expectNext(source.get(), MESourceStopped);
    EXPECT_EQ(video()->RequestSample(nullptr), MF_E_MEDIA_SOURCE_WRONGSTATE);
    EXPECT_EQ(source->Pause(), MF_E_INVALID_STATE_TRANSITION);
    goTo(std::nullopt, 0, false);
    const auto sample = sampleOf(video());
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->time, 666'666);
}

TEST_F(MediaSourceTest, WhatIsNotStartedCanBeStoppedButNotPaused) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    EXPECT_EQ(source->Pause(), MF_E_INVALID_STATE_TRANSITION);
    ASSERT_EQ(source->Stop(), S_OK);
    expectNext(source.get(), MESourceStopped);
    EXPECT_TRUE(isQuiet(source.get()));
}

TEST_F(MediaSourceTest, CallsInARowAreAnsweredInTheirOrder) {
    ASSERT_EQ(open(mediaFile(RECORDING), SourceSound::Unwanted), S_OK);
    ASSERT_EQ(start(Ticks{10'000'000}), S_OK);
    ASSERT_EQ(source->Pause(), S_OK);
    ASSERT_EQ(start(Ticks{20'000'000}), S_OK);
    ASSERT_EQ(source->Stop(), S_OK);
    ASSERT_EQ(start(Ticks{30'000'000}), S_OK);
    takeStream(MENewStream);
    expectNext(source.get(), MESourceStarted, 10'000'000);
    expectNext(source.get(), MESourcePaused);
    takeStream(MEUpdatedStream);
    expectNext(source.get(), MESourceSeeked, 20'000'000);
    expectNext(source.get(), MESourceStopped);
    takeStream(MEUpdatedStream);
    expectNext(source.get(), MESourceStarted, 30'000'000);
    for (const MediaEventType type :
         {MEStreamStarted, MEStreamPaused, MEStreamSeeked, MEStreamStopped, MEStreamStarted})
        expectNext(video(), type);
    const auto sample = sampleOf(video());
    ASSERT_TRUE(sample);
    EXPECT_EQ(sample->time, 20'666'666);
}

TEST_F(MediaSourceTest, AStreamThatEndsBeforeThePositionEndsWithTheStart) {
    ASSERT_EQ(open(mediaFile(L"fragmented-sound-short")), S_OK); // its sound ends at 5 s
    begin(Ticks{90'000'000});
    expectNext(sound(), MEEndOfStream);
    EXPECT_EQ(sound()->RequestSample(nullptr), MF_E_END_OF_STREAM);
    EXPECT_TRUE(sampleOf(video()));
    while (sampleOf(video())) {}
    expectNext(source.get(), MEEndOfPresentation);
    goTo(Ticks{40'000'000}, 40'000'000);
    EXPECT_TRUE(sampleOf(sound()));
}

TEST_F(MediaSourceTest, ARequestBetweenAStartAndItsEventsIsGood) {
    ASSERT_EQ(open(mediaFile(RECORDING), SourceSound::Unwanted), S_OK);
    begin(Ticks{115'000'000}, 1);
    static_cast<void>(rest(video()));
    expectNext(source.get(), MEEndOfPresentation);
    EXPECT_EQ(video()->RequestSample(nullptr), MF_E_END_OF_STREAM);
    ASSERT_EQ(start(0), S_OK);
    ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    expectNext(video(), MEStreamSeeked, 0);
    expectNext(video(), MEMediaSample);
}

TEST_F(MediaSourceTest, EveryCallInEveryStateFromAnotherThreadIsAnswered) {
    using Step = std::function<void()>;
    const std::vector<Step> states = {
        [] {},            // new
        [&] { begin(); }, // started
        [&] {
            begin();
            for (int i = 0; i < 50; ++i) static_cast<void>(video()->RequestSample(nullptr));
        },
        [&] {
            begin();
            ASSERT_EQ(source->Pause(), S_OK);
            static_cast<void>(sound()->RequestSample(nullptr));
        },
        [&] {
            begin();
            ASSERT_EQ(source->Stop(), S_OK);
        },
        [&] {
            begin(Ticks{118'000'000});
            static_cast<void>(rest(video()));
        },                                                  // at its end
        [&] { ASSERT_EQ(start(Ticks{50'000'000}), S_OK); }, // on its way
    };
    const std::vector<Step> calls = {
        [&] { EXPECT_EQ(source->Stop(), S_OK); },
        [&] {
            const HRESULT paused = source->Pause();
            EXPECT_TRUE(paused == S_OK || paused == MF_E_INVALID_STATE_TRANSITION);
        },
        [&] { EXPECT_EQ(start(Ticks{30'000'000}), S_OK); },
        [&] { EXPECT_EQ(start(std::nullopt), S_OK); },
        [&] { EXPECT_EQ(source->Shutdown(), S_OK); },
    };
    for (const Step& state : states) {
        for (const Step& call : calls) {
            ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
            state();
            ComPtr<IMFMediaSource> held = source;
            std::thread waiting([&held] { // in a blocking call while all this goes on
                ComPtr<IMFMediaEvent> event;
                while (SUCCEEDED(held->GetEvent(0, event.put()))) {}
            });
            std::thread(call).join();
            const HRESULT ended = source->Shutdown();
            EXPECT_TRUE(ended == S_OK || ended == MF_E_SHUTDOWN);
            waiting.join();
            held.reset();
            streams.clear();
            source.reset();
            ASSERT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; }));
        }
    }
}

TEST_F(MediaSourceTest, AfterItsShutdownEveryCallSaysSo) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    ASSERT_EQ(source->Shutdown(), S_OK);
    EXPECT_EQ(source->Shutdown(), MF_E_SHUTDOWN);
    EXPECT_EQ(start(0), MF_E_SHUTDOWN);
    EXPECT_EQ(source->Stop(), MF_E_SHUTDOWN);
    EXPECT_EQ(source->Pause(), MF_E_SHUTDOWN);
    DWORD characteristics = 0;
    EXPECT_EQ(source->GetCharacteristics(&characteristics), MF_E_SHUTDOWN);
    ComPtr<IMFPresentationDescriptor> descriptor;
    EXPECT_EQ(source->CreatePresentationDescriptor(descriptor.put()), MF_E_SHUTDOWN);
    ComPtr<IMFMediaEvent> event;
    EXPECT_EQ(source->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()), MF_E_SHUTDOWN);
    EXPECT_EQ(source->QueueEvent(MEError, GUID_NULL, S_OK, nullptr), MF_E_SHUTDOWN);
    for (const auto& stream : streams) {
        EXPECT_EQ(stream->RequestSample(nullptr), MF_E_SHUTDOWN);
        EXPECT_EQ(stream->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()), MF_E_SHUTDOWN);
        ComPtr<IMFMediaSource> owner;
        EXPECT_EQ(stream->GetMediaSource(owner.put()), MF_E_SHUTDOWN);
        ComPtr<IMFStreamDescriptor> description;
        EXPECT_EQ(stream->GetStreamDescriptor(description.put()), MF_E_SHUTDOWN);
    }
}

TEST_F(MediaSourceTest, AfterItsShutdownTheFileIsFree) {
    const std::wstring copy = inFolder(L"copy.mp4");
    ASSERT_TRUE(CopyFileW(mediaFile(RECORDING).c_str(), copy.c_str(), TRUE));
    ASSERT_EQ(open(copy), S_OK);
    begin();
    for (int i = 0; i < 50; ++i) ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    EXPECT_FALSE(sourceFilesAreClosed(0));
    ASSERT_EQ(source->Shutdown(), S_OK);
    // Although source and streams are still held here.
    ASSERT_TRUE(sourceFilesAreClosed(LONGEST_WAIT));
    EXPECT_NE(DeleteFileW(copy.c_str()), FALSE);
}

TEST_F(MediaSourceTest, AStreamKnowsItsSourceAndItsDescription) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    DWORD id = 0;
    for (const auto& stream : streams) {
        ComPtr<IMFMediaSource> owner;
        ASSERT_EQ(stream->GetMediaSource(owner.put()), S_OK);
        EXPECT_EQ(owner.get(), source.get());
        ComPtr<IMFStreamDescriptor> description;
        ASSERT_EQ(stream->GetStreamDescriptor(description.put()), S_OK);
        DWORD found = 0;
        ASSERT_EQ(description->GetStreamIdentifier(&found), S_OK);
        EXPECT_EQ(found, ++id);
    }
}

TEST_F(MediaSourceTest, NullPointersAreRefused) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    EXPECT_EQ(source->GetCharacteristics(nullptr), E_POINTER);
    EXPECT_EQ(source->CreatePresentationDescriptor(nullptr), E_POINTER);
    EXPECT_EQ(video()->GetMediaSource(nullptr), E_POINTER);
    EXPECT_EQ(video()->GetStreamDescriptor(nullptr), E_POINTER);
}

} // namespace
} // namespace velkantrix
