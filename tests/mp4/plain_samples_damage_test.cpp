// Damage in a plain file's boxes: what they still say is handed out, but the end isn't called one.
#include "mp4/plain_samples.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/plain_file.h"
#include "tests/support/random_choices.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

struct Walk {
    std::size_t samples = 0;
    WalkOutcome end = WalkOutcome::Sample;
};

// Of a file of 8000 bytes.
Walk walk(const Bytes& content) {
    TempFile file(content);
    file.resize(8000);
    PlainSamples samples;
    EXPECT_TRUE(samples.open(file.path()));
    Walk result;
    PlainSample sample;
    while ((result.end = samples.next(sample)) == WalkOutcome::Sample) ++result.samples;
    samples.seekToStart();
    for (std::size_t i = 0; i < result.samples; ++i) samples.next(sample);
    EXPECT_EQ(samples.next(sample), result.end) << "behind a seek";
    return result;
}

// Four samples in two chunks.
struct Tables {
    Bytes stts = velkantrix::stts({{3, 10}, {1, 20}});
    Bytes ctts = velkantrix::ctts({{1, 5}, {3, 40}});
    Bytes stss = velkantrix::stss({1, 3});
    Bytes stsz = velkantrix::stsz({100, 200, 300, 400});
    Bytes stsc = velkantrix::stsc({{1, 3}, {2, 1}});
    Bytes stco = velkantrix::stco({1000, 2000});

    [[nodiscard]] Bytes stbl() const { return join({stts, stsz, stsc, stco, stss, ctts}); }
};

Walk walkTables(const Tables& tables) {
    return walk(plainFile(tables.stbl()));
}

constexpr std::size_t COUNT = 8 + 4;      // of entries, in a table with its header
constexpr std::size_t STSZ_COUNT = 8 + 8; // of samples
constexpr std::size_t SIZE = 3;           // the low byte of a box's size

// A box with something behind its payload.
Bytes longer(Bytes box, std::size_t bytes) {
    box.fill(bytes);
    box[SIZE] = static_cast<std::uint8_t>(box[SIZE] + bytes);
    return box;
}

Bytes shorter(Bytes box, std::size_t bytes) {
    box.resize(box.size() - bytes);
    box[SIZE] = static_cast<std::uint8_t>(box[SIZE] - bytes);
    return box;
}

Bytes counting(Bytes box, std::uint32_t count, std::size_t at = COUNT) {
    for (std::size_t i = 0; i < 4; ++i) {
        box[at + i] = static_cast<std::uint8_t>(count >> (24 - 8 * i));
    }
    return box;
}

struct Row {
    const char* what;
    std::function<void(Tables&)> change;
    std::size_t samples = 4; // that are handed out all the same
};

void expectWalks(const std::vector<Row>& rows, WalkOutcome end) {
    for (const Row& row : rows) {
        Tables tables;
        row.change(tables);
        const Walk result = walkTables(tables);
        EXPECT_EQ(result.samples, row.samples) << row.what;
        EXPECT_EQ(result.end, end) << row.what;
    }
}

TEST(PlainSamplesDamage, SoundTablesEnd) {
    const std::vector<Row> rows = {
        {"nothing",
         [](Tables&) {
         }},
        {"no ctts",
         [](Tables& t) {
             t.ctts = {};
         }},
        {"no stss",
         [](Tables& t) {
             t.stss = {};
         }},
        {"no sync sample",
         [](Tables& t) {
             t.stss = stss({});
         }},
        {"a later sync sample first",
         [](Tables& t) {
             t.stss = stss({2, 4});
         }},
        {"co64",
         [](Tables& t) {
             t.stco = co64({1000, 2000});
         }},
        {"a broken co64 beside the stco",
         [](Tables& t) {
             t.stco.add(box("co64"));
         }},
        {"one size for all",
         [](Tables& t) {
             t.stsz = stszUniform(100, 4);
         }},
        {"runs of none",
         [](Tables& t) {
             t.stts = stts({{0, 9}, {4, 1}, {0, 9}});
         }},
        {"ctts of more",
         [](Tables& t) {
             t.ctts = ctts({{5, 40}});
         }},
        {"a last chunk that isn't full",
         [](Tables& t) {
             t.stsc = stsc({{1, 3}});
         }},
        {"part of an entry behind stts",
         [](Tables& t) {
             t.stts = longer(t.stts, 7);
         }},
        {"part of an entry behind ctts",
         [](Tables& t) {
             t.ctts = longer(t.ctts, 7);
         }},
        {"part of an entry behind stss",
         [](Tables& t) {
             t.stss = longer(t.stss, 3);
         }},
        {"part of an entry behind stsz",
         [](Tables& t) {
             t.stsz = longer(t.stsz, 3);
         }},
        {"part of an entry behind stsc",
         [](Tables& t) {
             t.stsc = longer(t.stsc, 11);
         }},
        {"part of an entry behind stco",
         [](Tables& t) {
             t.stco = longer(t.stco, 3);
         }},
        {"part of a header behind the tables",
         [](Tables& t) {
             t.ctts.fill(7);
         }},
    };
    expectWalks(rows, WalkOutcome::End);
}

