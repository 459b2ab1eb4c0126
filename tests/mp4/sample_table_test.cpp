#include "mp4/sample_table.h"

#include <gtest/gtest.h>

#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST = 0xFFFFFFFF;

// Views into bytes that live as long as it does.
class Tables {
public:
    explicit Tables(const std::vector<Bytes>& boxes) {
        for (const Bytes& each : boxes) stbl_.add(each);
    }
    [[nodiscard]] SampleTables found() const { return findSampleTables(stbl_.vector()); }
    [[nodiscard]] SampleSizes sizes() const { return SampleSizes(found().stsz.value()); }

private:
    Bytes stbl_;
};

TEST(FindSampleTables, EachTableIsFoundByItsType) {
    const Tables tables({fullBox("stsd", 0, 1), fullBox("stts", 0, 2), fullBox("ctts", 0, 3),
                         fullBox("stss", 0, 4), fullBox("stsz", 0, 5), fullBox("stsc", 0, 6),
                         fullBox("stco", 0, 7), fullBox("co64", 0, 8)});
    const SampleTables found = tables.found();
    EXPECT_EQ(found.stsd.value().u32(0), 1u);
    EXPECT_EQ(found.stts.value().u32(0), 2u);
    EXPECT_EQ(found.ctts.value().u32(0), 3u);
    EXPECT_EQ(found.stss.value().u32(0), 4u);
    EXPECT_EQ(found.stsz.value().u32(0), 5u);
    EXPECT_EQ(found.stsc.value().u32(0), 6u);
    EXPECT_EQ(found.stco.value().u32(0), 7u);
    EXPECT_EQ(found.co64.value().u32(0), 8u);
}

TEST(FindSampleTables, WhatIsNotThereIsNotFound) {
    const SampleTables found = Tables({box("sdtp"), box("stz2")}).found();
    EXPECT_FALSE(found.stsd || found.stts || found.ctts || found.stss);
    EXPECT_FALSE(found.stsz || found.stsc || found.stco || found.co64);
}

TEST(FindSampleTables, ALaterBoxReplacesAnEarlierOne) {
    for (const char* type : {"stsd", "stts", "ctts", "stss", "stsz", "stsc", "stco", "co64"}) {
        const Tables tables({fullBox(type, 0, 1, Bytes().fill(8)), fullBox(type, 0, 2)});
        const SampleTables all = tables.found();
        int seen = 0;
        for (const auto& table :
             {all.stsd, all.stts, all.ctts, all.stss, all.stsz, all.stsc, all.stco, all.co64}) {
            if (!table) continue;
            ++seen;
            EXPECT_EQ(table->size(), 4u) << type;
            EXPECT_EQ(table->u32(0), 2u) << type;
        }
        EXPECT_EQ(seen, 1) << type;
    }
}

TEST(FindSampleTables, ABoxThatOverrunsEndsTheSearch) {
    const Tables tables({stts({}), boxOfSize("stsz", 100), stss({})});
    EXPECT_TRUE(tables.found().stts);
    EXPECT_FALSE(tables.found().stsz);
    EXPECT_FALSE(tables.found().stss);
}

TEST(SampleSizes, EachSampleHasItsOwn) {
    const Tables tables({stsz({10, 0, 30})});
    const SampleSizes sizes = tables.sizes();
    EXPECT_EQ(sizes.count(), 3u);
    EXPECT_EQ(sizes.given(), 3u);
    EXPECT_FALSE(sizes.uniform());
    EXPECT_EQ(sizes.of(0), 10u);
    EXPECT_EQ(sizes.of(1), 0u);
    EXPECT_EQ(sizes.of(2), 30u);
    EXPECT_EQ(sizes.sum(0, 3), 40u);
    EXPECT_EQ(sizes.sum(1, 2), 0u);
    EXPECT_EQ(sizes.sum(2, 2), 0u);
}

TEST(SampleSizes, OneSizeForAllHidesTheTable) {
    const Tables tables({fullBox("stsz", 0, 0, Bytes().u32(7).u32(3).u32(10).u32(20))});
    const SampleSizes sizes = tables.sizes();
    EXPECT_TRUE(sizes.uniform());
    EXPECT_EQ(sizes.of(0), 7u);
    EXPECT_EQ(sizes.of(2), 7u);
    EXPECT_EQ(sizes.given(), 3u);
    EXPECT_EQ(sizes.sum(1, 3), 14u);
}

