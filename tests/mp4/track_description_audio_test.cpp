// LoadAudioTrackInfo; the parsers that need no file are in track_description_test.cpp.
#include "mp4/track_description.h"

#include <cstdint>
#include <filesystem>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

using testing::IsEmpty;

const std::vector<TfraEntry> TWO{{900, 700, 2, 3, 4}, {0, 500, 1, 1, 1}};
const Bytes CONFIG{0x12, 0x10};

AudioTrackInfo load(const Bytes& content) {
    const TempFile temp(content);
    return LoadAudioTrackInfo(temp.path());
}

// Of a file with this moov, and tables of the tracks 0 to 3.
AudioTrackInfo loadMoov(const Bytes& moov) {
    return load(
        fragmentedFile(moov, join({tfra(0, TWO), tfra(1, TWO), tfra(2, TWO), tfra(3, TWO)})));
}

void expectNothing(const AudioTrackInfo& info) {
    EXPECT_FALSE(info.valid);
    EXPECT_EQ(info.trackId, 0u);
    EXPECT_EQ(info.timescale, 0u);
    EXPECT_EQ(info.sampleRate, 0u);
    EXPECT_EQ(info.channels, 0u);
    EXPECT_THAT(info.audioConfig, IsEmpty());
    EXPECT_THAT(info.randomAccess, IsEmpty());
}

Bytes repeated(const Bytes& part, std::size_t count) {
    Bytes all;
    for (std::size_t i = 0; i < count; ++i) all.add(part);
    return all;
}

TEST(LoadAudioTrackInfo, AFragmentedFile) {
    const Bytes entry = mp4a(6, 44100, esds(CONFIG));
    const AudioTrackInfo info =
        load(fragmentedFile(join({videoTrak(1, 90000), soundTrak(2, 48000, entry)}),
                            join({tfra(1, {{}}), tfra(2, TWO)})));
    EXPECT_TRUE(info.valid);
    EXPECT_EQ(info.trackId, 2u);
    EXPECT_EQ(info.timescale, 48000u);
    EXPECT_EQ(info.sampleRate, 44100u);
    EXPECT_EQ(info.channels, 6u);
    EXPECT_EQ(info.audioConfig, CONFIG.vector());
    EXPECT_EQ(info.randomAccess, tableOf(TWO)); // in the file's order
}

TEST(AudioTrackInfo, ItsFieldsStandInThisOrder) {
    const RandomAccessTable table(3);
    const AudioTrackInfo info{true, 1, 2, 3, 4, {5, 6}, table};
    EXPECT_TRUE(info.valid);
    EXPECT_EQ(info.trackId, 1u);
    EXPECT_EQ(info.timescale, 2u);
    EXPECT_EQ(info.sampleRate, 3u);
    EXPECT_EQ(info.channels, 4u);
    EXPECT_EQ(info.audioConfig, (std::vector<std::uint8_t>{5, 6}));
    EXPECT_EQ(info.randomAccess, table);
}

TEST(LoadAudioTrackInfo, WhatCanNotBeOpenedHasNone) {
    expectNothing(LoadAudioTrackInfo(TempFile::unusedPath()));
    expectNothing(LoadAudioTrackInfo(std::filesystem::temp_directory_path()));
    expectNothing(LoadAudioTrackInfo({}));
    expectNothing(load({}));
}

TEST(LoadAudioTrackInfo, APlainFileNeverHasOne) {
    expectNothing(load(plainFile(join({videoTrak(1, 90000), soundTrak(2, 48000)}))));
}

TEST(LoadAudioTrackInfo, WithoutEntriesOfItsTrackThereIsNone) {
    const Bytes moov = soundTrak(2, 48000);
    expectNothing(load(fragmentedFile(moov, {})));
    expectNothing(load(fragmentedFile(moov, tfra(1, TWO))));
    expectNothing(load(fragmentedFile(moov, tfra(0, TWO))));
    expectNothing(load(fragmentedFile(moov, tfra(2, {}))));
    expectNothing(load(join({fragmentedFile(moov, tfra(2, TWO)), box("free")})));
}

TEST(LoadAudioTrackInfo, ATableThatOverrunsIsUsedUpToItsLastWholeEntry) {
    Bytes tables = tfra(2, TWO);
    for (const std::size_t i : {12u, 13u, 14u, 15u}) tables[8 + i] = 0xFF;
    EXPECT_EQ(load(fragmentedFile(soundTrak(2, 48000), tables)).randomAccess, tableOf(TWO));
}

