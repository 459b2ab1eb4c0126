// ParseFragment and FragmentSamples against a parser that makes a record of every sample.
#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/fragment.h"
#include "tests/support/mp4_boxes.h"
#include "tests/support/random_choices.h"
#include "tests/support/slot_tables.h"

namespace velkantrix {
namespace {

struct Child {
    std::string type;
    Bytes payload;
};

// The children of a box, which all have short headers; a broken one ends them.
std::vector<Child> childrenOf(const Bytes& payload) {
    std::vector<Child> children;
    std::uint64_t position = 0;
    while (position + 8 <= payload.size()) {
        const std::uint64_t size = fieldAt(payload, position, 4);
        if (size < 8 || position + size > payload.size()) break;
        Child child;
        for (std::uint64_t i = 4; i < 8; ++i) {
            child.type += static_cast<char>(fieldAt(payload, position + i, 1));
        }
        for (std::uint64_t i = 8; i < size; ++i)
            child.payload.u8(fieldAt(payload, position + i, 1));
        children.push_back(std::move(child));
        position += size;
    }
    return children;
}

struct Literal {
    std::uint32_t trackId = 0;
    std::uint64_t fragmentOffset = 0, nextDecodeTime = 0;
    std::vector<SampleRecord> samples;

    struct Header {
        std::uint64_t base = 0;
        std::uint32_t trackId = 0, duration = 0, size = 0, flags = 0;
    };

    [[nodiscard]] Header header(const Bytes& tfhdPayload) const {
        Header result;
        const std::uint64_t flags = fieldAt(tfhdPayload, 0, 4);
        result.trackId = static_cast<std::uint32_t>(fieldAt(tfhdPayload, 4, 4));
        result.base = fragmentOffset;
        std::uint64_t position = 8;
        if (flags & 0x1) {
            if (tfhdPayload.size() >= 16) result.base = fieldAt(tfhdPayload, 8, 8);
            position += 8;
        }
        if (flags & 0x2) position += 4;
        const std::pair<std::uint32_t, std::uint32_t*> fields[] = {
            {0x8, &result.duration}, {0x10, &result.size}, {0x20, &result.flags}};
        for (const auto& [flag, value] : fields) {
            if (!(flags & flag)) continue;
            *value = static_cast<std::uint32_t>(fieldAt(tfhdPayload, position, 4));
            position += 4;
        }
        return result;
    }

    // Returns the decode time behind it.
    std::uint64_t run(const Bytes& payload, const Header& defaults, std::uint64_t dts) {
        const std::uint64_t flags = fieldAt(payload, 0, 4), count = fieldAt(payload, 4, 4);
        std::uint64_t position = 8, offset = defaults.base;
        if (flags & 0x1) {
            const auto by = static_cast<std::int32_t>(fieldAt(payload, position, 4));
            offset += static_cast<std::uint64_t>(std::int64_t{by});
            position += 4;
        }
        std::uint32_t firstFlags = defaults.flags;
        const bool hasFirst = (flags & 0x4) && position + 4 <= payload.size();
        if (flags & 0x4) {
            if (hasFirst) firstFlags = static_cast<std::uint32_t>(fieldAt(payload, position, 4));
            position += 4;
        }
        std::uint64_t recordBytes = 0;
        for (const std::uint32_t flag : {0x100u, 0x200u, 0x400u, 0x800u}) {
            if (flags & flag) recordBytes += 4;
        }
        for (std::uint64_t i = 0; i < count; ++i) {
            if (recordBytes > 0 && position + recordBytes > payload.size()) break;
            const auto take = [&](std::uint32_t flag, std::uint32_t otherwise) {
                if (!(flags & flag)) return otherwise;
                position += 4;
                return static_cast<std::uint32_t>(fieldAt(payload, position - 4, 4));
            };
            SampleRecord sample;
            sample.duration = take(0x100, defaults.duration);
            sample.size = take(0x200, defaults.size);
            std::uint32_t sampleFlags = take(0x400, defaults.flags);
            const auto composition = static_cast<std::int32_t>(take(0x800, 0));
            if (sample.size == 0) break;
            if (i == 0 && hasFirst) sampleFlags = firstFlags;
            sample.sync = !(sampleFlags & 0x10000);
            sample.offset = offset;
            sample.dts = dts;
            sample.pts = dts + static_cast<std::uint64_t>(std::int64_t{composition});
            samples.push_back(sample);
            offset += sample.size;
            dts += sample.duration;
        }
        return dts;
    }

    void parse(const Bytes& moofPayload) {
        for (const Child& traf : childrenOf(moofPayload)) {
            if (traf.type != "traf") continue;
            std::optional<Header> defaults;
            std::uint64_t dts = nextDecodeTime;
            for (const Child& child : childrenOf(traf.payload)) {
                if (child.payload.size() < 8) continue;
                if (child.type == "tfhd") defaults = header(child.payload);
                if (child.type != "tfdt") continue;
                const bool wide = fieldAt(child.payload, 0, 1) == 1;
                dts = fieldAt(child.payload, 4, wide ? 8 : 4);
            }
            if (!defaults || defaults->trackId != trackId) continue;
            for (const Child& child : childrenOf(traf.payload)) {
                if (child.type != "trun" || child.payload.size() < 8) continue;
                dts = run(child.payload, *defaults, dts);
            }
            nextDecodeTime = dts;
        }
    }
};

class RandomMoof {
public:
    explicit RandomMoof(RandomChoices& choices) : choices_(choices) {}

