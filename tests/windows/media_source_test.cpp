// How the program's own media source describes a file, and what it delivers of it.
#include "tests/windows/media_source_fixture.h"

#include <cstdint>
#include <map>

namespace velkantrix {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

// 30 pictures a second, a keyframe each second; sound of 48 kHz in two channels.
const std::wstring RECORDING = L"fragmented";

ComPtr<IMFMediaType> typeOf(IMFPresentationDescriptor* presentation, DWORD index, DWORD id) {
    BOOL selected = FALSE;
    DWORD found = 0;
    ComPtr<IMFStreamDescriptor> stream;
    ComPtr<IMFMediaTypeHandler> handler;
    ComPtr<IMFMediaType> type;
    EXPECT_EQ(presentation->GetStreamDescriptorByIndex(index, &selected, stream.put()), S_OK);
    EXPECT_TRUE(selected);
    EXPECT_EQ(stream->GetStreamIdentifier(&found), S_OK);
    EXPECT_EQ(found, id);
    EXPECT_EQ(stream->GetMediaTypeHandler(handler.put()), S_OK);
    DWORD types = 0;
    EXPECT_EQ(handler->GetMediaTypeCount(&types), S_OK);
    EXPECT_EQ(types, 1U);
    EXPECT_EQ(handler->GetCurrentMediaType(type.put()), S_OK);
    return type;
}

std::vector<UINT8> blobOf(IMFMediaType* type, const GUID& key) {
    UINT32 size = 0;
    EXPECT_EQ(type->GetBlobSize(key, &size), S_OK);
    std::vector<UINT8> bytes(size);
    EXPECT_EQ(type->GetBlob(key, bytes.data(), size, nullptr), S_OK);
    return bytes;
}

GUID guidOf(IMFMediaType* type, const GUID& key) {
    GUID value = {};
    EXPECT_EQ(type->GetGUID(key, &value), S_OK);
    return value;
}

TEST_F(MediaSourceTest, APresentationHasThePictureFirstThenTheSound) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    DWORD count = 0;
    ASSERT_EQ(presentation->GetStreamDescriptorCount(&count), S_OK);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(guidOf(typeOf(presentation.get(), 0, 1).get(), MF_MT_MAJOR_TYPE), MFMediaType_Video);
    EXPECT_EQ(guidOf(typeOf(presentation.get(), 1, 2).get(), MF_MT_MAJOR_TYPE), MFMediaType_Audio);
    UINT64 duration = 0;
    ASSERT_EQ(presentation->GetUINT64(MF_PD_DURATION, &duration), S_OK);
    // 12 seconds of pictures, the first of which is shown two pictures late.
    EXPECT_NEAR(static_cast<double>(duration), 120'666'666.0, 1.0);
    DWORD characteristics = 0;
    ASSERT_EQ(source->GetCharacteristics(&characteristics), S_OK);
    EXPECT_EQ(characteristics, DWORD{MFMEDIASOURCE_CAN_SEEK | MFMEDIASOURCE_CAN_PAUSE});
}

TEST_F(MediaSourceTest, ThePicturesTypeSaysSizeRateAndParameterSets) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    const ComPtr<IMFMediaType> type = typeOf(presentation.get(), 0, 1);
    EXPECT_EQ(guidOf(type.get(), MF_MT_SUBTYPE), MFVideoFormat_H264);
    UINT32 a = 0;
    UINT32 b = 0;
    ASSERT_EQ(MFGetAttributeSize(type.get(), MF_MT_FRAME_SIZE, &a, &b), S_OK);
    EXPECT_EQ(a, 320U);
    EXPECT_EQ(b, 180U);
    ASSERT_EQ(MFGetAttributeRatio(type.get(), MF_MT_PIXEL_ASPECT_RATIO, &a, &b), S_OK);
    EXPECT_EQ(a, 1U);
    EXPECT_EQ(b, 1U);
    ASSERT_EQ(MFGetAttributeRatio(type.get(), MF_MT_FRAME_RATE, &a, &b), S_OK);
    EXPECT_EQ(a, 30 * b);
    EXPECT_EQ(MFGetAttributeUINT32(type.get(), MF_MT_INTERLACE_MODE, 0), 7U);
    const std::vector<UINT8> header = blobOf(type.get(), MF_MT_MPEG_SEQUENCE_HEADER);
    ASSERT_GT(header.size(), 5U);
    EXPECT_THAT(std::vector<UINT8>(header.begin(), header.begin() + 4), ElementsAre(0, 0, 0, 1));
    EXPECT_EQ(header[4] & 31, 7); // a sequence parameter set
}