TEST(LoadAudioTrackInfo, NoChannelsMeansTwo) {
    EXPECT_EQ(loadMoov(soundTrak(2, 48000, mp4a(0, 44100, esds(CONFIG)))).channels, 2u);
    EXPECT_EQ(loadMoov(soundTrak(2, 48000, mp4a(1, 44100, esds(CONFIG)))).channels, 1u);
    EXPECT_EQ(loadMoov(soundTrak(2, 48000, mp4a(0xFFFF, 44100, esds(CONFIG)))).channels, 0xFFFFu);
}

TEST(LoadAudioTrackInfo, NoSampleRateMeansTheTimeScale) {
    EXPECT_EQ(loadMoov(soundTrak(2, 96000, mp4a(2, 0, esds(CONFIG)))).sampleRate, 96000u);
    EXPECT_EQ(loadMoov(soundTrak(2, 96000, mp4a(2, 65535, esds(CONFIG)))).sampleRate, 65535u);
}

TEST(LoadAudioTrackInfo, TheFractionOfTheSampleRateIsDropped) {
    Bytes entry = mp4a(2, 44100, esds(CONFIG));
    entry[8 + 26] = 0xFF, entry[8 + 27] = 0xFF;
    EXPECT_EQ(loadMoov(soundTrak(2, 48000, entry)).sampleRate, 44100u);
    entry[8 + 24] = 0, entry[8 + 25] = 0;
    EXPECT_EQ(loadMoov(soundTrak(2, 48000, entry)).sampleRate, 48000u);
}

TEST(LoadAudioTrackInfo, OfTwoTracksTheFirstIsTaken) {
    const AudioTrackInfo info = loadMoov(join({soundTrak(3, 1000), soundTrak(2, 2000)}));
    EXPECT_EQ(info.trackId, 3u);
    EXPECT_EQ(info.timescale, 1000u);
    EXPECT_EQ(loadMoov(join({soundTrak(2, 1000), soundTrak(2, 2000)})).timescale, 1000u);
}

TEST(LoadAudioTrackInfo, ATrackThatLacksSomethingLeavesTheNextOneItsChance) {
    const Bytes table = stsd(mp4a(2, 44100, esds(CONFIG)));
    for (const Bytes& lacking : {
             trak(1, 1000, "vide", table),                 // it isn't sound
             soundTrak(0, 1000),                           // no track_ID
             soundTrak(1, 0),                              // no time scale
             soundTrak(9, 1000),                           // no entries
             soundTrak(1, 1000, mp4a(1, 22050, {})),       // no configuration
             soundTrak(1, 1000, mp4a(1, 22050, esds({}))), // an empty one
             soundTrak(1, 1000, box("mp4b", Bytes().fill(60))),
             trak(1, 1000, "soun", {}), // no stsd
             box("trak"),
         }) {
        expectNothing(loadMoov(lacking));
        const AudioTrackInfo info = loadMoov(join({lacking, soundTrak(2, 2000)}));
        EXPECT_TRUE(info.valid);
        EXPECT_EQ(info.trackId, 2u);
        EXPECT_EQ(info.timescale, 2000u);
        EXPECT_EQ(info.channels, 2u);
        EXPECT_EQ(info.sampleRate, 44100u);
    }
}

TEST(LoadAudioTrackInfo, AStreamThatDependsOnAnotherIsNotUsed) {
    const Bytes dependent = esds(CONFIG, 0x80, Bytes{0, 9});
    expectNothing(loadMoov(soundTrak(2, 48000, mp4a(2, 44100, dependent))));
}

// ---- the boxes of a track

Bytes sound(const Bytes& headers, const Bytes& tables) {
    return box("trak",
               join({tkhd(2), box("mdia", join({headers, box("minf", box("stbl", tables))}))}));
}

const Bytes GOOD = stsd(mp4a(2, 44100, esds(CONFIG)));

TEST(LoadAudioTrackInfo, ATimeScaleBoxBelowTwentyBytesIsNotRead) {
    Bytes mdhdBytes = Bytes().fill(12).u32(1000).fill(4);
    EXPECT_EQ(loadMoov(sound(join({box("mdhd", mdhdBytes), hdlr("soun")}), GOOD)).timescale, 1000u);
    mdhdBytes.resize(19);
    expectNothing(loadMoov(sound(join({box("mdhd", mdhdBytes), hdlr("soun")}), GOOD)));
}

