// random_tables.h: random sample tables of a plain track, as a muxer would write them or broken.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "tests/support/random_choices.h"
#include "tests/support/slot_tables.h"

namespace velkantrix {

class RandomTables {
public:
    explicit RandomTables(RandomChoices& choices) : choices_(choices) {}

    // Every sample has its time, its size and its place; chunks don't overlap.
    TablePayloads consistent(std::uint32_t samples) {
        TablePayloads tables;
        tables.stts = runs(samples, 100, 0);
        if (choices_.percent(50)) tables.ctts = runs(samples, 300, 100);
        std::vector<std::uint32_t> sizes;
        const bool uniform = choices_.percent(30);
        for (std::uint32_t i = 0; i < samples; ++i) {
            sizes.push_back(uniform && i > 0 ? sizes[0] : choices_.between(1, 50));
        }
        tables.stsz.u32(0).u32(uniform && samples > 0 ? sizes[0] : 0).u32(samples);
        if (!uniform) {
            for (const std::uint32_t size : sizes) tables.stsz.u32(size);
        }
        chunks(tables, sizes);
        std::vector<std::uint32_t> sync;
        for (std::uint32_t n = 1; n <= samples; ++n) {
            if (n == 1 || choices_.percent(25)) sync.push_back(n);
        }
        tables.stss.u32(0).u32(sync.size());
        for (const std::uint32_t n : sync) tables.stss.u32(n);
        return tables;
    }

    // Anything, but with so few samples, chunks and entries that it can be unfolded.
    TablePayloads broken() {
        TablePayloads tables;
        const std::uint32_t samples = choices_.below(13);
        rows(
            tables.stts, choices_.below(6), [&] { return choices_.below(5); },
            [&] { return anyNumber(40); });
        const bool uniform = choices_.percent(25);
        tables.stsz.u32(choices_.below(3)).u32(uniform ? anyNumber(50) : 0).u32(samples);
        for (std::uint32_t i = choices_.below(samples + 3); i > 0; --i)
            tables.stsz.u32(anyNumber(50));
        brokenStsc(tables.stsc);
        const bool both = choices_.percent(10);
        const bool wide = choices_.percent(30);
        if (!wide || both) brokenChunks(tables.stco.emplace(), 4);
        if (wide || both) brokenChunks(tables.co64.emplace(), 8);
        rows(tables.stss, choices_.below(6), [&] { return anyNumber(samples + 3); }, nullptr);
        for (Bytes* payload : {&tables.stts, &tables.stss, &tables.stsz, &tables.stsc})
            cut(*payload);
        if (tables.stco) cut(*tables.stco);
        if (tables.co64) cut(*tables.co64);
        return tables;
    }

    // A consistent set with one of its tables cut, or one of its bytes changed. Counts stay small
    // enough to be unfolded.
    TablePayloads damaged() {
        TablePayloads tables = consistent(choices_.below(13));
        Bytes* payloads[] = {&tables.stts, &tables.stss, &tables.stsz, &tables.stsc,
                             tables.stco ? &*tables.stco : &*tables.co64};
        Bytes& payload = *payloads[choices_.below(5)];
        if (choices_.percent(50)) {
            payload.resize(choices_.below(static_cast<std::uint32_t>(payload.size())));
        } else if (payload.size() >= 12) {
            // The low byte of a field.
            const auto fields = static_cast<std::uint32_t>(payload.size() / 4);
            payload[choices_.below(fields) * 4 + 3] = static_cast<std::uint8_t>(choices_.below(20));
        }
        return tables;
    }

private:
    // Mostly small, at times extreme.
    std::uint32_t anyNumber(std::uint32_t limit) {
        if (choices_.percent(95)) return choices_.below(limit);
        return choices_.oneOf({0xFFFFFFFF, 0xFFFFFFFE, 0x80000000, 0x7FFFFFFF, 0x10000});
    }

    template <class First, class Second>
    void rows(Bytes& payload, std::uint32_t count, First first, Second second) {
        payload.u32(choices_.below(3)).u32(stated(count));
        for (; count > 0; --count) {
            payload.u32(first());
            if constexpr (!std::is_null_pointer_v<Second>) payload.u32(second());
        }
    }

    std::uint32_t stated(std::uint32_t count) {
        if (choices_.percent(80)) return count;
        return choices_.percent(80) ? choices_.below(count + 4) : 0xFFFFFFFF;
    }

    void brokenStsc(Bytes& payload) {
        std::uint32_t count = choices_.below(6);
        payload.u32(0).u32(stated(count));
        std::uint32_t chunk = 1;
        for (; count > 0; --count) {
            payload.u32(choices_.percent(50) ? chunk : anyNumber(9));
            payload.u32(anyNumber(4)).u32(1);
            chunk += choices_.below(4);
        }
    }

    void brokenChunks(Bytes& payload, std::size_t width) {
        const std::uint32_t count = choices_.below(8);
        // All stated chunks are walked.
        payload.u32(0).u32(choices_.percent(75) ? count : choices_.below(40));
        for (std::uint32_t i = 0; i < count; ++i) {
            payload.number(choices_.percent(90) ? choices_.below(10'000) : 0xFFFFFFFFFFFFFFF0,
                           width);
        }
    }

    void cut(Bytes& payload) {
        if (choices_.percent(85)) return;
        payload.resize(choices_.below(static_cast<std::uint32_t>(payload.size() + 1)));
    }

    // Values from -below to limit - below - 1.
    Bytes runs(std::uint32_t samples, std::uint32_t limit, std::uint32_t below) {
        std::vector<std::uint32_t> counts;
        for (std::uint32_t left = samples; left > 0; left -= counts.back()) {
            counts.push_back(choices_.between(1, left));
        }
        Bytes payload = Bytes().u32(0).u32(counts.size());
        for (const std::uint32_t count : counts)
            payload.u32(count).u32(choices_.below(limit) - below);
        return payload;
    }

    void chunks(TablePayloads& tables, const std::vector<std::uint32_t>& sizes) {
        std::vector<std::uint32_t> perChunk;
        std::vector<std::uint64_t> offsets;
        std::uint64_t end = 40;
        for (std::size_t sample = 0; sample < sizes.size();) {
            const auto left = static_cast<std::uint32_t>(sizes.size() - sample);
            const std::uint32_t likeBefore = perChunk.empty() ? 1 : perChunk.back();
            perChunk.push_back(
                std::min(left, choices_.percent(50) ? likeBefore : choices_.between(1, 4)));
            offsets.push_back(end += choices_.below(30));
            for (std::uint32_t i = 0; i < perChunk.back(); ++i) end += sizes[sample++];
        }
        Bytes entries;
        std::uint32_t count = 0;
        for (std::size_t i = 0; i < perChunk.size(); ++i) {
            if (i > 0 && perChunk[i] == perChunk[i - 1]) continue;
            entries.u32(i + 1).u32(perChunk[i]).u32(1);
            ++count;
        }
        tables.stsc.u32(0).u32(count).add(entries);
        const bool wide = choices_.percent(40);
        Bytes& payload = wide ? tables.co64.emplace() : tables.stco.emplace();
        payload.u32(0).u32(offsets.size());
        for (const std::uint64_t offset : offsets) payload.number(offset, wide ? 8 : 4);
    }

    RandomChoices& choices_;
};

} // namespace velkantrix
