// peaks_fixture.h: the analysis of sound, stopped after each test.
#pragma once

#include <windows.h>

#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "playback/audio_peaks.h"

namespace velkantrix {

class PeaksTest : public testing::Test {
protected:
    ~PeaksTest() override {
        static_cast<void>(endAudioPeaks());
        EXPECT_TRUE(workerEnds());
    }
    PeaksTest() = default;
    PeaksTest(const PeaksTest&) = delete;
    PeaksTest& operator=(const PeaksTest&) = delete;

    [[nodiscard]] static std::vector<float> peaks() {
        const std::span<const float> valid = validAudioPeaks();
        return {valid.begin(), valid.end()};
    }

    static bool workerEnds() {
        return waitFor([] { return !audioPeaksRun(); });
    }

    // False when it isn't so within a time that is long enough anywhere.
    static bool waitFor(const std::function<bool()>& condition) {
        const ULONGLONG begun = GetTickCount64();
        while (!condition()) {
            if (GetTickCount64() - begun > 60'000) return false;
            Sleep(1);
        }
        return true;
    }
};

} // namespace velkantrix
