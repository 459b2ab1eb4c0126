// How far the sound of a fragmented file goes by its fragments.
#include "mp4/video_claim.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fragmented_file.h"
#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t VIDEO = 1, SOUND = 2, OTHER_SOUND = 3; // tracks, of 1000 ticks a second

VideoClaim claimOf(const Bytes& content) {
    const TempFile temp(content);
    return readVideoClaim(temp.path());
}

Bytes emptyTables(const Bytes& sampleEntry) {
    return join({stsd(sampleEntry), stts({}), stsc({}), stsz({}), stco({})});
}

Bytes soundTrack(std::uint32_t trackId, const Bytes& edits = {}) {
    return trak(trackId, 1000, "soun", emptyTables(mp4a(2, 44100, {})), edits);
}

Bytes start(const Bytes& sounds) {
    return join(
        {ftyp(), box("moov", join({mvhd(1000), trak(VIDEO, 1000, "vide", emptyTables(avc1(64, 36))),
                                   sounds}))});
}

Bytes pictures(std::optional<std::uint64_t> time) {
    return fragment(time, {{.data = nal({0x65, 1}), .sync = true}}, VIDEO);
}

Bytes sound(std::optional<std::uint64_t> time, std::uint32_t trackId = SOUND) {
    return fragment(time, {{.data = {1, 2, 3, 4}, .sync = true}}, trackId);
}

void expectSound(const Bytes& file, double from, double to, const char* what) {
    const auto found = claimOf(file).sound;
    ASSERT_TRUE(found) << what;
    EXPECT_EQ(found->from, from) << what;
    EXPECT_EQ(found->to, to) << what;
}

TEST(FragmentClaim, OfSoundIsWhereItsFirstAndItsLastFragmentBegin) {
    const Bytes file = join({start(soundTrack(SOUND)), pictures(0), sound(0), pictures(5000),
                             sound(4900), pictures(9000), sound(8900)});
    expectSound(file, 0, 8.9, "as it is written");
    EXPECT_EQ(claimOf(file).fragment, 9);
    expectSound(join({file, pictures(20'000)}), 0, 8.9, "it ends before the pictures");
}

TEST(FragmentClaim, OneFragmentIsClaimedUpToItsLastSample) {
    const FragmentSample picture{.data = nal({0x65, 1}), .duration = 1000, .sync = true};
    const FragmentSample noise{.data = {1, 2}, .duration = 500, .sync = true};
    const Bytes file = join({start(soundTrack(SOUND)), fragment(0, {60, picture}, VIDEO),
                             fragment(0, {100, noise}, SOUND)});
    EXPECT_EQ(claimOf(file).fragment, 59);
    expectSound(file, 0, 49.5, "its sound likewise");
}

TEST(FragmentClaim, OfSoundFindsItsTrackByALongHeaderToo) {
    const Bytes mdia = box("mdia", join({mdhd(1000, 1), hdlr("soun")}));
    const Bytes track = box("trak", join({tkhd(SOUND, 1), mdia}));
    expectSound(join({start(track), pictures(0), sound(0), sound(8900)}), 0, 8.9, "of 64 bits");
}

TEST(FragmentClaim, AFragmentWhoseSoundIsCutOffIsNone) {
    Bytes file = join({start(soundTrack(SOUND)), pictures(0), sound(0), pictures(5000), sound(4900),
                       pictures(9000), sound(8900)});
    file.resize(file.size() - 3);
    expectSound(file, 0, 4.9, "its last three bytes are missing");
    EXPECT_EQ(claimOf(file).fragment, 9);
}

TEST(FragmentClaim, SoundThatBeginsLateIsClaimedFromThere) {
    const Bytes file =
        join({start(soundTrack(SOUND)), pictures(0), pictures(3000), sound(3500), sound(8900)});
    // To 8.9 seconds, or 3.5 earlier where a reader counts from its own beginning.
    expectSound(file, 3.5, 8.9 - 3.5, "behind the pictures");
}

// As those of a broadcast. The first fragment may be the sound's.
TEST(FragmentClaim, TimesCountFromWhereTheFileBegins) {
    const Bytes file = join({start(soundTrack(SOUND)), sound(500'000), pictures(500'500),
                             sound(508'000), pictures(509'500)});
    expectSound(file, 0, 7.5, "half a second in front of the pictures");
    EXPECT_EQ(claimOf(file).fragment, 9);
    EXPECT_EQ(claimOf(file).sound->delay, 500.5);
}

TEST(FragmentClaim, BehindAMoovWithSamplesTimesCountFromItsStart) {
    const Bytes moov = box("moov", join({mvhd(1000), videoTrak(VIDEO, 1000), soundTrack(SOUND)}));
    expectSound(join({ftyp(), moov, pictures(3'600'000), sound(3'600'000), sound(3'609'000)}), 3600,
                3609, "an hour in the moov");
}

TEST(FragmentClaim, AnEditListMovesTheSound) {
    const auto fileWith = [](const Bytes& edits) {
        return join({start(soundTrack(SOUND, edits)), pictures(0), sound(0), sound(8900)});
    };
    expectSound(fileWith(elst({{0, 900}})), 0, 8, "its beginning is left out");
    expectSound(fileWith(elst({{700, 0xFFFFFFFF}, {0, 0}})), 0.7, 8.9, "it is delayed");
}

// Exports have the first one.
TEST(FragmentClaim, IsOfTheFirstSoundTrack) {
    const Bytes file =
        join({start(join({soundTrack(SOUND), soundTrack(OTHER_SOUND)})), pictures(0), sound(0),
              sound(0, OTHER_SOUND), sound(5000), sound(60'000, OTHER_SOUND)});
    expectSound(file, 0, 5, "the other goes further");
}

TEST(FragmentClaim, SoundThatSaysNoTimeOrHasNoFragmentsClaimsNothing) {
    EXPECT_FALSE(claimOf(join({start(soundTrack(SOUND)), pictures(0), pictures(5000)})).sound);
    EXPECT_FALSE(claimOf(join({start(soundTrack(SOUND)), pictures(0), sound(std::nullopt)})).sound);
    EXPECT_FALSE(claimOf(join({start({}), pictures(0), sound(5000)})).sound) << "no such track";
}

TEST(FragmentClaim, WhereTablesNameBothNothingIsWalkedOver) {
    Bytes file = start(soundTrack(SOUND));
    const std::uint64_t first = append(file, pictures(0)), firstSound = append(file, sound(0));
    const std::uint64_t last = append(file, pictures(9000)), lastSound = append(file, sound(8900));
    append(file, sound(9900)); // which no table names
    const Bytes pictureTable = tfra(VIDEO, {{0, first}, {9000, last}});
    const Bytes soundTable = tfra(SOUND, {{0, firstSound}, {8900, lastSound}});
    const auto walked = [](const Bytes& content) {
        const TempFile temp(content);
        bool asked = false;
        const VideoClaim claim = readVideoClaim(temp.path(), [&asked] {
            asked = true;
            return false;
        });
        EXPECT_EQ(claim.keyframes.size(), 2u);
        EXPECT_TRUE(claim.sound);
        return asked;
    };
    const Bytes both = join({file, mfra(join({pictureTable, soundTable}))});
    EXPECT_FALSE(walked(both));
    expectSound(both, 0, 8.9, "the table's last");
    const Bytes one = join({file, mfra(pictureTable)});
    EXPECT_TRUE(walked(one)) << "for the sound";
    expectSound(one, 0, 9.9, "the last fragment");
}

} // namespace
} // namespace velkantrix
