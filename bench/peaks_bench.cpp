// peaks-bench FILE SECONDS [bare]: finds the peaks of a file's sound, as the program does. With
// "bare" it reads the same samples and looks at none of them: what a reader takes by itself.
#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdlib>

#include "base/com_ptr.h"
#include "platform/com.h"
#include "platform/hresult.h"
#include "platform/media_startup.h"
#include "platform/mf_util.h"
#include "playback/audio_peaks.h"
#include "playback/byte_stream_handler.h"
#include "playback/media_end.h"
#include "playback/peak_reader.h"
#include "playback/peak_table.h"

namespace velkantrix {
namespace {

HRESULT readAll(const wchar_t* path) {
    ComPtr<IMFSourceReader> reader;
    RETURN_IF_FAILED(openSourceReader(path, reader));
    RETURN_IF_FAILED(chooseSound(reader.get()));
    for (DWORD flags = 0; !(flags & MF_SOURCE_READERF_ENDOFSTREAM);) {
        ComPtr<IMFSample> sample;
        LONGLONG time = 0;
        RETURN_IF_FAILED(reader->ReadSample(FIRST_AUDIO, 0, nullptr, &flags, &time, sample.put()));
        if (flags & MF_SOURCE_READERF_ERROR) return E_FAIL;
    }
    return S_OK;
}

bool findPeaks(const wchar_t* path, double duration) {
    startAudioPeaks(path, duration);
    while (audioPeaksRun()) Sleep(1);
    return validAudioPeaks().size() == PEAK_BUCKETS;
}

int run(const wchar_t* path, double duration, bool bare) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    if (FAILED(startMedia(registerMp4Source))) return 1;
    const bool done = bare ? SUCCEEDED(readAll(path)) : findPeaks(path, duration);
    return endMedia() && done ? 0 : 1;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    if (count < 3 || count > 4) return 2;
    return velkantrix::run(words[1], std::wcstod(words[2], nullptr), count == 4);
}
