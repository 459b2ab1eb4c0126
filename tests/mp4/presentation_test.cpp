// What of a file tells whether its coded tracks, taken as they are, are all that is shown and
// heard.
#include <cstdint>

#include <gtest/gtest.h>

#include "mp4/track_description.h"
#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

constexpr std::int32_t ONE = 0x10000; // in fixed point

// A tkhd with the matrix {a b 0, c d 0, 0 0 1}.
Bytes tkhdWithMatrix(std::int32_t a, std::int32_t b, std::int32_t c, std::int32_t d,
                     int version = 0) {
    const std::size_t width = version == 1 ? 8 : 4;
    Bytes bytes = Bytes().number(0, width).number(0, width).u32(1).u32(0).fill(width);
    bytes.fill(16); // reserved, layer, group, volume
    for (const std::int32_t value : {a, b, 0, c, d, 0, 0, 0})
        bytes.u32(static_cast<std::uint32_t>(value));
    return fullBox("tkhd", version, 3, bytes.u32(0x40000000).u32(64 << 16).u32(48 << 16));
}

bool isShownAsCoded(const Bytes& tkhdBox, const Bytes& entry = avc1(64, 48)) {
    const Bytes stbl = plainTables(entry);
    const Bytes mdia =
        box("mdia", join({mdhd(1000), hdlr("vide"), box("minf", box("stbl", stbl))}));
    VideoTrackIndex index;
    const Bytes moov = box("trak", join({tkhdBox, mdia}));
    readVideoTrack(ByteView(moov.vector()), index);
    EXPECT_EQ(index.timescale, 1000u);
    return index.shownAsCoded;
}

Bytes avc1WithPixels(std::uint32_t horizontal, std::uint32_t vertical) {
    return box("avc1", visualFields(64, 48)
                           .add(box("avcC", avcRecord()))
                           .add(box("pasp", Bytes().u32(horizontal).u32(vertical))));
}

TEST(ShownAsCoded, AMatrixThatOnlyScalesAndMovesLeavesThePictureAlone) {
    for (const int version : {0, 1}) {
        EXPECT_TRUE(isShownAsCoded(tkhdWithMatrix(ONE, 0, 0, ONE, version)));
        EXPECT_TRUE(isShownAsCoded(tkhdWithMatrix(2 * ONE, 0, 0, ONE, version)));
        EXPECT_TRUE(isShownAsCoded(tkhdWithMatrix(0, 0, 0, 0, version)));
    }
    EXPECT_TRUE(isShownAsCoded(tkhd(1)));
    EXPECT_TRUE(isShownAsCoded(box("tkhd", Bytes().fill(15, 7)))); // it breaks off in front of it
}

TEST(ShownAsCoded, AMatrixThatTurnsOrMirrorsDoesNot) {
    for (const int version : {0, 1}) {
        EXPECT_FALSE(isShownAsCoded(tkhdWithMatrix(0, ONE, -ONE, 0, version)));  // 90 degrees
        EXPECT_FALSE(isShownAsCoded(tkhdWithMatrix(-ONE, 0, 0, -ONE, version))); // 180
        EXPECT_FALSE(isShownAsCoded(tkhdWithMatrix(0, -ONE, ONE, 0, version)));  // 270
        EXPECT_FALSE(isShownAsCoded(tkhdWithMatrix(-ONE, 0, 0, ONE, version)));
        EXPECT_FALSE(isShownAsCoded(tkhdWithMatrix(ONE, 0, 0, -ONE, version)));
    }
}

TEST(ShownAsCoded, PixelsThatAreNotSquareDoNotEither) {
    EXPECT_TRUE(isShownAsCoded(tkhd(1), avc1WithPixels(1, 1)));
    EXPECT_TRUE(isShownAsCoded(tkhd(1), avc1WithPixels(40, 40)));
    EXPECT_TRUE(isShownAsCoded(tkhd(1), avc1WithPixels(0, 0)));
    EXPECT_FALSE(isShownAsCoded(tkhd(1), avc1WithPixels(4, 3)));
    EXPECT_FALSE(isShownAsCoded(tkhd(1), avc1WithPixels(1, 2)));
}

TEST(ShownAsCoded, OnlyTheTrackThatCountsSaysSo) {
    VideoTrackIndex index;
    const Bytes turned =
        box("trak",
            join({tkhdWithMatrix(0, ONE, -ONE, 0), box("mdia", join({mdhd(1000), hdlr("soun")}))}));
    const Bytes moov = join({turned, videoTrak(2, 1000)});
    readVideoTrack(ByteView(moov.vector()), index);
    EXPECT_EQ(index.trackId, 2u);
    EXPECT_TRUE(index.shownAsCoded);
}

TEST(OneDescription, SeveralEntriesAreSeveralDescriptions) {
    for (const auto& [entries, isOne] :
         {std::pair{avc1(64, 48), true}, std::pair{join({avc1(64, 48), avc1(64, 48)}), false},
          std::pair{join({avc1(64, 48), box("hvc1", visualFields(64, 48))}), false}}) {
        VideoTrackIndex index;
        const Bytes moov = videoTrak(1, 1000, entries);
        readVideoTrack(ByteView(moov.vector()), index);
        EXPECT_EQ(index.oneDescription, isOne);
        EXPECT_EQ(index.width, 64u);
    }
}

