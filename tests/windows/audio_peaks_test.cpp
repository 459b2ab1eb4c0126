// The worker that finds the peaks, over readers that do what the test says. Belongs to the program
// that puts its own readers in the place of the system's.
#include "playback/audio_peaks.h"

#include <windows.h>

#include <mferror.h>
#include <process.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/threads.h"
#include "tests/windows/blockade.h"
#include "tests/windows/replaced_import.h"
#include "tests/windows/scripted_peaks_fixture.h"

extern "C" decltype(&_beginthreadex) __imp__beginthreadex;

namespace {

// How many times this thread may still call new; any number when below 0.
thread_local int newsLeft = -1;

void* allocate(std::size_t size) {
    if (newsLeft == 0) return nullptr;
    if (newsLeft > 0) --newsLeft;
    return std::malloc(size);
}

} // namespace

void* operator new(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace velkantrix {

namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr DWORD ENDS = MF_SOURCE_READERF_ENDOFSTREAM;

// The reader

TEST_F(ScriptedPeaksTest, AsksForTheFirstSoundAloneAsSamplesOf16Bits) {
    reader->reads = {{.flags = ENDS}};
    analyse();
    EXPECT_THAT(reader->calls, ElementsAre("deselect all", "select 4294967293",
                                           "PCM of 16 bits for 4294967293", "get type 4294967293"));
}

TEST_F(ScriptedPeaksTest, IsOpenedByItsPathWithoutAttributesFromManyThreadsApartment) {
    reader->reads = {{.flags = ENDS}};
    analyse();
    EXPECT_EQ(asked.url, L"C:\\any.mp4");
    EXPECT_FALSE(asked.attributes);
    EXPECT_EQ(apartment, APTTYPE_MTA);
    EXPECT_EQ(qualifier, APTTYPEQUALIFIER_NONE); // it entered it itself
}

TEST_F(ScriptedPeaksTest, WithoutAStreamOfSoundNothingIsRead) {
    reader->selectResult = MF_E_INVALIDSTREAMNUMBER;
    reader->typeResult = MF_E_INVALIDSTREAMNUMBER;
    EXPECT_THAT(analyse(), IsEmpty());
    EXPECT_EQ(reader->readsMade, 0);
}

TEST_F(ScriptedPeaksTest, ATypeThatIsRefusedEndsIt) {
    reader->typeResult = MF_E_INVALIDMEDIATYPE;
    EXPECT_THAT(analyse(), IsEmpty());
    EXPECT_THAT(reader->calls, Not(Contains("get type 4294967293")));
    EXPECT_EQ(reader->readsMade, 0);
}

TEST_F(ScriptedPeaksTest, WithoutARateOrAChannelItEnds) {
    for (const auto& spoil : std::vector<std::function<void()>>{
             [this] { reader->rate = 0; }, [this] { reader->channels = 0; },
             [this] { reader->saysFormat = false; }, [this] { reader->bits = 24; },
             [this] { reader->subtype = MFAudioFormat_Float; },
             [this] {
                 reader->currentResult = E_FAIL;
             }}) {
        reader->rate = 4096;
        reader->channels = 1;
        reader->saysFormat = true;
        reader->bits = 16;
        reader->subtype = MFAudioFormat_PCM;
        spoil();
        EXPECT_THAT(analyse(), IsEmpty());
        EXPECT_EQ(reader->readsMade, 0);
    }
}

TEST_F(ScriptedPeaksTest, AChannelCountThatNoSoundHasIsTakenAsTwo) {
    reader->channels = 9;
    reader->reads = {{.samples = {1024, -2048, 0, 0, 0, 0, 0, 0, 4096, 0, 8192}}};
    EXPECT_THAT(analyse(), ElementsAre(2048 / 32768.F, 0, 0, 0, 4096 / 32768.F));
}

// Reading

TEST_F(ScriptedPeaksTest, EveryFourthFrameOfEachBufferIsLookedAt) {
    reader->reads = {{.samples = {1024, 32767, 32767, 32767, -2048, 32767}},
                     {.samples = {4096}},
                     {.samples = {-32768, 32767}}};
    EXPECT_THAT(analyse(),
                ElementsAre(1024 / 32768.F, 0, 0, 0, 2048 / 32768.F, 0, 4096 / 32768.F, 1, 0));
}

TEST_F(ScriptedPeaksTest, OfSixChannelsTheLoudestCounts) {
    reader->channels = 6;
    reader->reads = {{.samples = {1, 2, 3, 4, 5, -1024, 0, 0, 0, 0, 0, 32767}},
                     {.samples = {2048, 2, 3, 4, 5, 6, 7}}};
    EXPECT_THAT(analyse(), ElementsAre(1024 / 32768.F, 0, 2048 / 32768.F));
}

TEST_F(ScriptedPeaksTest, AReadWithoutSoundIsNotTheEnd) {
    reader->reads = {{.flags = MF_SOURCE_READERF_STREAMTICK}, {}, {.samples = {16384}}};
    EXPECT_THAT(analyse(), ElementsAre(0.5F));
    EXPECT_EQ(reader->readsMade, 4);
}

TEST_F(ScriptedPeaksTest, TheEndMakesTheWholeTableValid) {
    reader->reads = {{.samples = {16384}}, {.flags = ENDS}, {.samples = {32767}}};
    const std::vector<float> found = analyse();
    ASSERT_THAT(found, SizeIs(4096));
    EXPECT_EQ(found[0], 0.5F);
    EXPECT_THAT(std::vector(found.begin() + 1, found.end()), Each(0.0F));
    EXPECT_EQ(reader->readsMade, 2);
}

TEST_F(ScriptedPeaksTest, AFailureLeavesItAsFarAsItGot) {
    for (const SoundRead& last :
         {SoundRead{.result = E_FAIL}, SoundRead{.flags = MF_SOURCE_READERF_ERROR},
          SoundRead{.flags = MF_SOURCE_READERF_ERROR | ENDS}}) {
        reader->readsMade = 0;
        reader->reads = {{.samples = {16384, 0, 0}}, last, {.samples = {32767}}};
        EXPECT_THAT(analyse(), ElementsAre(0.5F, 0, 0));
        EXPECT_EQ(reader->readsMade, 2);
    }
}

TEST_F(ScriptedPeaksTest, OneBufferThatCantBeReadIsASilentPlace) {
    reader->reads = {{.samples = {16384, 0, 0}},
                     {.samples = {32767}, .unreadable = true},
                     {.samples = {8192}, .time = TICKS_PER_SECOND / 2},
                     {.flags = ENDS}};
    const std::vector<float> found = analyse();
    ASSERT_THAT(found, SizeIs(4096));
    EXPECT_EQ(found[0], 0.5F);
    EXPECT_EQ(found[3], 0);
    EXPECT_EQ(found[2048], 0.25F);
}

// No silence is made up of sound that is there.
TEST_F(ScriptedPeaksTest, BuffersThatCanNoLongerBeReadLeaveItAsFarAsItGot) {
    reader->reads.push_back({.samples = {16384, 0, 0}});
    for (int i = 0; i < 20; ++i) reader->reads.push_back({.samples = {32767}, .unreadable = true});
    reader->reads.push_back({.flags = ENDS});
    EXPECT_THAT(analyse(), ElementsAre(0.5F, 0, 0));
    EXPECT_LT(reader->readsMade, 20);
}

// One damaged time must not make minutes silent that nobody has listened to.
TEST_F(ScriptedPeaksTest, BehindATimeThatWasWrongAFailureLeavesItAsFarAsItGot) {
    reader->reads = {{.samples = std::vector<std::int16_t>(8, 16384)},
                     {.samples = {32767}, .time = TICKS_PER_SECOND * 3 / 4},
                     {.samples = std::vector<std::int16_t>(8, 16384), .time = TICKS_PER_SECOND / 8},
                     {.samples = std::vector<std::int16_t>(8, 16384)},
                     {.result = E_FAIL}};
    EXPECT_THAT(analyse(), SizeIs(528));
}

TEST_F(ScriptedPeaksTest, SoundBehindTheSourcesEndRaisesTheLastBucket) {
    reader->reads = {{.samples = std::vector<std::int16_t>(4096, 512)},
                     {.samples = {1024}},
                     {.samples = {16384}},
                     {.samples = {2048}}};
    const std::vector<float> found = analyse();
    ASSERT_THAT(found, SizeIs(4096));
    EXPECT_EQ(found[4092], 512 / 32768.F);
    EXPECT_EQ(found[4095], 0.5F);
}

TEST_F(ScriptedPeaksTest, SoundThatBeginsLateIsDrawnWhereItIsHeard) {
    reader->reads = {{.samples = {16384}, .time = 5'000'000}, {.flags = ENDS}};
    const std::vector<float> found = analyse();
    EXPECT_EQ(found[2047], 0);
    EXPECT_EQ(found[2048], 0.5F);
}

TEST_F(ScriptedPeaksTest, AnotherFormatOnTheWayIsAskedFor) {
    const auto become = [this](UINT32 rate, UINT32 channels) {
        return [this, rate, channels] {
            reader->rate = rate;
            reader->channels = channels;
        };
    };
    reader->reads = {{.samples = {16384, 0}},
                     {.samples = {0, 8192, 0, 0},
                      .flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED,
                      .hook = become(8192, 2)},
                     {.samples = {1024, 0, 0, 0}},
                     {.samples = {32767},
                      .flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED,
                      .hook = become(0, 2)}};
    EXPECT_THAT(analyse(), ElementsAre(0.5F, 0, 0.25F, 1024 / 32768.F));
}

TEST_F(ScriptedPeaksTest, WhatIsNoPcmOf16BitsAnyMoreIsAskedForAgain) {
    const auto deliver = [this](const GUID& subtype, UINT32 bits) {
        return [this, subtype, bits] {
            reader->subtype = subtype;
            reader->bits = bits;
        };
    };
    for (const auto& spoil : {deliver(MFAudioFormat_Float, 32), deliver(MFAudioFormat_PCM, 24)}) {
        deliver(MFAudioFormat_PCM, 16)();
        reader->calls.clear();
        reader->onTypeSet = deliver(MFAudioFormat_PCM, 16);
        reader->reads = {{.samples = {16384}},
                         {.samples = {32767, 32767},
                          .flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED,
                          .hook = spoil},
                         {.samples = {8192}}};
        EXPECT_THAT(analyse(), ElementsAre(0.5F, 0.25F));
        EXPECT_EQ(std::ranges::count(reader->calls, "PCM of 16 bits for 4294967293"), 2);
    }
}

TEST_F(ScriptedPeaksTest, WhatCantBeHadAsPcmAnyMoreEndsIt) {
    for (const bool isRefused : {true, false}) {
        reader->subtype = MFAudioFormat_PCM;
        reader->typeResult = S_OK;
        reader->readsMade = 0;
        reader->reads = {{.samples = {16384}},
                         {.samples = {32767},
                          .flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED,
                          .hook =
                              [this, isRefused] {
                                  reader->subtype = MFAudioFormat_Float;
                                  if (isRefused) reader->typeResult = MF_E_INVALIDMEDIATYPE;
                              }},
                         {.samples = {32767}}};
        EXPECT_THAT(analyse(), ElementsAre(0.5F));
        EXPECT_EQ(reader->readsMade, 2);
    }
}

TEST_F(ScriptedPeaksTest, SoundWhoseTimesGoBackIsDrawnWhereItIsHeardAndSeenToChange) {
    const auto blockade = std::make_shared<Blockade>();
    reader->reads = {{.samples = std::vector<std::int16_t>(2048, 512)},
                     {.hook =
                          [blockade] {
                              blockade->block();
                          }},
                     {.samples = {16384}, .time = 2'500'000}};
    EXPECT_EQ(peaksVersion(), 0);
    startAudioPeaks(L"C:\\any.mp4", 1);
    EXPECT_TRUE(waitFor([&] { return blockade->isReached(); }));
    const std::uint64_t version = peaksVersion();
    EXPECT_THAT(peaks(), SizeIs(2048));
    EXPECT_EQ(peaksVersion(), version);
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_NE(peaksVersion(), version);
    ASSERT_THAT(peaks(), SizeIs(2048));
    EXPECT_EQ(peaks()[1024], 0.5F);
    stopAudioPeaks();
    EXPECT_EQ(peaksVersion(), 0);
}

// What is asked for

TEST_F(ScriptedPeaksTest, WithoutADurationNothingIsOpened) {
    for (const double duration : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        startAudioPeaks(L"C:\\any.mp4", duration);
        EXPECT_THAT(peaks(), IsEmpty());
        EXPECT_TRUE(audioPeaksStarted());
    }
    EXPECT_FALSE(audioPeaksRun());
    EXPECT_EQ(opened, 0);
}

TEST_F(ScriptedPeaksTest, EachStartAndStopHasAGenerationOfItsOwn) {
    const std::uint32_t before = peakGeneration();
    startAudioPeaks(L"C:\\any.mp4", 0);
    EXPECT_EQ(peakGeneration(), before + 1);
    startAudioPeaks(L"C:\\any.mp4", 0);
    EXPECT_EQ(peakGeneration(), before + 2);
    stopAudioPeaks();
    EXPECT_EQ(peakGeneration(), before + 3);
}

TEST_F(ScriptedPeaksTest, AnotherStartForgetsWhatWasThere) {
    reader->reads = {{.samples = {16384, 0, 0, 0, 16384}}, {.flags = ENDS}};
    ASSERT_THAT(analyse(), SizeIs(4096));
    reader->reads = {{.samples = {0, 0}}};
    EXPECT_THAT(analyse(), ElementsAre(0, 0));
}

TEST_F(ScriptedPeaksTest, AStopForgetsThePeaksAtOnceAndForGood) {
    EXPECT_FALSE(audioPeaksStarted());
    reader->reads = {{.samples = {16384, 0}}};
    ASSERT_THAT(analyse(), SizeIs(2));
    EXPECT_TRUE(audioPeaksStarted());
    stopAudioPeaks();
    EXPECT_FALSE(audioPeaksStarted());
    EXPECT_THAT(peaks(), IsEmpty());
}

// No thread, no memory

TEST_F(ScriptedPeaksTest, WithoutAThreadThereAreNoPeaksAndNothingRuns) {
    {
        const ReplacedImport<decltype(&_beginthreadex)> replaced(
            __imp__beginthreadex,
            [](void*, unsigned, _beginthreadex_proc_type, void*, unsigned,
               unsigned*) -> std::uintptr_t { return 0; });
        startAudioPeaks(L"C:\\any.mp4", 1);
    }
    EXPECT_FALSE(audioPeaksRun());
    EXPECT_FALSE(audioPeaksStarted()); // it may be tried again
    EXPECT_THAT(peaks(), IsEmpty());
    EXPECT_EQ(opened, 0);
    reader->reads = {{.samples = {16384}}};
    EXPECT_THAT(analyse(), ElementsAre(0.5F));
}

TEST_F(ScriptedPeaksTest, WithoutMemoryThereAreNoPeaksAndNothingRuns) {
    const std::wstring path = L"C:\\" + std::wstring(1000, L'a');
    int failed = 0;
    int left = 0;
    for (int enough = 0; enough < 100 && left == 0; ++enough) {
        reader->reads = {{.samples = {16384}}, {.flags = ENDS}};
        newsLeft = enough;
        startAudioPeaks(path, 1);
        left = std::exchange(newsLeft, -1);
        ASSERT_TRUE(workerEnds());
        if (opened.exchange(0) > 0) continue;
        ++failed;
        EXPECT_FALSE(audioPeaksStarted()) << enough;
    }
    EXPECT_GT(left, 0);   // in the end there was enough
    EXPECT_GE(failed, 4); // the table and its entries, the job, its path, what the thread does
    reader->reads = {{.samples = {16384}}};
    EXPECT_THAT(analyse(), ElementsAre(0.5F));
}

} // namespace
} // namespace velkantrix