    Bytes payload() {
        Bytes moof;
        if (choices_.percent(90)) moof.add(fullBox("mfhd", 0, 0, Bytes().u32(1)));
        for (std::uint32_t i = choices_.between(1, 3); i > 0; --i) moof.add(traf());
        if (choices_.percent(10))
            moof.resize(choices_.below(static_cast<std::uint32_t>(moof.size())));
        return moof;
    }

private:
    std::uint32_t value(std::uint32_t limit) {
        return choices_.percent(97) ? choices_.below(limit)
                                    : choices_.oneOf({0xFFFFFFFF, 0x80000000});
    }

    std::optional<std::uint32_t> maybe(std::uint32_t limit) {
        if (choices_.percent(40)) return std::nullopt;
        return value(limit);
    }

    std::uint32_t sampleFlags() { return choices_.oneOf({SYNC_SAMPLE, NON_SYNC_SAMPLE, 0}); }

    Bytes traf() {
        TfhdFields fields;
        fields.duration = maybe(50);
        fields.size = maybe(100);
        fields.descriptionIndex = maybe(3);
        if (choices_.percent(50)) fields.flags = sampleFlags();
        if (choices_.percent(30)) fields.baseDataOffset = value(9000);
        std::vector<Bytes> boxes{tfhd(choices_.percent(80) ? 1 : 2, fields)};
        if (choices_.percent(60)) boxes.push_back(tfdt(value(5000), choices_.percent(50) ? 1 : 0));
        for (std::uint32_t i = choices_.below(4); i > 0; --i) boxes.push_back(run());
        if (choices_.percent(10)) std::reverse(boxes.begin(), boxes.end());
        Bytes all;
        for (const Bytes& each : boxes) all.add(maybeCut(each));
        return box("traf", all);
    }

    Bytes run() {
        std::optional<std::int32_t> dataOffset;
        std::optional<std::uint32_t> firstFlags;
        if (choices_.percent(60)) dataOffset = static_cast<std::int32_t>(value(2000) - 500);
        if (choices_.percent(40)) firstFlags = sampleFlags();
        if (choices_.percent(40)) return trunOfCount(choices_.below(7), dataOffset, firstFlags);
        const std::uint32_t fields = choices_.below(16) << 8;
        std::vector<std::vector<std::uint32_t>> records(choices_.below(7));
        for (auto& record : records) {
            if (fields & 0x100) record.push_back(value(50));
            if (fields & 0x200) record.push_back(choices_.percent(5) ? 0 : value(200));
            if (fields & 0x400) record.push_back(sampleFlags());
            if (fields & 0x800) record.push_back(value(60) - 30);
        }
        return trun(fields, records, dataOffset, firstFlags);
    }

    Bytes maybeCut(const Bytes& whole) {
        if (choices_.percent(90)) return whole;
        Bytes payload = withoutHeader(whole);
        payload.resize(choices_.below(static_cast<std::uint32_t>(payload.size() + 1)));
        std::string type;
        for (std::size_t i = 4; i < 8; ++i) type += static_cast<char>(whole.vector()[i]);
        return box(type, payload);
    }

    RandomChoices& choices_;
};

// The samples' common measures, one by one.
void expectMeasures(const FragmentSamples& samples, const std::vector<SampleRecord>& expected,
                    std::int64_t rebase) {
    std::uint64_t first = UINT64_MAX, end = 0;
    std::int64_t latest = 0;
    for (const SampleRecord& sample : expected) {
        const std::uint64_t behind = sample.offset + sample.size;
        first = std::min(first, sample.offset);
        end = std::max(end, behind < sample.offset ? UINT64_MAX : behind);
        latest = std::max(latest, static_cast<std::int64_t>(sample.pts + sample.duration +
                                                            static_cast<std::uint64_t>(rebase)));
    }
    ASSERT_EQ(samples.span().end, end);
    // Offsets that run over the largest number and begin again are in no file.
    if (end != UINT64_MAX) { ASSERT_EQ(samples.span().first, first); }
    ASSERT_EQ(samples.latestEnd(rebase), latest);
}

TEST(FragmentProperties, ParsingAgreesWithARecordForEverySample) {
    const std::uint64_t rounds = propertyRounds(20'000);
    std::size_t seen = 0;
    for (std::uint64_t seed = 1; seed <= rounds; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomChoices choices(seed);
        const Bytes moofPayload = RandomMoof(choices).payload();
        Literal literal{1, choices.below(10'000), choices.below(1'000), {}};
        FragmentTrack track;
        track.trackId = literal.trackId;
        track.fragmentOffset = literal.fragmentOffset;
        track.nextDecodeTime = literal.nextDecodeTime;
        ParseFragment(moofPayload.vector(), track);
        literal.parse(moofPayload);
        ASSERT_EQ(track.samples.size(), literal.samples.size());
        ASSERT_EQ(track.nextDecodeTime, literal.nextDecodeTime);
        for (std::size_t i = 0; i < literal.samples.size(); ++i) {
            ASSERT_TRUE(track.samples[i] == literal.samples[i]) << i;
        }
        ASSERT_NO_FATAL_FAILURE(expectMeasures(track.samples, literal.samples,
                                               std::int64_t{choices.below(9'000)} - 4'500));
        seen += literal.samples.size();
    }
    EXPECT_GT(seen, rounds * 3);
}

} // namespace
} // namespace velkantrix