TEST(SampleSizes, BehindTheBoxTheyAreZero) {
    // Three are stated; of the second, a byte is missing.
    const Tables tables({fullBox("stsz", 0, 0, Bytes().u32(0).u32(3).u32(10).fill(3, 1))});
    const SampleSizes sizes = tables.sizes();
    EXPECT_EQ(sizes.count(), 3u);
    EXPECT_EQ(sizes.given(), 1u);
    EXPECT_EQ(sizes.of(0), 10u);
    EXPECT_EQ(sizes.of(1), 0u);
    EXPECT_EQ(sizes.of(2), 0u);
    EXPECT_EQ(sizes.sum(0, 3), 10u);
    EXPECT_EQ(sizes.sum(1, 3), 0u);
}

TEST(SampleSizes, EntriesBehindTheStatedCountAreNotGiven) {
    const Tables tables({fullBox("stsz", 0, 0, Bytes().u32(0).u32(1).u32(10).u32(20))});
    EXPECT_EQ(tables.sizes().given(), 1u);
}

TEST(SampleSizes, AShortBoxIsReadAsZeros) {
    Bytes bytes = withoutHeader(stszUniform(9, 5));
    bytes.resize(11);
    EXPECT_EQ(SampleSizes(bytes.vector()).count(), 0u);
    EXPECT_EQ(SampleSizes(bytes.vector()).of(0), 9u);
    bytes.resize(7);
    EXPECT_FALSE(SampleSizes(bytes.vector()).uniform());
    EXPECT_EQ(SampleSizes(ByteView()).given(), 0u);
}

TEST(SampleSizes, AllNumbersOfSamplesCostTheSame) {
    const Tables tables({stszUniform(MOST, MOST)});
    EXPECT_EQ(tables.sizes().sum(0, MOST), std::uint64_t{MOST} * MOST);
    const Tables claimed({fullBox("stsz", 0, 0, Bytes().u32(0).u32(MOST).u32(5))});
    // So often that a walk over all of them would take minutes.
    for (int i = 0; i < 100; ++i) EXPECT_EQ(claimed.sizes().sum(0, MOST), 5u);
    EXPECT_EQ(claimed.sizes().given(), 1u);
}

TEST(SyncNumbers, ThoseOfNoSampleAreNotValid) {
    const Bytes bytes = withoutHeader(stss({0, 1, 10, 11, MOST}));
    const SyncNumbers numbers(bytes.vector(), 10);
    ASSERT_EQ(numbers.size(), 5u);
    EXPECT_FALSE(numbers.valid(0));
    EXPECT_TRUE(numbers.valid(1));
    EXPECT_TRUE(numbers.valid(2));
    EXPECT_FALSE(numbers.valid(3));
    EXPECT_FALSE(numbers.valid(4));
    EXPECT_EQ(numbers.countValid(), 2u);
    EXPECT_EQ(numbers[2], 10u);
}

TEST(SyncNumbers, TheyEndWithTheBoxAndWithTheStatedCount) {
    const struct {
        std::uint32_t stated;
        std::size_t bytes, size;
    } cases[] = {{3, 20, 3}, {2, 20, 2}, {3, 19, 2}, {3, 16, 2}, {3, 15, 1}, {MOST, 20, 3},
                 {3, 12, 1}, {3, 11, 0}, {3, 8, 0},  {3, 7, 0},  {3, 0, 0},  {0, 20, 0}};
    for (const auto& [stated, bytes, size] : cases) {
        Bytes box = Bytes().u32(0).u32(stated).u32(1).u32(2).u32(3);
        box.resize(bytes);
        EXPECT_EQ(SyncNumbers(box.vector(), 10).size(), size) << stated << " in " << bytes;
    }
}

