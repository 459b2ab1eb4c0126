#include "mp4/avc.h"

#include <gtest/gtest.h>

#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {
namespace {

// A record up to the sets' count: `lengths` is the byte with the NAL length size, `count` that
// with the number of SPS.
Bytes recordStart(int lengths, int count) {
    return Bytes{1, 0x64, 0, 0x1E, lengths, count};
}

struct Converted {
    bool ok = false;
    std::vector<std::uint8_t> sets = {0xAA};
    std::uint32_t nalLengthSize = 77;
};

Converted convert(const Bytes& record) {
    Converted result;
    result.ok = AvcConfigToAnnexB(record.vector(), result.sets, result.nalLengthSize);
    return result;
}

void expectRefused(const Bytes& record) {
    const Converted result = convert(record);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.sets, (std::vector<std::uint8_t>{0xAA})) << "changed";
    EXPECT_EQ(result.nalLengthSize, 77u) << "changed";
}

void expectSets(const Bytes& record, const Bytes& sets) {
    const Converted result = convert(record);
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.sets, sets.vector());
}

TEST(AvcConfigToAnnexB, EachParameterSetGetsAStartCode) {
    expectSets(avcRecord(Bytes{0x67, 9}, Bytes{0x68}),
               Bytes{0, 0, 0, 1, 0x67, 9, 0, 0, 0, 1, 0x68});
}

TEST(AvcConfigToAnnexB, SeveralSetsKeepTheirOrder) {
    expectSets(
        recordStart(0xFF, 0xE2).add({0, 1, 0x67, 0, 2, 0x27, 3}).add({2, 0, 1, 0x68, 0, 1, 0x28}),
        Bytes{0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x27, 3, 0, 0, 0, 1, 0x68, 0, 0, 0, 1, 0x28});
}

TEST(AvcConfigToAnnexB, ALengthUsesBothItsBytes) {
    const Bytes sps = Bytes().fill(0x1FF, 0x67);
    expectSets(recordStart(0xFF, 1).u16(0x1FF).add(sps).u8(0), join({Bytes{0, 0, 0, 1}, sps}));
}

TEST(AvcConfigToAnnexB, TheNalLengthSizeIsTheLowTwoBitsPlusOne) {
    for (const int high : {0xFC, 0x00, 0x54}) {
        for (int size = 1; size <= 4; ++size) {
            const Converted result =
                convert(recordStart(high | (size - 1), 1).add({0, 1, 0x67, 0}));
            EXPECT_TRUE(result.ok);
            EXPECT_EQ(result.nalLengthSize, static_cast<std::uint32_t>(size)) << high;
        }
    }
}

TEST(AvcConfigToAnnexB, OfTheSpsCountOnlyFiveBitsCount) {
    expectSets(recordStart(0xFF, 0xE1).add({0, 1, 0x67, 0}), Bytes{0, 0, 0, 1, 0x67});
    expectSets(recordStart(0xFF, 0x01).add({0, 1, 0x67, 0}), Bytes{0, 0, 0, 1, 0x67});
    Bytes most = recordStart(0xFF, 0xFF);
    Bytes sets;
    for (int i = 0; i < 31; ++i) {
        most.add({0, 1, i});
        sets.add({0, 0, 0, 1, i});
    }
    expectSets(most.u8(0), sets);
}

TEST(AvcConfigToAnnexB, MoreThan127PpsAreTaken) {
    Bytes record = recordStart(0xFF, 0xE0).u8(255);
    Bytes sets;
    for (int i = 0; i < 255; ++i) {
        record.add({0, 1, i});
        sets.add({0, 0, 0, 1, i});
    }
    expectSets(record, sets);
}

TEST(AvcConfigToAnnexB, ARecordBelowSevenBytesIsRefused) {
    for (std::size_t size = 0; size < 7; ++size) {
        Bytes record = recordStart(0xFF, 0xE0);
        record.resize(size);
        expectRefused(record);
    }
}

TEST(AvcConfigToAnnexB, NeitherSpsNorPpsIsRefused) {
    expectRefused(recordStart(0xFF, 0xE0).u8(0));
    expectRefused(recordStart(0xFF, 0xE0).u8(0).fill(20, 1));
}

TEST(AvcConfigToAnnexB, OneKindAloneIsEnough) {
    expectSets(recordStart(0xFF, 0xE1).add({0, 1, 0x67, 0}), Bytes{0, 0, 0, 1, 0x67});
    expectSets(recordStart(0xFF, 0xE0).add({1, 0, 1, 0x68}), Bytes{0, 0, 0, 1, 0x68});
}

TEST(AvcConfigToAnnexB, AnEmptySetIsAStartCodeAlone) {
    expectSets(recordStart(0xFF, 0xE1).add({0, 0, 0}), Bytes{0, 0, 0, 1});
}

TEST(AvcConfigToAnnexB, ASpsThatRunsPastTheRecordIsRefused) {
    expectRefused(recordStart(0xFF, 0xE1).add({0, 3, 0x67, 0x64}));
    expectRefused(recordStart(0xFF, 0xE2).add({0, 1, 0x67, 0, 1}));
}

