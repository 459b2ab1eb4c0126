#include "app/settings_codec.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

Bytes littleEndian(std::uint64_t number, std::size_t size) {
    Bytes bytes;
    for (std::size_t i = 0; i < size; ++i)
        bytes.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
    return bytes;
}

Bytes playheadBytes(double seconds) {
    return littleEndian(std::bit_cast<std::uint64_t>(seconds), 8);
}

// The keys were worked out apart from this code.
TEST(FileStateKey, IsAHashOverPathSizeAndTime) {
    const FileStamp file{.size = 12345, .time = 133'000'000'000'000'000};
    EXPECT_EQ(fileStateKeyOf(u"c:\\videos\\a.mp4", file), L"6D9B886D51EBC29E");
    EXPECT_EQ(fileStateKeyOf(u"d:\\videos\\a.mp4", file), L"C267269B19A7D989");
    EXPECT_EQ(fileStateKeyOf(u"c:\\videos\\a.mp4", {file.size + 1, file.time}),
              L"13B4A35236EE6FA1");
    EXPECT_EQ(fileStateKeyOf(u"c:\\videos\\a.mp4", {file.size, file.time + 1}),
              L"6D9B896D51EBC451");
}

TEST(FileStateKey, CountsUnitsOfUtf16) {
    EXPECT_EQ(fileStateKeyOf(u"c:\\videos\\überblick 影片 🎬.mp4", {.size = 0, .time = 0}),
              L"0CCA4485204CEB53");
}

TEST(FileStateKey, HasSixteenDigits) {
    EXPECT_EQ(fileStateKeyOf(u"c:\\a.mp4", {.size = 64, .time = 0}), L"00D081AE6E986B72");
}

TEST(FileStateKey, OfAFileThatCantBeExaminedHasAllOnesForItsSize) {
    EXPECT_EQ(fileStateKeyOf(u"c:\\gone.mp4", {}), L"11AA868AAA789CA5");
    EXPECT_EQ(fileStateKeyOf(u"", {}), L"E65ECB8BDBAD5FF0");
}

TEST(Playhead, IsADouble) {
    EXPECT_EQ(decodePlayhead(playheadBytes(12.5)), 12.5);
    EXPECT_EQ(decodePlayhead(Bytes{0, 0, 0, 0, 0, 0, 0x29, 0x40}), 12.5);
    EXPECT_EQ(decodePlayhead(playheadBytes(-3)), -3);
}

TEST(Playhead, AnotherSizeIsNone) {
    for (const std::size_t size : {0U, 1U, 4U, 7U, 9U, 16U})
        EXPECT_EQ(decodePlayhead(Bytes(size, 0x40)), std::nullopt) << size;
}

TEST(Playhead, WhatIsNoNumberIsNone) {
    EXPECT_EQ(decodePlayhead(playheadBytes(std::numeric_limits<double>::quiet_NaN())),
              std::nullopt);
    EXPECT_EQ(decodePlayhead(playheadBytes(std::numeric_limits<double>::infinity())), std::nullopt);
    EXPECT_EQ(decodePlayhead(playheadBytes(-std::numeric_limits<double>::infinity())),
              std::nullopt);
}

// Length, flags, how it is shown, two points, and the rectangle.
Bytes placementBytes(std::uint32_t length, std::uint32_t show,
                     std::array<std::int32_t, 4> rect = {10, 20, 810, 620}) {
    Bytes bytes;
    const auto add = [&](std::uint32_t field) {
        for (const std::uint8_t byte : littleEndian(field, 4)) bytes.push_back(byte);
    };
    add(length);
    add(0);
    add(show);
    for (int i = 0; i < 4; ++i) add(0xFFFFFFFF); // points: the system's own
    for (const std::int32_t value : rect) add(static_cast<std::uint32_t>(value));
    return bytes;
}

Bytes decoded(const Bytes& bytes) {
    const auto placement = decodePlacement(bytes);
    return placement ? Bytes(placement->begin(), placement->end()) : Bytes{};
}

// Where a minimised and a maximised window would be is the system's to say.
TEST(Placement, OnlyTheRectangleAndWhetherItWasMaximisedCount) {
    Bytes other = placementBytes(44, 3);
    std::fill(other.begin() + 4, other.begin() + 8, std::uint8_t{0xFF});   // flags
    std::fill(other.begin() + 12, other.begin() + 28, std::uint8_t{0x11}); // points
    EXPECT_EQ(decoded(other), placementBytes(44, 3));
}

TEST(Placement, ComesBackAsItWas) {
    EXPECT_EQ(decoded(placementBytes(44, 1)), placementBytes(44, 1));
    EXPECT_EQ(decoded(placementBytes(44, 3)), placementBytes(44, 3));
    EXPECT_EQ(decoded(placementBytes(44, 1, {-1900, -40, -100, 900})),
              placementBytes(44, 1, {-1900, -40, -100, 900}));
}

TEST(Placement, AMinimisedWindowComesBackAsANormalOne) {
    EXPECT_EQ(decoded(placementBytes(44, 2)), placementBytes(44, 1));
}

// A window that is hidden could never be used again.
TEST(Placement, NoStoredOneHidesTheWindow) {
    for (const std::uint32_t show : {0u, 4u, 6u, 7u, 11u, 12u, 0x80000003u, 0xFFFFFFFFu})
        EXPECT_EQ(decoded(placementBytes(44, show)), placementBytes(44, 1)) << show;
}

TEST(Placement, AnotherSizeOrLengthIsNone) {
    for (const std::uint32_t length : {0u, 43u, 45u, 0xFFFFFFFFu})
        EXPECT_EQ(decodePlacement(placementBytes(length, 1)), std::nullopt) << length;
    Bytes bytes = placementBytes(44, 1);
    bytes.push_back(0);
    EXPECT_EQ(decodePlacement(bytes), std::nullopt);
    bytes.resize(43);
    EXPECT_EQ(decodePlacement(bytes), std::nullopt);
    EXPECT_EQ(decodePlacement({}), std::nullopt);
}

TEST(Placement, ARectangleWithoutAPixelIsNone) {
    EXPECT_EQ(decodePlacement(placementBytes(44, 1, {10, 20, 10, 620})), std::nullopt);
    EXPECT_EQ(decodePlacement(placementBytes(44, 1, {10, 20, 810, 20})), std::nullopt);
    EXPECT_EQ(decodePlacement(placementBytes(44, 1, {810, 20, 10, 620})), std::nullopt);
    EXPECT_EQ(decodePlacement(placementBytes(44, 1, {0, 0, 0, 0})), std::nullopt);
}

TEST(Placement, ARectangleLargerThanAnyWindowIsNone) {
    EXPECT_NE(decodePlacement(placementBytes(44, 1, {0, 0, 32767, 32767})), std::nullopt);
    EXPECT_EQ(decodePlacement(placementBytes(44, 1, {0, 0, 32768, 600})), std::nullopt);
    EXPECT_EQ(decodePlacement(placementBytes(44, 1, {0, -1, 800, 32767})), std::nullopt);
    EXPECT_EQ(decodePlacement(placementBytes(44, 1, {-2147483647 - 1, 0, 2147483647, 1})),
              std::nullopt);
}

TEST(StoredVolume, IsInPercent) {
    EXPECT_EQ(encodeVolume(1), 100u);
    EXPECT_EQ(encodeVolume(0.35), 35u);
    EXPECT_EQ(encodeVolume(0.005), 1u);
    EXPECT_EQ(encodeVolume(0), 0u);
    for (std::uint32_t percent = 0; percent <= 100; ++percent)
        EXPECT_EQ(encodeVolume(decodeVolume(percent)), percent);
}

TEST(StoredVolume, WhatIsBeyondItsRangeIsItsEnd) {
    EXPECT_EQ(decodeVolume(250), 1);
    EXPECT_EQ(decodeVolume(101), 1);
    EXPECT_EQ(decodeVolume(0x7FFFFFFF), 1);
    EXPECT_EQ(decodeVolume(0xFFFFFFFF), 0);
    EXPECT_EQ(decodeVolume(0x80000000), 0);
}

Bytes utf16(std::u16string_view text) {
    Bytes bytes;
    for (const char16_t unit : text) {
        for (const std::uint8_t byte : littleEndian(unit, 2)) bytes.push_back(byte);
    }
    return bytes;
}

TEST(StoredTexts, EachHasANulBehindItAndTheListAnother) {
    EXPECT_EQ(encodeTexts({u"a", u"影🎬"}), utf16({u"a\0影🎬\0\0", 7}));
    EXPECT_EQ(encodeTexts({}), (Bytes{0, 0}));
}

TEST(StoredTexts, ComeBackAsTheyWere) {
    const std::vector<std::u16string> texts{u"C:\\a & b.mp4", u"\\\\server\\ü\\影片.mp4", u"x"};
    EXPECT_EQ(decodeTexts(encodeTexts(texts)), texts);
    EXPECT_THAT(decodeTexts(encodeTexts({})), IsEmpty());
}

TEST(StoredTexts, ReadingStopsAtAnEmptyOne) {
    EXPECT_THAT(decodeTexts(utf16({u"a\0\0b\0\0", 6})), ElementsAre(u"a"));
    EXPECT_THAT(decodeTexts(utf16({u"\0a\0\0", 4})), IsEmpty());
}

TEST(StoredTexts, ReadingStopsAtTheTenth) {
    std::vector<std::u16string> texts;
    for (char16_t name = u'a'; name < u'a' + 12; ++name) texts.emplace_back(1, name);
    const std::vector<std::u16string> ten(texts.begin(), texts.begin() + 10);
    EXPECT_EQ(decodeTexts(encodeTexts(texts)), ten);
    EXPECT_EQ(decodeTexts(encodeTexts(ten)), ten);
}

TEST(StoredTexts, WhatIsLongerThanAnyPathIsPassedOver) {
    const std::u16string longest(32767, u'x');
    const std::u16string longer(32768, u'x');
    EXPECT_THAT(decodeTexts(encodeTexts({u"a", longer, longest, u"b"})),
                ElementsAre(u"a", longest, u"b"));
    EXPECT_THAT(decodeTexts(utf16(longer)), IsEmpty());
}

TEST(StoredTexts, WhatIsBrokenOffIsReadAsFarAsItGoes) {
    EXPECT_THAT(decodeTexts({}), IsEmpty());
    EXPECT_THAT(decodeTexts(Bytes{0x61}), IsEmpty());
    EXPECT_THAT(decodeTexts(utf16(u"ab")), ElementsAre(u"ab"));
    Bytes odd = utf16({u"a\0b", 3});
    odd.push_back(0x63);
    EXPECT_THAT(decodeTexts(odd), ElementsAre(u"a", u"b"));
}

} // namespace
} // namespace velkantrix
