#include "mp4/track_boxes.h"

#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/recordings.h"

namespace velkantrix {
namespace {

// The bytes live as long as the test; so do the views.
class TrackBoxesTest : public testing::Test {
protected:
    ByteView keep(const Bytes& bytes) {
        kept_.push_back(bytes.vector());
        return kept_.back();
    }
    TrackBoxes read(const Bytes& trakPayload) { return readTrackBoxes(keep(trakPayload)); }
    std::optional<TrackBoxes> find(const Bytes& moov) { return search(moov).track; }
    VideoTrackSearch search(const Bytes& moov) { return findVideoTrack(keep(moov)); }

    static Bytes bytesOf(const std::optional<ByteView>& view) {
        Bytes bytes;
        for (const std::uint8_t byte : view.value_or(ByteView())) bytes.u8(byte);
        return bytes;
    }

private:
    std::vector<std::vector<std::uint8_t>> kept_;
};

using ReadTrackBoxes = TrackBoxesTest;
using FindVideoTrack = TrackBoxesTest;
using MovieTimescale = TrackBoxesTest;

Bytes minf(const Bytes& stbl) {
    return box("minf", box("stbl", stbl));
}

TEST_F(ReadTrackBoxes, AWholeTrack) {
    const TrackBoxes track =
        read(join({tkhd(7), elst({{10, 0}}),
                   box("mdia", join({mdhd(90000), hdlr("vide"), minf(Bytes{1, 2, 3})}))}));
    EXPECT_EQ(track.trackId, 7u);
    EXPECT_EQ(track.timescale, 90000u);
    EXPECT_EQ(track.soundTimescale, 90000u);
    EXPECT_TRUE(track.isVideo);
    EXPECT_FALSE(track.isSound);
    EXPECT_EQ(bytesOf(track.stbl), (Bytes{1, 2, 3}));
    EXPECT_EQ(bytesOf(track.elst), Bytes().u32(0).u32(1).u32(10).u32(0).u32(0x10000));
}

TEST_F(ReadTrackBoxes, NothingIsThereOfAnEmptyTrack) {
    for (const Bytes& content : {Bytes(), box("mdia"), box("mdia", box("minf")), box("edts")}) {
        const TrackBoxes track = read(content);
        EXPECT_EQ(track.trackId, 0u);
        EXPECT_EQ(track.timescale, 0u);
        EXPECT_EQ(track.soundTimescale, 0u);
        EXPECT_FALSE(track.isVideo);
        EXPECT_FALSE(track.isSound);
        EXPECT_FALSE(track.stbl);
        EXPECT_FALSE(track.elst);
    }
}

TEST_F(ReadTrackBoxes, InVersionOneTheFieldsStandEightBytesOn) {
    const TrackBoxes track = read(join({tkhd(0xA0B0C0D0, 1), box("mdia", mdhd(0x80000001, 1))}));
    EXPECT_EQ(track.trackId, 0xA0B0C0D0);
    EXPECT_EQ(track.timescale, 0x80000001);
    EXPECT_EQ(track.soundTimescale, 0x80000001);
}

// Behind each box others follow, whose bytes must not be taken for the missing ones.
TEST_F(ReadTrackBoxes, AShortBoxReadsAsZero) {
    struct Row {
        int version;
        std::size_t bytes; // of the payload
        bool whole;
    };
    for (const Row& row : {Row{0, 0, false}, Row{0, 4, false}, Row{0, 12, false}, Row{0, 15, false},
                           Row{0, 16, true}, Row{1, 16, false}, Row{1, 20, false},
                           Row{1, 23, false}, Row{1, 24, true}}) {
        Bytes payload = Bytes().u8(static_cast<std::uint8_t>(row.version)).fill(30, 0x11);
        payload.resize(row.bytes);
        const Bytes follower = box("free", Bytes().fill(30, 0x22));
        const TrackBoxes track = read(join(
            {box("tkhd", payload), follower, box("mdia", join({box("mdhd", payload), follower}))}));
        EXPECT_EQ(track.trackId, row.whole ? 0x11111111 : 0) << row.version << " " << row.bytes;
        EXPECT_EQ(track.timescale, row.whole ? 0x11111111 : 0) << row.version << " " << row.bytes;
    }
}

TEST_F(ReadTrackBoxes, ATimeScaleBoxBelowTwentyBytesIsNoneOfSound) {
    Bytes payload = Bytes().fill(12).u32(1000).fill(4);
    const Bytes whole = box("mdhd", payload);
    payload.resize(19);
    const Bytes cut = box("mdhd", payload), empty = box("mdhd");
    EXPECT_EQ(read(box("mdia", whole)).soundTimescale, 1000u);
    const TrackBoxes track = read(box("mdia", cut));
    EXPECT_EQ(track.timescale, 1000u);
    EXPECT_EQ(track.soundTimescale, 0u);
    const TrackBoxes both = read(box("mdia", join({whole, mdhd(2000), cut, empty})));
    EXPECT_EQ(both.timescale, 0u);
    EXPECT_EQ(both.soundTimescale, 2000u);
}

TEST_F(ReadTrackBoxes, TheHandlerSaysWhatItIs) {
    struct Row {
        const char* handler;
        bool isVideo, isSound;
    };
    for (const Row& row : {Row{"vide", true, false}, Row{"soun", false, true},
                           Row{"text", false, false}, Row{"Vide", false, false}}) {
        const TrackBoxes track = read(box("mdia", hdlr(row.handler)));
        EXPECT_EQ(track.isVideo, row.isVideo) << row.handler;
        EXPECT_EQ(track.isSound, row.isSound) << row.handler;
    }
}

TEST_F(ReadTrackBoxes, AHandlerBoxOfFewerThanTwelveBytesSaysNothing) {
    for (const char* const handler : {"vide", "soun"}) {
        Bytes payload = Bytes().u32(0).u32(0).text(handler);
        const TrackBoxes whole = read(box("mdia", box("hdlr", payload)));
        EXPECT_TRUE(whole.isVideo || whole.isSound) << handler;
        payload.resize(11);
        const TrackBoxes cut = read(box("mdia", join({box("hdlr", payload), box("free")})));
        EXPECT_FALSE(cut.isVideo || cut.isSound) << handler;
    }
}

TEST_F(ReadTrackBoxes, AnotherHandlerBoxTakesNothingBack) {
    EXPECT_TRUE(read(box("mdia", join({hdlr("vide"), hdlr("text")}))).isVideo);
    EXPECT_TRUE(read(box("mdia", join({hdlr("soun"), hdlr("text")}))).isSound);
}

TEST_F(ReadTrackBoxes, OneHandlerDoesNotHinderTheOther) {
    for (const Bytes& both :
         {join({hdlr("vide"), hdlr("soun")}), join({hdlr("soun"), hdlr("vide")})}) {
        const TrackBoxes track = read(box("mdia", both));
        EXPECT_TRUE(track.isVideo);
        EXPECT_TRUE(track.isSound);
        EXPECT_TRUE(find(box("trak", box("mdia", join({mdhd(1000), both})))));
    }
}

TEST_F(ReadTrackBoxes, AShortBoxBehindAWholeOneReadsAsZero) {
    EXPECT_EQ(read(join({tkhd(3), box("tkhd", Bytes().fill(15, 7))})).trackId, 0u);
}

TEST_F(ReadTrackBoxes, ALaterEdtsWithoutAListHasNone) {
    EXPECT_FALSE(read(join({elst({{1, 0}}), box("edts")})).elst);
}

TEST_F(ReadTrackBoxes, OfSeveralBoxesTheLastCounts) {
    const TrackBoxes track =
        read(join({tkhd(1), tkhd(2), elst({{1, 0}}), elst({}),
                   box("mdia", join({mdhd(10), mdhd(20, 1), minf(Bytes{1}), minf(Bytes{2, 2}),
                                     box("minf", box("free"))}))}));
    EXPECT_EQ(track.trackId, 2u);
    EXPECT_EQ(track.timescale, 20u);
    EXPECT_EQ(track.soundTimescale, 20u);
    EXPECT_EQ(bytesOf(track.stbl), (Bytes{2, 2}));
    EXPECT_EQ(bytesOf(track.elst), Bytes().u32(0).u32(0));
}

TEST_F(ReadTrackBoxes, OfSeveralBoxesInOneContainerTheLastCounts) {
    const Bytes first = box("elst", Bytes{1}), last = box("elst", Bytes{2, 2});
    const TrackBoxes track = read(
        join({box("edts", join({first, last})),
              box("mdia", box("minf", join({box("stbl", Bytes{1}), box("stbl", Bytes{2, 2})})))}));
    EXPECT_EQ(bytesOf(track.stbl), (Bytes{2, 2}));
    EXPECT_EQ(bytesOf(track.elst), (Bytes{2, 2}));
}

TEST_F(ReadTrackBoxes, AnEmptyTableBoxIsThere) {
    const TrackBoxes track = read(join({box("edts", box("elst")), box("mdia", minf({}))}));
    EXPECT_TRUE(track.stbl);
    EXPECT_TRUE(track.elst);
}

TEST_F(ReadTrackBoxes, ThePlaceOfABoxMatters) {
    const TrackBoxes track =
        read(join({mdhd(90000), hdlr("vide"), minf({}), box("stbl"), box("elst"),
                   box("mdia", join({tkhd(7), elst({}), box("stbl"), box("mdia", mdhd(5)),
                                     box("minf", join({mdhd(5), hdlr("vide")}))})),
                   box("udta", join({tkhd(7), box("mdia", mdhd(5))}))}));
    EXPECT_EQ(track.trackId, 0u);
    EXPECT_EQ(track.timescale, 0u);
    EXPECT_FALSE(track.isVideo);
    EXPECT_FALSE(track.stbl);
    EXPECT_FALSE(track.elst);
}

TEST_F(ReadTrackBoxes, LongSizesAreFollowed) {
    const Bytes whole = trak(7, 90000, "vide", stss({1, 2}), elst({{10, 0}}));
    const TrackBoxes track =
        read(withLongSizes(ByteView(whole.vector()).from(8))); // without the trak's header
    EXPECT_EQ(track.trackId, 7u);
    EXPECT_EQ(track.timescale, 90000u);
    EXPECT_TRUE(track.isVideo);
    EXPECT_EQ(bytesOf(track.stbl), withLongSizes(stss({1, 2})));
    EXPECT_EQ(bytesOf(track.elst).size(), 20u);
}

TEST_F(ReadTrackBoxes, NothingBehindABadBoxIsRead) {
    const TrackBoxes track =
        read(join({tkhd(7), box("mdia", join({mdhd(5), boxOfSize("hdlr", 7), hdlr("vide")})),
                   boxOfSize("free", 1000), tkhd(8)}));
    EXPECT_EQ(track.trackId, 7u);
    EXPECT_EQ(track.timescale, 5u);
    EXPECT_FALSE(track.isVideo);
}

TEST_F(ReadTrackBoxes, BoxesThatDoNotFillWhatTheyLieInAreToldOf) {
    for (const Bytes& bad : {boxOfSize("free", 7), boxOfSize("free", 99), openBox("free")}) {
        EXPECT_FALSE(read(join({tkhd(7), bad})).regular);
        EXPECT_FALSE(read(join({box("mdia", bad), tkhd(7)})).regular);
        EXPECT_FALSE(read(join({box("edts", bad), tkhd(7)})).regular);
        EXPECT_FALSE(read(box("mdia", join({box("minf", bad), mdhd(5)}))).regular);
        EXPECT_FALSE(read(join({box("mdia", bad), box("mdia", mdhd(5))})).regular);
        EXPECT_TRUE(read(box("udta", bad)).regular) << "it isn't looked into";
    }
    EXPECT_TRUE(read({}).regular);
    EXPECT_TRUE(read(withoutHeader(videoTrak(1, 1000))).regular);
}

TEST_F(MovieTimescale, IsThatOfTheMoviesHeader) {
    EXPECT_EQ(movieTimescale(keep(join({box("free"), mvhd(600), videoTrak(1, 90000)}))), 600u);
    EXPECT_EQ(movieTimescale(keep(fullBox("mvhd", 1, 0, Bytes().u64(0).u64(0).u32(700)))), 700u);
    EXPECT_EQ(movieTimescale(keep(withLongSizes(mvhd(600)))), 600u);
    EXPECT_EQ(movieTimescale(keep(join({mvhd(600), mvhd(700)}))), 700u); // the last one counts
}

TEST_F(MovieTimescale, WithoutAWholeHeaderIsZero) {
    EXPECT_EQ(movieTimescale(keep({})), 0u);
    EXPECT_EQ(movieTimescale(keep(videoTrak(1, 90000))), 0u);
    EXPECT_EQ(movieTimescale(keep(join({box("mvhd", Bytes().fill(15, 2)), box("free")}))), 0u);
}

TEST_F(FindVideoTrack, TheFirstOneIsTaken) {
    const auto found = find(join({mvhd(600), videoTrak(3, 1000), videoTrak(4, 2000)}));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->trackId, 3u);
    EXPECT_EQ(found->timescale, 1000u);
    EXPECT_EQ(bytesOf(found->stbl), plainTables(avc1(1280, 720)));
}

TEST_F(FindVideoTrack, OtherTracksInFrontArePassedOver) {
    const auto found = find(
        join({soundTrak(1, 48000), trak(2, 1000, "text", {}), box("trak"), videoTrak(4, 2000)}));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->trackId, 4u);
}

