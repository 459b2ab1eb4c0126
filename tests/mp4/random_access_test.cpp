#include "mp4/random_access.h"

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

using testing::ElementsAre;
using testing::IsEmpty;

// Payloads of fields that may lie about what follows them.
Bytes rawTfra(std::uint32_t trackId, int version, std::uint32_t count, const Bytes& table) {
    return fullBox("tfra", version, 0, Bytes().u32(trackId).u32(0).u32(count).add(table));
}

const std::vector<TfraEntry> THREE{{10, 100, 1, 2, 3}, {20, 200, 2, 1, 1}, {30, 300, 1, 1, 7}};

RandomAccessTable ofVideo(const Bytes& tables, std::uint32_t trackId = 1) {
    return videoRandomAccess(ByteView(tables.vector()), trackId);
}

// Nothing when the found flag is off; the entries must be gone then too.
std::optional<RandomAccessTable> ofAudio(const Bytes& tables, std::uint32_t trackId = 1) {
    const AudioRandomAccess result = audioRandomAccess(ByteView(tables.vector()), trackId);
    EXPECT_EQ(result.found, !result.entries.empty());
    if (!result.found) return std::nullopt;
    return result.entries;
}

// ---- the mfra at the end of a file

// The children that readMfra finds, or nothing.
std::optional<Bytes> childrenIn(const Bytes& content) {
    const TempFile temp(content);
    ByteBuffer mfraBytes;
    mfraBytes.allocate(5);
    const InputFile opened = OpenForRandomAccess(temp.path());
    if (!readMfra(mfraBytes, opened, opened.size)) {
        EXPECT_EQ(mfraBytes.size(), 0u);
        return std::nullopt;
    }
    const ByteView children = childrenOfMfra(mfraBytes);
    Bytes all;
    for (const std::uint8_t byte : children) all.u8(byte);
    return all;
}

Bytes mfro(std::uint32_t size) {
    return fullBox("mfro", 0, 0, Bytes().u32(size));
}

TEST(ReadMfra, TheBoxAtTheEndIsReadWhole) {
    const Bytes tables = tfra(1, THREE);
    const Bytes children = join({tables, mfro(static_cast<std::uint32_t>(tables.size() + 24))});
    EXPECT_EQ(childrenIn(join({ftyp(), mfra(tables)})), children);
    EXPECT_EQ(childrenIn(mfra(tables)), children); // the file is nothing else
}

TEST(ReadMfra, WithoutAnMfroInTheLastSixteenBytesThereIsNone) {
    EXPECT_EQ(childrenIn(ftyp()), std::nullopt);
    EXPECT_EQ(childrenIn(join({mfra(tfra(1, THREE)), Bytes{0}})), std::nullopt);
    EXPECT_EQ(childrenIn(join({mfra(tfra(1, THREE)), box("free")})), std::nullopt);
    Bytes misspelt = mfra(tfra(1, THREE));
    misspelt[misspelt.size() - 9] = 'O';
    EXPECT_EQ(childrenIn(misspelt), std::nullopt);
}

TEST(ReadMfra, AFileOfFewerThanSixteenBytesHasNone) {
    EXPECT_EQ(childrenIn({}), std::nullopt);
    Bytes cut;
    for (std::size_t i = 1; i < 16; ++i) cut.u8(mfro(15)[i]);
    EXPECT_EQ(childrenIn(cut), std::nullopt);
    EXPECT_EQ(childrenIn(mfro(16))->size(), 8u);
}

// The first four bytes, which should be its length, and its version say nothing.
TEST(ReadMfra, OfTheMfroOnlyTypeAndSizeAreLookedAt) {
    const Bytes tables = tfra(1, THREE);
    Bytes file = mfra(tables);
    for (const std::size_t back : {16u, 13u, 8u, 5u}) file[file.size() - back] = 0xFF;
    EXPECT_TRUE(childrenIn(file));
}

TEST(ReadMfra, ASizeOfZeroIsRefused) {
    EXPECT_EQ(childrenIn(join({ftyp(), mfro(0)})), std::nullopt);
}

