// How a decoder is found, set up and driven: with decoders that do what the test says.
#include "playback/h264_transform.h"

#include <codecapi.h>
#include <mfapi.h>
#include <mferror.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/com.h"
#include "tests/windows/scripted_transform.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr CodedVideo VIDEO{{640, 360}, {30000, 1001}};

MFVideoArea areaOf(LONG width, LONG height, SHORT left = 0, SHORT top = 0) {
    MFVideoArea area = {};
    area.OffsetX.value = left;
    area.OffsetY.value = top;
    area.Area = {width, height};
    return area;
}

class H264TransformTest : public testing::Test {
protected:
    H264TransformTest() {
        EXPECT_EQ(MFCreateDXGIDeviceManager(&token, manager.put()), S_OK);
        decoders.hardware = {{script}};
        script->types = {{MFVideoFormat_NV12, 640, 360}};
    }

    std::shared_ptr<TransformScript> scriptOf(bool async) {
        auto made = std::make_shared<TransformScript>();
        made->isAsync = async ? 1 : 0;
        made->types = script->types;
        return made;
    }

    HRESULT setUp(const CodedVideo& video = VIDEO) {
        transform = std::make_unique<H264Transform>();
        return transform->setUp(video, manager.get());
    }

    HRESULT pull() { return transform->pull(picture); }

    UINT64 inputValue(const GUID& key) {
        UINT64 value = 0;
        script->inputType->GetUINT64(key, &value);
        return value;
    }

    ComApartment apartment{COINIT_MULTITHREADED};
    UINT token = 0;
    ComPtr<IMFDXGIDeviceManager> manager;
    ScriptedDecoders decoders;
    std::shared_ptr<TransformScript> script = std::make_shared<TransformScript>();
    std::unique_ptr<H264Transform> transform;
    DecodedPicture picture;
};

TEST_F(H264TransformTest, HardwareIsLookedForFirst) {
    EXPECT_EQ(setUp(), S_OK);
    ASSERT_EQ(decoders.searches.size(), 1u);
    EXPECT_EQ(decoders.searches[0].category, MFT_CATEGORY_VIDEO_DECODER);
    EXPECT_EQ(decoders.searches[0].flags, 0x45u);
    EXPECT_EQ(decoders.searches[0].input, MFVideoFormat_H264);
    EXPECT_EQ(decoders.searches[0].output, MFVideoFormat_NV12);
    EXPECT_EQ(ScriptedDecoders::liveActivates(), 0);
}

TEST_F(H264TransformTest, SoftwareIsLookedForWhenNoHardwareIsFound) {
    decoders.software = std::exchange(decoders.hardware, {});
    EXPECT_EQ(setUp(), S_OK);
    ASSERT_EQ(decoders.searches.size(), 2u);
    EXPECT_EQ(decoders.searches[1].flags, 0x41u);
    EXPECT_EQ(ScriptedDecoders::liveActivates(), 0);
}

TEST_F(H264TransformTest, WithoutAnyDecoderItIsNotSetUp) {
    decoders.hardware.clear();
    EXPECT_TRUE(FAILED(setUp()));
    decoders.result = E_OUTOFMEMORY;
    EXPECT_TRUE(FAILED(setUp()));
    EXPECT_EQ(decoders.searches.size(), 4u);
}

TEST_F(H264TransformTest, TheFirstThatCanBeActivatedAndIsSynchronousIsTaken) {
    const auto async = scriptOf(true);
    const auto last = scriptOf(false);
    decoders.hardware = {{nullptr}, {async}, {script}, {last}};
    EXPECT_EQ(setUp(), S_OK);
    EXPECT_TRUE(script->outputType);
    EXPECT_THAT(async->calls, IsEmpty());
    EXPECT_THAT(last->calls, IsEmpty());
    EXPECT_EQ(ScriptedDecoders::liveActivates(), 0);
}

TEST_F(H264TransformTest, OneThatIsNotTakenIsShutDown) {
    const auto async = scriptOf(true);
    decoders.hardware = {{async}, {script}};
    EXPECT_EQ(setUp(), S_OK);
    EXPECT_EQ(async->shutdowns, 1);
    EXPECT_EQ(script->shutdowns, 0);
}

TEST_F(H264TransformTest, OneThatIsRegisteredAsAsynchronousIsNotEvenActivated) {
    const auto async = scriptOf(true);
    decoders.hardware = {{async, MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_ASYNCMFT},
                         {script, MFT_ENUM_FLAG_SYNCMFT}};
    EXPECT_EQ(setUp(), S_OK);
    EXPECT_EQ(async->activations, 0);
    EXPECT_EQ(script->activations, 1);
}

