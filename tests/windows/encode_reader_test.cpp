// What a re-encode does about readers that deliver something else than was asked for.
#include "tests/windows/encode_shell.h"

#include <mfapi.h>
#include <mferror.h>

#include <algorithm>

#include <gmock/gmock.h>

#include "export/picture_effects.h"
#include "export/reencode_export.h"
#include "tests/windows/idle_transform.h"

namespace velkantrix {

namespace {

using testing::ElementsAre;

constexpr HRESULT BROKEN = MF_E_INVALID_FILE_FORMAT; // no result that the export makes itself
constexpr DWORD CHANGED = MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED;
constexpr GUID RATE_KEPT = {
    0x2c0afa19, 0x7a97, 0x4d5a, {0x9e, 0xe8, 0x16, 0xd4, 0xfc, 0x51, 0x8d, 0x8c}};

// From the fourth picture of the span on they are 12 x 16, of which the first 8 x 4 are seen.
class EncodeReaderTest : public EncodeShell {
protected:
    static ComPtr<IMFMediaType> largeType(bool aperture = true) {
        ComPtr<IMFMediaType> type = mediaTypeOf(MFMediaType_Video);
        EXPECT_EQ(type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12), S_OK);
        EXPECT_EQ(MFSetAttributeSize(type.get(), MF_MT_FRAME_SIZE, 12, 16), S_OK);
        const MFVideoArea area = {{0, 0}, {0, 0}, {WIDTH, HEIGHT}};
        const auto* const blob = reinterpret_cast<const UINT8*>(&area);
        if (!aperture) return type;
        EXPECT_EQ(type->SetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE, blob, sizeof area), S_OK);
        return type;
    }

    static Content largePicture() {
        Content content(12 * 16 * 3 / 2, 7);
        for (std::size_t y = 0; y < 4; y++) std::fill_n(&content[y * 12], WIDTH, LUMA);
        for (std::size_t y = 16; y < 18; y++) std::fill_n(&content[y * 12], WIDTH, CHROMA);
        return content;
    }

    void changeAt(std::size_t index, std::size_t end, const ComPtr<IMFMediaType>& type) {
        const ComPtr<IMFMediaBuffer> large = bufferOf(largePicture());
        video()[index].flags = CHANGED;
        video()[index].hook = [this, type] {
            reader->stream(VIDEO).delivers = type;
        };
        for (std::size_t i = index; i < end; i++) video()[i].content = large;
    }

    // From when it is asked anew; `index` is then as all the others.
    void comesBackToWhatWasAskedFor(std::size_t index, DWORD stream = VIDEO) {
        reader->stream(stream).whenAsked = [this, index, stream] {
            ScriptedStream& script = reader->stream(stream);
            if (!script.delivers) return; // the first time
            script.delivers = {};
            script.reads[index] = stream == VIDEO ? pictureAt(script.reads[index].time)
                                                  : soundAt(script.reads[index].time);
        };
    }

    // Takes the change back when asked, and comes by it again when it was set back.
    void tellsItAgainBehindEachSeek(DWORD stream) {
        reader->stream(stream).whenAsked = [this, stream] {
            reader->stream(stream).delivers = {};
        };
    }

    [[nodiscard]] Content soundWritten() const {
        Content all;
        for (const auto& sample : samplesOf(AUDIO_OUT)) {
            const Content content = contentOf(sample.get());
            all.insert(all.end(), content.begin(), content.end());
        }
        return all;
    }

    // The decoders are built anew when their types are set.
    void losesWhatIsDecoded() {
        reader->stream(VIDEO).lostWhenAsked = 5;
        reader->stream(AUDIO).lostWhenAsked = 7;
    }

    void soundChangesAt(std::size_t index, bool hasSample) {
        audio()[index].flags = CHANGED;
        audio()[index].hasSample = hasSample;
        audio()[index].content = bufferOf(sound(4800, 7));
        audio()[index].hook = [this] {
            reader->stream(AUDIO).delivers = mediaTypeOf(MFMediaType_Audio);
        };
    }

    // Each picture and each sound once, at its time.
    void expectAllAsAsked(std::uint8_t luma = LUMA) const {
        for (const DWORD stream : {VIDEO_OUT, AUDIO_OUT}) {
            std::vector<Ticks> times;
            for (int i = 0; i < 10; i++) times.push_back(i * FRAME);
            EXPECT_EQ(timesOf(stream), times);
        }
        for (const auto& sample : samplesOf(VIDEO_OUT)) {
            EXPECT_EQ(contentOf(sample.get()), picture(luma));
        }
        for (const auto& sample : samplesOf(AUDIO_OUT)) EXPECT_EQ(contentOf(sample.get()), sound());
    }
};

