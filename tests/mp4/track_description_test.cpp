#include "mp4/track_description.h"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/recordings.h"

namespace velkantrix {
namespace {

using testing::IsEmpty;

VideoTrackIndex videoOf(const Bytes& moov, VideoTrackIndex index = {}) {
    readVideoTrack(ByteView(moov.vector()), index);
    return index;
}

VideoTrackIndex entryOf(const Bytes& entries) {
    VideoTrackIndex index;
    readVideoSampleEntry(ByteView(entries.vector()), index);
    return index;
}

// ---- the video track

TEST(ReadVideoTrack, FillsInTheDescriptionAndThePlainKeyframes) {
    const VideoTrackIndex index = videoOf(join({mvhd(600), videoTrak(7, 90000)}));
    EXPECT_EQ(index.trackId, 7u);
    EXPECT_EQ(index.timescale, 90000u);
    EXPECT_EQ(index.width, 1280u);
    EXPECT_EQ(index.height, 720u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
    EXPECT_EQ(index.randomAccess, plainKeyframes());
}

TEST(ReadVideoTrack, WithSoundFirstTheDescriptionComesFromTheSecondTrack) {
    const VideoTrackIndex index =
        videoOf(join({soundTrak(1, 48000), videoTrak(2, 90000, avc1(640, 480), 5000)}));
    EXPECT_EQ(index.trackId, 2u);
    EXPECT_EQ(index.timescale, 90000u);
    EXPECT_EQ(index.width, 640u);
    EXPECT_EQ(index.randomAccess, plainKeyframes(5000));
}

TEST(ReadVideoTrack, OfTwoVideoTracksOnlyTheFirstIsUsed) {
    const Bytes other = avc1(320, 240, avcRecord(Bytes{0x67, 9, 9, 9}));
    const VideoTrackIndex index =
        videoOf(join({videoTrak(1, 1000), videoTrak(2, 2000, other, 5000)}));
    EXPECT_EQ(index.trackId, 1u);
    EXPECT_EQ(index.timescale, 1000u);
    EXPECT_EQ(index.width, 1280u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
    EXPECT_EQ(index.randomAccess, plainKeyframes());
}

TEST(ReadVideoTrack, OneWithoutATimeScaleLeavesNothingBehind) {
    const VideoTrackIndex index =
        videoOf(join({videoTrak(1, 0), videoTrak(2, 2000, avc1(640, 480, {}), 5000)}));
    EXPECT_EQ(index.trackId, 2u);
    EXPECT_EQ(index.timescale, 2000u);
    EXPECT_EQ(index.width, 640u);
    EXPECT_THAT(index.avcConfig, IsEmpty());
    EXPECT_EQ(index.randomAccess, plainKeyframes(5000));
}

TEST(ReadVideoTrack, OneWithoutATimeScaleIsDescribedAllTheSame) {
    const VideoTrackIndex index =
        videoOf(join({videoTrak(1, 0, avc1(320, 240, {})), videoTrak(2, 0, avc1(640, 480), 5000)}));
    EXPECT_EQ(index.trackId, 2u);
    EXPECT_EQ(index.timescale, 0u);
    EXPECT_EQ(index.width, 640u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
    EXPECT_EQ(index.randomAccess, plainKeyframes(5000));
}

TEST(ReadVideoTrack, WithoutAVideoTrackNothingIsChanged) {
    VideoTrackIndex before;
    before.trackId = 5;
    before.width = 6;
    for (const Bytes& moov : {Bytes(), soundTrak(1, 48000)}) {
        const VideoTrackIndex after = videoOf(moov, before);
        EXPECT_EQ(after.trackId, 5u);
        EXPECT_EQ(after.timescale, 0u);
        EXPECT_EQ(after.width, 6u);
        EXPECT_THAT(after.randomAccess, IsEmpty());
    }
}

TEST(ReadVideoTrack, WithoutTablesThereIsADescriptionAndNoKeyframe) {
    const VideoTrackIndex bare = videoOf(
        box("trak", join({tkhd(7), box("mdia", join({mdhd(1000), hdlr("vide"), box("minf")}))})));
    EXPECT_EQ(bare.trackId, 7u);
    EXPECT_EQ(bare.timescale, 1000u);
    EXPECT_THAT(bare.randomAccess, IsEmpty());
    const VideoTrackIndex described = videoOf(trak(7, 1000, "vide", stsd(avc1(64, 48))));
    EXPECT_EQ(described.timescale, 1000u);
    EXPECT_EQ(described.width, 64u);
    EXPECT_THAT(described.randomAccess, IsEmpty());
}

TEST(ReadVideoTrack, VersionOneHeadersAreRead) {
    const Bytes media = join({mdhd(0x80000001, 1), hdlr("vide"), box("minf")});
    const VideoTrackIndex index =
        videoOf(box("trak", join({tkhd(0xA0000007, 1), box("mdia", media)})));
    EXPECT_EQ(index.trackId, 0xA0000007);
    EXPECT_EQ(index.timescale, 0x80000001);
}

TEST(ReadVideoTrack, ATrackWithAShortIdBoxHasNone) {
    const Bytes media = join({mdhd(1000), hdlr("vide"), box("minf")});
    const VideoTrackIndex index =
        videoOf(box("trak", join({box("tkhd", Bytes().fill(15, 7)), box("mdia", media)})));
    EXPECT_EQ(index.trackId, 0u);
    EXPECT_EQ(index.timescale, 1000u);
}

TEST(ReadVideoTrack, LongSizesAreFollowed) {
    const VideoTrackIndex index =
        videoOf(withLongSizes(join({soundTrak(1, 48000), videoTrak(7, 90000)})));
    EXPECT_EQ(index.trackId, 7u);
    EXPECT_EQ(index.width, 1280u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
    EXPECT_EQ(index.randomAccess, plainKeyframes());
}

TEST(ReadVideoTrack, AnStsdOfNoMoreThanEightBytesIsNotLookedInto) {
    for (const std::size_t size : {0u, 7u, 8u}) {
        const VideoTrackIndex index =
            videoOf(trak(7, 1000, "vide", box("stsd", Bytes().fill(size, 1))));
        EXPECT_EQ(index.timescale, 1000u) << size;
        EXPECT_EQ(index.width, 0u) << size;
    }
}

// Fewer or more than there are: the walk decides.
TEST(ReadVideoTrack, TheNumberOfSampleEntriesIsNotLookedAt) {
    for (const std::uint32_t count : {0u, 9u, 0xFFFFFFFFu}) {
        const Bytes entries = fullBox("stsd", 0, 0, Bytes().u32(count).add(avc1(64, 48)));
        EXPECT_EQ(videoOf(trak(7, 1000, "vide", entries)).width, 64u) << count;
    }
}

TEST(ReadVideoTrack, ThousandsOfTracksInFrontArePassedOver) {
    Bytes moov;
    for (std::uint32_t i = 0; i < 5000; ++i) moov.add(videoTrak(1, 0));
    EXPECT_EQ(videoOf(moov.add(videoTrak(7, 1000))).trackId, 7u);
}

// ---- the video sample entry

TEST(ReadVideoSampleEntry, Avc1AndAvc3AreRead) {
    for (const char* const type : {"avc1", "avc3"}) {
        const VideoTrackIndex index = entryOf(avc1(0x9234, 0xFEDC, Bytes{1, 2, 3}, type));
        EXPECT_EQ(index.width, 0x9234u) << type;
        EXPECT_EQ(index.height, 0xFEDCu) << type;
        EXPECT_EQ(index.avcConfig, (std::vector<std::uint8_t>{1, 2, 3})) << type;
    }
}

TEST(ReadVideoSampleEntry, OtherCodecsLeaveNothing) {
    for (const char* const type : {"hvc1", "hev1", "mp4v", "avc2", "avc4", "AVC1", "av01"}) {
        const VideoTrackIndex index = entryOf(avc1(640, 480, avcRecord(), type));
        EXPECT_EQ(index.width, 0u) << type;
        EXPECT_EQ(index.height, 0u) << type;
        EXPECT_THAT(index.avcConfig, IsEmpty()) << type;
    }
}

TEST(ReadVideoSampleEntry, ExactlySeventyEightBytesGiveASizeAndNoConfiguration) {
    const VideoTrackIndex index = entryOf(box("avc1", visualFields(640, 480)));
    EXPECT_EQ(index.width, 640u);
    EXPECT_EQ(index.height, 480u);
    EXPECT_THAT(index.avcConfig, IsEmpty());
}

TEST(ReadVideoSampleEntry, SeventySevenBytesAreNoEntry) {
    Bytes fields = visualFields(640, 480);
    fields.resize(77);
    EXPECT_EQ(entryOf(box("avc1", fields)).width, 0u);
    EXPECT_EQ(entryOf(box("avc1")).width, 0u);
    // The next one then is the first.
    EXPECT_EQ(entryOf(join({box("avc1", fields), avc1(64, 48)})).width, 64u);
}

TEST(ReadVideoSampleEntry, OfSeveralEntriesTheFirstIsUsed) {
    const VideoTrackIndex index =
        entryOf(join({box("hvc1", visualFields(1, 1)), avc1(640, 480, Bytes{1}, "avc3"),
                      avc1(64, 48, Bytes{2})}));
    EXPECT_EQ(index.width, 640u);
    EXPECT_EQ(index.avcConfig, (std::vector<std::uint8_t>{1}));
}

TEST(ReadVideoSampleEntry, TheFirstOneIsUsedEvenWithoutAConfiguration) {
    const VideoTrackIndex index =
        entryOf(join({box("avc1", visualFields(640, 480)), avc1(64, 48)}));
    EXPECT_EQ(index.width, 640u);
    EXPECT_THAT(index.avcConfig, IsEmpty());
}

TEST(ReadVideoSampleEntry, EveryConfigurationIsAppended) {
    const VideoTrackIndex index = entryOf(box("avc1", visualFields(640, 480)
                                                          .add(box("avcC", Bytes{1, 2}))
                                                          .add(box("btrt", Bytes{9}))
                                                          .add(box("avcC", Bytes{3}))));
    EXPECT_EQ(index.avcConfig, (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST(ReadVideoSampleEntry, AConfigurationThatRunsOverItsEntryIsNone) {
    const Bytes entry =
        box("avc1", visualFields(640, 480).add(boxOfSize("avcC", 12, Bytes{1, 2, 3})));
    const VideoTrackIndex index = entryOf(join({entry, Bytes().fill(20)}));
    EXPECT_EQ(index.width, 640u);
    EXPECT_THAT(index.avcConfig, IsEmpty());
}

TEST(ReadVideoSampleEntry, LongSizesAreFollowed) {
    const VideoTrackIndex index =
        entryOf(withLongSizes(join({box("hvc1", Bytes().fill(90)), avc1(640, 480)})));
    EXPECT_EQ(index.width, 640u);
    EXPECT_EQ(index.avcConfig, avcRecord().vector());
}

// ---- esds

std::string configOf(const Bytes& payload) {
    std::string text;
    for (const std::uint8_t byte : audioConfigOf(ByteView(payload.vector()))) {
        text += std::to_string(byte) + " ";
    }
    return text;
}

// A payload; lengths are given as bytes, so that they can be of any form.
struct Esds {
    int streamTag = 3, decoderTag = 4, infoTag = 5;
    int flags = 0;
    Bytes streamLength{30}, decoderLength{18}, infoLength{2};
    Bytes behindFlags;
    Bytes config{0x12, 0x10};

    [[nodiscard]] Bytes payload() const {
        return join({Bytes{0, 0, 0, 0, streamTag}, streamLength, Bytes{0, 1, flags}, behindFlags,
                     Bytes{decoderTag}, decoderLength, Bytes().fill(13, 0xAA), Bytes{infoTag},
                     infoLength, config});
    }
};

constexpr const char* CONFIG = "18 16 ";

TEST(AudioConfigOf, TheInfoOfTheDecoder) {
    EXPECT_EQ(configOf(Esds().payload()), CONFIG);
    EXPECT_EQ(configOf(Esds().payload().fill(10, 6)), CONFIG); // others may follow
    const Bytes built = esds({0x12, 0x10});
    EXPECT_EQ(configOf(Bytes().fill(4, 0xFF).add([&] {
                  Bytes rest;
                  for (std::size_t i = 12; i < built.size(); ++i) rest.u8(built.data()[i]);
                  return rest;
              }())),
              CONFIG); // whatever the version
}

TEST(AudioConfigOf, AnotherTagThanExpectedIsNone) {
    for (const int tag : {0, 2, 4, 6, 255}) {
        EXPECT_EQ(configOf(Esds{.streamTag = tag}.payload()), "") << tag;
    }
    for (const int tag : {0, 3, 5, 6, 255}) {
        EXPECT_EQ(configOf(Esds{.decoderTag = tag}.payload()), "") << tag;
    }
    for (const int tag : {0, 3, 4, 6, 255}) {
        EXPECT_EQ(configOf(Esds{.infoTag = tag}.payload()), "") << tag;
    }
}

TEST(AudioConfigOf, LengthsTakeOneToFourBytes) {
    for (const Bytes& length :
         {Bytes{2}, Bytes{0x80, 2}, Bytes{0x80, 0x80, 2}, Bytes{0x80, 0x80, 0x80, 2}}) {
        EXPECT_EQ(configOf(Esds{.streamLength = length}.payload()), CONFIG) << length.size();
        EXPECT_EQ(configOf(Esds{.decoderLength = length}.payload()), CONFIG) << length.size();
        EXPECT_EQ(configOf(Esds{.infoLength = length}.payload()), CONFIG) << length.size();
    }
}

TEST(AudioConfigOf, AFourthByteIsTheLastOneWhateverItSays) {
    const Bytes length{0x80, 0x80, 0x80, 0x82};
    EXPECT_EQ(configOf(Esds{.streamLength = length}.payload()), CONFIG);
    EXPECT_EQ(configOf(Esds{.decoderLength = length}.payload()), CONFIG);
    EXPECT_EQ(configOf(Esds{.infoLength = length}.payload()), CONFIG);
    EXPECT_EQ(configOf(Esds{.infoLength = Bytes{0x80, 0x80, 0x80, 0x80, 2}}.payload()), "");
}

TEST(AudioConfigOf, SevenBitsOfEachByteCount) {
    const Bytes config = Bytes().fill(129, 7).u8(9);
    const Bytes payload = Esds{.infoLength = {0x81, 2}, .config = config}.payload();
    EXPECT_EQ(audioConfigOf(ByteView(payload.vector())).size(), 130u);
    const Bytes longer =
        Esds{.infoLength = {0x81, 0x80, 1}, .config = Bytes().fill(16385)}.payload();
    EXPECT_EQ(audioConfigOf(ByteView(longer.vector())).size(), 16385u);
}

// Encoders write them wrong.
TEST(AudioConfigOf, OuterLengthsAreNotLookedAt) {
    for (const int length : {0, 1, 127}) {
        EXPECT_EQ(configOf(Esds{.streamLength = {length}}.payload()), CONFIG) << length;
        EXPECT_EQ(configOf(Esds{.decoderLength = {length}}.payload()), CONFIG) << length;
    }
}

TEST(AudioConfigOf, AnInfoOfNoBytesIsNone) {
    EXPECT_EQ(configOf(Esds{.infoLength = {0}}.payload()), "");
}

TEST(AudioConfigOf, AnInfoMustLieInsideThePayload) {
    EXPECT_EQ(configOf(Esds{.infoLength = {1}}.payload()), "18 ");
    EXPECT_EQ(configOf(Esds{.infoLength = {3}}.payload()), "");
    EXPECT_EQ(configOf(Esds{.infoLength = {0xFF, 0xFF, 0xFF, 0x7F}}.payload()), "");
}

TEST(AudioConfigOf, AUrlIsSkipped) {
    EXPECT_EQ(configOf(Esds{.flags = 0x40, .behindFlags = {3, 'u', 'r', 'l'}}.payload()), CONFIG);
    EXPECT_EQ(configOf(Esds{.flags = 0x40, .behindFlags = {0}}.payload()), CONFIG);
    EXPECT_EQ(configOf(Esds{.flags = 0x40, .behindFlags = Bytes{255}.fill(255, 'u')}.payload()),
              CONFIG);
    EXPECT_EQ(configOf(Esds{.flags = 0x40, .behindFlags = {255}}.payload()), "");
}

TEST(AudioConfigOf, TheClockStreamIsSkipped) {
    EXPECT_EQ(configOf(Esds{.flags = 0x20, .behindFlags = {0, 9}}.payload()), CONFIG);
    EXPECT_EQ(configOf(Esds{.flags = 0x20}.payload()), "");
    EXPECT_EQ(configOf(Esds{.flags = 0x60, .behindFlags = {1, 'u', 0, 9}}.payload()), CONFIG);
}

TEST(AudioConfigOf, AStreamThatDependsOnAnotherHasNone) {
    EXPECT_EQ(configOf(Esds{.flags = 0x80, .behindFlags = {0, 9}}.payload()), "");
    EXPECT_EQ(configOf(Esds{.flags = 0x80}.payload()), CONFIG); // the flag alone does nothing
}

TEST(AudioConfigOf, OtherFlagsSayNothing) {
    EXPECT_EQ(configOf(Esds{.flags = 0x1F}.payload()), CONFIG);
}

TEST(AudioConfigOf, ACutPayloadIsNone) {
    const Bytes whole = Esds{.streamLength = {0x80, 30}}.payload();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        Bytes cut = whole;
        cut.resize(size);
        EXPECT_EQ(configOf(cut), "") << size;
    }
}

} // namespace
} // namespace velkantrix