TEST(RunCursor, ValuesAreSummedUp) {
    const Bytes bytes = withoutHeader(stts({{2, 10}, {1, 7}, {2, 1}}));
    RunCursor cursor(bytes.vector());
    const std::uint64_t sums[] = {0, 10, 20, 27, 28};
    const std::uint32_t values[] = {10, 10, 7, 1, 1};
    for (std::uint64_t sample = 0; sample < 5; ++sample) {
        cursor.advanceTo(sample);
        EXPECT_TRUE(cursor.covers()) << sample;
        EXPECT_EQ(cursor.sumBefore(), sums[sample]) << sample;
        EXPECT_EQ(cursor.value(), values[sample]) << sample;
    }
    for (const std::uint64_t sample : {5u, 6u, 1000u}) {
        cursor.advanceTo(sample);
        EXPECT_FALSE(cursor.covers()) << sample;
        EXPECT_EQ(cursor.sumBefore(), 29u) << sample;
        EXPECT_EQ(cursor.value(), 0u) << sample;
        EXPECT_EQ(cursor.coveredSamples(), 5u) << sample;
    }
}

TEST(RunCursor, SkippingSamplesSumsUpTheSame) {
    const Bytes bytes = withoutHeader(stts({{2, 10}, {1, 7}, {2, 1}}));
    RunCursor cursor(bytes.vector());
    cursor.advanceTo(4);
    EXPECT_EQ(cursor.sumBefore(), 28u);
    EXPECT_EQ(cursor.value(), 1u);
}

TEST(RunCursor, EntriesOfNoSamplesArePassedOver) {
    const Bytes bytes = withoutHeader(stts({{0, 99}, {1, 5}, {0, 99}, {0, 98}, {1, 6}, {0, 97}}));
    RunCursor cursor(bytes.vector());
    cursor.advanceTo(0);
    EXPECT_EQ(cursor.value(), 5u);
    cursor.advanceTo(1);
    EXPECT_EQ(cursor.sumBefore(), 5u);
    EXPECT_EQ(cursor.value(), 6u);
    cursor.advanceTo(2);
    EXPECT_FALSE(cursor.covers());
    EXPECT_EQ(cursor.sumBefore(), 11u);
}

TEST(RunCursor, RunsEndWhereTheValueMayChange) {
    const Bytes bytes = withoutHeader(stts({{2, 10}, {3, 7}}));
    RunCursor cursor(bytes.vector());
    cursor.advanceTo(1);
    EXPECT_EQ(cursor.runEnd(9), 2u);
    EXPECT_EQ(cursor.runEnd(1), 1u);
    cursor.advanceTo(2);
    EXPECT_EQ(cursor.runEnd(9), 5u);
    EXPECT_EQ(cursor.runEnd(5), 5u);
    EXPECT_EQ(cursor.runEnd(4), 4u);
    cursor.advanceTo(5);
    EXPECT_EQ(cursor.runEnd(9), 9u);
}

TEST(RunCursor, TheFirstEntryThatPassesTheBoxEndsIt) {
    Bytes bytes = withoutHeader(stts({{2, 10}, {3, 7}}));
    bytes.resize(bytes.size() - 1);
    RunCursor cursor(bytes.vector());
    cursor.advanceTo(2);
    EXPECT_FALSE(cursor.covers());
    EXPECT_EQ(cursor.sumBefore(), 20u);
}

TEST(RunCursor, EntriesBehindTheStatedCountAreNotRead) {
    Bytes bytes = withoutHeader(stts({{2, 10}, {3, 7}}));
    bytes[7] = 1;
    RunCursor cursor(bytes.vector());
    cursor.advanceTo(2);
    EXPECT_FALSE(cursor.covers());
}

TEST(RunCursor, WithoutATableNothingIsCovered) {
    RunCursor none;
    none.advanceTo(0);
    EXPECT_FALSE(none.covers());
    EXPECT_EQ(none.sumBefore(), 0u);
    EXPECT_EQ(none.runEnd(3), 3u);
}

TEST(RunCursor, TheLargestCountsAreOneStepEach) {
    const Bytes bytes = withoutHeader(stts({{MOST, MOST}, {MOST, 1}}));
    RunCursor cursor(bytes.vector());
    cursor.advanceTo(MOST - 1);
    EXPECT_EQ(cursor.sumBefore(), std::uint64_t{MOST - 1} * MOST);
    cursor.advanceTo(std::uint64_t{MOST} * 2 - 1);
    EXPECT_EQ(cursor.sumBefore(), std::uint64_t{MOST} * MOST + MOST - 1);
    cursor.advanceTo(std::uint64_t{MOST} * 2);
    EXPECT_FALSE(cursor.covers());
}

} // namespace
} // namespace velkantrix
