// How bright videos are: of real recordings, and of a reader that does what the test says. Belongs
// to the program that puts its own readers in the place of the system's.
#include "playback/exposure_sampler.h"

#include <windows.h>

#include <mfapi.h>
#include <mferror.h>

#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/com.h"
#include "tests/windows/luma_reader.h"
#include "tests/windows/reader_maker.h"
#include "tests/windows/test_files.h"

namespace velkantrix {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ExposureSamplerTest : public testing::Test {
protected:
    ~ExposureSamplerTest() override { readerMaker() = {}; }

    static std::wstring textFor(const std::wstring& recording, double duration) {
        const auto luma = sampleLuma(mediaFile(recording).c_str(), duration);
        if (!luma) return L"no reader";
        const auto fixed = exposureFor(*luma);
        return fixed ? exposureText(*fixed) : L"no picture";
    }

    ComApartment apartment{COINIT_APARTMENTTHREADED};
};

TEST_F(ExposureSamplerTest, RecordingsGetWhatTheirLumaAsksFor) {
    EXPECT_EQ(textFor(L"dark", 4), L"Exposure +32%");
    EXPECT_EQ(textFor(L"grey", 4), L"Exposure reset");
    EXPECT_EQ(textFor(L"bright", 4), L"Exposure -60%");
    EXPECT_EQ(textFor(L"dark-second", 1), L"Exposure +32%");
    EXPECT_EQ(textFor(L"dark-with-lights", 4), L"Exposure +16%");
}

TEST_F(ExposureSamplerTest, EachPictureCountsEverySixteenthOfItsLuma) {
    const auto luma = sampleLuma(mediaFile(L"grey").c_str(), 4);
    ASSERT_TRUE(luma);
    EXPECT_EQ(luma->total, 8u * 320 * 192 / 16);
}

TEST_F(ExposureSamplerTest, WhatHasNoVideoOrIsNoFileIsNone) {
    EXPECT_EQ(textFor(L"audio-only", 12), L"no reader");
    EXPECT_EQ(textFor(L"no-such-file", 12), L"no reader");
    EXPECT_EQ(sampleLuma(L"", 12), std::nullopt);
}

class ScriptedLumaTest : public ExposureSamplerTest {
protected:
    ScriptedLumaTest() {
        reader = ComPtr<LumaReader>::adopt(new LumaReader);
        readerMaker() = [this](const ReaderRequest&) {
            return ComPtr<IMFSourceReader>::share(reader.get());
        };
    }

    [[nodiscard]] static std::optional<LumaHistogram> sample(double duration = 80) {
        return sampleLuma(L"C:\\any.mp4", duration);
    }

    ComPtr<LumaReader> reader;
};

TEST_F(ScriptedLumaTest, AsksForTheVideoAloneDecodedToLumaAndChroma) {
    ASSERT_TRUE(sample());
    EXPECT_THAT(reader->selections, ElementsAre(std::pair<DWORD, BOOL>(0xFFFFFFFE, FALSE),
                                                std::pair<DWORD, BOOL>(0xFFFFFFFC, TRUE)));
    EXPECT_TRUE(IsEqualGUID(reader->asked, MFVideoFormat_NV12));
}

TEST_F(ScriptedLumaTest, LooksAtEighthsOfTheVideo) {
    for (std::uint8_t i = 0; i < 8; ++i) reader->reads.push_back({.size = 96, .luma = i});
    const auto luma = sample(8);
    ASSERT_TRUE(luma);
    EXPECT_THAT(reader->positions, ElementsAre(0, 10'000'000, 20'000'000, 30'000'000, 40'000'000,
                                               50'000'000, 60'000'000, 70'000'000));
    // Of the 96 bytes of each, 64 are luma: 4 of them count.
    EXPECT_EQ(luma->total, 32u);
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(luma->counts[i], 4u);
}

TEST_F(ScriptedLumaTest, AShortVideoIsReadFromItsStart) {
    for (int i = 0; i < 9; ++i) reader->reads.push_back({.size = 96, .luma = 9});
    ASSERT_TRUE(sample(1));
    EXPECT_THAT(reader->positions, IsEmpty());
    EXPECT_EQ(reader->reads.size(), 1u);
}

TEST_F(ScriptedLumaTest, AReadWithoutAPictureIsNotTheEnd) {
    reader->reads = {{.flags = MF_SOURCE_READERF_STREAMTICK},
                     {.flags = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED},
                     {},
                     {.size = 96, .luma = 40}};
    const auto luma = sample();
    ASSERT_TRUE(luma);
    EXPECT_EQ(luma->counts[40], 4u);
}

TEST_F(ScriptedLumaTest, TheEndAndAFailureAre) {
    for (const LumaRead& last :
         {LumaRead{.flags = MF_SOURCE_READERF_ENDOFSTREAM},
          LumaRead{.flags = MF_SOURCE_READERF_ERROR}, LumaRead{.result = E_FAIL}}) {
        reader->reads = {{.size = 96, .luma = 40}, last, {.size = 96, .luma = 50}};
        const auto luma = sample();
        ASSERT_TRUE(luma);
        EXPECT_EQ(luma->total, 4u);
        EXPECT_EQ(reader->reads.size(), 1u);
    }
}

TEST_F(ScriptedLumaTest, APictureThatIsBrokenOffCountsAsFarAsItGoes) {
    reader->reads = {{.size = 17, .luma = 3}};
    EXPECT_EQ(sample()->counts[3], 2u);
    reader->reads = {{.size = 96, .luma = 3}};
    reader->width = 0;
    EXPECT_EQ(sample()->total, 0u);
}

TEST_F(ScriptedLumaTest, WhereItCantSeekTheNextPicturesDo) {
    reader->seekResult = E_FAIL;
    for (int i = 0; i < 8; ++i) reader->reads.push_back({.size = 96, .luma = 9});
    EXPECT_EQ(sample()->total, 32u);
}

TEST_F(ScriptedLumaTest, WhatCantBeDecodedIsNone) {
    reader->typeResult = MF_E_INVALIDMEDIATYPE;
    EXPECT_FALSE(sample());
}

} // namespace
} // namespace velkantrix