TEST_F(EncodeReaderTest, AReaderThatDeliversSomethingElseIsRefused) {
    reader->failCurrentType(BROKEN);
    EXPECT_EQ(encode(), BROKEN);
    for (const DWORD stream : {VIDEO, AUDIO}) {
        reset();
        reader->stream(stream).delivers = mediaTypeOf(MFMediaType_Video);
        EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
        EXPECT_TRUE(writer->calls().empty());
    }
}

TEST_F(EncodeReaderTest, AChangeToTheSameTypeIsNone) {
    video()[13].flags = CHANGED;
    EXPECT_EQ(encode(), S_OK);
    EXPECT_THAT(reader->steering(),
                ElementsAre("type 3", "type 1", "position 10000000", "position 10000000"));
}

// And set to the last picture that it gave before, or to the last sound.
TEST_F(EncodeReaderTest, AReaderThatChangesIsAskedAgainAndReadFromThere) {
    for (const double exposure : {0.0, 0.5}) {
        reset();
        request.exposure = exposure;
        losesWhatIsDecoded();
        changeAt(13, 14, largeType());
        comesBackToWhatWasAskedFor(13);
        EXPECT_EQ(encode(), S_OK);
        EXPECT_THAT(reader->steering(),
                    ElementsAre("type 3", "type 1", "position 10000000", "position 10000000",
                                "type 3", "position 12000000"));
        expectAllAsAsked(exposure > 0 ? exposureTable(exposure)[LUMA] : LUMA);
    }
}

TEST_F(EncodeReaderTest, WhatAReaderKeepsDeliveringIsCutToWhatIsSeen) {
    for (const double exposure : {0.0, 0.5}) {
        reset();
        request.exposure = exposure;
        losesWhatIsDecoded();
        changeAt(13, 50, largeType());
        EXPECT_EQ(encode(), S_OK);
        EXPECT_EQ(std::ranges::count(reader->steering(), "type 3"), 2);
        expectAllAsAsked(exposure > 0 ? exposureTable(exposure)[LUMA] : LUMA);
    }
}

TEST_F(EncodeReaderTest, LargerPicturesFromTheBeginningAreCutToo) {
    changeAt(0, 50, largeType());
    reader->stream(VIDEO).delivers = largeType();
    EXPECT_EQ(encode(), S_OK);
    expectAllAsAsked();
    EXPECT_EQ(std::ranges::count(reader->steering(), "type 3"), 1);
}

TEST_F(EncodeReaderTest, WhatIsntToBeSeenMustBeStated) {
    changeAt(13, 50, largeType(false));
    EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 3u);
    reset();
    changeAt(13, 50, nativePictures()); // no NV12
    EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
}

// The type changes before a picture comes of it.
TEST_F(EncodeReaderTest, AChangeWithoutAPictureMayBeTakenBack) {
    losesWhatIsDecoded();
    changeAt(13, 13, nativePictures());
    video()[13].hasSample = false;
    comesBackToWhatWasAskedFor(13);
    EXPECT_EQ(encode(), S_OK);
    expectAllAsAsked();
    reset();
    changeAt(13, 13, nativePictures());
    video()[13].hasSample = false;
    EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
}

TEST_F(EncodeReaderTest, AFailureToAskAgainMattersWhereThePicturesCantBeUsed) {
    changeAt(13, 50, largeType());
    reader->failSteering(5, BROKEN);
    EXPECT_EQ(encode(), S_OK);
    expectAllAsAsked();
    reset();
    changeAt(13, 13, nativePictures());
    video()[13].hasSample = false;
    reader->failSteering(5, BROKEN);
    EXPECT_EQ(encode(), BROKEN);
}

