// BuildKeyframeTable against tables that are unfolded slot by slot.
#include <algorithm>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "mp4/keyframe_table.h"
#include "tests/support/random_tables.h"
#include "tests/support/slot_tables.h"

namespace velkantrix {
namespace {

// One entry for each sync number of a sample, in the order of the box.
RandomAccessTable slotBySlot(const TablePayloads& tables) {
    const Slots slots = unfold(tables);
    RandomAccessTable result;
    for (std::uint64_t i = 0; i < fieldAt(tables.stss, 4, 4); ++i) {
        if (8 + 4 * i + 4 > tables.stss.size()) break;
        const std::uint64_t number = fieldAt(tables.stss, 8 + 4 * i, 4);
        if (number < 1 || number > slots.samples) continue;
        const auto sample = static_cast<std::size_t>(number - 1);
        RandomAccessEntry entry;
        entry.time = slots.times[sample];
        entry.offset = slots.offsets[sample];
        entry.size = static_cast<std::uint32_t>(slots.sizes[sample]);
        result.push_back(entry);
    }
    return result;
}

void sortByAll(RandomAccessTable& table) {
    std::sort(table.begin(), table.end(), [](const auto& a, const auto& b) {
        return std::tie(a.time, a.offset, a.size) < std::tie(b.time, b.offset, b.size);
    });
}

std::string hex(const TablePayloads& tables) {
    std::string text;
    const Bytes stbl = stblOf(tables);
    for (const std::uint8_t byte : stbl.vector()) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

class KeyframeTableOracle : public testing::Test {
protected:
    void compare(const TablePayloads& tables) {
        RandomAccessTable expected = slotBySlot(tables);
        VideoTrackIndex track;
        BuildKeyframeTable(stblOf(tables).vector(), 600, track);
        sortByAll(expected);
        sortByAll(track.randomAccess);
        ASSERT_EQ(track.timescale, 600u);
        ASSERT_TRUE(track.randomAccess == expected) << hex(tables);
        entries += expected.size();
        placed += static_cast<std::size_t>(std::count_if(
            expected.begin(), expected.end(), [](const auto& entry) { return entry.offset != 0; }));
    }

    std::size_t entries = 0, placed = 0;
};

TEST_F(KeyframeTableOracle, AgreesOnTablesOfAMuxer) {
    const std::uint64_t rounds = propertyRounds(30'000);
    for (std::uint64_t seed = 1; seed <= rounds; ++seed) {
        RandomChoices choices(seed);
        ASSERT_NO_FATAL_FAILURE(compare(RandomTables(choices).consistent(choices.below(20))));
    }
    // A comparison of nothing would prove nothing.
    EXPECT_GT(entries, rounds);
    EXPECT_EQ(placed, entries);
}

TEST_F(KeyframeTableOracle, AgreesOnDamagedTables) {
    const std::uint64_t rounds = propertyRounds(30'000);
    for (std::uint64_t seed = 1; seed <= rounds; ++seed) {
        RandomChoices choices(seed);
        ASSERT_NO_FATAL_FAILURE(compare(RandomTables(choices).damaged()));
    }
    EXPECT_GT(entries, rounds);
    EXPECT_GT(placed, rounds);
}

TEST_F(KeyframeTableOracle, AgreesOnBrokenTables) {
    const std::uint64_t rounds = propertyRounds(40'000);
    for (std::uint64_t seed = 1; seed <= rounds; ++seed) {
        RandomChoices choices(seed);
        ASSERT_NO_FATAL_FAILURE(compare(RandomTables(choices).broken()));
    }
    EXPECT_GT(entries, rounds);
    EXPECT_GT(placed, rounds / 4);
    EXPECT_LT(placed, entries);
}

} // namespace
} // namespace velkantrix
