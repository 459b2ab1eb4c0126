// Calls that come while the program's own media source is in the midst of an earlier one: each
// request is answered by the start that it was made for, once, or by nobody.
#include <memory>

#include "platform/com.h"
#include "tests/windows/blockade.h"
#include "tests/windows/media_source_fixture.h"

namespace velkantrix {

// Holds up whoever takes it on another thread than the test's: the source does, for its sample.
class HoldingToken final : public ComObject<IUnknown> {
public:
    explicit HoldingToken(std::shared_ptr<Blockade> blockade) : blockade_(std::move(blockade)) {}

    STDMETHODIMP_(ULONG) AddRef() override {
        if (GetCurrentThreadId() != owner_) blockade_->block();
        return ComObject::AddRef();
    }

private:
    const DWORD owner_ = GetCurrentThreadId();
    const std::shared_ptr<Blockade> blockade_;
};

namespace {

class MediaSourceOrderTest : public MediaSourceTest {
protected:
    ~MediaSourceOrderTest() override {
        for (const auto& blockade : blockades) blockade->lift();
    }

    // Asks for a sample whose delivery stops in the middle until the blockade is lifted.
    std::shared_ptr<Blockade> requestHeldUp() {
        const auto blockade = std::make_shared<Blockade>();
        blockades.push_back(blockade);
        const auto token = ComPtr<HoldingToken>::adopt(new HoldingToken(blockade));
        EXPECT_EQ(video()->RequestSample(token.get()), S_OK);
        return blockade;
    }

    void request() { ASSERT_EQ(video()->RequestSample(nullptr), S_OK); }

    // The next one is a picture of the place that the last start went to.
    void expectPicture(Ticks time) {
        other = next(video());
        const auto sample = takenSample();
        ASSERT_TRUE(sample);
        EXPECT_EQ(sample->time, time);
    }

    std::vector<std::shared_ptr<Blockade>> blockades;
};

TEST_F(MediaSourceOrderTest, AStopTakesOnlyTheRequestsInFrontOfIt) {
    ASSERT_EQ(open(mediaFile(L"fragmented"), SourceSound::Unwanted), S_OK);
    begin(0, 1);
    const auto held = requestHeldUp();
    ASSERT_TRUE(waitFor([&] { return held->isReached(); }));
    request(); // nobody waits for this one any more
    ASSERT_EQ(source->Stop(), S_OK);
    ASSERT_EQ(start(Ticks{60'000'000}), S_OK);
    request();
    held->lift();
    expectNext(video(), MEStreamStopped);
    expectNext(video(), MEStreamStarted, 60'000'000);
    expectPicture(50'666'666);
    EXPECT_TRUE(isQuiet(video()));
}

TEST_F(MediaSourceOrderTest, WhatIsLeftOfAnEarlierStartsWorkServesNoLaterRequest) {
    for (const bool stops : {false, true}) {
        SCOPED_TRACE(stops);
        streams.clear();
        ASSERT_EQ(open(mediaFile(L"fragmented"), SourceSound::Unwanted), S_OK);
        begin(0, 1);
        const auto first = requestHeldUp();
        ASSERT_TRUE(waitFor([&] { return first->isReached(); }));
        // The start finds this request waiting, and adds work for what has its own already.
        ASSERT_EQ(start(Ticks{30'000'000}), S_OK);
        const auto second = requestHeldUp();
        first->lift();
        ASSERT_TRUE(waitFor([&] { return second->isReached(); }));
        if (stops) { ASSERT_EQ(source->Stop(), S_OK); }
        ASSERT_EQ(start(Ticks{60'000'000}), S_OK);
        request();
        second->lift();
        expectNext(video(), MEStreamSeeked, 30'000'000);
        if (stops) expectNext(video(), MEStreamStopped);
        expectNext(video(), stops ? MEStreamStarted : MEStreamSeeked, 60'000'000);
        expectPicture(50'666'666);
        EXPECT_TRUE(isQuiet(video()));
        ASSERT_EQ(source->Shutdown(), S_OK);
    }
}

class FailingStartTest : public MediaSourceOrderTest {
protected:
    // Held up in front of a start at a place that can't be read.
    void beginToFail() {
        spoilFragment(mediaFile(L"fragmented"), inFolder(L"one.mp4"), 6);
        spoilFragment(inFolder(L"one.mp4"), inFolder(L"broken.mp4"), 6);
        ASSERT_EQ(open(inFolder(L"broken.mp4"), SourceSound::Unwanted), S_OK);
        begin(0, 1);
        held = requestHeldUp();
        ASSERT_TRUE(waitFor([this] { return held->isReached(); }));
        ASSERT_EQ(start(Ticks{75'000'000}), S_OK);
        request();
    }
    void expectFailure() {
        expectNext(source.get(), MESourceStarted, 75'000'000, MF_E_INVALID_FILE_FORMAT);
    }

    std::shared_ptr<Blockade> held;
};

TEST_F(FailingStartTest, APauseBehindItFailsAndNothingWaitsForASampleAnyMore) {
    beginToFail();
    ASSERT_EQ(source->Pause(), S_OK);
    held->lift();
    expectFailure();
    expectNext(source.get(), MESourcePaused, std::nullopt, MF_E_INVALID_STATE_TRANSITION);
    EXPECT_EQ(video()->RequestSample(nullptr), MF_E_MEDIA_SOURCE_WRONGSTATE);
    goTo(0, 0, false);
    EXPECT_TRUE(sampleOf(video()));
    EXPECT_TRUE(isQuiet(video()));
}

TEST_F(FailingStartTest, AStartBehindItBeginsAnewAndAnswersItsOwnRequests) {
    beginToFail();
    ASSERT_EQ(start(Ticks{10'000'000}), S_OK);
    request();
    held->lift();
    // The failure may be overtaken by the other start, and is then never told.
    std::optional<SourceEvent> event = next(source.get());
    if (event && FAILED(event->status)) event = next(source.get());
    ASSERT_TRUE(event);
    for (event = next(video()); event && event->type != MEMediaSample; event = next(video())) {}
    ASSERT_TRUE(event);
    EXPECT_TRUE(isQuiet(video()));
}

} // namespace
} // namespace velkantrix
