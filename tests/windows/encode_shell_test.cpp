// What a re-encode asks of its reader and hands to its writer, when all goes well.
#include "tests/windows/encode_shell.h"

#include <mfapi.h>

#include <algorithm>
#include <limits>

#include <gmock/gmock.h>

#include "export/picture_effects.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr Ticks SECOND = TICKS_PER_SECOND;

std::vector<Ticks> tenths(int from, int to) {
    std::vector<Ticks> times;
    for (int i = from; i < to; i++) times.push_back(i * SECOND / 10);
    return times;
}

// A picture of so many lines, of which HEIGHT are seen, in a buffer that pads its lines.
ComPtr<IMFMediaBuffer> buffer2dOf(UINT32 lines, UINT32 width = 8, UINT32 seen = 4) {
    ComPtr<IMFMediaBuffer> buffer;
    ComPtr<IMF2DBuffer> as2d;
    const DWORD nv12 = MFVideoFormat_NV12.Data1;
    EXPECT_EQ(MFCreate2DMediaBuffer(width, lines, nv12, FALSE, buffer.put()), S_OK);
    EXPECT_EQ(buffer->QueryInterface(__uuidof(IMF2DBuffer), as2d.putVoid()), S_OK);
    Content content(std::size_t{width} * lines * 3 / 2, 7);
    const auto chroma = content.begin() + width * lines;
    std::fill_n(content.begin(), width * seen, std::uint8_t{100});
    std::fill_n(chroma, width * seen / 2, std::uint8_t{60});
    EXPECT_EQ(as2d->ContiguousCopyFrom(content.data(), static_cast<DWORD>(content.size())), S_OK);
    return buffer;
}

TEST_F(EncodeShell, WritesPicturesAndSoundsOfTheSpan) {
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), tenths(0, 10));
    EXPECT_EQ(timesOf(AUDIO_OUT), tenths(0, 10));
}