TEST(ReadMfra, ASizeBelowItsHeaderHasNoChildren) {
    for (const std::uint32_t size : {1u, 7u, 8u}) {
        EXPECT_EQ(childrenIn(join({ftyp(), mfro(size)})), Bytes()) << size;
    }
    EXPECT_EQ(childrenIn(join({ftyp(), mfro(9)}))->size(), 1u);
}

TEST(ReadMfra, ASizeAboveTheFilesIsRefused) {
    const std::uint32_t size = 40;
    EXPECT_TRUE(childrenIn(join({Bytes().fill(24), mfro(size)})));
    EXPECT_EQ(childrenIn(join({Bytes().fill(23), mfro(size)})), std::nullopt);
    EXPECT_EQ(childrenIn(join({ftyp(), mfro(0xFFFFFFFF)})), std::nullopt);
}

TEST(ReadMfra, SixtyFourMegabytesAreReadAndNotAByteMore) {
    ASSERT_EQ(MAX_MFRA_BYTES, 67108864u);
    for (const std::uint32_t size : {67108863u, 67108864u, 67108865u}) {
        TempFile temp;
        temp.resize(67108864 + 100);
        temp.write(67108864 + 100 - 16, mfro(size));
        ByteBuffer bytes;
        const InputFile opened = OpenForRandomAccess(temp.path());
        EXPECT_EQ(readMfra(bytes, opened, opened.size), size <= 67108864) << size;
        EXPECT_EQ(bytes.size(), size <= 67108864 ? size : 0) << size;
    }
}

TEST(ReadMfra, TheHeaderIsPassedOverUnread) {
    const Bytes tables = tfra(1, THREE);
    Bytes file = join({ftyp(), mfra(tables)});
    for (std::size_t i = 0; i < 8; ++i) file[ftyp().size() + i] = 0xEE;
    ASSERT_TRUE(childrenIn(file));
    EXPECT_EQ(ofVideo(*childrenIn(file)), tableOf(THREE));
}

TEST(ReadMfra, AFileThatShrinksHasNone) {
    TempFile temp(join({ftyp(), mfra(tfra(1, THREE))}));
    const InputFile file = OpenForRandomAccess(temp.path());
    temp.resize(file.size - 1);
    ByteBuffer bytes;
    EXPECT_FALSE(readMfra(bytes, file, file.size));
    EXPECT_FALSE(readMfra(bytes, InputFile(), 1000));
}

// ---- both readers

TEST(RandomAccess, EveryWidthAndVersionIsRead) {
    const std::uint64_t wide = 0x0102030405060708, narrow = 0x11121314;
    for (int version = 0; version <= 1; ++version) {
        for (std::size_t widths = 0; widths < 64; ++widths) {
            const std::size_t traf = (widths >> 4 & 3) + 1, trun = (widths >> 2 & 3) + 1;
            const std::size_t sample = (widths & 3) + 1;
            const auto cut = [](std::uint32_t value, std::size_t bytes) {
                return bytes == 4 ? value : value & ((1u << 8 * bytes) - 1);
            };
            const TfraEntry entry{version == 1 ? wide : narrow, version == 1 ? ~wide : ~narrow,
                                  cut(0x21222324, traf), cut(0xB1B2B3B4, trun),
                                  cut(0x41424344, sample)};
            TfraEntry read = entry;
            if (version == 0) read.moof = ~narrow & 0xFFFFFFFF;
            const Bytes tables = tfra(1, {entry, entry}, version, traf, trun, sample);
            EXPECT_EQ(ofVideo(tables), tableOf({read, read})) << version << " " << widths;
            EXPECT_EQ(ofAudio(tables), tableOf({read, read})) << version << " " << widths;
        }
    }
}

TEST(RandomAccess, SizesAreUnknown) {
    EXPECT_EQ(ofVideo(tfra(1, THREE)).at(1).size, 0u);
    EXPECT_EQ(ofAudio(tfra(1, THREE))->at(1).size, 0u);
}

