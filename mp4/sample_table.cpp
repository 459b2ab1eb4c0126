#include "mp4/sample_table.h"

#include <algorithm>
#include <limits>

#include "mp4/box_walk.h"

namespace velkantrix {
namespace {

// How many of the entries that a full box states at byte 4 lie wholly in it.
std::uint32_t entriesIn(ByteView table, std::size_t entryBytes) {
    if (table.size() < 8) return 0;
    return static_cast<std::uint32_t>(
        std::min<std::size_t>(table.u32(4), (table.size() - 8) / entryBytes));
}

// There are as many entries behind the first `fields` bytes as are stated.
bool isFilled(ByteView table, std::size_t fields, std::size_t entryBytes, std::uint32_t stated) {
    return table.size() >= fields && (table.size() - fields) / entryBytes == stated;
}

bool isFilled(const std::optional<ByteView>& table, std::size_t entryBytes) {
    return !table || isFilled(*table, 8, entryBytes, table->u32(4));
}

std::uint64_t samplesIn(ByteView runs) {
    RunCursor cursor(runs);
    cursor.advanceTo(std::numeric_limits<std::uint64_t>::max());
    return cursor.coveredSamples();
}

bool isAscending(const SyncNumbers& numbers) {
    std::uint32_t before = 0;
    for (std::uint32_t i = 0; i < numbers.size(); ++i) {
        if (!numbers.valid(i) || numbers[i] <= before) return false;
        before = numbers[i];
    }
    return true;
}

bool usesAllChunks(const SampleTables& tables, const SampleSizes& sizes) {
    if (sizes.count() == 0) return true;
    OffsetCursor cursor(tables, sizes);
    cursor.advanceTo(sizes.count() - 1);
    return cursor.inLastChunk();
}

} // namespace

bool tablesAgree(const SampleTables& tables) {
    if (!tables.regular || !tables.stts || !tables.stsz || !tables.stsc) return false;
    const SampleSizes sizes(*tables.stsz);
    // One size for all stands in front of no others.
    const std::uint32_t inTable = sizes.uniform() ? 0 : sizes.count();
    if (!isFilled(*tables.stsz, 12, 4, inTable)) return false;
    if (!isFilled(tables.stts, 8) || !isFilled(tables.ctts, 8) || !isFilled(tables.stsc, 12))
        return false;
    const std::optional<ByteView>& chunks = tables.stco ? tables.stco : tables.co64;
    if (!chunks || !isFilled(chunks, tables.stco ? 4 : 8)) return false;
    if (samplesIn(*tables.stts) != sizes.count()) return false;
    if (tables.ctts && samplesIn(*tables.ctts) < sizes.count()) return false;
    if (!usesAllChunks(tables, sizes)) return false;
    if (!tables.stss) return true;
    return isFilled(tables.stss, 4) && isAscending(SyncNumbers(*tables.stss, sizes.count()));
}

SampleTables findSampleTables(ByteView stbl) {
    SampleTables tables;
    tables.regular = WalkChildren(stbl, [&](BoxType type, ByteView payload) {
        switch (type) {
        case boxType("stsd"):
            tables.stsd = payload;
            break;
        case boxType("stts"):
            tables.stts = payload;
            break;
        case boxType("ctts"):
            tables.ctts = payload;
            break;
        case boxType("stss"):
            tables.stss = payload;
            break;
        case boxType("stsz"):
            tables.stsz = payload;
            break;
        case boxType("stsc"):
            tables.stsc = payload;
            break;
        case boxType("stco"):
            tables.stco = payload;
            break;
        case boxType("co64"):
            tables.co64 = payload;
            break;
        default:
            break;
        }
    });
    return tables;
}

SampleSizes::SampleSizes(ByteView stsz)
    : table_(stsz.from(12)), uniform_(stsz.u32(4)), count_(stsz.u32(8)) {}

std::uint32_t SampleSizes::given() const {
    if (uniform()) return count_;
    return static_cast<std::uint32_t>(std::min<std::size_t>(count_, table_.size() / 4));
}

std::uint64_t SampleSizes::sum(std::uint64_t first, std::uint64_t end) const {
    if (uniform()) return (end - first) * uniform_;
    std::uint64_t bytes = 0;
    end = std::min<std::uint64_t>(end, table_.size() / 4);
    if (first >= end) return 0;
    // Most of the time that an index takes is spent here.
    const std::uint8_t* const last = table_.data() + end * 4;
    for (const std::uint8_t* size = table_.data() + first * 4; size != last; size += 4) {
        bytes += loadU32(size);
    }
    return bytes;
}

SyncNumbers::SyncNumbers(ByteView stss, std::uint32_t samples)
    : stss_(stss), samples_(samples), size_(entriesIn(stss, 4)) {}

std::size_t SyncNumbers::countValid() const {
    std::size_t count = 0;
    for (std::uint32_t i = 0; i < size_; ++i) count += valid(i);
    return count;
}

RunCursor::RunCursor(ByteView table) : table_(table), entries_(entriesIn(table, 8)) {}

void RunCursor::enterNext() {
    sum_ += (end_ - first_) * value_;
    first_ = end_;
    const std::size_t at = 8 + std::size_t{8} * next_++;
    end_ = first_ + table_.u32(at);
    value_ = table_.u32(at + 4);
}

OffsetCursor::OffsetCursor(const SampleTables& tables, const SampleSizes& sizes)
    : sizes_(sizes), stsc_(tables.stsc.value_or(ByteView())) {
    offsetBytes_ = tables.stco ? 4 : 8;
    const ByteView box = tables.stco ? *tables.stco : tables.co64.value_or(ByteView());
    chunks_ = box.u32(4);
    offsets_ = box.from(8);
    entries_ = entriesIn(stsc_, 12);
}

std::uint32_t OffsetCursor::firstChunkOf(std::uint32_t entry) const {
    return stsc_.u32(8 + std::size_t{12} * entry);
}

void OffsetCursor::enterNextEntry() {
    const std::uint32_t entry = next_++;
    const std::uint32_t first = firstChunkOf(entry);
    // The field is unsigned, 32 bits wide: a 0 in the entry behind leaves this one open to the end.
    const std::uint32_t last = next_ < entries_ ? firstChunkOf(next_) - 1 : chunks_;
    firstChunk_ = std::max<std::uint32_t>(first, 1);
    const std::uint64_t lastChunk = std::min(last, chunks_);
    samplesPerChunk_ = stsc_.u32(8 + std::size_t{12} * entry + 4);
    entryFirst_ = entryEnd_;
    if (lastChunk >= firstChunk_) entryEnd_ += (lastChunk - firstChunk_ + 1) * samplesPerChunk_;
}

void OffsetCursor::enterChunkOf(std::uint64_t sample) {
    while (sample >= entryEnd_ && next_ < entries_) enterNextEntry();
    covers_ = sample < entryEnd_;
    if (!covers_) {
        offset_ = 0;
        chunkIsGiven_ = false;
        return;
    }
    const std::uint64_t chunksBefore = (sample - entryFirst_) / samplesPerChunk_;
    chunk_ = firstChunk_ + chunksBefore;
    const auto at = static_cast<std::size_t>((chunk_ - 1) * offsetBytes_);
    chunkIsGiven_ = offsets_.holds(at, offsetBytes_);
    offset_ = offsets_.unsignedField(at, offsetBytes_);
    sample_ = entryFirst_ + chunksBefore * samplesPerChunk_;
    chunkEnd_ = sample_ + samplesPerChunk_;
    moveInChunk(sample);
}

void OffsetCursor::moveInChunk(std::uint64_t sample) {
    offset_ += sizes_.sum(sample_, sample);
    sample_ = sample;
}

} // namespace velkantrix