// And once before, to see the first picture.
TEST_F(EncodeShell, SetsTypesAndThenSeeksForEachSpan) {
    request.spans = {{.start = 1, .end = 2}, {.start = 0.25, .end = 0.5}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_THAT(reader->steering(), ElementsAre("type 3", "type 1", "position 10000000",
                                                "position 10000000", "position 2500000"));
    EXPECT_THAT(std::vector(writer->calls().begin(), writer->calls().begin() + 6),
                ElementsAre(WriterCall::AddStream, WriterCall::SetInputMediaType,
                            WriterCall::AddStream, WriterCall::SetInputMediaType,
                            WriterCall::BeginWriting, WriterCall::WriteSample));
    EXPECT_EQ(writer->inputs().at(VIDEO_OUT).get(), reader->typeOf(VIDEO));
    EXPECT_EQ(writer->inputs().at(AUDIO_OUT).get(), reader->typeOf(AUDIO));
}

TEST_F(EncodeShell, SpansFollowEachOtherWithTheLengthsAskedFor) {
    request.spans = {{.start = 3, .end = 3.25}, {.start = 1, .end = 1.2}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_THAT(timesOf(VIDEO_OUT), ElementsAre(0, FRAME, 2 * FRAME, 2'500'000, 3'500'000));
    EXPECT_THAT(timesOf(AUDIO_OUT), ElementsAre(0, FRAME, 2 * FRAME, 2'500'000, 3'500'000));
    EXPECT_EQ(writtenTo(VIDEO_OUT)[2].duration, FRAME / 2);
    EXPECT_EQ(writtenTo(AUDIO_OUT)[2].duration, FRAME / 2);
}

TEST_F(EncodeShell, APictureThatIsntChangedIsPassedOnAsItIs) {
    EXPECT_EQ(encode(), S_OK);
    const auto pictures = samplesOf(VIDEO_OUT);
    for (std::size_t i = 0; i < pictures.size(); i++) {
        ComPtr<IMFMediaBuffer> buffer;
        ASSERT_EQ(pictures[i]->GetBufferByIndex(0, buffer.put()), S_OK);
        EXPECT_EQ(buffer.get(), video()[10 + i].content.get());
    }
}

TEST_F(EncodeShell, ADecodeTimeOfTheSourceIsntHandedOn) {
    for (const double exposure : {0.0, 0.5}) {
        reset();
        request.exposure = exposure;
        for (ScriptedRead& read : video()) read.decodeTime = read.time;
        EXPECT_EQ(encode(), S_OK);
        EXPECT_EQ(writtenTo(VIDEO_OUT).size(), 10u);
        for (const WrittenSample& sample : writtenTo(VIDEO_OUT)) EXPECT_FALSE(sample.decodeTime);
    }
}

TEST_F(EncodeShell, ExposureChangesCopiesOfTheLumaAlone) {
    request.exposure = 0.5;
    EXPECT_EQ(encode(), S_OK);
    const std::uint8_t brighter = exposureTable(0.5)[LUMA];
    const auto pictures = samplesOf(VIDEO_OUT);
    ASSERT_EQ(pictures.size(), 10u);
    for (std::size_t i = 0; i < pictures.size(); i++) {
        EXPECT_EQ(contentOf(pictures[i].get()), picture(brighter));
        EXPECT_TRUE(MFGetAttributeUINT32(pictures[i].get(), MFSampleExtension_CleanPoint, 0));
        const LockedBytes original(video()[10 + i].content.get());
        EXPECT_TRUE(std::ranges::equal(original.bytes(), picture()));
    }
}

TEST_F(EncodeShell, AnExposureOfAThousandthChangesNothing) {
    request.exposure = -0.001;
    EXPECT_EQ(encode(), S_OK);
    ComPtr<IMFMediaBuffer> buffer;
    ASSERT_EQ(samplesOf(VIDEO_OUT)[0]->GetBufferByIndex(0, buffer.put()), S_OK);
    EXPECT_EQ(buffer.get(), video()[10].content.get());
}

TEST_F(EncodeShell, FadesChangePicturesAndSoundsByTheirTime) {
    request.spans = {{.start = 1, .end = 2, .fadeIn = 0.4, .fadeOut = 0.2}};
    EXPECT_EQ(encode(), S_OK);
    const auto pictures = samplesOf(VIDEO_OUT), sounds = samplesOf(AUDIO_OUT);
    ASSERT_EQ(pictures.size(), 10u);
    ASSERT_EQ(sounds.size(), 10u);
    for (std::size_t i = 0; i < 10; i++) {
        const Gain gain = fadeGain(request.spans[0], static_cast<double>(i) / 10);
        Content luma(1, LUMA), chroma(1, CHROMA);
        fadeLuma(luma, gain);
        fadeChroma(chroma, gain);
        EXPECT_EQ(contentOf(pictures[i].get()), picture(luma[0], chroma[0])) << i;
        const auto value = static_cast<std::int16_t>(LOUDNESS * gain / 256);
        EXPECT_EQ(contentOf(sounds[i].get()), sound(4800, value)) << i;
        const LockedBytes original(video()[10 + i].content.get());
        EXPECT_TRUE(std::ranges::equal(original.bytes(), picture()));
    }
}

// As decoders in software give them.
TEST_F(EncodeShell, LinesBelowTheSeenOnesAreLeftOut) {
    Content tall(WIDTH * 16, 7);
    std::fill_n(tall.begin(), WIDTH * HEIGHT, LUMA);
    tall.insert(tall.end(), WIDTH * 2, CHROMA);
    tall.insert(tall.end(), WIDTH * 6, 9);
    for (const double exposure : {0.0, 0.5}) {
        reset();
        request.exposure = exposure;
        for (ScriptedRead& read : video()) read.content = bufferOf(tall);
        EXPECT_EQ(encode(), S_OK);
        const std::uint8_t luma = exposure > 0 ? exposureTable(exposure)[LUMA] : LUMA;
        for (const auto& sample : samplesOf(VIDEO_OUT)) {
            EXPECT_EQ(contentOf(sample.get()), picture(luma));
        }
    }
}

// Of any alignment.
TEST_F(EncodeShell, InBuffersThatKnowOfLinesTooTheyAreLeftOut) {
    for (const double exposure : {0.0, 0.5}) {
        for (const UINT32 lines : {6u, 16u, 20u, 32u, 128u}) {
            reset();
            request.exposure = exposure;
            const ComPtr<IMFMediaBuffer> tall = buffer2dOf(lines);
            for (ScriptedRead& read : video()) read.content = tall;
            EXPECT_EQ(encode(), S_OK) << lines;
            const std::uint8_t luma = exposure > 0 ? exposureTable(exposure)[LUMA] : LUMA;
            for (const auto& sample : samplesOf(VIDEO_OUT)) {
                EXPECT_EQ(contentOf(sample.get()), picture(luma)) << lines;
            }
        }
    }
    ComPtr<IMFMediaBuffer> exact = buffer2dOf(HEIGHT);
    reset();
    request.exposure = 0;
    for (ScriptedRead& read : video()) read.content = exact;
    EXPECT_EQ(encode(), S_OK);
    ComPtr<IMFMediaBuffer> written;
    ASSERT_EQ(samplesOf(VIDEO_OUT)[0]->GetBufferByIndex(0, written.put()), S_OK);
    EXPECT_EQ(written.get(), exact.get());
}

TEST_F(EncodeShell, APictureInGraphicsMemoryIsCopiedWithoutItsPadding) {
    request.exposure = 0.5;
    const ComPtr<IMFMediaBuffer> padded = buffer2dOf(HEIGHT);
    ComPtr<IMF2DBuffer> lines;
    ASSERT_EQ(padded->QueryInterface(__uuidof(IMF2DBuffer), lines.putVoid()), S_OK);
    const Content original = picture();
    for (ScriptedRead& read : video()) read.content = padded;
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(contentOf(samplesOf(VIDEO_OUT)[9].get()), picture(exposureTable(0.5)[LUMA]));
    Content after(original.size());
    ASSERT_EQ(lines->ContiguousCopyTo(after.data(), static_cast<DWORD>(after.size())), S_OK);
    EXPECT_EQ(after, original);
}

TEST_F(EncodeShell, APictureWithoutADurationLastsAsLongAsOthers) {
    for (ScriptedRead& read : video()) read.duration = 0;
    request.spans = {{.start = 1, .end = 1.25}};
    EXPECT_EQ(encode(), S_OK);
    const auto pictures = writtenTo(VIDEO_OUT);
    ASSERT_EQ(pictures.size(), 3u);
    EXPECT_EQ(pictures[0].duration, FRAME);
    EXPECT_EQ(pictures[2].duration, FRAME / 2);
}

TEST_F(EncodeShell, WithoutAudioThereIsOneStream) {
    streams.audio.reset();
    EXPECT_EQ(reader->SetStreamSelection(AUDIO, FALSE), S_OK);
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writer->added().size(), 1u);
    EXPECT_EQ(writer->written().size(), 10u);
}

TEST_F(EncodeShell, SamplesOfOtherStreamsAreDropped) {
    reader->stream(0) = {.major = MFMediaType_Video, .reads = {pictureAt(SECOND)}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writer->written().size(), 20u);
}

TEST_F(EncodeShell, ReadsWithoutASampleArePassedOver) {
    video().insert(video().begin() + 13,
                   {.time = 13 * FRAME, .hasSample = false, .flags = MF_SOURCE_READERF_STREAMTICK});
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), tenths(0, 10));
}