TEST(RandomAccess, TheBitsAroundTheWidthsSayNothing) {
    Bytes tables = tfra(1, THREE);
    const std::size_t widths = 8 + 8;
    tables[widths] = 0xFF, tables[widths + 1] = 0xFF, tables[widths + 2] = 0xFF;
    tables[widths + 3] = 0xC0;
    EXPECT_EQ(ofVideo(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables), tableOf(THREE));
}

TEST(RandomAccess, VersionsOtherThanOneAreNarrow) {
    Bytes tables = tfra(1, THREE, 0);
    for (const std::uint8_t version : {std::uint8_t{2}, std::uint8_t{255}}) {
        tables[8] = version;
        EXPECT_EQ(ofVideo(tables), tableOf(THREE)) << version;
        EXPECT_EQ(ofAudio(tables), tableOf(THREE)) << version;
    }
}

TEST(RandomAccess, AnUnsortedTableKeepsItsOrder) {
    const std::vector<TfraEntry> unsorted{{30, 1}, {10, 2}, {20, 3}, {10, 4}};
    EXPECT_EQ(ofVideo(tfra(1, unsorted)), tableOf(unsorted));
    EXPECT_EQ(ofAudio(tfra(1, unsorted)), tableOf(unsorted));
}

TEST(RandomAccess, OtherBoxesArePassedOver) {
    Bytes misspelt = tfra(1, {{5, 5}});
    misspelt[7] = 'A';
    const Bytes tables = join({misspelt, box("free", Bytes().fill(40)), tfra(1, THREE), mfro(1)});
    EXPECT_EQ(ofVideo(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables), tableOf(THREE));
}

TEST(RandomAccess, AnotherTracksTablesArePassedOver) {
    const Bytes tables = join({tfra(2, {{5, 5}}), tfra(0, {{6, 6}}), tfra(1, THREE)});
    EXPECT_EQ(ofVideo(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables), tableOf(THREE));
    EXPECT_THAT(ofVideo(tables, 3), IsEmpty());
    EXPECT_EQ(ofAudio(tables, 3), std::nullopt);
}

TEST(RandomAccess, OfTwoTablesOfATrackTheFirstIsUsed) {
    const Bytes tables = join({tfra(1, THREE), tfra(1, {{5, 5}})});
    EXPECT_EQ(ofVideo(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables), tableOf(THREE));
}

TEST(RandomAccess, AnEmptyTableLeavesTheNextOneItsChance) {
    const Bytes tables = join({tfra(1, {}), tfra(1, THREE)});
    EXPECT_EQ(ofVideo(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables), tableOf(THREE));
    EXPECT_THAT(ofVideo(tfra(1, {})), IsEmpty());
    EXPECT_EQ(ofAudio(tfra(1, {})), std::nullopt);
}

TEST(RandomAccess, APayloadBelowSixteenBytesIsNoTable) {
    Bytes fields = Bytes().u32(0).u32(1).u32(0).u32(0);
    const Bytes whole = box("tfra", fields);
    fields.resize(15);
    const Bytes cut = box("tfra", fields);
    EXPECT_EQ(ofVideo(join({cut, whole, box("tfra"), tfra(1, THREE)})), tableOf(THREE));
    EXPECT_EQ(ofAudio(join({cut, whole, box("tfra"), tfra(1, THREE)})), tableOf(THREE));
}

TEST(RandomAccess, ALongSizeIsFollowed) {
    const Bytes tables = withLongSizes(join({tfra(2, {{5, 5}}), tfra(1, THREE)}));
    EXPECT_EQ(ofVideo(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables), tableOf(THREE));
}

TEST(RandomAccess, NothingBehindABadBoxIsFound) {
    for (const Bytes& bad : {boxOfSize("free", 7), boxOfSize("free", 1000)}) {
        EXPECT_THAT(ofVideo(join({bad, tfra(1, THREE)})), IsEmpty());
        EXPECT_EQ(ofAudio(join({bad, tfra(1, THREE)})), std::nullopt);
        EXPECT_EQ(ofVideo(join({tfra(1, THREE), bad})), tableOf(THREE));
    }
}

