// test_writer.cpp: the sink writer by itself: what it refuses, how it encodes, and how far it is.
#include "media.h"
#include "writers.h"

namespace {

class Writer : public MediaTest {};

TEST_F(Writer, RefusesWhatWindowsRefuses) {
    auto writer = createWriter(output(L"refused.mp4"));
    DWORD stream = 0, audio = 0;
    Encoding to = {WIDTH, HEIGHT, 0};
    EXPECT_EQ(writer->BeginWriting(), MF_E_INVALIDREQUEST);
    ASSERT_OK(writer->AddStream(h264Type(to).get(), &stream));
    EXPECT_EQ(writer->SetInputMediaType(7, pictureType(MFVideoFormat_NV12, to).get(), nullptr),
              MF_E_INVALIDSTREAMNUMBER);
    EXPECT_TRUE(FAILED(
        writer->SetInputMediaType(stream, pictureType(MFVideoFormat_RGB24, to).get(), nullptr)));
    ASSERT_OK(writer->AddStream(aacType(10000).get(), &audio)); // no bit rate of the AAC encoder's
    EXPECT_TRUE(FAILED(writer->SetInputMediaType(audio, pcmType().get(), nullptr)));
}

TEST_F(Writer, RefusesToFinalizeAnEmptyFile) {
    auto writer = createWriter(output(L"empty.mp4"));
    DWORD stream = 0;
    Encoding to = {WIDTH, HEIGHT, 0};
    ASSERT_OK(writer->AddStream(h264Type(to).get(), &stream));
    ASSERT_OK(
        writer->SetInputMediaType(stream, pictureType(MFVideoFormat_NV12, to).get(), nullptr));
    ASSERT_OK(writer->BeginWriting());
    EXPECT_EQ(writer->AddStream(h264Type(to).get(), &stream), MF_E_INVALIDREQUEST);
    EXPECT_EQ(writer->Finalize(), MF_E_SINK_NO_SAMPLES_PROCESSED);
}

// A writer of pictures of one value, and of sound, without a reader.
struct Made {
    Com<IMFSinkWriter> writer;
    DWORD video = 0, audio = 0;
};

Made makeWriter(const wchar_t* name, const Encoding& to, const Com<IMFMediaType>& h264,
                bool sound = false) {
    Made made = {createWriter(output(name))};
    auto pcm = pcmType();
    auto nv12 = pictureType(MFVideoFormat_NV12, to);
    EXPECT_OK(made.writer->AddStream(h264.get(), &made.video));
    EXPECT_OK(made.writer->SetInputMediaType(made.video, nv12.get(), nullptr));
    if (sound) {
        EXPECT_OK(made.writer->AddStream(aacType(20000).get(), &made.audio));
        EXPECT_OK(made.writer->SetInputMediaType(made.audio, pcm.get(), nullptr));
    }
    EXPECT_OK(made.writer->BeginWriting());
    return made;
}

Com<IMFSample> filledSample(DWORD size, BYTE value, LONGLONG time, LONGLONG duration) {
    Com<IMFMediaBuffer> buffer;
    Com<IMFSample> sample;
    BYTE* data = nullptr;
    MFCreateMemoryBuffer(size, buffer.put());
    buffer->Lock(&data, nullptr, nullptr);
    memset(data, value, size);
    buffer->Unlock();
    buffer->SetCurrentLength(size);
    MFCreateSample(sample.put());
    sample->AddBuffer(buffer.get());
    sample->SetSampleTime(time);
    sample->SetSampleDuration(duration);
    return sample;
}

Com<IMFSample> greyPicture(const Encoding& to, int number) {
    return filledSample(to.width * to.height * 3 / 2, 128, timeOfFrame(number), timeOfFrame(1));
}

MF_SINK_WRITER_STATISTICS statisticsOf(const Made& made, DWORD stream) {
    MF_SINK_WRITER_STATISTICS statistics = {sizeof statistics};
    EXPECT_OK(made.writer->GetStatistics(stream, &statistics));
    return statistics;
}

TEST_F(Writer, WritingReturnsAtOnceAndStatisticsTellWhatWaits) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    SetEnvironmentVariableA("RIG_WRITER_PACE", "1"); // ninety pictures take three seconds
    auto made = makeWriter(L"backlog.mp4", to, h264Type(to));
    SetEnvironmentVariableA("RIG_WRITER_PACE", nullptr);
    for (int i = 0; i < 90; i++)
        ASSERT_OK(made.writer->WriteSample(made.video, greyPicture(to, i).get()));
    auto seen = statisticsOf(made, made.video);
    EXPECT_EQ(seen.qwNumSamplesReceived, 90u);
    EXPECT_EQ(seen.llLastTimestampReceived, timeOfFrame(89));
    EXPECT_LT(seen.qwNumSamplesEncoded, 60u);
    EXPECT_GT(seen.dwByteCountQueued, 30u * WIDTH * HEIGHT);
    EXPECT_TRUE(waitFor([&] { return statisticsOf(made, made.video).dwByteCountQueued == 0; }));
    ASSERT_OK(made.writer->Finalize());
    seen = statisticsOf(made, made.video);
    EXPECT_EQ(seen.qwNumSamplesEncoded, 90u);
    EXPECT_EQ(seen.llLastTimestampEncoded, timeOfFrame(89));
}