FileSound soundOf(const Bytes& moov, const Bytes& tables = tfra(2, {{}})) {
    const TempFile temp(fragmentedFile(moov, tables));
    return loadFileSound(temp.path());
}

TEST(LoadFileSound, AFileWithoutSoundLacksNothing) {
    const FileSound sound = soundOf(videoTrak(1, 1000));
    EXPECT_FALSE(sound.track.valid);
    EXPECT_TRUE(sound.isFirst);
}

TEST(LoadFileSound, TheFirstTrackOfSoundIsTaken) {
    const FileSound sound =
        soundOf(join({videoTrak(1, 1000), soundTrak(2, 48000), soundTrak(3, 48000)}));
    EXPECT_EQ(sound.track.trackId, 2u);
    EXPECT_TRUE(sound.isFirst);
}

TEST(LoadFileSound, AFirstTrackThatCanNotBeTakenIsLeftOut) {
    const FileSound other =
        soundOf(join({soundTrak(1, 48000, box("ac-3", Bytes().fill(28))), soundTrak(2, 48000)}));
    EXPECT_EQ(other.track.trackId, 2u);
    EXPECT_FALSE(other.isFirst);
    const FileSound without = soundOf(join({soundTrak(1, 48000), soundTrak(2, 48000)}));
    EXPECT_EQ(without.track.trackId, 2u); // the first has no table
    EXPECT_FALSE(without.isFirst);
}

TEST(LoadFileSound, SoundWithoutAnyTrackThatCanBeTakenIsLeftOut) {
    for (const Bytes& track : {soundTrak(5, 48000), soundTrak(2, 0), soundTrak(0, 48000),
                               soundTrak(2, 48000, mp4a(2, 48000, esds({})))}) {
        const FileSound sound = soundOf(track);
        EXPECT_FALSE(sound.track.valid);
        EXPECT_FALSE(sound.isFirst);
    }
}

TEST(LoadFileSound, ItsEditListIsWorkedOut) {
    const Bytes entry = mp4a(2, 48000, esds({0x12, 0x10}));
    const Bytes listed = trak(2, 48000, "soun", stsd(entry), elst({{0, 1024}}));
    EXPECT_EQ(soundOf(join({mvhd(1000), listed})).editOffset, -1024);
    EXPECT_EQ(soundOf(join({mvhd(1000), soundTrak(2, 48000)})).editOffset, 0);
    const Bytes late = trak(2, 48000, "soun", stsd(entry), elst({{500, 0xFFFFFFFF}, {0, 0}}));
    EXPECT_EQ(soundOf(join({mvhd(1000), late})).editOffset, 24000);
}

TEST(LoadFileSound, ItsKindIsRead) {
    EXPECT_EQ(soundOf(soundTrak(2, 48000)).objectType, 0x40);
    EXPECT_EQ(soundOf(videoTrak(1, 1000)).objectType, 0);
}

TEST(LoadFileSound, SeveralEntriesAreSeveralDescriptions) {
    const Bytes plain = mp4a(2, 48000, esds({0x12, 0x10}));
    EXPECT_TRUE(soundOf(soundTrak(2, 48000, plain)).oneDescription);
    for (const Bytes& entries : {join({plain, plain}), join({box("ac-3", Bytes().fill(28)), plain}),
                                 join({plain, box("ac-3", Bytes().fill(28))})}) {
        const FileSound sound = soundOf(soundTrak(2, 48000, entries));
        EXPECT_TRUE(sound.track.valid);
        EXPECT_FALSE(sound.oneDescription);
    }
}

TEST(LoadFileSound, SamplesInTheMoovAreSeen) {
    const Bytes entry = stsd(mp4a(2, 48000, esds({0x12, 0x10})));
    const auto withTable = [&](const Bytes& table) {
        return soundOf(trak(2, 48000, "soun", join({entry, table}))).hasSamplesInMoov;
    };
    EXPECT_FALSE(withTable(Bytes()));
    EXPECT_FALSE(withTable(stszUniform(0, 0)));
    EXPECT_TRUE(withTable(stszUniform(4, 1)));
    EXPECT_TRUE(withTable(stsz({7})));
    EXPECT_TRUE(withTable(fullBox("stz2", 0, 0, Bytes().u32(8).u32(1).u8(7))));
}

TEST(LoadFileSound, WhereBoxesWereMissedNothingIsKnown) {
    const Bytes broken = Bytes().u32(4).text("trak");
    EXPECT_FALSE(soundOf(join({videoTrak(1, 1000), broken})).isFirst);
    EXPECT_FALSE(soundOf(box("trak", join({tkhd(1), broken}))).isFirst);
    EXPECT_FALSE(loadFileSound(TempFile::unusedPath()).isFirst);
    EXPECT_FALSE(loadFileSound(TempFile(ftyp()).path()).isFirst); // no moov
}

} // namespace
} // namespace velkantrix