TEST(RandomAccess, NoBytesHoldNoTables) {
    EXPECT_THAT(ofVideo({}), IsEmpty());
    EXPECT_EQ(ofAudio({}), std::nullopt);
}

TEST(RandomAccess, TheTableAmongThousandsIsFound) {
    Bytes tables;
    for (std::uint32_t id = 2; id < 20000; ++id) tables.add(tfra(id, {{id, id}}));
    tables.add(tfra(1, THREE));
    EXPECT_EQ(ofVideo(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables), tableOf(THREE));
    EXPECT_EQ(ofAudio(tables, 19999), tableOf({{19999, 19999}}));
}

// ---- where they differ

// One entry takes 11 bytes in version 0 and 19 in version 1.
TEST(RandomAccess, ATableThatDoesNotFitIsIgnoredForVideoAndReadAsFarAsItIsWholeForAudio) {
    struct Row {
        int version;
        std::uint32_t count;
        std::size_t bytes;
        std::size_t video, audio;
    };
    for (const Row& row : {
             Row{0, 2, 22, 2, 2},
             Row{0, 2, 21, 0, 1},
             Row{0, 2, 11, 0, 1},
             Row{0, 2, 10, 0, 0},
             Row{0, 2, 0, 0, 0},
             Row{1, 2, 38, 2, 2},
             Row{1, 2, 37, 0, 1},
             Row{1, 2, 19, 0, 1},
             Row{1, 2, 18, 0, 0},
             Row{0, 2, 40, 2, 2}, // a third one would fit
             Row{0, 0xFFFFFFFF, 35, 0, 3},
             Row{1, 0xFFFFFFFF, 60, 0, 3},
             Row{0, 0x80000001, 35, 0, 3},
         }) {
        const Bytes tables = rawTfra(1, row.version, row.count, Bytes().fill(row.bytes, 1));
        const auto audio = ofAudio(tables);
        EXPECT_EQ(ofVideo(tables).size(), row.video) << row.count << " " << row.bytes;
        EXPECT_EQ(audio ? audio->size() : 0, row.audio) << row.count << " " << row.bytes;
    }
}

TEST(VideoRandomAccess, BehindATableThatDoesNotFitTheNextOneIsUsed) {
    EXPECT_EQ(ofVideo(join({rawTfra(1, 0, 9, Bytes().fill(30)), tfra(1, THREE)})), tableOf(THREE));
}

TEST(AudioRandomAccess, ATableOfNoWholeEntryLeavesTheNextOneItsChance) {
    EXPECT_EQ(ofAudio(join({rawTfra(1, 0, 9, Bytes().fill(10)), tfra(1, THREE)})), tableOf(THREE));
}

TEST(AudioRandomAccess, WhatIsWholeOfTheFirstTableIsKept) {
    const Bytes first = rawTfra(1, 0, 9, Bytes().u32(5).u32(6).u8(1).u8(2).u8(3).fill(4));
    EXPECT_EQ(ofAudio(join({first, tfra(1, THREE)})), tableOf({{5, 6, 1, 2, 3}}));
}

TEST(VideoRandomAccess, TrackZeroTakesAnyTable) {
    EXPECT_EQ(ofVideo(join({tfra(7, THREE), tfra(1, {{5, 5}})}), 0), tableOf(THREE));
}

TEST(AudioRandomAccess, TrackZeroMatchesNothing) {
    EXPECT_EQ(ofAudio(join({tfra(0, THREE), tfra(1, THREE)}), 0), std::nullopt);
}

// ---- which tracks have any

std::vector<std::uint32_t> tracksIn(const Bytes& tables) {
    return tracksWithRandomAccess(ByteView(tables.vector()));
}

TEST(TracksWithRandomAccess, AreAscendingAndNamedOnce) {
    EXPECT_THAT(tracksIn(join({tfra(7, THREE), tfra(2, THREE), tfra(7, {{1, 1}}), tfra(4, THREE)})),
                ElementsAre(2, 4, 7));
}

