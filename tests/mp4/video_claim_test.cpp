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

// Not every reader keeps to a delay, and each to what is cut off in front.
TEST(VideoClaim, AnEditListMakesItEarlierOnly) {
    const auto withEdits = [](const std::vector<std::vector<std::uint32_t>>& edits) {
        return plainFile(join({mvhd(10), trakOfLength(mdhdOf(30), elst(edits))}));
    };
    EXPECT_THAT(claimOf(withEdits({{50, 0xFFFFFFFF}, {30, 0}})).keyframes, ElementsAre(0, 2));
    EXPECT_THAT(claimOf(withEdits({{20, 10}})).keyframes, ElementsAre(0, 1));
    EXPECT_EQ(claimOf(withEdits({{50, 0xFFFFFFFF}, {30, 0}})).length, 3);
    EXPECT_EQ(claimOf(withEdits({{20, 10}})).length, 2);
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
