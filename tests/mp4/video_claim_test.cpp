#include "mp4/video_claim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fragmented_file.h"
#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

VideoClaim claimOf(const Bytes& content) {
    const TempFile temp(content);
    return readVideoClaim(temp.path());
}

// A video track of ten units a second that says how long it is.
Bytes trakOfLength(const Bytes& mdhdBox, const Bytes& edts = {}) {
    const Bytes stbl = box("stbl", plainTables(avc1(64, 36)));
    return box("trak", join({tkhd(1), edts,
                             box("mdia", join({mdhdBox, hdlr("vide"), box("minf", stbl)}))}));
}

Bytes mdhdOf(std::uint64_t duration, int version = 0) {
    const std::size_t width = version == 1 ? 8 : 4;
    return fullBox("mdhd", version, 0,
                   Bytes().fill(2 * width).u32(10).number(duration, width).u32(0));
}

TEST(VideoClaim, OfAPlainFileIsItsKeyframesAndItsLength) {
    for (const int version : {0, 1}) {
        const VideoClaim claim =
            claimOf(plainFile(join({mvhd(10), trakOfLength(mdhdOf(30, version))})));
        EXPECT_THAT(claim.keyframes, ElementsAre(0, 2));
        EXPECT_EQ(claim.length, 3);
        EXPECT_EQ(claim.fragment, std::nullopt);
    }
}

TEST(VideoClaim, ALengthThatIsNotKnownIsNone) {
    EXPECT_EQ(claimOf(plainFile(trakOfLength(mdhdOf(0xFFFFFFFF)))).length, std::nullopt);
    EXPECT_EQ(claimOf(plainFile(trakOfLength(mdhdOf(~std::uint64_t{0}, 1)))).length, std::nullopt);
    EXPECT_EQ(claimOf(plainFile(trakOfLength(mdhdOf(0)))).length, std::nullopt);
}

TEST(VideoClaim, WhatAPlainFileSaysOfItsLengthIsClaimedToo) {
    const auto claimWith = [](const Bytes& mvhdBox) {
        return claimOf(plainFile(join({mvhdBox, trakOfLength(mdhdOf(30))}))).file;
    };
    const auto mvhdOf = [](std::uint64_t duration, int version) {
        const std::size_t width = version == 1 ? 8 : 4;
        return fullBox("mvhd", version, 0,
                       Bytes().fill(2 * width).u32(4).number(duration, width).u32(0));
    };
    EXPECT_EQ(claimWith(mvhdOf(50, 0)), 12.5);
    EXPECT_EQ(claimWith(mvhdOf(50, 1)), 12.5);
    EXPECT_EQ(claimWith(mvhdOf(0xFFFFFFFF, 0)), std::nullopt);
    EXPECT_EQ(claimWith(box("free")), std::nullopt);
}

// Not every reader keeps to a delay, and each to what is cut off in front.
TEST(VideoClaim, AnEditListMakesItEarlierOnly) {
    const auto withEdits = [](const std::vector<std::vector<std::uint32_t>>& edits) {
        return plainFile(join({mvhd(10), trakOfLength(mdhdOf(30), elst(edits))}));
    };
    EXPECT_THAT(claimOf(withEdits({{50, 0xFFFFFFFF}, {30, 0}})).keyframes, ElementsAre(0, 2));
    EXPECT_THAT(claimOf(withEdits({{20, 10}})).keyframes, ElementsAre(0, 1));
    EXPECT_EQ(claimOf(withEdits({{50, 0xFFFFFFFF}, {30, 0}})).length, 3);
    EXPECT_EQ(claimOf(withEdits({{20, 10}})).length, 2);
    EXPECT_EQ(claimOf(withEdits({{50, 0xFFFFFFFF}, {30, 0}})).delay, 5);
    EXPECT_EQ(claimOf(withEdits({{20, 10}})).delay, 0);
}