TEST(TracksWithRandomAccess, TracksWithoutAnEntryAreNotAmongThem) {
    EXPECT_THAT(tracksIn(join({tfra(1, {}), tfra(2, THREE), rawTfra(3, 0, 9, Bytes().fill(10)),
                               rawTfra(4, 0, 9, Bytes().fill(11)), tfra(5, {}), tfra(5, THREE)})),
                ElementsAre(2, 4, 5));
}

TEST(TracksWithRandomAccess, TrackZeroIsNone) {
    EXPECT_THAT(tracksIn(join({tfra(0, THREE), box("tfra", Bytes().fill(15, 1))})), IsEmpty());
    EXPECT_THAT(tracksIn({}), IsEmpty());
}

// ---- from a file

struct Found {
    bool found = false;
    RandomAccessTable entries;
};

Found readFrom(const Bytes& content, std::uint32_t trackId) {
    const TempFile temp(content);
    Found result;
    result.entries.resize(2); // of an earlier call
    const InputFile file = OpenForRandomAccess(temp.path());
    result.found = ReadAudioRandomAccess(file, content.size(), trackId, result.entries);
    return result;
}

TEST(ReadAudioRandomAccess, TheTracksTableIsFound) {
    const Found result =
        readFrom(join({ftyp(), mfra(join({tfra(1, {{5, 5}}), tfra(2, THREE)}))}), 2);
    EXPECT_TRUE(result.found);
    EXPECT_EQ(result.entries, tableOf(THREE));
}

TEST(ReadAudioRandomAccess, WithoutOneTheEntriesAreEmpty) {
    for (const Bytes& content :
         {Bytes(), Bytes().fill(15), ftyp(), join({ftyp(), mfro(0)}), join({ftyp(), mfro(1000)}),
          mfra({}), mfra(tfra(1, THREE)), mfra(tfra(2, {}))}) {
        const Found result = readFrom(content, 2);
        EXPECT_FALSE(result.found);
        EXPECT_THAT(result.entries, IsEmpty());
    }
    EXPECT_FALSE(readFrom(mfra(tfra(0, THREE)), 0).found);
}

TEST(ReadAudioRandomAccess, AFileOfNoMoreThanFifteenBytesHasNone) {
    const TempFile temp(mfra(tfra(1, THREE)));
    RandomAccessTable entries(1);
    EXPECT_FALSE(ReadAudioRandomAccess(OpenForRandomAccess(temp.path()), 15, 1, entries));
    EXPECT_THAT(entries, IsEmpty());
}

// A file may have grown, or been cut off, since its size was asked for.
TEST(ReadAudioRandomAccess, TheTablesOfTheSizeThatIsNamedAreRead) {
    const Bytes first = join({ftyp(), mfra(tfra(1, {{1, 0}}))});
    const Bytes all = join({first, mfra(tfra(1, {{9, 0}}))});
    const TempFile temp(all);
    const InputFile file = OpenForRandomAccess(temp.path());
    RandomAccessTable entries;
    ASSERT_TRUE(ReadAudioRandomAccess(file, all.size(), 1, entries));
    EXPECT_EQ(entries[0].time, 9u);
    ASSERT_TRUE(ReadAudioRandomAccess(file, first.size(), 1, entries));
    EXPECT_EQ(entries[0].time, 1u);
    EXPECT_FALSE(ReadAudioRandomAccess(file, all.size() + 100, 1, entries));
    EXPECT_TRUE(entries.empty());
}

TEST(ReadMfra, BehindALongHeaderThereAreNoTables) {
    const Bytes table = tfra(1, {{1, 0}});
    const std::size_t size = 16 + table.size() + 16;
    const Bytes mfro = fullBox("mfro", 0, 0, Bytes().u32(size));
    const TempFile temp(join({ftyp(), longBox("mfra", join({table, mfro}))}));
    const InputFile file = OpenForRandomAccess(temp.path());
    ByteBuffer bytes;
    ASSERT_TRUE(readMfra(bytes, file, file.size));
    EXPECT_TRUE(videoRandomAccess(childrenOfMfra(bytes), 1).empty());
    EXPECT_FALSE(audioRandomAccess(childrenOfMfra(bytes), 1).found);
}

} // namespace
} // namespace velkantrix
