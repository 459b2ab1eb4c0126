#include "mp4/track_count.h"

#include <optional>

#include <gtest/gtest.h>

#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

std::optional<TrackCount> countOf(const Bytes& content) {
    const TempFile temp(content);
    return countTracksOfFile(temp.path());
}

TEST(CountTracks, CountsEveryKind) {
    const Bytes moov = join({videoTrak(1, 90000), soundTrak(2, 48000), soundTrak(3, 48000),
                             trak(4, 1000, "sbtl", Bytes()), box("trak"), box("udta")});
    const TrackCount expected{.all = 5, .video = 1, .sound = 2};
    EXPECT_EQ(countOf(plainFile(moov)), expected);
    EXPECT_EQ(countOf(fragmentedFile(moov, Bytes())), expected);
    EXPECT_EQ(countOf(withLongSizes(plainFile(moov))), expected);
}

TEST(CountTracks, OfADamagedMoovCountsWhatIsSound) {
    const Bytes moov = join({videoTrak(1, 90000), boxOfSize("trak", 4000)});
    EXPECT_EQ(countOf(plainFile(moov)), (TrackCount{.all = 1, .video = 1}));
}

TEST(CountTracks, OfWhatHasNoMoovIsUnknown) {
    EXPECT_EQ(countOf(Bytes()), std::nullopt);
    EXPECT_EQ(countOf(box("mdat")), std::nullopt);
    EXPECT_EQ(countOf(plainFile(box("udta"))), std::nullopt) << "no track";
    EXPECT_EQ(countOf(boxOfSize("moov", 1'000'000, videoTrak(1, 90000))), std::nullopt);
    EXPECT_EQ(countTracksOfFile(TempFile::unusedPath()), std::nullopt);
}

// However many samples the tables have.
TEST(CountTracks, ReadsPastWhatIsNotAsked) {
    const Bytes tables = box("free", Bytes().fill(40 << 20));
    const Bytes moov = join({tables, videoTrak(1, 90000), soundTrak(2, 48000)});
    EXPECT_EQ(countOf(plainFile(moov)), (TrackCount{.all = 2, .video = 1, .sound = 1}));
}

TEST(CountTracks, WithMoreBoxesThanAreLookedAtItIsUnknown) {
    Bytes moov = videoTrak(1, 90000);
    for (int i = 0; i < 5000; i++) moov.add(box("free"));
    EXPECT_EQ(countOf(plainFile(moov)), std::nullopt);
}

} // namespace
} // namespace velkantrix