// In the stream alone it is stated, so that it shows with the first picture.
TEST_F(EncodeReaderTest, FullRangeIsAskedToBeConvertedBeforeTheFirstPicture) {
    ComPtr<IMFMediaType> full = nativePictures();
    EXPECT_EQ(full->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12), S_OK);
    EXPECT_EQ(full->SetUINT32(MF_MT_VIDEO_NOMINAL_RANGE, MFNominalRange_0_255), S_OK);
    losesWhatIsDecoded();
    video()[10].flags = CHANGED;
    video()[10].content = bufferOf(picture(0));
    video()[10].hook = [&] {
        EXPECT_TRUE(writer->calls().empty());
        reader->stream(VIDEO).delivers = full;
    };
    comesBackToWhatWasAskedFor(10);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(std::ranges::count(reader->steering(), "type 3"), 2);
    expectAllAsAsked();
}

TEST_F(EncodeReaderTest, TypesThatCantBeHadFailBeforeAnythingIsWritten) {
    changeAt(10, 50, largeType(false));
    EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
    EXPECT_TRUE(writer->calls().empty());
}

TEST_F(EncodeReaderTest, AFailureToSetTheReaderBackIsTheResult) {
    changeAt(13, 14, largeType());
    comesBackToWhatWasAskedFor(13);
    reader->failSteering(6, BROKEN);
    EXPECT_EQ(encode(), BROKEN);
    EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 3u);
}

TEST_F(EncodeReaderTest, ManyChangesOnTheWayCostNothing) {
    losesWhatIsDecoded();
    for (const std::size_t index : {11u, 12u, 13u, 14u, 15u, 16u, 18u}) {
        changeAt(index, index + 1, largeType());
    }
    reader->stream(VIDEO).whenAsked = [this] {
        ScriptedStream& script = reader->stream(VIDEO);
        if (!script.delivers) return;
        script.delivers = {};
        const auto changed = std::ranges::find(script.reads, CHANGED, &ScriptedRead::flags);
        *changed = pictureAt(changed->time);
    };
    EXPECT_EQ(encode(), S_OK);
    expectAllAsAsked();
}

// However often it takes back what it was asked for: wrong pictures are worse than no file.
TEST_F(EncodeReaderTest, PicturesThatChangeAgainBehindEachSeekFail) {
    for (const std::size_t index : {10u, 13u}) {
        reset();
        changeAt(index, index + 1, largeType());
        tellsItAgainBehindEachSeek(VIDEO);
        EXPECT_EQ(encode(200), CHANGES_FOR_EVER);
        EXPECT_EQ(std::ranges::count(reader->steering(), "type 3"), 1 + 5);
        EXPECT_EQ(writtenTo(VIDEO_OUT).size(), index - 10);
    }
}

TEST_F(EncodeReaderTest, SoundThatChangesAgainBehindEachSeekGoesOnAndIsSilentThere) {
    for (const std::size_t index : {10u, 13u, 19u}) {
        for (const std::size_t lost : {0u, 2u}) {
            for (const bool hasSample : {true, false}) {
                SCOPED_TRACE(testing::Message() << index << ", " << lost << ", " << hasSample);
                reset();
                soundChangesAt(index, hasSample);
                reader->stream(AUDIO).lostWhenAsked = lost;
                tellsItAgainBehindEachSeek(AUDIO);
                EXPECT_EQ(encode(), S_OK);
                EXPECT_EQ(std::ranges::count(reader->steering(), "type 1"), 1 + 2);
                EXPECT_EQ(reader->steering().back(), "type 1"); // there is one seek for it
                EXPECT_EQ(timesOf(VIDEO_OUT).size(), 10u);
                Content wanted;
                for (std::size_t i = 10; i < 20; i++) {
                    const bool silent = i >= index && i <= index + lost;
                    const Content tenth = sound(4800, silent ? std::int16_t{0} : LOUDNESS);
                    wanted.insert(wanted.end(), tenth.begin(), tenth.end());
                }
                EXPECT_TRUE(soundWritten() == wanted);
            }
        }
    }
}

// Each by itself: what is written between them is progress.
TEST_F(EncodeReaderTest, ManySuchChangesOfSoundCostNoMoreThanWhatCameWithThem) {
    for (const std::size_t index : {11u, 13u, 15u, 17u, 19u}) soundChangesAt(index, true);
    tellsItAgainBehindEachSeek(AUDIO);
    EXPECT_EQ(encode(), S_OK);
    Content wanted;
    for (std::size_t i = 0; i < 10; i++) {
        const Content tenth = sound(4800, i % 2 == 1 ? std::int16_t{0} : LOUDNESS);
        wanted.insert(wanted.end(), tenth.begin(), tenth.end());
    }
    EXPECT_TRUE(soundWritten() == wanted);
    EXPECT_EQ(timesOf(VIDEO_OUT).size(), 10u);
}

