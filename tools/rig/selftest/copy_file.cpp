// copy_file.cpp: copy_file IN OUT: all coded samples of all streams from a source reader to a sink
// writer, as a lossless export of a whole file does. Prints bytes, seconds and the most memory
// used.
#include "../standins/common/com.h"
#include <cstdio>
#include <initguid.h>
#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>
#include <psapi.h>
#include <vector>
#include <windows.h>

using rig::Com;

namespace {

constexpr DWORD ANY_STREAM = static_cast<DWORD>(MF_SOURCE_READER_ANY_STREAM);
constexpr DWORD ALL_STREAMS = static_cast<DWORD>(MF_SOURCE_READER_ALL_STREAMS);

HRESULT addStreams(IMFSourceReader* reader, IMFSinkWriter* writer, std::vector<DWORD>& targets) {
    Com<IMFMediaType> type;
    for (DWORD i = 0; SUCCEEDED(reader->GetNativeMediaType(i, 0, type.put())); i++) {
        DWORD target = 0;
        HRESULT hr = writer->AddStream(type.get(), &target);
        if (FAILED(hr) || FAILED(hr = writer->SetInputMediaType(target, type.get(), nullptr)))
            return hr;
        targets.push_back(target);
    }
    return reader->SetStreamSelection(ALL_STREAMS, TRUE);
}

HRESULT copySamples(IMFSourceReader* reader, IMFSinkWriter* writer,
                    const std::vector<DWORD>& targets, unsigned long long& bytes) {
    for (size_t ended = 0; ended < targets.size();) {
        DWORD index = 0, flags = 0, size = 0;
        LONGLONG time = 0;
        Com<IMFSample> sample;
        HRESULT hr = reader->ReadSample(ANY_STREAM, 0, &index, &flags, &time, sample.put());
        if (FAILED(hr)) return hr;
        if (sample && FAILED(hr = writer->WriteSample(targets[index], sample.get()))) return hr;
        if (sample && SUCCEEDED(sample->GetTotalLength(&size))) bytes += size;
        if (flags & MF_SOURCE_READERF_ENDOFSTREAM) ended++;
    }
    return writer->Finalize();
}

HRESULT copyFile(const wchar_t* from, const wchar_t* to, unsigned long long& bytes) {
    Com<IMFSourceReader> reader;
    Com<IMFSinkWriter> writer;
    std::vector<DWORD> targets;
    HRESULT hr = MFCreateSourceReaderFromURL(from, nullptr, reader.put());
    if (FAILED(hr)) return hr;
    if (FAILED(hr = MFCreateSinkWriterFromURL(to, nullptr, nullptr, writer.put()))) return hr;
    if (FAILED(hr = addStreams(reader.get(), writer.get(), targets))) return hr;
    if (FAILED(hr = writer->BeginWriting())) return hr;
    return copySamples(reader.get(), writer.get(), targets, bytes);
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    if (count != 3) return 2;
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) || FAILED(MFStartup(MF_VERSION, 0)))
        return 3;
    unsigned long long bytes = 0;
    ULONGLONG begun = GetTickCount64();
    HRESULT hr = copyFile(arguments[1], arguments[2], bytes);
    PROCESS_MEMORY_COUNTERS memory = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
    printf("0x%08lX bytes=%llu ms=%llu peak=%llu\n", static_cast<unsigned long>(hr), bytes,
           GetTickCount64() - begun, static_cast<unsigned long long>(memory.PeakWorkingSetSize));
    fflush(stdout);
    MFShutdown();
    CoUninitialize();
    return FAILED(hr) ? 1 : 0;
}