TEST_F(MediaSourceTest, TheSoundsTypeIsRawAacWithItsConfiguration) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    const ComPtr<IMFMediaType> type = typeOf(presentation.get(), 1, 2);
    EXPECT_EQ(guidOf(type.get(), MF_MT_SUBTYPE), MFAudioFormat_AAC);
    const struct {
        const GUID& key;
        UINT32 value;
    } expected[] = {
        {MF_MT_AUDIO_SAMPLES_PER_SECOND, 48000},
        {MF_MT_AUDIO_NUM_CHANNELS, 2},
        {MF_MT_AUDIO_BITS_PER_SAMPLE, 16},
        {MF_MT_AAC_PAYLOAD_TYPE, 0},
        {MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, 0},
        {MF_MT_ALL_SAMPLES_INDEPENDENT, 1},
        {MF_MT_AUDIO_BLOCK_ALIGNMENT, 1},
        {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, 16000},
        {MF_MT_AVG_BITRATE, 128000},
        {MF_MT_AUDIO_PREFER_WAVEFORMATEX, 1},
        {MF_MT_FIXED_SIZE_SAMPLES, 1},
        {MF_MT_SAMPLE_SIZE, 1},
    };
    for (const auto& [key, value] : expected) {
        UINT32 found = 0;
        EXPECT_EQ(type->GetUINT32(key, &found), S_OK) << value;
        EXPECT_EQ(found, value);
    }
    const std::vector<UINT8> data = blobOf(type.get(), MF_MT_USER_DATA);
    ASSERT_GE(data.size(), 14U);
    EXPECT_THAT(std::vector<UINT8>(data.begin(), data.begin() + 12), Each(0));
    // AAC-LC, 48 kHz, two channels.
    EXPECT_EQ(data[12], 0x11);
    EXPECT_EQ(data[13], 0x90);
}

TEST_F(MediaSourceTest, WithoutSoundThereIsOneStream) {
    ASSERT_EQ(open(mediaFile(RECORDING), SourceSound::Unwanted), S_OK);
    DWORD count = 0;
    ASSERT_EQ(presentation->GetStreamDescriptorCount(&count), S_OK);
    EXPECT_EQ(count, 1U);
    begin(0, 1);
    EXPECT_THAT(rest(video()), SizeIs(360));
    expectNext(source.get(), MEEndOfPresentation);
}

TEST_F(MediaSourceTest, FilesThatTheSystemsSourceIsToHaveAreDeclined) {
    for (const wchar_t* name : {L"closed", L"mp4/fragmented-hevc", L"mp4/fragmented-mpeg4",
                                L"mp4/fragmented-no-table", L"mp4/fragmented-opus",
                                L"mp4/fragmented-audio-only", L"empty", L"text", L"no such file"}) {
        EXPECT_EQ(open(mediaFile(name)), MF_E_UNSUPPORTED_BYTESTREAM_TYPE);
        EXPECT_FALSE(source);
    }
    // Sound that can't be served is no obstacle where nobody wants it.
    EXPECT_EQ(open(mediaFile(L"mp4/fragmented-opus"), SourceSound::Unwanted), S_OK);
}