// A change that comes with the last of the stream ends it nevertheless.
TEST_F(EncodeReaderTest, SoundThatChangesAgainWithItsEndIsDone) {
    audio().resize(14);
    soundChangesAt(13, true);
    audio()[13].flags |= MF_SOURCE_READERF_ENDOFSTREAM;
    tellsItAgainBehindEachSeek(AUDIO);
    EXPECT_EQ(encode(200), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT).size(), 10u);
    EXPECT_EQ(soundWritten().size(), sound(48'000).size());
}

// Where nothing of it is left there is no sound that could go on.
TEST_F(EncodeReaderTest, SoundThatChangesWithEachSampleFails) {
    for (std::size_t index = 13; index < 50; index++) soundChangesAt(index, true);
    tellsItAgainBehindEachSeek(AUDIO);
    EXPECT_EQ(encode(200), CHANGES_FOR_EVER);
    EXPECT_EQ(std::ranges::count(reader->steering(), "type 1"), 1 + 5);
}

TEST_F(EncodeReaderTest, BothStreamsMayChangeAtOneTime) {
    losesWhatIsDecoded();
    changeAt(13, 14, largeType());
    comesBackToWhatWasAskedFor(13);
    soundChangesAt(13, true);
    comesBackToWhatWasAskedFor(13, AUDIO);
    EXPECT_EQ(encode(), S_OK);
    expectAllAsAsked();
}

TEST_F(EncodeReaderTest, SoundThatChangesIsAskedForAgainAndReadFromThere) {
    audio()[13].flags = CHANGED;
    EXPECT_EQ(encode(), S_OK);
    for (const std::size_t index : {10u, 13u, 19u}) {
        for (const bool hasSample : {true, false}) {
            reset();
            losesWhatIsDecoded();
            soundChangesAt(index, hasSample);
            comesBackToWhatWasAskedFor(index, AUDIO);
            EXPECT_EQ(encode(), S_OK);
            EXPECT_EQ(std::ranges::count(reader->steering(), "type 1"), 2);
            expectAllAsAsked();
        }
    }
}

TEST_F(EncodeReaderTest, SoundOfAnotherTypeIsRefused) {
    for (const bool hasSample : {true, false}) {
        reset();
        soundChangesAt(13, hasSample);
        EXPECT_EQ(encode(), MF_E_INVALIDMEDIATYPE);
    }
}

TEST_F(EncodeReaderTest, VideoProcessorsAreToldToKeepTheRateBeforeAnythingIsRead) {
    const auto decoder = noAttributes(), first = noAttributes(), second = noAttributes();
    reader->transforms = {{MFT_CATEGORY_VIDEO_DECODER, transformWith(decoder)},
                          {MFT_CATEGORY_VIDEO_PROCESSOR, {}},
                          {MFT_CATEGORY_VIDEO_PROCESSOR, transformWith({})},
                          {MFT_CATEGORY_VIDEO_PROCESSOR, transformWith(first)},
                          {MFT_CATEGORY_VIDEO_PROCESSOR, transformWith(second)}};
    reader->failSteering(3, BROKEN); // the first seek
    EXPECT_EQ(encode(), BROKEN);
    EXPECT_EQ(MFGetAttributeUINT32(first.get(), RATE_KEPT, 0), 1u);
    EXPECT_EQ(MFGetAttributeUINT32(second.get(), RATE_KEPT, 0), 1u);
    EXPECT_EQ(MFGetAttributeUINT32(decoder.get(), RATE_KEPT, 0), 0u);
}

TEST_F(EncodeReaderTest, AProcessorThatComesWithANewTypeIsToldToo) {
    const auto attributes = noAttributes();
    reader->transforms.emplace();
    changeAt(13, 14, largeType());
    comesBackToWhatWasAskedFor(13);
    reader->stream(VIDEO).whenAsked = [&, comeBack = reader->stream(VIDEO).whenAsked] {
        if (!reader->stream(VIDEO).delivers) return;
        comeBack();
        reader->transforms = {{MFT_CATEGORY_VIDEO_PROCESSOR, transformWith(attributes)}};
    };
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(MFGetAttributeUINT32(attributes.get(), RATE_KEPT, 0), 1u);
}

} // namespace
} // namespace velkantrix
