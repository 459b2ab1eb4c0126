// media_source_fixture.h: the program's own media source, driven as a pipeline does it, its events
// taken one by one from its own queues.
#pragma once

#include <windows.h>

#include <cguid.h>
#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>

#include <algorithm>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "platform/mf_util.h"
#include "playback/mp4_media_source.h"
#include "tests/windows/test_files.h"

namespace velkantrix {

struct SourceEvent {
    MediaEventType type = MEUnknown;
    HRESULT status = S_OK;
    std::optional<Ticks> position; // where the event's value is a VT_I8
    ComPtr<IUnknown> object;       // where it is an object

    friend void PrintTo(const SourceEvent& event, std::ostream* out) {
        *out << "event " << event.type;
        if (FAILED(event.status)) *out << " failed " << std::hex << event.status << std::dec;
        if (event.position) *out << " at " << *event.position;
    }
};

// What one sample says of itself.
struct ReadSample {
    Ticks time = 0, duration = 0;
    std::optional<Ticks> decodeTime;
    bool clean = false, discontinuity = false;
    ComPtr<IUnknown> token;
    std::vector<char> bytes;
};

inline ReadSample readSample(IMFSample* sample) {
    ReadSample read;
    EXPECT_EQ(sample->GetSampleTime(&read.time), S_OK);
    read.duration = durationOf(sample);
    read.decodeTime = decodeTimeOf(sample);
    read.clean = isKeyframe(sample);
    read.discontinuity = MFGetAttributeUINT32(sample, MFSampleExtension_Discontinuity, 0) != 0;
    static_cast<void>(
        sample->GetUnknown(MFSampleExtension_Token, IID_IUnknown, read.token.putVoid()));
    DWORD count = 0;
    EXPECT_EQ(sample->GetBufferCount(&count), S_OK);
    EXPECT_EQ(count, 1U);
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_EQ(sample->GetBufferByIndex(0, buffer.put()), S_OK);
    BYTE* data = nullptr;
    DWORD room = 0;
    DWORD size = 0;
    EXPECT_EQ(buffer->Lock(&data, &room, &size), S_OK);
    EXPECT_EQ(room, size); // a buffer of exactly the sample's size
    read.bytes.assign(data, data + size);
    static_cast<void>(buffer->Unlock());
    return read;
}

// A copy whose fragment at `number` is no fragment any more; the table still names it.
inline void spoilFragment(const std::wstring& from, const std::wstring& to, int number) {
    std::vector<char> bytes = bytesOf(from);
    const std::string_view mark = "moof";
    auto at = bytes.begin();
    for (int i = 0; i <= number; ++i) {
        at = std::search(at + 1, bytes.end(), mark.begin(), mark.end());
        ASSERT_NE(at, bytes.end());
    }
    std::copy_n("free", 4, at);
    writeBytes(to, bytes);
}

class MediaSourceTest : public FolderTest {
protected:
    static constexpr ULONGLONG LONGEST_WAIT = 20'000; // milliseconds

    ~MediaSourceTest() override {
        for (ComPtr<IMFMediaStream>& stream : streams) stream.reset();
        if (source) static_cast<void>(source->Shutdown());
        source.reset();
        EXPECT_TRUE(waitFor([] { return liveMp4MediaSources() == 0; }));
    }

    template <class Condition>
    static bool waitFor(Condition condition) {
        const ULONGLONG begun = GetTickCount64();
        while (!condition()) {
            if (GetTickCount64() - begun > LONGEST_WAIT) return false;
            Sleep(1);
        }
        return true;
    }

    HRESULT open(const std::wstring& path, SourceSound sound = SourceSound::Wanted) {
        const HRESULT opened = createMp4MediaSource(path, sound, source);
        if (FAILED(opened)) return opened;
        return source->CreatePresentationDescriptor(presentation.put());
    }

    HRESULT start(std::optional<Ticks> position) {
        PROPVARIANT at;
        PropVariantInit(&at);
        if (position) {
            at.vt = VT_I8;
            at.hVal.QuadPart = *position;
        }
        return source->Start(presentation.get(), nullptr, &at);
    }

