// show-samples FILE queues|reader [POSITION]: writes what the program's own media source delivers
// of a file, a line for each sample: "STREAM TIME DURATION DECODE_TIME FLAGS SIZE CRC32", times in
// ticks, K for keyframes and D for a discontinuity among the flags, else -. Taken from the source's
// own queues, or through a source reader. Exit code 1 without that source, 3 when a read failed.
#include <windows.h>

#include <cguid.h>
#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/media_startup.h"
#include "platform/mf_util.h"
#include "playback/byte_stream_handler.h"
#include "playback/mp4_media_source.h"
#include "tools/velkantrix-mp4/crc32.h"

namespace velkantrix {
namespace {

constexpr int NO_SOURCE = 1;
constexpr int USAGE = 2;
constexpr int READ_FAILED = 3;

void show(DWORD stream, IMFSample* sample) {
    LONGLONG time = 0;
    ComPtr<IMFMediaBuffer> buffer;
    BYTE* data = nullptr;
    DWORD size = 0;
    if (FAILED(sample->GetSampleTime(&time)) ||
        FAILED(sample->ConvertToContiguousBuffer(buffer.put())) ||
        FAILED(buffer->Lock(&data, nullptr, &size)))
        return;
    Crc32 sum;
    sum.add(ByteView(data, size));
    const bool gap = MFGetAttributeUINT32(sample, MFSampleExtension_Discontinuity, 0) != 0;
    const std::string flags = std::string(isKeyframe(sample) ? "K" : "") + (gap ? "D" : "");
    std::printf("%lu %lld %lld %lld %s %lu %lu\n", stream, time, durationOf(sample),
                decodeTimeOf(sample).value_or(-1), flags.empty() ? "-" : flags.c_str(), size,
                static_cast<unsigned long>(sum.value()));
    static_cast<void>(buffer->Unlock());
}

int throughReader(const wchar_t* path, Ticks position) {
    ComPtr<IMFSourceReader> reader;
    if (FAILED(openSourceReader(path, reader)) || liveMp4MediaSources() == 0) return NO_SOURCE;
    for (DWORD stream = 0;; ++stream) {
        BOOL selected = FALSE;
        if (FAILED(reader->GetStreamSelection(stream, &selected))) return 0;
        if (FAILED(selectOnlyStream(reader.get(), stream))) return READ_FAILED;
        if (FAILED(seekReader(reader.get(), position))) return READ_FAILED;
        for (DWORD flags = 0; !(flags & MF_SOURCE_READERF_ENDOFSTREAM);) {
            LONGLONG time = 0;
            ComPtr<IMFSample> sample;
            if (FAILED(reader->ReadSample(stream, 0, nullptr, &flags, &time, sample.put())))
                return READ_FAILED;
            if (sample) show(stream, sample.get());
        }
    }
}

// Of one stream, all that comes. READ_FAILED where no end does.
int showStream(IMFMediaSource* source, IMFMediaStream* stream, DWORD number) {
    while (SUCCEEDED(stream->RequestSample(nullptr))) {
        ComPtr<IMFMediaEvent> event;
        // A failure is told by the source, while the stream says nothing.
        while (stream->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()) == MF_E_NO_EVENTS_AVAILABLE) {
            if (SUCCEEDED(source->GetEvent(MF_EVENT_FLAG_NO_WAIT, event.put()))) {
                MediaEventType type = MEUnknown;
                static_cast<void>(event->GetType(&type));
                if (type == MEError) return READ_FAILED;
            }
            Sleep(0);
        }
        MediaEventType type = MEUnknown;
        PROPVARIANT value;
        PropVariantInit(&value);
        if (!event || FAILED(event->GetType(&type)) || FAILED(event->GetValue(&value)))
            return READ_FAILED;
        ComPtr<IMFSample> sample;
        if (type == MEMediaSample &&
            SUCCEEDED(value.punkVal->QueryInterface(__uuidof(IMFSample), sample.putVoid())))
            show(number, sample.get());
        static_cast<void>(PropVariantClear(&value));
    }
    return 0;
}

int throughQueues(const wchar_t* path, Ticks position) {
    ComPtr<IMFMediaSource> source;
    ComPtr<IMFPresentationDescriptor> presentation;
    if (FAILED(createMp4MediaSource(path, SourceSound::Wanted, source))) return NO_SOURCE;
    PROPVARIANT start;
    PropVariantInit(&start);
    start.vt = VT_I8;
    start.hVal.QuadPart = position;
    DWORD count = 0;
    if (FAILED(source->CreatePresentationDescriptor(presentation.put())) ||
        FAILED(presentation->GetStreamDescriptorCount(&count)) ||
        FAILED(source->Start(presentation.get(), &GUID_NULL, &start)))
        return READ_FAILED;
    std::vector<ComPtr<IMFMediaStream>> streams;
    while (streams.size() < count) {
        ComPtr<IMFMediaEvent> event;
        PROPVARIANT value;
        PropVariantInit(&value);
        if (FAILED(source->GetEvent(0, event.put())) || FAILED(event->GetValue(&value)) ||
            value.vt != VT_UNKNOWN)
            return READ_FAILED;
        ComPtr<IMFMediaStream> stream;
        if (FAILED(value.punkVal->QueryInterface(__uuidof(IMFMediaStream), stream.putVoid())))
            return READ_FAILED;
        static_cast<void>(PropVariantClear(&value));
        ComPtr<IMFMediaEvent> started;
        if (FAILED(stream->GetEvent(0, started.put()))) return READ_FAILED;
        streams.push_back(std::move(stream));
    }
    for (DWORD i = 0; i < count; ++i) {
        const int shown = showStream(source.get(), streams[i].get(), i);
        if (shown != 0) return shown;
    }
    static_cast<void>(source->Shutdown());
    return 0;
}

int run(const wchar_t* path, const std::wstring& way, Ticks position) {
    if (FAILED(startMedia(registerMp4Source))) return NO_SOURCE;
    const int code =
        way == L"reader" ? throughReader(path, position) : throughQueues(path, position);
    stopMedia();
    return code;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    if (count < 3 || count > 4) return velkantrix::USAGE;
    return velkantrix::run(words[1], words[2], count == 4 ? _wtoi64(words[3]) : 0);
}