TEST(PlainSamplesDamage, TablesThatDoNotHoldWhatTheyStateDoNotEnd) {
    const std::vector<Row> rows = {
        {"stts states more",
         [](Tables& t) {
             t.stts = counting(t.stts, 3);
         }},
        {"stts states fewer",
         [](Tables& t) {
             t.stts = counting(t.stts, 1);
         }},
        {"ctts states more",
         [](Tables& t) {
             t.ctts = counting(t.ctts, 0x80000002);
         }},
        {"ctts states fewer",
         [](Tables& t) {
             t.ctts = counting(t.ctts, 0);
         }},
        {"stss states more",
         [](Tables& t) {
             t.stss = counting(t.stss, 3);
         }},
        {"stss states fewer",
         [](Tables& t) {
             t.stss = counting(t.stss, 0);
         }},
        {"stsz states more",
         [](Tables& t) {
             t.stsz = counting(t.stsz, 5, STSZ_COUNT);
         }},
        {"stsz states fewer", [](Tables& t) { t.stsz = counting(t.stsz, 2, STSZ_COUNT); }, 2},
        {"stsc states more",
         [](Tables& t) {
             t.stsc = counting(t.stsc, 3);
         }},
        {"stsc states fewer",
         [](Tables& t) {
             t.stsc = counting(t.stsc, 1);
         }},
        {"stco states more",
         [](Tables& t) {
             t.stco = counting(t.stco, 3);
         }},
        {"stco states fewer", [](Tables& t) { t.stco = counting(t.stco, 1); }, 3},
        {"co64 states more",
         [](Tables& t) {
             t.stco = counting(co64({1000, 2000}), 3);
         }},
        {"a stts too short for its count",
         [](Tables& t) {
             t.stts = box("stts", Bytes().fill(7));
         }},
        {"a ctts too short for its count",
         [](Tables& t) {
             t.ctts = box("ctts");
         }},
        {"a stsz too short for its count",
         [](Tables& t) { t.stsz = box("stsz", Bytes().fill(11)); }, 0},
        {"an entry cut from stts",
         [](Tables& t) {
             t.stts = shorter(t.stts, 1);
         }},
        {"an entry cut from ctts",
         [](Tables& t) {
             t.ctts = shorter(t.ctts, 1);
         }},
        {"an entry cut from stss",
         [](Tables& t) {
             t.stss = shorter(t.stss, 1);
         }},
        {"an entry behind stss",
         [](Tables& t) {
             t.stss = longer(t.stss, 4);
         }},
        {"an entry behind stco",
         [](Tables& t) {
             t.stco = longer(t.stco, 4);
         }},
        {"stco states fewer, of chunks that were not full",
         [](Tables& t) {
             t.stsc = stsc({{1, 4}});
             t.stco = counting(t.stco, 1);
         }},
        {"sizes behind one for all",
         [](Tables& t) {
             t.stsz[8 + 4 + 3] = 100;
         }},
    };
    expectWalks(rows, WalkOutcome::Failed);
}

// Each of them is whole.
TEST(PlainSamplesDamage, TablesThatContradictEachOtherDoNotEnd) {
    const std::vector<Row> rows = {
        {"times of fewer samples",
         [](Tables& t) {
             t.stts = stts({{3, 10}});
         }},
        {"times of more samples",
         [](Tables& t) {
             t.stts = stts({{5, 10}});
         }},
        {"one size for fewer samples", [](Tables& t) { t.stsz = stszUniform(100, 3); }, 3},
        {"composition offsets of fewer samples",
         [](Tables& t) {
             t.ctts = ctts({{3, 40}});
         }},
        {"composition offsets of none",
         [](Tables& t) {
             t.ctts = ctts({});
         }},
        {"a chunk of no sample",
         [](Tables& t) {
             t.stco = stco({1000, 2000, 3000, 4000});
         }},
        {"chunks of more samples than there are",
         [](Tables& t) {
             t.stsc = stsc({{1, 4}});
         }},
        {"a sync sample 0",
         [](Tables& t) {
             t.stss = stss({0, 3});
         }},
        {"a sync sample behind the last",
         [](Tables& t) {
             t.stss = stss({1, 5});
         }},
        {"a sync sample twice",
         [](Tables& t) {
             t.stss = stss({1, 3, 3});
         }},
        {"sync samples that go back",
         [](Tables& t) {
             t.stss = stss({3, 1});
         }},
    };
    expectWalks(rows, WalkOutcome::Failed);
}