TEST_F(Writer, AWriterThatIsReleasedEndsItsEncoders) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    SetEnvironmentVariableA("RIG_WRITER_PACE", "10");
    auto made = makeWriter(L"given-up.mp4", to, h264Type(to));
    SetEnvironmentVariableA("RIG_WRITER_PACE", nullptr);
    for (int i = 0; i < 300; i++)
        ASSERT_OK(made.writer->WriteSample(made.video, greyPicture(to, i).get()));
    made.writer = {};
    EXPECT_TRUE(DeleteFileW(output(L"given-up.mp4").c_str()));
}

// Loud or silent, in tenths of a second.
std::vector<bool> loudTenths(const std::wstring& path) {
    auto reader = openReader(path);
    std::vector<bool> loud;
    if (!reader) return loud;
    selectOnly(reader.get(), AUDIO);
    EXPECT_OK(reader->SetCurrentMediaType(AUDIO, nullptr, pcmType().get()));
    for (Read read = readNext(reader.get(), AUDIO); read.sample;
         read = readNext(reader.get(), AUDIO)) {
        auto bytes = bytesOf(read.sample.get());
        auto pcm = reinterpret_cast<const short*>(bytes.data());
        for (size_t i = 0; i < bytes.size() / 4; i++) {
            const size_t tenth = (read.time + LONGLONG(i) * SECOND / 48000) / (SECOND / 10);
            if (loud.size() <= tenth) loud.resize(tenth + 1);
            if (std::abs(pcm[2 * i]) > 2000) loud[tenth] = true;
        }
    }
    return loud;
}

// 15 ms of a tone.
Com<IMFSample> tone(LONGLONG time) {
    auto sample = filledSample(720 * 4, 0, time, SECOND * 720 / 48000);
    Com<IMFMediaBuffer> buffer;
    BYTE* data = nullptr;
    sample->GetBufferByIndex(0, buffer.put());
    buffer->Lock(&data, nullptr, nullptr);
    for (int i = 0; i < 1440; i++)
        reinterpret_cast<short*>(data)[i] = static_cast<short>(i / 2 % 48 < 24 ? 9000 : -9000);
    buffer->Unlock();
    return sample;
}

