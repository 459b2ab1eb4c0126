#include "mp4/video_index.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

using testing::IsEmpty;

VideoTrackIndex load(const Bytes& content) {
    const TempFile temp(content);
    return LoadVideoTrackIndex(temp.path());
}

Bytes repeated(const Bytes& part, std::size_t count) {
    Bytes all;
    for (std::size_t i = 0; i < count; ++i) all.add(part);
    return all;
}

// ---- plain files

TEST(LoadVideoTrackIndex, APlainFile) {
    const VideoTrackIndex index = load(plainFile(videoTrak(7, 90000)));
    EXPECT_TRUE(index.valid);
    EXPECT_FALSE(index.fragmented);
    EXPECT_EQ(index.timescale, 90000u);
    EXPECT_EQ(index.trackId, 7u);
    EXPECT_EQ(index.width, 1280u);
    EXPECT_EQ(index.height, 720u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
    EXPECT_EQ(index.randomAccess, plainKeyframes());
}

TEST(LoadVideoTrackIndex, WhatCanNotBeOpenedIsNotValid) {
    EXPECT_FALSE(LoadVideoTrackIndex(TempFile::unusedPath()).valid);
    EXPECT_FALSE(LoadVideoTrackIndex(std::filesystem::temp_directory_path()).valid);
    EXPECT_FALSE(LoadVideoTrackIndex({}).valid);
}

TEST(LoadVideoTrackIndex, WithoutAMoovItIsNotValid) {
    EXPECT_FALSE(load({}).valid);
    EXPECT_FALSE(load(ftyp()).valid);
    EXPECT_FALSE(load(join({ftyp(), box("mdat", videoTrak(1, 1000))})).valid);
    EXPECT_FALSE(load(join({ftyp(), box("moov")})).valid);
}

TEST(LoadVideoTrackIndex, WithoutAVideoTrackItIsNotValid) {
    const VideoTrackIndex index = load(plainFile(soundTrak(1, 48000)));
    EXPECT_FALSE(index.valid);
    EXPECT_EQ(index.timescale, 0u);
}

TEST(LoadVideoTrackIndex, WithoutATimeScaleItIsDescribedButNotValid) {
    for (const Bytes& content :
         {plainFile(videoTrak(7, 0)), fragmentedFile(videoTrak(7, 0), tfra(7, {{}}))}) {
        const VideoTrackIndex index = load(content);
        EXPECT_FALSE(index.valid);
        EXPECT_EQ(index.timescale, 0u);
        EXPECT_EQ(index.trackId, 7u);
        EXPECT_EQ(index.width, 1280u);
        EXPECT_EQ(index.avcConfig, avcRecord().vector());
        EXPECT_EQ(FindKeyframeAtOrBefore(index, 0), nullptr);
    }
}

TEST(LoadVideoTrackIndex, WithoutATableOfKeyframesAPlainFileIsNotValid) {
    Bytes tables = plainTables(avc1(1280, 720));
    const std::string text(tables.vector().begin(), tables.vector().end());
    tables[text.find("stss")] = 'x';
    const VideoTrackIndex index = load(plainFile(trak(1, 1000, "vide", tables)));
    EXPECT_FALSE(index.valid);
    EXPECT_EQ(index.timescale, 1000u);
    EXPECT_THAT(index.randomAccess, IsEmpty());
}

TEST(LoadVideoTrackIndex, ATrackOfAnotherCodecIsValidWithoutAConfiguration) {
    const Bytes hevc = box("hvc1", visualFields(640, 480).add(box("hvcC", Bytes().fill(23, 1))));
    const VideoTrackIndex index = load(plainFile(videoTrak(1, 1000, hevc)));
    EXPECT_TRUE(index.valid);
    EXPECT_EQ(index.width, 0u);
    EXPECT_EQ(index.height, 0u);
    EXPECT_THAT(index.avcConfig, IsEmpty());
    EXPECT_EQ(index.randomAccess, plainKeyframes());
}

TEST(LoadVideoTrackIndex, TheLaterMoovIsUsed) {
    const VideoTrackIndex index =
        load(join({ftyp(), box("moov", videoTrak(1, 1000)), box("moov", videoTrak(2, 2000))}));
    EXPECT_TRUE(index.valid);
    EXPECT_EQ(index.trackId, 2u);
    EXPECT_EQ(index.randomAccess.size(), 2u);
}

TEST(LoadVideoTrackIndex, AMoovOfSizeZeroAtTheEndIsRead) {
    EXPECT_TRUE(load(join({ftyp(), box("mdat"), openBox("moov", videoTrak(1, 1000))})).valid);
}

TEST(LoadVideoTrackIndex, LongSizesAreFollowedInTheFileAndInMemory) {
    const Bytes moov = box("moov", join({soundTrak(1, 48000), videoTrak(7, 90000)}));
    const VideoTrackIndex index =
        load(join({withLongSizes(ftyp()), withLongSizes(moov), longBox("mdat", Bytes().fill(9))}));
    EXPECT_TRUE(index.valid);
    EXPECT_FALSE(index.fragmented);
    EXPECT_EQ(index.trackId, 7u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
    EXPECT_EQ(index.randomAccess, plainKeyframes());
}

TEST(LoadVideoTrackIndex, AMoovThatRunsOverTheEndIsNotValid) {
    Bytes file = join({ftyp(), box("moov", videoTrak(1, 1000))});
    EXPECT_TRUE(load(file).valid);
    file.resize(file.size() - 1);
    EXPECT_FALSE(load(file).valid);
}

TEST(LoadVideoTrackIndex, MediaThatRunsOverTheEndDoNoHarm) {
    EXPECT_TRUE(
        load(join({ftyp(), box("moov", videoTrak(1, 1000)), boxOfSize("mdat", 1000)})).valid);
    EXPECT_TRUE(load(join({ftyp(), box("moov", videoTrak(1, 1000)), Bytes().fill(3, 9)})).valid);
}

TEST(LoadVideoTrackIndex, KeyframesAreSortedByTime) {
    // Their numbers descend in stss, so both orders of reading it must end in the same.
    const Bytes tables = join({stsd(avc1(64, 48)), stts({{3, 10}}), stss({3, 1}),
                               stsz({100, 20, 30}), stsc({{1, 3}}), stco({1000})});
    EXPECT_EQ(load(plainFile(trak(1, 1000, "vide", tables))).randomAccess, plainKeyframes());
}

TEST(LoadVideoTrackIndex, KeyframesOfOneTimeAreSortedByTheirPlace) {
    // The second chunk lies in front of the first.
    const Bytes tables = join({stsd(avc1(64, 48)), stts({{4, 0}}), stss({1, 2, 3, 4}),
                               stsz({100, 20, 30, 40}), stsc({{1, 2}}), stco({1000, 500})});
    EXPECT_EQ(load(plainFile(trak(1, 1000, "vide", tables))).randomAccess,
              (RandomAccessTable{{0, 500, 30}, {0, 530, 40}, {0, 1000, 100}, {0, 1100, 20}}));
}

// Samples that the times don't reach have 0.
TEST(LoadVideoTrackIndex, APlainFilesKeyframesAreSortedByTimeNotByNumber) {
    const Bytes tables = join({stsd(avc1(64, 48)), stts({{2, 10}}), stss({2, 4}),
                               stsz({100, 20, 30, 40}), stsc({{1, 4}}), stco({1000})});
    EXPECT_EQ(load(plainFile(trak(1, 1000, "vide", tables))).randomAccess,
              (RandomAccessTable{{0, 1150, 40}, {10, 1100, 20}}));
}

TEST(LoadVideoTrackIndex, WhatCameOfTheMoovIsTold) {
    const Bytes video = videoTrak(7, 1000), sound = soundTrak(1, 48000);
    Bytes tooLarge = sound, openAtStart = sound;
    tooLarge[0] = 1;
    openAtStart = box("trak", Bytes().fill(92).add(withoutHeader(sound)));
    EXPECT_EQ(LoadVideoTrackIndex(TempFile::unusedPath()).moov, MoovState::Missing);
    const struct {
        Bytes file;
        MoovState state;
    } rows[] = {
        {{}, MoovState::Missing},
        {join({ftyp(), openBox("mdat", box("moov", video))}), MoovState::Missing},
        {repeated(box("free"), 70).add(plainFile(video)), MoovState::Missing},
        {join({ftyp(), box("moof"), box("moov", video)}), MoovState::Missing},
        {join({ftyp(), boxOfSize("moov", 5000, video)}), MoovState::Unreadable},
        {plainFile({}), MoovState::Whole},
        {plainFile(sound), MoovState::Whole},
        {plainFile(video), MoovState::Whole},
        {fragmentedFile(video, {}), MoovState::Whole},
        {plainFile(join({tooLarge, video})), MoovState::Irregular},
        {plainFile(openAtStart), MoovState::Irregular},
        {plainFile(join({video, openAtStart})), MoovState::Irregular},
        {fragmentedFile(join({video, tooLarge}), tfra(7, {{}})), MoovState::Irregular},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(load(rows[i].file).moov, rows[i].state) << i;
    }
}

// Of 256 MiB and more; what isn't written is zeros and takes no room.
TEST(LoadVideoTrackIndex, AMoovMayBeLongButNotLongerThanItsLimit) {
    ASSERT_EQ(MAX_MOOV_BYTES, 268435456u);
    for (const std::uint64_t size : {std::uint64_t{268435456}, std::uint64_t{268435457}}) {
        TempFile temp(boxOfSize("moov", size + 8, padded(videoTrak(7, 90000), size)));
        temp.resize(size + 8);
        const VideoTrackIndex index = LoadVideoTrackIndex(temp.path());
        EXPECT_EQ(index.valid, size == 268435456) << size;
        EXPECT_EQ(index.trackId, size == 268435456 ? 7u : 0u) << size;
        EXPECT_EQ(index.moov, size == 268435456 ? MoovState::Whole : MoovState::TooLong) << size;
    }
}

// ---- fragmented files

const std::vector<TfraEntry> TWO{{0, 500, 1, 1, 1}, {900, 700, 2, 3, 4}};

TEST(LoadVideoTrackIndex, AFragmentedFile) {
    const VideoTrackIndex index =
        load(fragmentedFile(trak(7, 90000, "vide", stsd(avc1(1920, 1080))), tfra(7, TWO)));
    EXPECT_TRUE(index.valid);
    EXPECT_TRUE(index.fragmented);
    EXPECT_EQ(index.timescale, 90000u);
    EXPECT_EQ(index.trackId, 7u);
    EXPECT_EQ(index.width, 1920u);
    EXPECT_EQ(index.height, 1080u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
    EXPECT_EQ(index.randomAccess, tableOf(TWO));
}

TEST(LoadVideoTrackIndex, KeyframesInAFragmentedFilesMoovAreDropped) {
    EXPECT_EQ(load(fragmentedFile(videoTrak(7, 1000), tfra(7, TWO))).randomAccess, tableOf(TWO));
    const VideoTrackIndex index = load(fragmentedFile(videoTrak(7, 1000), {}));
    EXPECT_FALSE(index.valid);
    EXPECT_TRUE(index.fragmented);
    EXPECT_THAT(index.randomAccess, IsEmpty());
}

TEST(LoadVideoTrackIndex, WithoutAnMfroInTheLastSixteenBytesAFragmentedFileIsNotValid) {
    const Bytes moov = videoTrak(7, 1000);
    Bytes file = fragmentedFile(moov, tfra(7, TWO));
    EXPECT_TRUE(load(file).valid);
    EXPECT_FALSE(load(join({file, box("free")})).valid);
    file.resize(file.size() - 1);
    EXPECT_FALSE(load(file).valid);
    const VideoTrackIndex index = load(join({box("moov", moov), box("moof")}));
    EXPECT_FALSE(index.valid);
    EXPECT_THAT(index.randomAccess, IsEmpty());
}

TEST(LoadVideoTrackIndex, AnMfraOfImpossibleLengthIsNotValid) {
    for (const std::uint32_t size : {0u, 1u, 8u, 16u, 67108865u, 0xFFFFFFFFu}) {
        Bytes file = fragmentedFile(videoTrak(7, 1000), tfra(7, TWO));
        file.resize(file.size() - 4);
        EXPECT_FALSE(load(file.u32(size)).valid) << size;
    }
}

TEST(LoadVideoTrackIndex, AnMfraOfSixtyFourMegabytesIsRead) {
    constexpr std::uint32_t LONGEST = 67108864;
    for (const std::uint32_t size : {LONGEST, LONGEST + 1}) {
        const Bytes front = join({box("moov", videoTrak(7, 1000)), box("moof")});
        const Bytes tables = padded(tfra(7, TWO), size - 8 - 16);
        TempFile temp(join({front, boxOfSize("mfra", size, tables)}));
        temp.resize(front.size() + size);
        temp.write(front.size() + size - 16, fullBox("mfro", 0, 0, Bytes().u32(size)));
        EXPECT_EQ(LoadVideoTrackIndex(temp.path()).valid, size == LONGEST) << size;
    }
}

TEST(LoadVideoTrackIndex, FragmentsAreSortedByTime) {
    const auto table =
        load(fragmentedFile(videoTrak(7, 1000),
                            tfra(7, {{500, 3}, {0, 9}, {900, 1}, {UINT64_MAX, 4}, {100, 5}})))
            .randomAccess;
    EXPECT_EQ(table, tableOf({{0, 9}, {100, 5}, {500, 3}, {900, 1}, {UINT64_MAX, 4}}));
}

TEST(LoadVideoTrackIndex, OnlyTheFirstTableOfTheTrackIsUsed) {
    const Bytes tables = join({tfra(6, {{1, 1}}), tfra(7, TWO), tfra(7, {{2, 2}})});
    EXPECT_EQ(load(fragmentedFile(videoTrak(7, 1000), tables)).randomAccess, tableOf(TWO));
}

TEST(LoadVideoTrackIndex, ATableOfAnotherTrackIsNotValid) {
    EXPECT_FALSE(load(fragmentedFile(videoTrak(7, 1000), tfra(6, TWO))).valid);
    EXPECT_FALSE(load(fragmentedFile(videoTrak(7, 1000), tfra(0, TWO))).valid);
}

TEST(LoadVideoTrackIndex, ATrackWithoutAnIdTakesAnyTable) {
    const VideoTrackIndex index = load(fragmentedFile(videoTrak(0, 1000), tfra(6, TWO)));
    EXPECT_TRUE(index.valid);
    EXPECT_EQ(index.trackId, 0u);
    EXPECT_EQ(index.randomAccess, tableOf(TWO));
}

TEST(LoadVideoTrackIndex, ATableThatDoesNotFitItsBoxIsNotValid) {
    const Bytes four = tfra(7, {{1, 1}, {2, 2}, {3, 3}, {4, 4}});
    Bytes lying = four;
    lying[8 + 15] = 5;
    EXPECT_TRUE(load(fragmentedFile(videoTrak(7, 1000), four)).valid);
    EXPECT_FALSE(load(fragmentedFile(videoTrak(7, 1000), lying)).valid);
    for (const std::size_t i : {12u, 13u, 14u, 15u}) lying[8 + i] = 0xFF;
    EXPECT_FALSE(load(fragmentedFile(videoTrak(7, 1000), lying)).valid);
}

TEST(LoadVideoTrackIndex, AFragmentedFileWithoutAVideoTrackIsNotValid) {
    EXPECT_FALSE(load(fragmentedFile(soundTrak(7, 1000), tfra(7, TWO))).valid);
}

TEST(LoadVideoTrackIndex, LongSizesOfAFragmentedFileAreFollowed) {
    const Bytes tables = withLongSizes(tfra(7, TWO));
    const VideoTrackIndex index =
        load(join({longBox("ftyp"), withLongSizes(box("moov", videoTrak(7, 1000))), longBox("moof"),
                   longBox("mdat"), mfra(tables)}));
    EXPECT_TRUE(index.valid);
    EXPECT_TRUE(index.fragmented);
    EXPECT_EQ(index.randomAccess, tableOf(TWO));
}

TEST(LoadVideoTrackIndex, FragmentsBehindSixtyFourBoxesAreNotSeen) {
    const Bytes moov = box("moov", videoTrak(7, 1000)), end = mfra(tfra(7, TWO));
    EXPECT_TRUE(load(join({moov, repeated(box("free"), 62), box("moof"), end})).fragmented);
    const VideoTrackIndex plain = load(join({moov, repeated(box("free"), 63), box("moof"), end}));
    EXPECT_FALSE(plain.fragmented);
    EXPECT_EQ(plain.randomAccess, plainKeyframes());
}

TEST(LoadVideoTrackIndex, ANameOutsideOfAsciiIsFound) {
    const TempFile temp(plainFile(videoTrak(7, 90000)), u8" \u00E4\u65E5.mp4");
    EXPECT_TRUE(LoadVideoTrackIndex(temp.path()).valid);
}

// Windows removes no file that is still open.
TEST(LoadVideoTrackIndex, TheFileIsClosedOnEveryWayOut) {
    for (const Bytes& content :
         {Bytes(), plainFile(videoTrak(7, 1000)), plainFile({}), boxOfSize("moov", 1000),
          fragmentedFile(videoTrak(7, 1000), tfra(7, TWO)), fragmentedFile(videoTrak(7, 1000), {}),
          join({box("moov", videoTrak(7, 1000)), box("moof")})}) {
        const TempFile temp(content);
        (void)LoadVideoTrackIndex(temp.path());
        std::error_code error;
        EXPECT_TRUE(std::filesystem::remove(temp.path(), error)) << error.message();
    }
}

TEST(LoadVideoTrackIndex, AMoofWithoutAMoovIsFragmentedAllTheSame) {
    const VideoTrackIndex index = load(join({ftyp(), box("moof")}));
    EXPECT_TRUE(index.fragmented);
    EXPECT_FALSE(index.valid);
}

TEST(LoadVideoTrackIndex, AMoofSmallerThanItsHeaderIsOneAllTheSame) {
    const Bytes plain = plainFile(videoTrak(7, 1000));
    for (const Bytes& moof : {boxOfSize("moof", 7), longBoxOfSize("moof", 15)}) {
        const VideoTrackIndex index = load(join({plain, moof, Bytes().fill(50)}));
        EXPECT_TRUE(index.fragmented);
        EXPECT_FALSE(index.valid);
    }
}

} // namespace
} // namespace velkantrix