TEST(LoadAudioTrackInfo, OfSeveralTimeScaleBoxesTheLastWholeOneCounts) {
    const Bytes whole = box("mdhd", Bytes().fill(12).u32(1000).fill(4));
    const Bytes cut = box("mdhd", Bytes().fill(12).u32(3000).fill(3));
    const Bytes other = mdhd(2000);
    EXPECT_EQ(loadMoov(sound(join({whole, other, hdlr("soun")}), GOOD)).timescale, 2000u);
    for (const Bytes& both : {join({whole, cut}), join({cut, whole}), join({whole, box("mdhd")})}) {
        const AudioTrackInfo info =
            loadMoov(sound(join({both, hdlr("soun")}), stsd(mp4a(2, 0, esds(CONFIG)))));
        EXPECT_EQ(info.timescale, 1000u);
        EXPECT_EQ(info.sampleRate, 1000u) << "the time scale's";
    }
}

TEST(LoadAudioTrackInfo, OfSeveralStsdTheLastCounts) {
    const Bytes headers = join({mdhd(1000), hdlr("soun")});
    const Bytes other = stsd(mp4a(6, 44100, esds(CONFIG)));
    EXPECT_EQ(loadMoov(sound(headers, join({other, GOOD}))).channels, 2u);
    expectNothing(loadMoov(sound(headers, join({GOOD, box("stsd")}))));
}

TEST(LoadAudioTrackInfo, AHandlerOfVideoDoesNotHinderOneOfSound) {
    EXPECT_TRUE(loadMoov(sound(join({mdhd(1000), hdlr("vide"), hdlr("soun")}), GOOD)).valid);
}

TEST(LoadAudioTrackInfo, VersionOneHeadersAreRead) {
    const Bytes media = join({mdhd(1000, 1), hdlr("soun"), box("minf", box("stbl", GOOD))});
    const AudioTrackInfo info = loadMoov(box("trak", join({tkhd(2, 1), box("mdia", media)})));
    EXPECT_EQ(info.trackId, 2u);
    EXPECT_EQ(info.timescale, 1000u);
    // Long enough to be read, too short to have one.
    expectNothing(loadMoov(sound(join({box("mdhd", Bytes{1}.fill(22, 1)), hdlr("soun")}), GOOD)));
}

TEST(LoadAudioTrackInfo, AHandlerBoxBelowTwelveBytesSaysNothing) {
    Bytes handler = Bytes().fill(8).text("soun");
    EXPECT_TRUE(loadMoov(sound(join({mdhd(1000), box("hdlr", handler)}), GOOD)).valid);
    handler.resize(11);
    expectNothing(loadMoov(sound(join({mdhd(1000), box("hdlr", handler), box("free")}), GOOD)));
}

TEST(LoadAudioTrackInfo, AnStsdBelowEightBytesIsNotLookedInto) {
    for (const std::size_t size : {0u, 7u, 8u}) {
        expectNothing(
            loadMoov(sound(join({mdhd(1000), hdlr("soun")}), box("stsd", Bytes().fill(size, 1)))));
    }
}

TEST(LoadAudioTrackInfo, ASampleEntryBelowTwentyEightBytesIsNone) {
    Bytes fields = Bytes().fill(16).u16(1).fill(6).u32(22050u << 16);
    fields.resize(27);
    const AudioTrackInfo info =
        loadMoov(soundTrak(2, 1000, join({box("mp4a", fields), mp4a(6, 44100, esds(CONFIG))})));
    EXPECT_EQ(info.channels, 6u);
    EXPECT_EQ(info.sampleRate, 44100u);
}

TEST(LoadAudioTrackInfo, ASampleEntryOfExactlyTwentyEightBytesIsTheFirst) {
    // It has no room for a configuration, and none of the next one's is taken.
    expectNothing(
        loadMoov(soundTrak(2, 1000, join({mp4a(1, 22050, {}), mp4a(6, 44100, esds(CONFIG))}))));
}