TEST_F(EncodeShell, VideoThatEndsEarlyCostsNoSound) {
    video().resize(13);
    video().back().flags = MF_SOURCE_READERF_ENDOFSTREAM; // with the last picture
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(timesOf(VIDEO_OUT), tenths(0, 3));
    EXPECT_EQ(timesOf(AUDIO_OUT), tenths(0, 10));
}

TEST_F(EncodeShell, EachPictureIsReported) {
    EXPECT_EQ(encode(), S_OK);
    ASSERT_EQ(reports.size(), 10u);
    for (std::size_t i = 0; i < 10; i++) EXPECT_DOUBLE_EQ(reports[i], static_cast<double>(i) / 10);
}

TEST_F(EncodeShell, EachSpanIsTold) {
    std::vector<WrittenSpan> told;
    request.spanWritten = [&](const WrittenSpan& span) {
        told.push_back(span);
    };
    request.spans = {{.start = 1, .end = 2}, {.start = 4, .end = 9}};
    audio().resize(45);
    EXPECT_EQ(encode(), S_OK);
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].sourceStart, 1);
    EXPECT_EQ(told[0].sourceEnd, 2);
    EXPECT_EQ(told[0].soundEnd, 2);
    EXPECT_EQ(told[1].sourceStart, 4);
    EXPECT_EQ(told[1].outputStart, 1);
    EXPECT_DOUBLE_EQ(told[1].sourceEnd, 5);
    EXPECT_TRUE(told[1].hasPictures);
    ASSERT_TRUE(told[1].soundEnd);
    EXPECT_DOUBLE_EQ(*told[1].soundEnd, 4.5);
}

TEST_F(EncodeShell, ALastPictureThatDoesNotSayHowLongItLastsMayGoOn) {
    double end = 0;
    request.spanWritten = [&](const WrittenSpan& span) {
        end = span.sourceEnd;
    };
    video().back().duration = 0;
    request.spans = {{.start = 1, .end = 60}};
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(end, std::numeric_limits<double>::infinity());
}

TEST_F(EncodeShell, NeedsNeitherProgressNorCancel) {
    request.progress = nullptr;
    request.cancel = nullptr;
    EXPECT_EQ(encode(), S_OK);
    EXPECT_EQ(writer->written().size(), 20u);
}

} // namespace
} // namespace velkantrix
