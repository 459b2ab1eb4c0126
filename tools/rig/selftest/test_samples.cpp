// test_samples.cpp: the coded samples that a source reader delivers of files with one oddity each,
// compared packet by packet with ffprobe's table of the same file.
#include "media.h"
#include <algorithm>
#include <cmath>
#include <fstream>
#include <optional>
#include <sstream>

namespace {

constexpr LONGLONG TABLE_PRECISION = 12; // ffprobe prints microseconds; 100 ns units

struct Packet {
    LONGLONG time = 0, decodeTime = 0, duration = 0;
    size_t size = 0;
    bool key = false;
    LONGLONG end() const { return time + duration; }
};

// All packets of the k-th stream of a kind, as ffprobe saw them.
std::vector<Packet> packetsOf(const std::wstring& name, const std::string& kind, int which = 0) {
    std::wstring path = fixture((name + L".csv").c_str());
    std::ifstream file(std::string(path.begin(), path.end()));
    std::vector<Packet> packets;
    std::vector<std::string> streams; // of this kind, in order
    for (std::string line; std::getline(file, line);) {
        std::vector<std::string> fields;
        std::istringstream text(line);
        for (std::string field; std::getline(text, field, ',');) fields.push_back(field);
        if (fields.size() < 7 || fields[0] != kind) continue;
        if (std::find(streams.begin(), streams.end(), fields[1]) == streams.end()) {
            streams.push_back(fields[1]);
        }
        if (static_cast<int>(streams.size()) <= which || fields[1] != streams[which]) continue;
        auto ticks = [](const std::string& s) {
            return s == "N/A" ? 0 : std::llround(std::stod(s) * SECOND);
        };
        Packet packet;
        packet.time = ticks(fields[2]);
        packet.decodeTime = ticks(fields[3]);
        packet.duration = ticks(fields[4]);
        packet.size = std::stoul(fields[5]);
        packet.key = fields[6].find('K') != std::string::npos;
        packets.push_back(packet);
    }
    return packets;
}

// What is played of an audio stream: its priming, which ends before time 0, isn't.
std::vector<Packet> played(std::vector<Packet> packets) {
    std::erase_if(packets,
                  [](const Packet& p) { return p.time < 0 && p.end() <= TABLE_PRECISION; });
    return packets;
}

// The reader's stream number of the k-th stream of a kind.
std::optional<DWORD> streamOf(IMFSourceReader* reader, REFGUID kind, int which = 0) {
    Com<IMFMediaType> type;
    for (DWORD i = 0; SUCCEEDED(reader->GetNativeMediaType(i, 0, type.put())); i++) {
        GUID major = GUID_NULL;
        type->GetGUID(MF_MT_MAJOR_TYPE, &major);
        if (major == kind && which-- == 0) return i;
    }
    return {};
}

void selectOnly(IMFSourceReader* reader, DWORD stream) {
    reader->SetStreamSelection(ALL_STREAMS, FALSE);
    reader->SetStreamSelection(stream, TRUE);
}

bool isKey(IMFSample* sample) {
    return MFGetAttributeUINT32(sample, MFSampleExtension_CleanPoint, 0) != 0;
}

bool beginsWithStartCode(const std::vector<BYTE>& d) {
    return d.size() > 4 && !d[0] && !d[1] && (d[2] == 1 || (!d[2] && d[3] == 1));
}

void expectSame(const Packet& wanted, const Read& read, bool video) {
    UINT64 decodeTime = 0;
    LONGLONG duration = -1;
    EXPECT_NEAR(read.time, wanted.time, TABLE_PRECISION);
    if (!video) { EXPECT_EQ(bytesOf(read.sample.get()).size(), wanted.size); }
    if (video) { EXPECT_TRUE(beginsWithStartCode(bytesOf(read.sample.get()))); }
    EXPECT_EQ(isKey(read.sample.get()), wanted.key);
    EXPECT_OK(read.sample->GetSampleDuration(&duration));
    if (wanted.duration > 0) { EXPECT_NEAR(duration, wanted.duration, TABLE_PRECISION); }
    EXPECT_GT(duration, 0);
    HRESULT hr = read.sample->GetUINT64(MFSampleExtension_DecodeTimestamp, &decodeTime);
    if (wanted.decodeTime != wanted.time) { EXPECT_OK(hr); }
    if (SUCCEEDED(hr)) {
        EXPECT_NEAR(static_cast<LONGLONG>(decodeTime), wanted.decodeTime, TABLE_PRECISION);
    }
}

void expectStream(const std::wstring& name, const std::vector<Packet>& wanted, REFGUID kind,
                  int which = 0) {
    SCOPED_TRACE(std::string(name.begin(), name.end()) +
                 (kind == MFMediaType_Video ? " video" : " audio"));
    ASSERT_FALSE(wanted.empty());
    auto reader = openReader(fixture((name + L".mp4").c_str()));
    ASSERT_TRUE(reader);
    auto stream = streamOf(reader.get(), kind, which);
    ASSERT_TRUE(stream);
    selectOnly(reader.get(), *stream);
    for (size_t i = 0; i < wanted.size(); i++) {
        SCOPED_TRACE("sample " + std::to_string(i));
        Read read = readNext(reader.get(), *stream);
        ASSERT_TRUE(read.sample);
        expectSame(wanted[i], read, kind == MFMediaType_Video);
        if (testing::Test::HasFailure()) return; // one is enough to see what is wrong
    }
    EXPECT_TRUE(readNext(reader.get(), *stream).flags & MF_SOURCE_READERF_ENDOFSTREAM);
}

class Samples : public MediaTest {};

TEST_F(Samples, AreThoseOfTheFile) {
    for (auto name : {L"plain", L"video_only", L"mono", L"late_audio", L"two_audio", L"variable",
                      L"open_gop", L"late", L"fragmented", L"fragmented_edits"}) {
        expectStream(name, packetsOf(name, "video"), MFMediaType_Video);
    }
}

TEST_F(Samples, OfSoundAreThoseOfTheFile) {
    for (auto name : {L"plain", L"mono", L"late_audio", L"variable", L"open_gop", L"late",
                      L"fragmented", L"fragmented_edits"}) {
        expectStream(name, played(packetsOf(name, "audio")), MFMediaType_Audio);
    }
}

TEST_F(Samples, SoundTracksStandInTheFilesOrder) {
    for (int which : {0, 1}) {
        expectStream(L"two_audio", played(packetsOf(L"two_audio", "audio", which)),
                     MFMediaType_Audio, which);
    }
}

TEST_F(Samples, ASeekStartsAtTheKeyframeAtOrBefore) {
    for (auto name :
         {L"plain", L"late", L"open_gop", L"variable", L"fragmented", L"fragmented_edits"}) {
        SCOPED_TRACE(std::string(name, name + wcslen(name)));
        auto packets = packetsOf(name, "video");
        auto reader = openReader(fixture((std::wstring(name) + L".mp4").c_str()));
        auto stream = streamOf(reader.get(), MFMediaType_Video);
        ASSERT_TRUE(stream);
        selectOnly(reader.get(), *stream);
        std::vector<LONGLONG> positions = {SECOND * 5 / 2, 0,       SECOND,       SECOND * 6 / 5,
                                           SECOND / 5,     9999999, 100 * SECOND, SECOND * 31 / 30};
        for (Read read = readNext(reader.get(), *stream); read.sample;
             read = readNext(reader.get(), *stream)) {
            if (isKey(read.sample.get())) positions.push_back(read.time); // each leads to itself
        }
        for (LONGLONG position : positions) {
            SCOPED_TRACE(position);
            const Packet* wanted = nullptr;
            for (auto& p : packets) {
                if (p.key && (!wanted || p.time <= position + TABLE_PRECISION)) wanted = &p;
            }
            ASSERT_OK(seekReader(reader.get(), position));
            Read read = readNext(reader.get(), *stream);
            ASSERT_TRUE(read.sample);
            EXPECT_NEAR(read.time, wanted->time, TABLE_PRECISION);
            EXPECT_TRUE(isKey(read.sample.get()));
        }
    }
}

TEST_F(Samples, ASeekOfTheSoundLandsAtOrBefore) {
    for (auto name :
         {L"plain", L"late", L"late_audio", L"mono", L"fragmented", L"fragmented_edits"}) {
        SCOPED_TRACE(std::string(name, name + wcslen(name)));
        auto packets = played(packetsOf(name, "audio"));
        auto reader = openReader(fixture((std::wstring(name) + L".mp4").c_str()));
        auto stream = streamOf(reader.get(), MFMediaType_Audio);
        ASSERT_TRUE(stream);
        selectOnly(reader.get(), *stream);
        for (double seconds : {1.5, 0.0, 2.0, 0.3, 2.9}) {
            SCOPED_TRACE(seconds);
            auto position = static_cast<LONGLONG>(seconds * SECOND);
            ASSERT_OK(seekReader(reader.get(), position));
            Read read = readNext(reader.get(), *stream);
            ASSERT_TRUE(read.sample);
            EXPECT_LE(read.time, std::max(position, packets[0].time) + TABLE_PRECISION);
        }
    }
}

TEST_F(Samples, UnreadableFilesAreRefused) {
    for (auto name : {L"truncated.mp4", L"broken.mp4", L"empty.mp4", L"missing.mp4"}) {
        Com<IMFSourceReader> reader;
        HRESULT hr = MFCreateSourceReaderFromURL(fixture(name).c_str(), nullptr, reader.put());
        bool missing = !wcscmp(name, L"missing.mp4");
        EXPECT_EQ(hr, missing ? HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)
                              : MF_E_UNSUPPORTED_BYTESTREAM_TYPE)
            << std::string(name, name + wcslen(name));
    }
}

TEST_F(Samples, AFileThatBreaksOffEndsOrFails) {
    auto reader = openReader(fixture(L"truncated_data.mp4"));
    ASSERT_TRUE(reader);
    auto stream = streamOf(reader.get(), MFMediaType_Video);
    ASSERT_TRUE(stream);
    selectOnly(reader.get(), *stream);
    int count = 0;
    Read read = readNext(reader.get(), *stream);
    for (; read.sample && count <= FRAMES; read = readNext(reader.get(), *stream)) count++;
    EXPECT_TRUE(FAILED(read.hr) || (read.flags & MF_SOURCE_READERF_ENDOFSTREAM));
    EXPECT_GT(count, FRAMES / 4);
    EXPECT_LT(count, FRAMES);
}

} // namespace