TEST_F(FindVideoTrack, OneWithoutATimeScaleIsPassedOver) {
    const auto found = find(join({videoTrak(3, 0), videoTrak(4, 2000)}));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->trackId, 4u);
    EXPECT_EQ(found->timescale, 2000u);
}

TEST_F(FindVideoTrack, WhereNoneHasATimeScaleTheLastIsTaken) {
    const auto found = find(join({videoTrak(3, 0), videoTrak(4, 0), soundTrak(5, 48000)}));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->trackId, 4u);
    EXPECT_EQ(found->timescale, 0u);
}

TEST_F(FindVideoTrack, NoTrackIsNone) {
    EXPECT_FALSE(find({}));
    EXPECT_FALSE(find(soundTrak(1, 48000)));
    EXPECT_FALSE(find(box("moov", videoTrak(1, 1000)))); // one level too deep
}

TEST_F(FindVideoTrack, OneWithoutTablesOrIdIsTaken) {
    const auto found =
        find(box("trak", box("mdia", join({mdhd(1000), hdlr("vide"), box("minf")}))));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->trackId, 0u);
    EXPECT_FALSE(found->stbl);
}

TEST_F(FindVideoTrack, BoxesThatBreakOffAreToldOf) {
    const Bytes good = videoTrak(3, 1000), bad = box("trak", boxOfSize("mdia", 7));
    const VideoTrackSearch sound = search(join({good, videoTrak(4, 1000)}));
    EXPECT_TRUE(sound.moovRegular && sound.traksRegular);
    for (const Bytes& both : {join({good, bad}), join({bad, good})}) {
        const VideoTrackSearch found = search(both);
        EXPECT_TRUE(found.moovRegular);
        EXPECT_FALSE(found.traksRegular);
        ASSERT_TRUE(found.track);
        EXPECT_TRUE(found.track->regular);
    }
    const VideoTrackSearch cut = search(join({good, boxOfSize("trak", 99)}));
    EXPECT_FALSE(cut.moovRegular);
    EXPECT_TRUE(cut.traksRegular);
    EXPECT_TRUE(cut.track);
}

} // namespace
} // namespace velkantrix
