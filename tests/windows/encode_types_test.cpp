#include "export/encode_types.h"

#include <mfapi.h>
#include <mferror.h>

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "tests/windows/scripted_media.h"

namespace velkantrix {
namespace {

UINT32 numberIn(const ComPtr<IMFMediaType>& type, const GUID& key) {
    return MFGetAttributeUINT32(type.get(), key, 0xDEAD);
}

GUID guidIn(const ComPtr<IMFMediaType>& type, const GUID& key) {
    GUID value = {};
    EXPECT_EQ(type->GetGUID(key, &value), S_OK);
    return value;
}

UINT32 countOf(const ComPtr<IMFMediaType>& type) {
    UINT32 count = 0;
    EXPECT_EQ(type->GetCount(&count), S_OK);
    return count;
}

Ratio pairIn(const ComPtr<IMFMediaType>& type, const GUID& key) {
    Ratio ratio;
    EXPECT_EQ(MFGetAttributeRatio(type.get(), key, &ratio.numerator, &ratio.denominator), S_OK);
    return ratio;
}

ComPtr<IMFMediaType> native(UINT32 width, UINT32 height) {
    ComPtr<IMFMediaType> type = mediaTypeOf(MFMediaType_Video);
    EXPECT_EQ(MFSetAttributeSize(type.get(), MF_MT_FRAME_SIZE, width, height), S_OK);
    return type;
}

PicturePlan planOf(const ComPtr<IMFMediaType>& type, std::int32_t maxWidth = 0,
                   std::int32_t maxHeight = 0) {
    PicturePlan plan;
    EXPECT_EQ(planPictures({.maxWidth = maxWidth, .maxHeight = maxHeight}, type, plan), S_OK);
    return plan;
}

ComPtr<IMFMediaType> nv12Of(const PicturePlan& plan) {
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(makeNv12Type(plan, type), S_OK);
    return type;
}

ComPtr<IMFMediaType> h264Of(const PicturePlan& plan) {
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(makeH264Type(plan, type), S_OK);
    return type;
}

TEST(PlanPictures, GoesByTheNativeType) {
    auto type = native(1920, 1080);
    EXPECT_EQ(MFSetAttributeRatio(type.get(), MF_MT_FRAME_RATE, 30000, 1001), S_OK);
    EXPECT_EQ(type->SetUINT32(MF_MT_AVG_BITRATE, 6'000'000), S_OK);
    const PicturePlan plan = planOf(type, 1280, 720);
    EXPECT_EQ(plan.size, (FrameSize{1280, 720}));
    EXPECT_EQ(plan.rate, (Ratio{30000, 1001}));
    EXPECT_EQ(plan.bitrate, 7'200'000u);
    EXPECT_EQ(plan.native.get(), type.get());
}

TEST(PlanPictures, WithoutARateOrABitrateThereAreThirtyAndTwoMillion) {
    const PicturePlan plan = planOf(native(1280, 720));
    EXPECT_EQ(plan.rate, (Ratio{30, 1}));
    EXPECT_EQ(plan.bitrate, 2'000'000u);
}

TEST(PlanPictures, PixelsThatArentSquareMakeTheShapeOfTheOutput) {
    auto type = native(720, 576);
    EXPECT_EQ(MFSetAttributeRatio(type.get(), MF_MT_PIXEL_ASPECT_RATIO, 64, 45), S_OK);
    EXPECT_EQ(planOf(type).size, (FrameSize{1024, 576}));
    EXPECT_EQ(planOf(type, 1920, 1080).size, (FrameSize{1920, 1080}));
}

TEST(PlanPictures, WithoutASizeTheBoxIsIt) {
    EXPECT_EQ(planOf(mediaTypeOf(MFMediaType_Video), 1280, 720).size, (FrameSize{1280, 720}));
    PicturePlan plan;
    EXPECT_EQ(planPictures({}, mediaTypeOf(MFMediaType_Video), plan), MF_E_INVALIDMEDIATYPE);
}

TEST(PlanPictures, WithoutAVideoThereIsNone) {
    PicturePlan plan;
    EXPECT_EQ(planPictures({}, nullptr, plan), MF_E_MEDIA_SOURCE_NO_STREAMS_SELECTED);
}

TEST(PictureTypes, HaveSizeRateSquarePixelsAndWholeFrames) {
    const PicturePlan plan = planOf(native(1280, 720));
    const auto nv12 = nv12Of(plan), h264 = h264Of(plan);
    for (const auto& type : {nv12, h264}) {
        EXPECT_TRUE(guidIn(type, MF_MT_MAJOR_TYPE) == MFMediaType_Video);
        EXPECT_EQ(pairIn(type, MF_MT_FRAME_SIZE), (Ratio{1280, 720}));
        EXPECT_EQ(pairIn(type, MF_MT_FRAME_RATE), (Ratio{30, 1}));
        EXPECT_EQ(pairIn(type, MF_MT_PIXEL_ASPECT_RATIO), (Ratio{1, 1}));
        EXPECT_EQ(numberIn(type, MF_MT_INTERLACE_MODE), 2u);
    }
    EXPECT_TRUE(guidIn(nv12, MF_MT_SUBTYPE) == MFVideoFormat_NV12);
    EXPECT_TRUE(guidIn(h264, MF_MT_SUBTYPE) == MFVideoFormat_H264);
    EXPECT_EQ(numberIn(h264, MF_MT_AVG_BITRATE), 2'000'000u);
    EXPECT_EQ(numberIn(h264, MF_MT_MPEG2_PROFILE), 100u);
    EXPECT_EQ(countOf(nv12), 7u);
    EXPECT_EQ(countOf(h264), 8u);
}

TEST(PictureTypes, HandOnRotationAndColours) {
    auto type = native(320, 180);
    const std::pair<GUID, UINT32> stated[] = {{MF_MT_VIDEO_ROTATION, 90},
                                              {MF_MT_YUV_MATRIX, 2},
                                              {MF_MT_VIDEO_PRIMARIES, 5},
                                              {MF_MT_TRANSFER_FUNCTION, 7}};
    for (const auto& [key, value] : stated) EXPECT_EQ(type->SetUINT32(key, value), S_OK);
    const PicturePlan plan = planOf(type);
    for (const auto& made : {nv12Of(plan), h264Of(plan)}) {
        for (const auto& [key, value] : stated) EXPECT_EQ(numberIn(made, key), value);
        EXPECT_EQ(pairIn(made, MF_MT_FRAME_SIZE), (Ratio{320, 180})); // as it is coded
    }
}

// What decoders deliver otherwise may have other levels, which the coded pictures alone state.
TEST(PictureTypes, VideoRangeIsAskedForInAnyCaseAndStatedWhereTheSourceStatesARange) {
    const PicturePlan plan = planOf(native(320, 180));
    EXPECT_EQ(numberIn(nv12Of(plan), MF_MT_VIDEO_NOMINAL_RANGE), 2u);
    EXPECT_EQ(numberIn(h264Of(plan), MF_MT_VIDEO_NOMINAL_RANGE), 0xDEADu);
}

TEST(PictureTypes, LevelsBecomeThoseOfVideoRange) {
    for (const UINT32 range : {1u, 2u, 3u}) {
        auto type = native(320, 180);
        EXPECT_EQ(type->SetUINT32(MF_MT_VIDEO_NOMINAL_RANGE, range), S_OK);
        const PicturePlan plan = planOf(type);
        EXPECT_EQ(numberIn(nv12Of(plan), MF_MT_VIDEO_NOMINAL_RANGE), 2u);
        EXPECT_EQ(numberIn(h264Of(plan), MF_MT_VIDEO_NOMINAL_RANGE), 2u);
    }
}

TEST(SoundTypes, AreTwoChannelsOf48Kilohertz) {
    ComPtr<IMFMediaType> pcm, aac;
    ASSERT_EQ(makePcmType(pcm), S_OK);
    ASSERT_EQ(makeAacType(aac), S_OK);
    for (const auto& type : {pcm, aac}) {
        EXPECT_TRUE(guidIn(type, MF_MT_MAJOR_TYPE) == MFMediaType_Audio);
        EXPECT_EQ(numberIn(type, MF_MT_AUDIO_NUM_CHANNELS), 2u);
        EXPECT_EQ(numberIn(type, MF_MT_AUDIO_SAMPLES_PER_SECOND), 48'000u);
        EXPECT_EQ(numberIn(type, MF_MT_AUDIO_BITS_PER_SAMPLE), 16u);
    }
    EXPECT_TRUE(guidIn(pcm, MF_MT_SUBTYPE) == MFAudioFormat_PCM);
    EXPECT_EQ(numberIn(pcm, MF_MT_AUDIO_BLOCK_ALIGNMENT), 4u);
    EXPECT_EQ(numberIn(pcm, MF_MT_AUDIO_AVG_BYTES_PER_SECOND), 192'000u);
    EXPECT_EQ(countOf(pcm), 7u);
    EXPECT_TRUE(guidIn(aac, MF_MT_SUBTYPE) == MFAudioFormat_AAC);
    EXPECT_EQ(numberIn(aac, MF_MT_AUDIO_BLOCK_ALIGNMENT), 1u);
    EXPECT_EQ(numberIn(aac, MF_MT_AUDIO_AVG_BYTES_PER_SECOND), 20'000u);
    EXPECT_EQ(numberIn(aac, MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION), 0x29u);
    EXPECT_EQ(countOf(aac), 8u);
}

void setAperture(const ComPtr<IMFMediaType>& type, SHORT x, SHORT y, LONG width, LONG height) {
    const MFVideoArea area = {{0, x}, {0, y}, {width, height}};
    const HRESULT hr = type->SetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE,
                                     reinterpret_cast<const UINT8*>(&area), sizeof area);
    EXPECT_EQ(hr, S_OK);
}

TEST(Delivery, OfPicturesIsAsAskedOrIsnt) {
    const auto nv12 = nv12Of(planOf(native(320, 180)));
    EXPECT_TRUE(pictureDelivery(nv12.get(), {320, 180}).asAsked);
    EXPECT_TRUE(pictureDelivery(nv12.get(), {320, 180}).usable);
    EXPECT_FALSE(pictureDelivery(nv12.get(), {320, 192}).usable);
    EXPECT_FALSE(pictureDelivery(nv12.get(), {318, 180}).usable);
    const auto h264 = h264Of(planOf(native(320, 180)));
    EXPECT_FALSE(pictureDelivery(h264.get(), {320, 180}).usable);
    ASSERT_EQ(nv12->SetUINT32(MF_MT_VIDEO_NOMINAL_RANGE, MFNominalRange_0_255), S_OK);
    EXPECT_FALSE(pictureDelivery(nv12.get(), {320, 180}).asAsked);
    EXPECT_TRUE(pictureDelivery(nv12.get(), {320, 180}).usable);
}

TEST(Delivery, OfLargerPicturesIsUsableWhenTheirFirstColumnsAndLinesAreSeen) {
    struct Row {
        SHORT x, y;
        LONG width, height;
        bool usable;
    };
    for (const auto& [x, y, width, height, usable] : {Row{0, 0, 320, 180, true},
                                                      {2, 0, 320, 180, false},
                                                      {0, 2, 320, 180, false},
                                                      {0, 0, 320, 184, false},
                                                      {0, 0, 322, 180, false}}) {
        const auto nv12 = nv12Of(planOf(native(352, 192)));
        EXPECT_FALSE(pictureDelivery(nv12.get(), {320, 180}).usable);
        setAperture(nv12, x, y, width, height);
        const PictureDelivery delivery = pictureDelivery(nv12.get(), {320, 180});
        EXPECT_EQ(delivery.usable, usable);
        EXPECT_FALSE(delivery.asAsked);
        EXPECT_EQ(delivery.coded, (FrameSize{352, 192}));
    }
}

TEST(Delivery, OfSoundIsAsAskedOrIsnt) {
    const auto nv12 = nv12Of(planOf(native(320, 180)));
    ComPtr<IMFMediaType> pcm;
    ASSERT_EQ(makePcmType(pcm), S_OK);
    EXPECT_TRUE(deliversSound(pcm.get()));
    EXPECT_FALSE(deliversSound(nv12.get()));
    for (const GUID& key :
         {MF_MT_AUDIO_NUM_CHANNELS, MF_MT_AUDIO_SAMPLES_PER_SECOND, MF_MT_AUDIO_BITS_PER_SAMPLE}) {
        ComPtr<IMFMediaType> other;
        ASSERT_EQ(makePcmType(other), S_OK);
        ASSERT_EQ(other->SetUINT32(key, 1), S_OK);
        EXPECT_FALSE(deliversSound(other.get()));
    }
}

} // namespace
} // namespace velkantrix