// What an edit list leaves out at its end, and between several edits, isn't there.
TEST(VideoClaim, AnEditListThatEndsEarlierEndsIt) {
    const auto claimWith = [](const std::vector<std::vector<std::uint32_t>>& edits) {
        return claimOf(plainFile(join({mvhd(10), trakOfLength(mdhdOf(30), elst(edits))})));
    };
    EXPECT_EQ(claimWith({{15, 0}}).length, 1.5);
    EXPECT_THAT(claimWith({{15, 0}}).keyframes, ElementsAre(0));
    EXPECT_EQ(claimWith({{5, 0}, {5, 25}}).length, 1);
    EXPECT_THAT(claimWith({{5, 0}, {5, 25}}).keyframes, ElementsAre(0));
    EXPECT_EQ(claimWith({{0, 10}}).length, 2) << "to the media's end";
    const std::vector<std::vector<std::uint32_t>> many(1000, {1, 0});
    EXPECT_EQ(claimWith({{1, 0}}).length, 0.1) << "wrongly, maybe";
    EXPECT_THAT(claimWith({{1, 0}}).keyframes, ElementsAre(0));
    EXPECT_EQ(claimWith(many).length, 0) << "more than are looked at claim nothing";
    EXPECT_THAT(claimWith(many).keyframes, ElementsAre(0));
}

// A sound track of ten units a second.
Bytes soundOfLength(std::uint64_t duration, const Bytes& edts = {}) {
    return box("trak", join({edts, box("mdia", join({mdhdOf(duration), hdlr("soun")}))}));
}

TEST(SoundClaim, OfAPlainFileIsWhatItsTrackSays) {
    const auto soundWith = [](const Bytes& tracks) {
        return claimOf(plainFile(join({mvhd(10), trakOfLength(mdhdOf(30)), tracks}))).sound;
    };
    struct Row {
        const char* what;
        Bytes tracks;
        double from, to;
    };
    const Row rows[] = {
        {"all", soundOfLength(50), 0, 5},
        {"its beginning is left out", soundOfLength(50, elst({{100, 10}})), 0, 4},
        {"its end is left out", soundOfLength(50, elst({{20, 10}})), 0, 2},
        {"it begins late", soundOfLength(50, elst({{20, 0xFFFFFFFF}, {50, 0}})), 2, 5},
        {"the shortest of two", join({soundOfLength(50), soundOfLength(40)}), 0, 4},
        {"one of which isn't known", join({soundOfLength(50), soundOfLength(0)}), 0, 0},
    };
    for (const Row& row : rows) {
        const auto sound = soundWith(row.tracks);
        ASSERT_TRUE(sound) << row.what;
        EXPECT_EQ(sound->from, row.from) << row.what;
        EXPECT_EQ(sound->to, row.to) << row.what;
    }
    EXPECT_FALSE(soundWith(Bytes())) << "no sound";
}

// Its end comes out as 0: less is asked about than might be, never more.
TEST(SoundClaim, OfAnEditListThatMakesNoSenseIsNothing) {
    const std::vector<std::vector<std::uint32_t>> many(1000, {1, 0});
    for (const Bytes& edits : {elst(many), elst({{1, 50}})}) {
        const auto sound =
            claimOf(plainFile(join({mvhd(10), trakOfLength(mdhdOf(30)), soundOfLength(50, edits)})))
                .sound;
        ASSERT_TRUE(sound);
        EXPECT_EQ(sound->to, 0);
    }
}

TEST(VideoClaim, ACancelEndsTheWalkOverTheFragments) {
    Bytes file = fragmentedStart();
    for (std::uint64_t i = 0; i < 20; i++)
        append(file, fragment(i * 1000, {{.data = nal({0x65, 1}), .sync = true}}));
    const TempFile temp(file);
    int asked = 0;
    const VideoClaim claim = readVideoClaim(temp.path(), [&asked] { return ++asked > 10; });
    EXPECT_EQ(asked, 11);
    ASSERT_TRUE(claim.fragment);
    EXPECT_LT(*claim.fragment, 19);
}

TEST(VideoClaim, WhereATableNamesTheKeyframesNothingIsWalkedOver) {
    Bytes file = fragmentedStart();
    const std::uint64_t at = append(file, fragment(0, {{.data = nal({0x65, 1}), .sync = true}}));
    file.add(mfra(tfra(1, {{0, at}})));
    const TempFile temp(file);
    int asked = 0;
    const VideoClaim claim = readVideoClaim(temp.path(), [&asked] { return ++asked > 0; });
    EXPECT_EQ(asked, 0);
    EXPECT_THAT(claim.keyframes, ElementsAre(0));
}