    // The next event; none when none comes for a long time.
    static std::optional<SourceEvent> next(IMFMediaEventGenerator* generator) {
        ComPtr<IMFMediaEvent> event;
        waitFor([&] {
            return generator->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()) !=
                   MF_E_NO_EVENTS_AVAILABLE;
        });
        if (!event) return std::nullopt;
        SourceEvent read;
        PROPVARIANT value;
        PropVariantInit(&value);
        EXPECT_EQ(event->GetType(&read.type), S_OK);
        EXPECT_EQ(event->GetStatus(&read.status), S_OK);
        EXPECT_EQ(event->GetValue(&value), S_OK);
        if (value.vt == VT_I8) read.position = value.hVal.QuadPart;
        if (value.vt == VT_UNKNOWN) read.object = ComPtr<IUnknown>::share(value.punkVal);
        PropVariantClear(&value);
        return read;
    }

    // There is none now.
    static bool isQuiet(IMFMediaEventGenerator* generator) {
        ComPtr<IMFMediaEvent> event;
        return generator->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()) == MF_E_NO_EVENTS_AVAILABLE;
    }

    void expectNext(IMFMediaEventGenerator* generator, MediaEventType type,
                    std::optional<Ticks> position = std::nullopt, HRESULT status = S_OK) {
        const std::optional<SourceEvent> event = next(generator);
        ASSERT_TRUE(event) << "no event, but " << type << " is awaited";
        EXPECT_EQ(event->type, type);
        EXPECT_EQ(event->status, status);
        if (position) { EXPECT_EQ(event->position, position); }
    }

    // Takes the announcement of a stream by a start.
    void takeStream(MediaEventType type) {
        const std::optional<SourceEvent> event = next(source.get());
        ASSERT_TRUE(event);
        ASSERT_EQ(event->type, type);
        ASSERT_TRUE(event->object);
        ComPtr<IMFMediaStream> stream;
        ASSERT_EQ(event->object->QueryInterface(__uuidof(IMFMediaStream), stream.putVoid()), S_OK);
        if (type == MENewStream) streams.push_back(stream);
    }

    // A first start, with all its events.
    void begin(std::optional<Ticks> position = 0, std::size_t count = 2) {
        ASSERT_EQ(start(position), S_OK);
        for (std::size_t i = 0; i < count; ++i) takeStream(MENewStream);
        ASSERT_EQ(streams.size(), count);
        for (const auto& stream : streams)
            expectNext(stream.get(), MEStreamStarted, position.value_or(0));
        expectNext(source.get(), MESourceStarted, position.value_or(0));
    }

    // A later one.
    void goTo(std::optional<Ticks> asked, Ticks position, bool isSeek = true) {
        ASSERT_EQ(start(asked), S_OK);
        for (std::size_t i = 0; i < streams.size(); ++i) takeStream(MEUpdatedStream);
        for (const auto& stream : streams)
            expectNext(stream.get(), isSeek ? MEStreamSeeked : MEStreamStarted, position);
        expectNext(source.get(), isSeek ? MESourceSeeked : MESourceStarted, position);
    }

    // Asks for one sample, and takes it; none when something else comes, which is in `other`.
    std::optional<ReadSample> sampleOf(IMFMediaStream* stream, IUnknown* token = nullptr) {
        EXPECT_EQ(stream->RequestSample(token), S_OK);
        other = next(stream);
        return takenSample();
    }
    std::optional<ReadSample> takenSample() {
        if (!other || other->type != MEMediaSample || !other->object) return std::nullopt;
        ComPtr<IMFSample> sample;
        if (FAILED(other->object->QueryInterface(__uuidof(IMFSample), sample.putVoid())))
            return std::nullopt;
        return readSample(sample.get());
    }

    // All up to the end, which is taken too.
    std::vector<ReadSample> rest(IMFMediaStream* stream) {
        std::vector<ReadSample> samples;
        while (std::optional<ReadSample> sample = sampleOf(stream))
            samples.push_back(std::move(*sample));
        EXPECT_TRUE(other && other->type == MEEndOfStream);
        return samples;
    }

    IMFMediaStream* video() { return streams.at(0).get(); }
    IMFMediaStream* sound() { return streams.at(1).get(); }

    ComPtr<IMFMediaSource> source;
    ComPtr<IMFPresentationDescriptor> presentation;
    std::vector<ComPtr<IMFMediaStream>> streams;
    std::optional<SourceEvent> other;
};

} // namespace velkantrix