TEST_F(H264TransformTest, WhereAllHardwareIsAsynchronousSoftwareIsTaken) {
    decoders.hardware = {{scriptOf(true)}};
    decoders.software = {{script}};
    EXPECT_EQ(setUp(), S_OK);
    EXPECT_TRUE(script->outputType);
}

TEST_F(H264TransformTest, TheStepsComeInTheirOrder) {
    ASSERT_EQ(setUp(), S_OK);
    EXPECT_THAT(script->calls, ElementsAre("manager", "begin"));
    EXPECT_EQ(script->manager, reinterpret_cast<ULONG_PTR>(manager.get()));
    UINT32 lowLatency = 0;
    script->attributes->GetUINT32(CODECAPI_AVLowLatencyMode, &lowLatency);
    EXPECT_EQ(lowLatency, 1u);
    transform.reset();
    EXPECT_THAT(script->calls, ElementsAre("manager", "begin", "end"));
}

TEST_F(H264TransformTest, ADecoderThatKnowsNoDeviceIsGivenNone) {
    script->isD3D11Aware = 0;
    EXPECT_EQ(setUp(), S_OK);
    EXPECT_THAT(script->calls, ElementsAre("begin"));
}

TEST_F(H264TransformTest, WithoutADeviceManagerNoneIsGiven) {
    manager.reset();
    EXPECT_EQ(setUp(), S_OK);
    EXPECT_THAT(script->calls, ElementsAre("begin"));
}

TEST_F(H264TransformTest, ADecoderWithoutAttributesKnowsNoDevice) {
    script->hasAttributes = false;
    EXPECT_EQ(setUp(), S_OK);
    EXPECT_THAT(script->calls, ElementsAre("begin"));
}

TEST_F(H264TransformTest, ADecoderThatRefusesTheDeviceIsNotSetUp) {
    script->managerResult = E_FAIL;
    EXPECT_EQ(setUp(), E_FAIL);
    transform.reset();
    EXPECT_THAT(script->calls, ElementsAre("manager"));
}

TEST_F(H264TransformTest, TheInputTypeSaysAllThatIsKnown) {
    ASSERT_EQ(setUp(), S_OK);
    GUID major{};
    GUID subtype{};
    UINT32 interlace = 0;
    script->inputType->GetGUID(MF_MT_MAJOR_TYPE, &major);
    script->inputType->GetGUID(MF_MT_SUBTYPE, &subtype);
    script->inputType->GetUINT32(MF_MT_INTERLACE_MODE, &interlace);
    EXPECT_EQ(major, MFMediaType_Video);
    EXPECT_EQ(subtype, MFVideoFormat_H264);
    EXPECT_EQ(interlace, 2u);
    EXPECT_EQ(inputValue(MF_MT_FRAME_SIZE), UINT64{640} << 32 | 360);
    EXPECT_EQ(inputValue(MF_MT_FRAME_RATE), UINT64{30000} << 32 | 1001);
}

TEST_F(H264TransformTest, AnUnknownSizeIsNotStated) {
    ASSERT_EQ(setUp({{0, 0}, {25, 1}}), S_OK);
    EXPECT_EQ(inputValue(MF_MT_FRAME_SIZE), 0u);
}

TEST_F(H264TransformTest, ARefusedInputTypeEndsTheSetUp) {
    script->inputTypeResult = MF_E_INVALIDMEDIATYPE;
    EXPECT_EQ(setUp(), MF_E_INVALIDMEDIATYPE);
    EXPECT_FALSE(script->outputType);
}

TEST_F(H264TransformTest, TheFirstOutputTypeInNv12IsTaken) {
    script->types = {
        {MFVideoFormat_YV12, 1, 1}, {MFVideoFormat_NV12, 1920, 1088}, {MFVideoFormat_NV12, 2, 2}};
    ASSERT_EQ(setUp(), S_OK);
    EXPECT_EQ(transform->outputSize(), (PictureSize{1920, 1088}));
}

TEST_F(H264TransformTest, AnOutputTypeWithoutSizeHasTheTracks) {
    script->types = {{MFVideoFormat_NV12}};
    ASSERT_EQ(setUp(), S_OK);
    EXPECT_EQ(transform->outputSize(), (PictureSize{640, 360}));
}

TEST_F(H264TransformTest, WithoutNv12ItIsNotSetUp) {
    script->types = {{MFVideoFormat_YV12, 640, 360}};
    EXPECT_TRUE(FAILED(setUp()));
    EXPECT_THAT(script->calls, ElementsAre("manager"));
}