TEST(LoadAudioTrackInfo, OtherSampleEntriesAndBoxesArePassedOver) {
    const Bytes entries =
        join({box("ac-3", Bytes().fill(40)),
              mp4a(6, 44100, join({box("chan", Bytes().fill(12)), esds(CONFIG), box("btrt")}))});
    EXPECT_EQ(loadMoov(soundTrak(2, 1000, entries)).channels, 6u);
}

TEST(LoadAudioTrackInfo, OfSeveralSampleEntriesTheFirstIsUsed) {
    const Bytes entries = join({mp4a(6, 44100, esds(CONFIG)), mp4a(1, 22050, esds(Bytes{9}))});
    const AudioTrackInfo info = loadMoov(soundTrak(2, 1000, entries));
    EXPECT_EQ(info.channels, 6u);
    EXPECT_EQ(info.sampleRate, 44100u);
    EXPECT_EQ(info.audioConfig, CONFIG.vector());
}

TEST(LoadAudioTrackInfo, AnotherBoxWithTheContentOfAnEsdsIsNone) {
    Bytes misspelt = esds(CONFIG);
    misspelt[7] = 'S';
    expectNothing(loadMoov(soundTrak(2, 1000, mp4a(2, 44100, misspelt))));
    expectNothing(loadMoov(soundTrak(2, 1000, mp4a(2, 44100, box("wave", esds(CONFIG))))));
}

TEST(LoadAudioTrackInfo, AnEsdsThatHasNoneLeavesTheOthersConfiguration) {
    const Bytes broken = fullBox("esds", 0, 0, Bytes{9, 9});
    for (const Bytes& both : {join({esds(CONFIG), broken}), join({broken, esds(CONFIG)}),
                              join({esds(Bytes{9}), esds(CONFIG)})}) {
        EXPECT_EQ(loadMoov(soundTrak(2, 1000, mp4a(2, 44100, both))).audioConfig, CONFIG.vector());
    }
}

TEST(LoadAudioTrackInfo, LongSizesAreFollowedInTheFileAndInMemory) {
    const Bytes moov = box("moov", join({videoTrak(1, 1000), soundTrak(2, 48000)}));
    const AudioTrackInfo info =
        load(join({longBox("ftyp"), longBox("mdat", Bytes().fill(40)), withLongSizes(moov),
                   mfra(withLongSizes(tfra(2, TWO)))}));
    EXPECT_TRUE(info.valid);
    EXPECT_EQ(info.audioConfig, CONFIG.vector());
    EXPECT_EQ(info.randomAccess, tableOf(TWO));
}

// ---- which moov

Bytes moovOf(std::uint32_t trackId) {
    return box("moov", soundTrak(trackId, 48000));
}

const Bytes TABLES = mfra(join({tfra(1, TWO), tfra(2, TWO)}));

TEST(LoadAudioTrackInfo, TheFirstMoovIsReadWhereverItIs) {
    EXPECT_EQ(load(join({box("moof"), moovOf(2), moovOf(1), TABLES})).trackId, 2u);
    EXPECT_EQ(load(join({moovOf(1), moovOf(2), TABLES})).trackId, 1u);
    expectNothing(load(join({box("moov"), moovOf(2), TABLES}))); // even if nothing is in it
}

TEST(LoadAudioTrackInfo, NoMoreThanSixteenBoxesAreLookedAt) {
    ASSERT_EQ(MAX_AUDIO_SCANNED_BOXES, 16u);
    EXPECT_TRUE(load(join({repeated(box("free"), 15), moovOf(2), TABLES})).valid);
    expectNothing(load(join({repeated(box("free"), 16), moovOf(2), TABLES})));
}

TEST(LoadAudioTrackInfo, ABadBoxInFrontEndsTheSearch) {
    // Behind the 7 bytes of the first one the moov would begin.
    for (const Bytes& bad :
         {boxOfSize("fre", 7), boxOfSize("free", 7), longBoxOfSize("free", 15),
          boxOfSize("free", 0xFFFFFFF), longBoxOfSize("free", UINT64_MAX), openBox("mdat")}) {
        expectNothing(load(join({bad, moovOf(2), TABLES})));
    }
}

TEST(LoadAudioTrackInfo, ALongSizeWhoseSumRunsOverEndsTheSearch) {
    // It leads to the moov in the first box.
    const Bytes front = box("free", moovOf(2));
    expectNothing(load(join({front, longBoxOfSize("mdat", 8 - front.size()), TABLES})));
}