TEST_F(MediaSourceTest, EachSampleCarriesWhatAPipelineNeeds) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    ComPtr<IMFAttributes> token;
    ASSERT_EQ(MFCreateAttributes(token.put(), 1), S_OK);
    const auto first = sampleOf(video(), token.get());
    ASSERT_TRUE(first);
    EXPECT_EQ(first->time, 666'666);
    EXPECT_EQ(first->decodeTime, 0);
    EXPECT_EQ(first->duration, 333'333);
    EXPECT_TRUE(first->clean);
    EXPECT_TRUE(first->discontinuity);
    EXPECT_EQ(first->token.get(), static_cast<IUnknown*>(token.get()));
    const auto second = sampleOf(video());
    ASSERT_TRUE(second);
    EXPECT_EQ(second->time, 1'666'666); // a picture that those before it hang on
    EXPECT_EQ(second->decodeTime, 333'333);
    EXPECT_FALSE(second->clean);
    EXPECT_FALSE(second->discontinuity);
    EXPECT_FALSE(second->token);
    const auto tone = sampleOf(sound());
    ASSERT_TRUE(tone);
    EXPECT_EQ(tone->time, 0);
    EXPECT_TRUE(tone->discontinuity);
    const auto nextTone = sampleOf(sound());
    ASSERT_TRUE(nextTone);
    EXPECT_EQ(nextTone->duration, 213'333);
    EXPECT_FALSE(nextTone->discontinuity);
}

TEST_F(MediaSourceTest, AStreamEndsBeforeThePresentationAndOnlyOnce) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    begin();
    EXPECT_THAT(rest(video()), SizeIs(360));
    EXPECT_TRUE(isQuiet(source.get())); // the sound goes on
    EXPECT_EQ(video()->RequestSample(nullptr), MF_E_END_OF_STREAM);
    while (sampleOf(sound())) {}
    // The stream's own event was taken already when the source's is there.
    EXPECT_EQ(other->type, MEEndOfStream);
    expectNext(source.get(), MEEndOfPresentation);
    EXPECT_EQ(sound()->RequestSample(nullptr), MF_E_END_OF_STREAM);
    for (IMFMediaEventGenerator* generator : {static_cast<IMFMediaEventGenerator*>(source.get()),
                                              static_cast<IMFMediaEventGenerator*>(video()),
                                              static_cast<IMFMediaEventGenerator*>(sound())})
        EXPECT_TRUE(isQuiet(generator));
}

TEST_F(MediaSourceTest, TheStreamsEndIsThereWhenThePresentationsIs) {
    ASSERT_EQ(open(mediaFile(RECORDING), SourceSound::Unwanted), S_OK);
    begin(Ticks{115'000'000}, 1);
    for (int i = 0; i < 200; ++i) static_cast<void>(video()->RequestSample(nullptr));
    expectNext(source.get(), MEEndOfPresentation);
    std::vector<MediaEventType> types;
    ComPtr<IMFMediaEvent> event;
    while (SUCCEEDED(video()->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()))) {
        MediaEventType type = MEUnknown;
        ASSERT_EQ(event->GetType(&type), S_OK);
        types.push_back(type);
    }
    ASSERT_THAT(types, testing::Not(IsEmpty()));
    EXPECT_EQ(std::count(types.begin(), types.end(), MEEndOfStream), 1);
    EXPECT_EQ(types.back(), MEEndOfStream);
}

TEST_F(MediaSourceTest, BehindItsEndItStartsAgain) {
    ASSERT_EQ(open(mediaFile(RECORDING), SourceSound::Unwanted), S_OK);
    begin(Ticks{115'000'000}, 1);
    EXPECT_THAT(rest(video()), SizeIs(30)); // from the keyframe at 11.07 s on
    expectNext(source.get(), MEEndOfPresentation);
    goTo(0, 0);
    EXPECT_THAT(rest(video()), SizeIs(360));
    expectNext(source.get(), MEEndOfPresentation);
}

TEST_F(MediaSourceTest, AStreamThatIsNotSelectedIsLeftOut) {
    ASSERT_EQ(open(mediaFile(RECORDING)), S_OK);
    ASSERT_EQ(presentation->DeselectStream(1), S_OK);
    begin(0, 1);
    EXPECT_THAT(rest(video()), SizeIs(360));
    expectNext(source.get(), MEEndOfPresentation);
    // Selected later it is new, and both are needed for the end.
    ASSERT_EQ(presentation->SelectStream(1), S_OK);
    ASSERT_EQ(start(0), S_OK);
    takeStream(MEUpdatedStream);
    takeStream(MENewStream);
    expectNext(video(), MEStreamSeeked, 0);
    expectNext(sound(), MEStreamSeeked, 0);
    expectNext(source.get(), MESourceSeeked, 0);
    EXPECT_TRUE(sampleOf(sound()));
    // And deselected again it answers no requests.
    ASSERT_EQ(presentation->DeselectStream(1), S_OK);
    ASSERT_EQ(start(0), S_OK);
    takeStream(MEUpdatedStream);
    expectNext(video(), MEStreamSeeked, 0);
    expectNext(source.get(), MESourceSeeked, 0);
    EXPECT_EQ(sound()->RequestSample(nullptr), MF_E_INVALIDREQUEST);
    EXPECT_TRUE(isQuiet(sound()));
    EXPECT_THAT(rest(video()), SizeIs(360));
    expectNext(source.get(), MEEndOfPresentation);
}

TEST_F(MediaSourceTest, AFailedReadWhileSamplesRemainIsAnErrorAndNoEnd) {
    const std::wstring broken = inFolder(L"broken.mp4");
    spoilFragment(mediaFile(RECORDING), broken, 11);
    ASSERT_EQ(open(broken, SourceSound::Unwanted), S_OK);
    begin(0, 1);
    std::size_t samples = 0;
    ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    std::optional<SourceEvent> event = next(video());
    while (event && event->type == MEMediaSample && ++samples < 330) {
        ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
        event = next(video());
    }
    EXPECT_EQ(samples, 330U);
    for (int i = 0; i < 5; ++i) ASSERT_EQ(video()->RequestSample(nullptr), S_OK);
    expectNext(source.get(), MEError, std::nullopt, MF_E_INVALID_FILE_FORMAT);
    // The others are of no account any more: no sample, no end, no second error, until a start.
    goTo(0, 0);
    EXPECT_TRUE(sampleOf(video()));
    EXPECT_TRUE(isQuiet(video()));
    EXPECT_TRUE(isQuiet(source.get()));
}

TEST_F(MediaSourceTest, AStartAtAPlaceThatCanNotBeReadFailsAsAWhole) {
    const std::wstring broken = inFolder(L"broken.mp4");
    // Two of them, so that the reader's own lookup finds none either.
    spoilFragment(mediaFile(RECORDING), inFolder(L"one.mp4"), 6);
    spoilFragment(inFolder(L"one.mp4"), broken, 6);
    ASSERT_EQ(open(broken, SourceSound::Unwanted), S_OK);
    begin(0, 1);
    ASSERT_EQ(start(Ticks{75'000'000}), S_OK);
    expectNext(source.get(), MESourceStarted, std::nullopt, MF_E_INVALID_FILE_FORMAT);
    EXPECT_TRUE(isQuiet(video()));
    // Nothing runs now, until it is started at another place.
    EXPECT_EQ(video()->RequestSample(nullptr), MF_E_MEDIA_SOURCE_WRONGSTATE);
    EXPECT_EQ(source->Pause(), MF_E_INVALID_STATE_TRANSITION);
    goTo(std::nullopt, 0, false); // as from a stop
    EXPECT_TRUE(sampleOf(video()));
}

} // namespace
} // namespace velkantrix
