// scripted_peaks_fixture.h: the analysis of sound over readers that do what the test says. For the
// program that puts its own readers in the place of the system's.
#pragma once

#include <windows.h>

#include <atomic>
#include <functional>
#include <vector>

#include "base/com_ptr.h"
#include "tests/windows/peaks_fixture.h"
#include "tests/windows/reader_maker.h"
#include "tests/windows/sound_reader.h"

namespace velkantrix {

// In a second of 4096 frames each bucket is one of them.
class ScriptedPeaksTest : public PeaksTest {
protected:
    ScriptedPeaksTest() {
        readerMaker() = [this](const ReaderRequest& request) {
            asked = request;
            CoGetApartmentType(&apartment, &qualifier);
            if (whileOpening) whileOpening();
            ++opened;
            return ComPtr<IMFSourceReader>::share(reader.get());
        };
    }
    ~ScriptedPeaksTest() override {
        static_cast<void>(endAudioPeaks());
        EXPECT_TRUE(workerEnds());
        readerMaker() = {};
    }

    std::vector<float> analyse(double duration = 1) {
        startAudioPeaks(L"C:\\any.mp4", duration);
        EXPECT_TRUE(workerEnds());
        EXPECT_TRUE(isReleased());
        return peaks();
    }

    [[nodiscard]] bool isReleased() const {
        reader->AddRef();
        return reader->Release() == 1;
    }

    ReaderRequest asked; // last; these are the worker's until it has ended
    APTTYPE apartment = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_IMPLICIT_MTA;
    std::function<void()> whileOpening;
    std::atomic<int> opened{0};
    const ComPtr<SoundReader> reader = ComPtr<SoundReader>::adopt(new SoundReader);
};

} // namespace velkantrix