TEST(LoadAudioTrackInfo, AMoovThatOverrunsTheFileIsNotRead) {
    const Bytes trak = soundTrak(2, 48000), end = TABLES;
    const std::size_t rest = 8 + trak.size() + end.size();
    EXPECT_TRUE(load(join({boxOfSize("moov", rest, trak), end})).valid); // just not
    expectNothing(load(join({boxOfSize("moov", rest + 1, trak), end})));
}

TEST(LoadAudioTrackInfo, AMoovOfSizeZeroRunsToTheEnd) {
    EXPECT_TRUE(load(join({ftyp(), openBox("moov", soundTrak(2, 48000)), TABLES})).valid);
}

// Of 32 MiB and more; what isn't written is zeros and takes no room.
TEST(LoadAudioTrackInfo, AMoovLongerThanItsLimitIsSkipped) {
    ASSERT_EQ(MAX_AUDIO_MOOV_BYTES, 33554432u);
    for (const std::uint64_t size : {std::uint64_t{33554432}, std::uint64_t{33554433}}) {
        TempFile temp(boxOfSize("moov", size + 8, padded(soundTrak(1, 48000), size)));
        const Bytes rest = join({moovOf(2), TABLES});
        temp.resize(size + 8 + rest.size());
        temp.write(size + 8, rest);
        EXPECT_EQ(LoadAudioTrackInfo(temp.path()).trackId, size == 33554432 ? 1u : 2u) << size;
    }
}

TEST(LoadAudioTrackInfo, AnMfraLongerThanItsLimitIsNotRead) {
    constexpr std::uint32_t LONGEST = 67108864;
    for (const std::uint32_t size : {LONGEST, LONGEST + 1}) {
        const Bytes front = moovOf(2);
        TempFile temp(join({front, boxOfSize("mfra", size, padded(tfra(2, TWO), size - 8 - 16))}));
        temp.resize(front.size() + size);
        temp.write(front.size() + size - 16, fullBox("mfro", 0, 0, Bytes().u32(size)));
        EXPECT_EQ(LoadAudioTrackInfo(temp.path()).valid, size == LONGEST) << size;
    }
}

// Reading, or only walking, 48 MiB of tables for each of twenty thousand tracks would take minutes.
TEST(LoadAudioTrackInfo, ThousandsOfTracksAndMillionsOfTablesAreGoneThroughOnce) {
    constexpr std::uint32_t TRACKS = 20000;
    Bytes moov, tables = tfra(TRACKS + 1, {});
    for (std::uint32_t id = 1; id <= TRACKS; ++id) moov.add(soundTrak(id, 48000));
    for (int i = 0; i < 21; ++i) tables.add(Bytes(tables));
    tables.add(tfra(TRACKS, TWO));
    const AudioTrackInfo info = load(fragmentedFile(moov, tables));
    EXPECT_TRUE(info.valid);
    EXPECT_EQ(info.trackId, TRACKS);
    EXPECT_EQ(info.randomAccess, tableOf(TWO));
}

TEST(LoadAudioTrackInfo, ThousandsOfTracksOfOneIdAreNoHarm) {
    Bytes moov, tables;
    for (int i = 0; i < 5000; ++i) moov.add(soundTrak(7, 48000));
    for (int i = 0; i < 100000; ++i) tables.add(tfra(8, {{}}));
    expectNothing(load(fragmentedFile(moov, join({tables, tfra(7, {})}))));
}

TEST(LoadAudioTrackInfo, ANameOutsideOfAsciiIsFound) {
    const TempFile temp(join({moovOf(2), TABLES}), u8" \u00E4\u65E5.mp4");
    EXPECT_TRUE(LoadAudioTrackInfo(temp.path()).valid);
}

// Windows removes no file that is still open.
TEST(LoadAudioTrackInfo, TheFileIsClosedOnEveryWayOut) {
    for (const Bytes& content : {Bytes(), ftyp(), moovOf(2), join({moovOf(2), TABLES}),
                                 boxOfSize("moov", 1000), join({box("moov"), TABLES})}) {
        const TempFile temp(content);
        (void)LoadAudioTrackInfo(temp.path());
        std::error_code error;
        EXPECT_TRUE(std::filesystem::remove(temp.path(), error)) << error.message();
    }
}

} // namespace
} // namespace velkantrix
