// OffsetCursor of mp4/sample_table.h.
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/sample_table.h"
#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST = 0xFFFFFFFF;

struct Place {
    std::uint64_t offset = 0;
    bool covered = true, given = true;

    bool operator==(const Place&) const = default;
};

void PrintTo(const Place& place, std::ostream* out) {
    *out << place.offset << (place.covered ? "" : " uncovered") << (place.given ? "" : " unknown");
}

constexpr Place NOWHERE{0, false, false};

class OffsetCursorTest : public testing::Test {
protected:
    void use(const Bytes& stszBox, const Bytes& stscBox, const Bytes& chunks) {
        stbl_ = join({stszBox, stscBox, chunks});
        const SampleTables tables = findSampleTables(stbl_.vector());
        cursor_ = OffsetCursor(tables, SampleSizes(tables.stsz.value()));
    }

    Place at(std::uint64_t sample) {
        cursor_.advanceTo(sample);
        return {cursor_.offset(), cursor_.covers(), cursor_.chunkIsGiven()};
    }

    std::vector<Place> upTo(std::uint64_t samples) {
        std::vector<Place> places;
        for (std::uint64_t i = 0; i < samples; ++i) places.push_back(at(i));
        return places;
    }

    using Places = std::vector<Place>;

private:
    Bytes stbl_;
    OffsetCursor cursor_;
};

TEST_F(OffsetCursorTest, SamplesOfAChunkLieSideBySide) {
    use(stsz({10, 20, 30, 40, 50}), stsc({{1, 2}, {2, 3}}), stco({1000, 5000}));
    EXPECT_EQ(upTo(6), (Places{{1000}, {1010}, {5000}, {5030}, {5070}, NOWHERE}));
}

TEST_F(OffsetCursorTest, AnEntryHoldsUntilTheNext) {
    use(stszUniform(10, 7), stsc({{1, 1}, {3, 2}, {4, 1}}), stco({100, 200, 300, 400, 500}));
    EXPECT_EQ(upTo(7), (Places{{100}, {200}, {300}, {310}, {400}, {500}, NOWHERE}));
}

TEST_F(OffsetCursorTest, SkippingSamplesEndsAtTheSamePlace) {
    for (std::uint64_t sample = 0; sample < 7; ++sample) {
        use(stsz({1, 2, 3, 4, 5, 6, 7}), stsc({{1, 3}, {2, 2}}), stco({100, 200, 300}));
        const Places all = upTo(7);
        use(stsz({1, 2, 3, 4, 5, 6, 7}), stsc({{1, 3}, {2, 2}}), stco({100, 200, 300}));
        EXPECT_EQ(at(sample), all[static_cast<std::size_t>(sample)]) << sample;
        EXPECT_EQ(at(6), all[6]) << sample;
    }
}

TEST_F(OffsetCursorTest, OffsetsOf64BitsAreTaken) {
    use(stszUniform(10, 3), stsc({{1, 2}}), co64({0x100000000, 0xFFFFFFFFFFFFFF00}));
    EXPECT_EQ(upTo(3), (Places{{0x100000000}, {0x10000000A}, {0xFFFFFFFFFFFFFF00}}));
}

TEST_F(OffsetCursorTest, OfBothTablesThatOf32BitsCounts) {
    use(stszUniform(10, 2), stsc({{1, 1}}), join({co64({7, 8, 9}), stco({100})}));
    EXPECT_EQ(upTo(2), (Places{{100}, NOWHERE}));
}

TEST_F(OffsetCursorTest, AFirstChunkOfZeroSkipsThatChunkOnly) {
    use(stszUniform(10, 4), stsc({{0, 1}, {3, 2}}), stco({100, 200, 300}));
    EXPECT_EQ(upTo(5), (Places{{100}, {200}, {300}, {310}, NOWHERE}));
}

TEST_F(OffsetCursorTest, AFirstChunkOfZeroLeavesTheEntryBeforeOpen) {
    // 0 - 1 is the largest number: the first entry runs to the last chunk, then the second over
    // all of them again.
    use(stszUniform(10, 9), stsc({{1, 2}, {0, 1}}), stco({100, 200}));
    EXPECT_EQ(upTo(7), (Places{{100}, {110}, {200}, {210}, {100}, {200}, NOWHERE}));
}

TEST_F(OffsetCursorTest, AnEntryThatEndsBeforeItBeginsHasNoChunks) {
    use(stszUniform(10, 9), stsc({{3, 5}, {2, 1}}), stco({100, 200, 300}));
    EXPECT_EQ(upTo(3), (Places{{200}, {300}, NOWHERE}));
    use(stszUniform(10, 9), stsc({{2, 5}, {2, 1}}), stco({100, 200, 300}));
    EXPECT_EQ(upTo(3), (Places{{200}, {300}, NOWHERE}));
}