// Whatever is then missed or made up behind it.
TEST(PlainSamplesDamage, NoByteOfATablesSizeCanBeWrongUnnoticed) {
    const Tables tables;
    const Bytes file = plainFile(tables.stbl());
    const std::string text(file.vector().begin(), file.vector().end());
    for (const char* const type : {"stss", "ctts"}) {
        const std::size_t box = text.find(type) - 4;
        for (std::size_t i = 0; i < 4; ++i) {
            for (std::size_t value = 0; value < 256; value += caseStep()) {
                Bytes damaged = file;
                if (damaged[box + i] == value) continue;
                damaged[box + i] = static_cast<std::uint8_t>(value);
                const Walk result = walk(damaged);
                EXPECT_EQ(result.samples, 4u) << type << " " << i << " " << value;
                EXPECT_EQ(result.end, WalkOutcome::Failed) << type << " " << i << " " << value;
            }
        }
    }
}

// It can't be told from a box that nobody knows.
TEST(PlainSamplesDamage, ATableOfASpoiledTypeIsNotMissed) {
    Tables tables;
    tables.ctts[4] ^= 1;
    const Walk result = walkTables(tables);
    EXPECT_EQ(result.samples, 4u);
    EXPECT_EQ(result.end, WalkOutcome::End);
}

// ---- the boxes around the tables

struct Movie {
    Bytes moov, trak, edts, mdia, minf, stbl; // what stands behind the last child
};

Bytes fileOf(const Movie& more) {
    const Bytes stbl = box("stbl", join({Tables().stbl(), more.stbl}));
    const Bytes minf = box("minf", join({stbl, more.minf}));
    const Bytes mdia = box("mdia", join({mdhd(600), hdlr("vide"), minf, more.mdia}));
    const Bytes edts = box("edts", more.edts);
    const Bytes trak = box("trak", join({tkhd(3), edts, mdia, more.trak}));
    return join({ftyp(), box("moov", join({mvhd(1000), trak, more.moov}))});
}

TEST(PlainSamplesDamage, ABoxThatBreaksOffIsNotTheEnd) {
    const std::vector<Bytes> sound = {Bytes().fill(7), box("free"), longBox("free")};
    const std::vector<Bytes> broken = {
        boxOfSize("free", 7),      boxOfSize("free", 9),        openBox("free"),
        longBoxOfSize("free", 15), Bytes().u32(1).text("free"), Bytes().fill(8)};
    for (Bytes Movie::* const place :
         {&Movie::moov, &Movie::trak, &Movie::edts, &Movie::mdia, &Movie::minf, &Movie::stbl}) {
        Movie movie;
        for (const Bytes& more : sound) {
            movie.*place = more;
            EXPECT_EQ(walk(fileOf(movie)).end, WalkOutcome::End);
        }
        for (const Bytes& more : broken) {
            movie.*place = more;
            const Walk result = walk(fileOf(movie));
            EXPECT_EQ(result.samples, 4u);
            EXPECT_EQ(result.end, WalkOutcome::Failed);
        }
    }
}

TEST(PlainSamplesDamage, ABrokenBoxInAnotherTrackIsNoHarm) {
    Movie movie;
    movie.moov = box("trak", boxOfSize("mdia", 7));
    EXPECT_EQ(walk(fileOf(movie)).end, WalkOutcome::End);
}

// A recording whose tables hold its start, the rest in fragments, cut off in front of the first.
TEST(PlainSamplesDamage, SamplesInFrontOfFragmentsThatAreMissingAreNotAll) {
    Movie movie;
    movie.moov = box("mvex");
    const Walk result = walk(fileOf(movie));
    EXPECT_EQ(result.samples, 4u);
    EXPECT_EQ(result.end, WalkOutcome::Failed);
}

} // namespace
} // namespace velkantrix