TEST(AvcConfigToAnnexB, ASpsLengthThatDoesNotFitEndsTheList) {
    // What is left is the number of PPS, of which none is there.
    expectSets(recordStart(0xFF, 0xE2).add({0, 1, 0x67, 5}), Bytes{0, 0, 0, 1, 0x67});
    expectRefused(recordStart(0xFF, 0xE1).u8(1));
}

TEST(AvcConfigToAnnexB, WithoutThePpsCountItIsRefused) {
    expectRefused(recordStart(0xFF, 0xE1).add({0, 1, 0x67}));
    expectRefused(recordStart(0xFF, 0xE2).add({0, 1, 0x67}));
}

TEST(AvcConfigToAnnexB, APpsLengthThatDoesNotFitEndsTheList) {
    const Bytes start = recordStart(0xFF, 0xE1).add({0, 1, 0x67, 2, 0, 1, 0x68});
    expectSets(start, Bytes{0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x68});
    expectSets(join({start, Bytes{0}}), Bytes{0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x68});
}

TEST(AvcConfigToAnnexB, APpsThatRunsPastTheRecordIsRefused) {
    expectRefused(recordStart(0xFF, 0xE1).add({0, 1, 0x67, 1, 0, 2, 0x68}));
    expectSets(recordStart(0xFF, 0xE1).add({0, 1, 0x67, 1, 0, 2, 0x68, 9}),
               Bytes{0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x68, 9});
}

TEST(AvcConfigToAnnexB, BytesBehindTheSetsAreIgnored) {
    expectSets(avcRecord(Bytes{0x67}, Bytes{0x68}).add({0xFD, 0xF8, 0xF8, 0}),
               Bytes{0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x68});
}

Bytes split(const Bytes& sample, std::uint32_t nalLengthSize) {
    std::vector<std::uint8_t> output{0xAA}, behindSets;
    convertToAnnexB(sample.vector(), nalLengthSize, {}, output);
    const Bytes sets = {0, 0, 0, 1, 0x67};
    convertToAnnexB(sample.vector(), nalLengthSize, sets.vector(), behindSets);
    Bytes units;
    for (const std::uint8_t byte : output) units.u8(byte);
    EXPECT_EQ(behindSets, join({sets, units}).vector());
    return units;
}

TEST(ConvertToAnnexB, UnitsBehindLengthsOfOneToFourBytesGetStartCodes) {
    for (std::uint32_t width = 1; width <= 4; ++width) {
        EXPECT_EQ(split(join({nal({0x65, 7}, width), nal({0x41}, width)}), width),
                  (Bytes{0, 0, 0, 1, 0x65, 7, 0, 0, 0, 1, 0x41}))
            << width;
    }
}

TEST(ConvertToAnnexB, EveryByteOfALengthCounts) {
    const struct {
        std::uint32_t width;
        std::size_t length;
    } cases[] = {{1, 0xFF}, {2, 0xFFFF}, {3, 0x010203}, {4, 0x01020304}};
    for (const auto& [width, length] : cases) {
        const Bytes unit = Bytes().fill(length, 0x65);
        const Bytes units = split(join({nal(unit, width), nal({0x41}, width)}), width);
        EXPECT_EQ(units.size(), 4 + length + 5) << width;
    }
}

TEST(ConvertToAnnexB, AZeroLengthEndsTheSample) {
    for (std::uint32_t width = 1; width <= 4; ++width) {
        EXPECT_EQ(split(join({nal({0x65}, width), nal({}, width), nal({0x41}, width)}), width),
                  (Bytes{0, 0, 0, 1, 0x65}))
            << width;
    }
}

TEST(ConvertToAnnexB, ALengthThatRunsPastTheSampleEndsIt) {
    for (std::uint32_t width = 1; width <= 4; ++width) {
        Bytes sample = join({nal({0x65}, width), nal({0x41, 2}, width)});
        EXPECT_EQ(split(sample, width), (Bytes{0, 0, 0, 1, 0x65, 0, 0, 0, 1, 0x41, 2})) << width;
        sample.resize(sample.size() - 1);
        EXPECT_EQ(split(sample, width), (Bytes{0, 0, 0, 1, 0x65})) << width;
    }
    EXPECT_EQ(split(Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0x65}, 4), Bytes());
}

TEST(ConvertToAnnexB, FewerBytesThanALengthAreIgnored) {
    for (std::uint32_t width = 2; width <= 4; ++width) {
        EXPECT_EQ(split(join({nal({0x65}, width), Bytes().fill(width - 1, 0)}), width),
                  (Bytes{0, 0, 0, 1, 0x65}))
            << width;
    }
}

TEST(ConvertToAnnexB, AnEmptySampleGivesNothing) {
    EXPECT_EQ(split(Bytes(), 4), Bytes());
}

} // namespace
} // namespace velkantrix