TEST_F(OffsetCursorTest, ChunksBehindTheLastAreSkipped) {
    use(stszUniform(10, 9), stsc({{2, 1}, {9, 5}}), stco({100, 200, 300}));
    EXPECT_EQ(upTo(3), (Places{{200}, {300}, NOWHERE}));
    use(stszUniform(10, 9), stsc({{4, 1}}), stco({100, 200, 300}));
    EXPECT_EQ(upTo(1), Places{NOWHERE});
}

TEST_F(OffsetCursorTest, AnEntryWithoutSamplesGivesNone) {
    use(stszUniform(10, 9), stsc({{1, 0}, {2, 1}, {3, 0}}), stco({100, 200, 300}));
    EXPECT_EQ(upTo(2), (Places{{200}, NOWHERE}));
}

TEST_F(OffsetCursorTest, AnEntryBeyondTheBoxLeavesTheOneBeforeOpen) {
    Bytes cut = withoutHeader(stsc({{1, 1}, {2, 2}}));
    cut.resize(cut.size() - 1);
    use(stszUniform(10, 9), box("stsc", cut), stco({100, 200}));
    EXPECT_EQ(upTo(3), (Places{{100}, {200}, NOWHERE}));
}

TEST_F(OffsetCursorTest, EntriesBehindTheStatedCountAreNotRead) {
    Bytes stated = withoutHeader(stsc({{1, 1}, {2, 2}}));
    stated[7] = 1;
    use(stszUniform(10, 9), box("stsc", stated), stco({100, 200}));
    EXPECT_EQ(upTo(3), (Places{{100}, {200}, NOWHERE}));
}

TEST_F(OffsetCursorTest, AnOffsetBeyondTheBoxIsZero) {
    Bytes cut = withoutHeader(stco({0x01020304, 0x05060708}));
    cut.resize(cut.size() - 1);
    use(stszUniform(10, 9), stsc({{1, 2}}), box("stco", cut));
    EXPECT_EQ(upTo(5),
              (Places{{0x01020304}, {0x0102030E}, {0, true, false}, {10, true, false}, NOWHERE}));
    cut = withoutHeader(co64({0x0102030405, 6}));
    cut.resize(cut.size() - 1);
    use(stszUniform(10, 9), stsc({{1, 1}}), box("co64", cut));
    EXPECT_EQ(upTo(3), (Places{{0x0102030405}, {0, true, false}, NOWHERE}));
}

TEST_F(OffsetCursorTest, OffsetsBehindTheStatedCountAreNoChunks) {
    Bytes stated = withoutHeader(stco({100, 200}));
    stated[7] = 1;
    use(stszUniform(10, 9), stsc({{1, 1}}), box("stco", stated));
    EXPECT_EQ(upTo(2), (Places{{100}, NOWHERE}));
}

TEST_F(OffsetCursorTest, SizesBeyondTheirBoxAreZero) {
    use(fullBox("stsz", 0, 0, Bytes().u32(0).u32(5).u32(10)), stsc({{1, 4}}), stco({100}));
    EXPECT_EQ(upTo(5), (Places{{100}, {110}, {110}, {110}, NOWHERE}));
}

TEST_F(OffsetCursorTest, WithoutTablesNothingIsCovered) {
    use(stsz({10}), Bytes(), Bytes());
    EXPECT_EQ(upTo(2), (Places{NOWHERE, NOWHERE}));
}

TEST_F(OffsetCursorTest, TheLargestCountsAreOneStepEach) {
    const Bytes chunks = fullBox("stco", 0, 0, Bytes().u32(MOST).u32(100));
    use(stszUniform(1, MOST), stsc({{1, MOST}}), chunks);
    EXPECT_EQ(at(MOST - 1), (Place{100 + std::uint64_t{MOST} - 1}));
    EXPECT_EQ(at(MOST), (Place{0, true, false}));
    use(stszUniform(MOST, MOST), stsc({{1, 1}}), chunks);
    EXPECT_EQ(at(MOST - 1), (Place{0, true, false}));
    EXPECT_EQ(at(MOST), NOWHERE);
    use(stszUniform(1, MOST), stsc({{1, 0}, {MOST, 3}}), chunks);
    EXPECT_EQ(at(2), (Place{2, true, false}));
    EXPECT_EQ(at(3), NOWHERE);
}

TEST_F(OffsetCursorTest, EntriesThatEachCoverAllChunksAreOneStepEach) {
    // Walking every chunk of every entry would take 20,000 * 2^32 steps.
    const Bytes chunks = fullBox("stco", 0, 0, Bytes().u32(MOST).u32(100));
    std::vector<std::vector<std::uint32_t>> entries;
    for (int i = 0; i < 10'000; ++i) {
        entries.push_back({0, 0});
        entries.push_back({1, 0});
    }
    entries.push_back({0, 1});
    use(stszUniform(1, MOST), stsc(entries), chunks);
    EXPECT_EQ(at(0), Place{100});
    EXPECT_EQ(at(1), (Place{0, true, false}));
    EXPECT_EQ(at(MOST - 1), (Place{0, true, false}));
}

} // namespace
} // namespace velkantrix
