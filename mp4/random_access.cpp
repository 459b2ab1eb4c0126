#include "mp4/random_access.h"

#include <algorithm>
#include <array>
#include <new>

#include "mp4/box_walk.h"

namespace velkantrix {
namespace {

constexpr std::size_t MFRO_BYTES = 16;
constexpr std::size_t TABLE_START = 16; // in a tfra's payload

// A tfra's payload, of at least TABLE_START bytes.
class TfraTable {
public:
    explicit TfraTable(ByteView payload) : payload_(payload) {
        const std::uint32_t widths = payload.u32(8);
        timeBytes_ = payload.u8(0) == 1 ? 8 : 4;
        trafBytes_ = (widths >> 4 & 3) + 1;
        trunBytes_ = (widths >> 2 & 3) + 1;
        sampleBytes_ = (widths & 3) + 1;
    }

    [[nodiscard]] std::uint32_t trackId() const { return payload_.u32(4); }
    [[nodiscard]] std::uint64_t statedCount() const { return payload_.u32(12); }
    // How many of the stated entries lie wholly in the box.
    [[nodiscard]] std::uint64_t count() const {
        return std::min<std::uint64_t>(statedCount(),
                                       (payload_.size() - TABLE_START) / entryBytes());
    }

    [[nodiscard]] RandomAccessTable entries() const {
        RandomAccessTable table;
        table.reserve(static_cast<std::size_t>(count()));
        std::size_t position = TABLE_START;
        const auto take = [&](std::size_t bytes) {
            const std::uint64_t value = payload_.unsignedField(position, bytes);
            position += bytes;
            return value;
        };
        const auto takeNumber = [&](std::size_t bytes) {
            return static_cast<std::uint32_t>(take(bytes));
        };
        for (std::uint64_t i = count(); i > 0; --i) {
            RandomAccessEntry entry;
            entry.time = take(timeBytes_);
            entry.offset = take(timeBytes_);
            entry.trafNumber = takeNumber(trafBytes_);
            entry.trunNumber = takeNumber(trunBytes_);
            entry.sampleNumber = takeNumber(sampleBytes_);
            table.push_back(entry);
        }
        return table;
    }

private:
    [[nodiscard]] std::size_t entryBytes() const {
        return 2 * timeBytes_ + trafBytes_ + trunBytes_ + sampleBytes_;
    }

    ByteView payload_;
    std::size_t timeBytes_, trafBytes_, trunBytes_, sampleBytes_;
};

// Calls visitor(const TfraTable&) for every tfra that is long enough to have a table.
template <class Visitor>
void walkTables(ByteView mfraChildren, Visitor&& visitor) {
    WalkChildren(mfraChildren, [&](BoxType type, ByteView payload) {
        if (type == boxType("tfra") && payload.size() >= TABLE_START) visitor(TfraTable(payload));
    });
}

} // namespace

bool readMfra(ByteBuffer& mfra, const InputFile& file, std::uint64_t fileSize) {
    mfra.clear();
    std::array<std::uint8_t, MFRO_BYTES> bytes{};
    if (fileSize < MFRO_BYTES) return false;
    if (!ReadAt(file, fileSize - MFRO_BYTES, bytes.data(), MFRO_BYTES)) return false;
    const ByteView mfro(bytes.data(), MFRO_BYTES);
    const std::uint32_t size = mfro.u32(12);
    if (mfro.u32(4) != boxType("mfro") || size == 0 || size > MAX_MFRA_BYTES || size > fileSize) {
        return false;
    }
    return readInto(mfra, file, fileSize - size, size);
}

ByteView childrenOfMfra(const ByteBuffer& mfra) {
    return mfra.view().from(SHORT_HEADER);
}

RandomAccessTable videoRandomAccess(ByteView mfraChildren, std::uint32_t trackId) {
    RandomAccessTable entries;
    walkTables(mfraChildren, [&](const TfraTable& table) {
        if (!entries.empty()) return;
        if (trackId != 0 && table.trackId() != trackId) return;
        if (table.count() == table.statedCount()) entries = table.entries();
    });
    return entries;
}

AudioRandomAccess audioRandomAccess(ByteView mfraChildren, std::uint32_t trackId) {
    AudioRandomAccess result;
    if (trackId == 0) return result;
    walkTables(mfraChildren, [&](const TfraTable& table) {
        if (result.found || table.trackId() != trackId) return;
        result.entries = table.entries();
        result.found = !result.entries.empty();
    });
    return result;
}

std::vector<std::uint32_t> tracksWithRandomAccess(ByteView mfraChildren) {
    const auto isOne = [](const TfraTable& table) {
        return table.count() > 0 && table.trackId() != 0;
    };
    std::size_t count = 0;
    walkTables(mfraChildren, [&](const TfraTable& table) { count += isOne(table) ? 1 : 0; });
    std::vector<std::uint32_t> tracks;
    tracks.reserve(count);
    walkTables(mfraChildren, [&](const TfraTable& table) {
        if (isOne(table)) tracks.push_back(table.trackId());
    });
    std::sort(tracks.begin(), tracks.end());
    tracks.erase(std::unique(tracks.begin(), tracks.end()), tracks.end());
    return tracks;
}

bool ReadAudioRandomAccess(const InputFile& file, std::uint64_t fileSize, std::uint32_t trackId,
                           RandomAccessTable& entries) {
    entries.clear();
    try {
        ByteBuffer mfra;
        if (!readMfra(mfra, file, fileSize)) return false;
        AudioRandomAccess result = audioRandomAccess(childrenOfMfra(mfra), trackId);
        entries = std::move(result.entries);
        return result.found;
    } catch (const std::bad_alloc&) { return false; }
}

} // namespace velkantrix
