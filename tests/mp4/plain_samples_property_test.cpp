// PlainSamples against tables that are unfolded slot by slot.
#include <gtest/gtest.h>

#include "mp4/plain_samples.h"
#include "tests/support/plain_file.h"
#include "tests/support/random_tables.h"
#include "tests/support/slot_tables.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

// One value for each sample of a table of {count, value}.
std::vector<std::uint32_t> valueSlots(const Bytes& payload, std::uint64_t samples) {
    std::vector<std::uint32_t> values;
    for (std::uint64_t i = 0; i < fieldAt(payload, 4, 4); ++i) {
        const auto value = static_cast<std::uint32_t>(fieldAt(payload, 12 + 8 * i, 4));
        values.insert(values.end(), static_cast<std::size_t>(fieldAt(payload, 8 + 8 * i, 4)),
                      value);
    }
    values.resize(static_cast<std::size_t>(samples));
    return values;
}

std::vector<PlainSample> slotBySlot(const TablePayloads& tables, bool allSync) {
    const Slots slots = unfold(tables);
    const auto durations = valueSlots(tables.stts, slots.samples);
    const auto compositions = valueSlots(tables.ctts.value_or(Bytes()), slots.samples);
    std::vector<PlainSample> samples;
    for (std::size_t i = 0; i < slots.samples; ++i) {
        PlainSample sample;
        sample.offset = slots.offsets[i];
        sample.size = static_cast<std::uint32_t>(slots.sizes[i]);
        sample.dts = static_cast<std::int64_t>(slots.times[i]);
        sample.pts = sample.dts + static_cast<std::int32_t>(compositions[i]);
        sample.duration = durations[i];
        sample.sync = allSync;
        for (std::uint64_t n = 0; n < fieldAt(tables.stss, 4, 4); ++n) {
            if (fieldAt(tables.stss, 8 + 4 * n, 4) == i + 1) sample.sync = true;
        }
        samples.push_back(sample);
    }
    return samples;
}

// A sync sample, or none.
std::optional<std::size_t> lastSyncAtOrBefore(const std::vector<PlainSample>& all,
                                              std::int64_t pts) {
    std::optional<std::size_t> found;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].sync && (!found || all[i].pts <= pts)) found = i;
    }
    return found;
}

void expectRest(PlainSamples& samples, const std::vector<PlainSample>& all, std::size_t from) {
    PlainSample sample;
    for (std::size_t i = from; i < all.size(); ++i) {
        ASSERT_EQ(samples.next(sample), WalkOutcome::Sample) << i;
        ASSERT_TRUE(sample == all[i]) << i;
    }
    ASSERT_EQ(samples.next(sample), WalkOutcome::End);
}

TEST(PlainSamplesProperties, WalksAndSeeksAgreeWithTheSlots) {
    const std::uint64_t rounds = propertyRounds(1'500);
    std::size_t walked = 0, seeks = 0;
    for (std::uint64_t seed = 1; seed <= rounds; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomChoices choices(seed);
        const TablePayloads tables = RandomTables(choices).consistent(choices.below(25));
        const bool allSync = choices.percent(25);
        Bytes stbl = stblOf(tables);
        if (allSync) {
            stbl =
                join({box("stts", tables.stts), box("stsz", tables.stsz), box("stsc", tables.stsc),
                      tables.ctts ? box("ctts", *tables.ctts) : Bytes(),
                      tables.stco ? box("stco", *tables.stco) : box("co64", *tables.co64)});
        }
        const std::vector<PlainSample> all = slotBySlot(tables, allSync);
        TempFile file(plainFile(stbl).fill(1500)); // room for all samples
        PlainSamples samples;
        ASSERT_TRUE(samples.open(file.path()));
        ASSERT_NO_FATAL_FAILURE(expectRest(samples, all, 0));
        walked += all.size();
        for (int i = 0; i < 8; ++i, ++seeks) {
            const std::int64_t pts = std::int64_t{choices.below(2500)} - 100;
            const auto expected = lastSyncAtOrBefore(all, pts);
            ASSERT_EQ(samples.seekToSync(pts), expected.has_value()) << pts;
            if (!expected) continue;
            ASSERT_NO_FATAL_FAILURE(expectRest(samples, all, *expected)) << pts;
        }
    }
    EXPECT_GT(walked, rounds * 5);
    EXPECT_GT(seeks, rounds);
}

} // namespace
} // namespace velkantrix