// From 0.2 s on and, in pieces that overlap, from 0.8 s on.
TEST_F(Writer, SoundIsWhereItsTimesSay) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    auto made = makeWriter(L"gaps.mp4", to, h264Type(to), true);
    auto write = [&](LONGLONG time) {
        return made.writer->WriteSample(made.audio, tone(time).get());
    };
    ASSERT_OK(made.writer->WriteSample(made.video, greyPicture(to, 0).get()));
    ASSERT_OK(write(0));
    for (int i = 0; i < 20; i++) ASSERT_OK(write(2'100'000 + i * 150'000)); // to 0.51 s
    for (int i = 0; i < 30; i++) ASSERT_OK(write(8'100'000 + i * 100'000)); // to 1.115 s
    ASSERT_OK(made.writer->Finalize());
    made.writer = {};
    const auto loud = loudTenths(output(L"gaps.mp4"));
    ASSERT_GE(loud.size(), 11u);
    for (const size_t tenth : {2, 3, 4, 8, 9, 10}) EXPECT_TRUE(loud[tenth]) << tenth;
    for (const size_t tenth : {6, 7}) EXPECT_FALSE(loud[tenth]) << tenth;
    for (size_t tenth = 13; tenth < loud.size(); tenth++) EXPECT_FALSE(loud[tenth]) << tenth;
}

// 0.3 s from 0.5 s on, and 0.3 s from 1.5 s on, of which only the second says that there is a gap.
TEST_F(Writer, AnEncoderThatCountsLooksAtTimesWhereItIsTold) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    SetEnvironmentVariableA("RIG_WRITER_COUNTS", "1");
    auto made = makeWriter(L"counted.mp4", to, h264Type(to), true);
    SetEnvironmentVariableA("RIG_WRITER_COUNTS", nullptr);
    ASSERT_OK(made.writer->WriteSample(made.video, greyPicture(to, 0).get()));
    for (const LONGLONG begin : {5'000'000, 15'000'000}) {
        for (int i = 0; i < 20; i++) {
            auto sample = tone(begin + i * 150'000);
            if (begin > SECOND && i == 0) sample->SetUINT32(MFSampleExtension_Discontinuity, 1);
            ASSERT_OK(made.writer->WriteSample(made.audio, sample.get()));
        }
    }
    ASSERT_OK(made.writer->Finalize());
    made.writer = {};
    const auto loud = loudTenths(output(L"counted.mp4"));
    ASSERT_GE(loud.size(), 18u);
    for (const size_t tenth : {0, 1, 2, 15, 16, 17}) EXPECT_TRUE(loud[tenth]) << tenth;
    for (const size_t tenth : {4, 5, 6, 7, 12, 13}) EXPECT_FALSE(loud[tenth]) << tenth;
}

TEST_F(Writer, AStreamWaitsForTheOneThatIsBehind) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    auto made = makeWriter(L"abreast.mp4", to, h264Type(to), true);
    for (int i = 0; i < 90; i++) // three seconds
        ASSERT_OK(made.writer->WriteSample(made.video, greyPicture(to, i).get()));
    const DWORD pictureSize = WIDTH * HEIGHT * 3 / 2;
    auto waiting = [&] {
        return statisticsOf(made, made.video).dwByteCountQueued / pictureSize;
    };
    EXPECT_TRUE(waitFor([&] { return waiting() == 59; })); // those later than 1 s
    for (int i = 0; i < 80; i++)
        ASSERT_OK(made.writer->WriteSample(made.audio, tone(i * 150'000).get()));
    EXPECT_TRUE(waitFor([&] { return waiting() == 23; })); // later than 2.2 s
    EXPECT_LE(statisticsOf(made, made.video).llLastTimestampEncoded, 22'000'000);
    ASSERT_OK(made.writer->Finalize());
    EXPECT_EQ(statisticsOf(made, made.video).qwNumSamplesEncoded, 90u);
}

// What waits proves that nothing earlier comes: a stream's own gap holds nobody up.
TEST_F(Writer, AGapOfOneStreamHoldsNoneUp) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    for (const bool soundFirst : {true, false}) {
        auto made = makeWriter(soundFirst ? L"gap1.mp4" : L"gap2.mp4", to, h264Type(to), true);
        const auto picture = filledSample(WIDTH * HEIGHT * 3 / 2, 128, 3 * SECOND, timeOfFrame(1));
        if (!soundFirst) ASSERT_OK(made.writer->WriteSample(made.video, picture.get()));
        for (int i = 0; i < 220; i++) // 3.3 s
            ASSERT_OK(made.writer->WriteSample(made.audio, tone(i * 150'000).get()));
        if (soundFirst) ASSERT_OK(made.writer->WriteSample(made.video, picture.get()));
        EXPECT_TRUE(waitFor([&] { return statisticsOf(made, made.video).dwByteCountQueued == 0; }));
        ASSERT_OK(made.writer->Finalize());
    }
}

TEST_F(Writer, RefusesToFinalizeAFileWithAnEmptyTrack) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    auto made = makeWriter(L"silent.mp4", to, h264Type(to), true);
    ASSERT_OK(made.writer->WriteSample(made.video, greyPicture(to, 0).get()));
    EXPECT_EQ(made.writer->Finalize(), MF_E_SINK_NO_SAMPLES_PROCESSED);
}

TEST_F(Writer, RotationAndColoursComeIntoTheFileAndOutOfIt) {
    for (const UINT32 rotation : {0u, 90u, 180u, 270u}) {
        const Encoding to = {WIDTH, HEIGHT, 0};
        auto h264 = h264Type(to);
        const std::pair<GUID, UINT32> stated[] = {
            {MF_MT_YUV_MATRIX, MFVideoTransferMatrix_BT601},
            {MF_MT_VIDEO_PRIMARIES, MFVideoPrimaries_SMPTE170M},
            {MF_MT_TRANSFER_FUNCTION, MFVideoTransFunc_709},
            {MF_MT_VIDEO_NOMINAL_RANGE, MFNominalRange_16_235},
            {MF_MT_VIDEO_ROTATION, rotation}};
        for (const auto& [key, value] : stated) h264->SetUINT32(key, value);
        // A reader that is released may hold its file a moment longer: one for each.
        const auto name = L"turned" + std::to_wstring(rotation) + L".mp4";
        auto made = makeWriter(name.c_str(), to, h264);
        ASSERT_OK(made.writer->WriteSample(made.video, greyPicture(to, 0).get()));
        ASSERT_OK(made.writer->Finalize());
        made.writer = {};
        auto reader = openReader(output(name.c_str()));
        Com<IMFMediaType> native;
        ASSERT_OK(reader->GetNativeMediaType(VIDEO, 0, native.put()));
        for (const auto& [key, value] : stated)
            EXPECT_EQ(MFGetAttributeUINT32(native.get(), key, 99), value);
    }
}

TEST_F(Writer, LosslessEncodingGivesEachBytesBack) {
    const Encoding to = {WIDTH, HEIGHT, 0};
    SetEnvironmentVariableA("RIG_WRITER_LOSSLESS", "1");
    auto made = makeWriter(L"exact.mp4", to, h264Type(to));
    SetEnvironmentVariableA("RIG_WRITER_LOSSLESS", nullptr);
    auto picture = greyPicture(to, 0);
    Com<IMFMediaBuffer> buffer;
    BYTE* data = nullptr;
    DWORD size = 0;
    picture->GetBufferByIndex(0, buffer.put());
    buffer->Lock(&data, nullptr, &size);
    for (DWORD i = 0; i < size; i++) data[i] = static_cast<BYTE>(16 + i * 37 % 200);
    buffer->Unlock();
    const auto original = bytesOf(picture.get());
    ASSERT_OK(made.writer->WriteSample(made.video, picture.get()));
    ASSERT_OK(made.writer->Finalize());
    made.writer = {};
    auto reader = openReader(output(L"exact.mp4"));
    ASSERT_OK(setReaderType(reader.get(), VIDEO, MFMediaType_Video, MFVideoFormat_NV12));
    EXPECT_EQ(bytesOf(readNext(reader.get(), VIDEO).sample.get()), original);
}

} // namespace