TEST(VideoClaim, OfAFragmentedFileIsWhereItsLastFragmentWithPicturesBegins) {
    Bytes file = fragmentedStart();
    for (const std::uint64_t time : {std::uint64_t{0}, std::uint64_t{5000}, std::uint64_t{9000}})
        append(file, fragment(time, {{.data = nal({0x65, 1}), .sync = true}}));
    append(file, fragment(20000, {{.data = {1, 2}}}, 2)); // of another track
    EXPECT_EQ(claimOf(file).fragment, 9);
    EXPECT_THAT(claimOf(file).keyframes, IsEmpty());
    EXPECT_EQ(claimOf(file).length, std::nullopt);
}

TEST(VideoClaim, AFragmentWhosePicturesAreCutOffIsNone) {
    Bytes file = fragmentedStart();
    append(file, fragment(0, {{.data = nal({0x65, 1}), .sync = true}}));
    append(file, fragment(5000, {{.data = nal({0x65, 1}), .sync = true}}));
    append(file, fragment(9000, {{.data = nal({0x65, 1}), .sync = true}}));
    file.resize(file.size() - 3);
    EXPECT_EQ(claimOf(file).fragment, 5);
}

// As those of a broadcast; readers may count from the file's start.
TEST(VideoClaim, TimesCountFromTheFirstFragment) {
    Bytes file = fragmentedStart();
    std::vector<TfraEntry> table;
    for (const std::uint64_t time : {std::uint64_t{500'000}, std::uint64_t{509'000}})
        table.push_back(
            {time, append(file, fragment(time, {{.data = nal({0x65, 1}), .sync = true}}))});
    EXPECT_EQ(claimOf(file).fragment, 9);
    const VideoClaim claim = claimOf(join({file, mfra(tfra(1, table))}));
    EXPECT_THAT(claim.keyframes, ElementsAre(0, 9));
    EXPECT_EQ(claim.fragment, std::nullopt) << "the table is enough";
}

// An hour in the moov, and fragments behind it.
TEST(VideoClaim, FragmentsBehindAMoovWithSamplesCountFromItsStart) {
    Bytes file = join({ftyp(), box("moov", join({mvhd(1000), videoTrak(1, 1000)}))});
    std::vector<TfraEntry> table;
    for (const std::uint64_t time : {std::uint64_t{3'600'000}, std::uint64_t{3'609'000}})
        table.push_back(
            {time, append(file, fragment(time, {{.data = nal({0x65, 1}), .sync = true}}))});
    EXPECT_EQ(claimOf(file).fragment, 3609);
    EXPECT_THAT(claimOf(join({file, mfra(tfra(1, table))})).keyframes, ElementsAre(3600, 3609));
}

TEST(VideoClaim, OfOneFragmentIsNothingButThatThereIsOne) {
    Bytes file = fragmentedStart();
    append(file, fragment(0, {{.data = nal({0x65, 1}), .sync = true}}));
    EXPECT_EQ(claimOf(file).fragment, 0);
}

TEST(VideoClaim, FragmentsThatDoNotSayTheirTimeClaimNothingMore) {
    Bytes file = fragmentedStart();
    append(file, fragment(std::nullopt, {{.data = nal({0x65, 1}), .sync = true}}));
    EXPECT_EQ(claimOf(file).fragment, 0);
}

TEST(VideoClaim, OfALongFileLooksAtTheLastFragmentsOnly) {
    Bytes file = fragmentedStart();
    for (std::uint64_t i = 0; i < 300; i++)
        append(file, fragment(i * 1000, {{.data = nal({0x65, 1}), .sync = true}}));
    EXPECT_EQ(claimOf(file).fragment, 299);
}

TEST(VideoClaim, OfWhatIsNoMp4ThereIsNone) {
    for (const Bytes& content : {Bytes(), Bytes().fill(100, 'x'), plainFile(soundTrak(1, 48000))}) {
        const VideoClaim claim = claimOf(content);
        EXPECT_THAT(claim.keyframes, IsEmpty());
        EXPECT_EQ(claim.fragment, std::nullopt);
        EXPECT_EQ(claim.length, std::nullopt);
    }
}

} // namespace
} // namespace velkantrix