TEST_F(H264TransformTest, AfterEachFlushAStreamStarts) {
    ASSERT_EQ(setUp(), S_OK);
    script->calls.clear();
    EXPECT_EQ(transform->restart(), S_OK);
    EXPECT_THAT(script->calls, ElementsAre("flush", "start"));
    EXPECT_EQ(transform->drain(), S_OK);
    EXPECT_EQ(script->calls.back(), "drain");
}

TEST_F(H264TransformTest, SamplesCarryTheirBytesAndTimes) {
    ASSERT_EQ(setUp(), S_OK);
    EXPECT_EQ(transform->feed({{'k', 'e', 'y'}, 50, 7, true}), S_OK);
    EXPECT_EQ(transform->feed({{'b'}, -20, 0, false}), S_OK);
    ASSERT_EQ(script->fed.size(), 2u);
    EXPECT_EQ(script->fed[0].bytes, "key");
    EXPECT_EQ(script->fed[0].time, 50);
    EXPECT_EQ(script->fed[0].duration, 7);
    EXPECT_EQ(script->fed[0].cleanPoint, 1u);
    EXPECT_EQ(script->fed[1].time, -20);
    EXPECT_EQ(script->fed[1].duration, -1) << "an unknown one isn't stated";
    EXPECT_EQ(script->fed[1].cleanPoint, 0u);
    script->inputResult = MF_E_NOTACCEPTING;
    EXPECT_EQ(transform->feed({{'x'}, 0, 0, false}), MF_E_NOTACCEPTING);
}

TEST_F(H264TransformTest, APictureIsPulled) {
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{.time = 30}};
    ASSERT_EQ(pull(), S_OK);
    LONGLONG time = 0;
    EXPECT_EQ(picture.sample->GetSampleTime(&time), S_OK);
    EXPECT_EQ(time, 30);
    EXPECT_EQ(pull(), MF_E_TRANSFORM_NEED_MORE_INPUT);
    EXPECT_FALSE(picture.sample);
}

TEST_F(H264TransformTest, AStreamChangeIsFollowedByAnotherTry) {
    script->typesAfterChange = {{MFVideoFormat_NV12, 1920, 1088, areaOf(1920, 1080)}};
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{MF_E_TRANSFORM_STREAM_CHANGE}, {.time = 30}};
    ASSERT_EQ(pull(), S_OK);
    EXPECT_TRUE(picture.sample);
    EXPECT_EQ(transform->outputSize(), (PictureSize{1920, 1088}));
}

TEST_F(H264TransformTest, APictureIsShownAsTheTypeSaidWithWhichItCame) {
    script->types = {{MFVideoFormat_NV12, 640, 368, areaOf(640, 360)}};
    script->typesAfterChange = {{MFVideoFormat_NV12, 1920, 1088, areaOf(1918, 1080, 2)}};
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{.time = 30}, {MF_E_TRANSFORM_STREAM_CHANGE}, {.time = 60}};
    ASSERT_EQ(pull(), S_OK);
    const DecodedPicture first = picture;
    ASSERT_EQ(pull(), S_OK);
    EXPECT_EQ(first.shown, (PictureSize{640, 360}));
    EXPECT_TRUE(first.atCorner);
    EXPECT_EQ(picture.shown, (PictureSize{1918, 1080}));
    EXPECT_FALSE(picture.atCorner);
}

TEST_F(H264TransformTest, PicturesThatThePresenterCannotDrawAreNotUsed) {
    struct Case {
        GUID key;
        UINT32 value;
        HRESULT result;
    };
    for (const auto& [key, value, result] :
         {Case{MF_MT_YUV_MATRIX, MFVideoTransferMatrix_BT709, S_OK},
          Case{MF_MT_YUV_MATRIX, MFVideoTransferMatrix_BT601, E_NOTIMPL},
          Case{MF_MT_YUV_MATRIX, MFVideoTransferMatrix_SMPTE240M, E_NOTIMPL},
          Case{MF_MT_VIDEO_NOMINAL_RANGE, MFNominalRange_16_235, S_OK},
          Case{MF_MT_VIDEO_NOMINAL_RANGE, MFNominalRange_0_255, E_NOTIMPL},
          Case{MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive, S_OK},
          Case{MF_MT_INTERLACE_MODE, MFVideoInterlace_MixedInterlaceOrProgressive, S_OK},
          Case{MF_MT_INTERLACE_MODE, MFVideoInterlace_FieldInterleavedUpperFirst, E_NOTIMPL}}) {
        // What is offered before anything is decoded may be wrong, and doesn't count.
        script->types = {{MFVideoFormat_NV12, 640, 360, {}, {{MF_MT_VIDEO_NOMINAL_RANGE, 1}}}};
        script->typesAfterChange = {{MFVideoFormat_NV12, 640, 360, {}, {{key, value}}}};
        ASSERT_EQ(setUp(), S_OK);
        script->outputs = {{MF_E_TRANSFORM_STREAM_CHANGE}, {.time = 30}};
        EXPECT_EQ(pull(), result) << value;
        EXPECT_EQ(static_cast<bool>(picture.sample), result == S_OK);
    }
}

TEST_F(H264TransformTest, OfMixedVideoPicturesOfTwoMomentsAreNotUsed) {
    script->types = {{MFVideoFormat_NV12,
                      640,
                      360,
                      {},
                      {{MF_MT_INTERLACE_MODE, MFVideoInterlace_MixedInterlaceOrProgressive}}}};
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {
        {.time = 30}, {.time = 60, .interlaced = FALSE}, {.time = 90, .interlaced = TRUE}};
    EXPECT_EQ(pull(), S_OK);
    EXPECT_EQ(pull(), S_OK);
    EXPECT_EQ(pull(), E_NOTIMPL);
    EXPECT_FALSE(picture.sample);
}

TEST_F(H264TransformTest, SixtyFourStreamChangesAreFollowedAndNoMore) {
    ASSERT_EQ(setUp(), S_OK);
    for (int i = 0; i < 64; ++i) script->outputs.push_back({MF_E_TRANSFORM_STREAM_CHANGE});
    script->outputs.push_back({.time = 30});
    EXPECT_EQ(pull(), S_OK);
    for (int i = 0; i < 65; ++i) script->outputs.push_back({MF_E_TRANSFORM_STREAM_CHANGE});
    script->outputs.push_back({.time = 30});
    EXPECT_EQ(pull(), MF_E_TRANSFORM_STREAM_CHANGE);
}

TEST_F(H264TransformTest, ADecoderThatChangesToAnotherFormatIsNotUsed) {
    script->typesAfterChange = {{MFVideoFormat_P010, 640, 360}};
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{MF_E_TRANSFORM_STREAM_CHANGE}, {.time = 30}};
    EXPECT_EQ(pull(), E_NOTIMPL);
}

TEST_F(H264TransformTest, AnEmptyAllocatorIsWaitedForButNotForEver) {
    ASSERT_EQ(setUp(), S_OK);
    script->outputs.assign(3, {MF_E_SAMPLEALLOCATOR_EMPTY});
    script->outputs.push_back({.time = 30});
    EXPECT_EQ(pull(), S_OK);
    script->outputs.assign(1000, {MF_E_SAMPLEALLOCATOR_EMPTY});
    EXPECT_EQ(pull(), MF_E_SAMPLEALLOCATOR_EMPTY);
    EXPECT_GT(script->outputs.size(), 900u);
}

TEST_F(H264TransformTest, SuccessWithoutAPictureIsNone) {
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{.hasPicture = false}};
    EXPECT_EQ(pull(), MF_E_TRANSFORM_NEED_MORE_INPUT);
    script->outputs.assign(1000, {.hasPicture = false});
    EXPECT_EQ(pull(), MF_E_TRANSFORM_NEED_MORE_INPUT);
    EXPECT_GT(script->outputs.size(), 900u) << "not for ever";
}

TEST_F(H264TransformTest, BehindSuccessWithoutAPictureThereMayBeOne) {
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{.hasPicture = false}, {.hasPicture = false}, {.time = 30}};
    EXPECT_EQ(pull(), S_OK);
}

TEST_F(H264TransformTest, ADecoderThatWantsMemoryFromItsCallerIsNotUsed) {
    script->outputFlags = 0;
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{.time = 30}};
    EXPECT_EQ(pull(), E_NOTIMPL);
    script->outputFlags = MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES;
    EXPECT_EQ(pull(), S_OK);
}

TEST_F(H264TransformTest, APictureInMemoryIsInNoTexture) {
    ASSERT_EQ(setUp(), S_OK);
    script->outputs = {{.time = 30}};
    ASSERT_EQ(pull(), S_OK);
    DecodedTexture decoded;
    EXPECT_TRUE(FAILED(H264Transform::textureOf(picture, decoded)));
}

} // namespace
} // namespace velkantrix
