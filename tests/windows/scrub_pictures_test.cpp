// Each request shows the keyframe in front of its time at once, and its own frame when it rests:
// recordings whose pictures carry their numbers, in groups of every length, with B-frames and
// without.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/mf_util.h"
#include "tests/support/random_choices.h"
#include "tests/windows/scrub_fixture.h"

namespace velkantrix {
namespace {

constexpr int PICTURES = 240; // of a recording
constexpr PictureSize NUMBERED{640, 360};

struct Recording {
    std::wstring name;
    double fps = 0;
    int group = 0; // pictures from keyframe to keyframe
};

void PrintTo(const Recording& recording, std::ostream* out) {
    *out << std::string(recording.name.begin(), recording.name.end());
}

std::vector<Recording> allRecordings() {
    std::vector<Recording> all;
    for (const auto& [name, fps] :
         {std::pair{L"25", 25.0}, std::pair{L"2997", 30000.0 / 1001}, std::pair{L"60", 60.0}})
        for (const int group : {1, 30, 250})
            for (const int b : {0, 1, 2, 3, 4}) {
                if (group == 1 && b > 0) continue;
                const std::wstring stem = L"numbered-" + std::wstring(name) + L"-" +
                                          std::to_wstring(group) + L"-" + std::to_wstring(b);
                all.push_back({stem, fps, group});
                all.push_back({stem + L"-fragmented-late", fps, group});
                if (group > 1 && (b == 0 || b == 3))
                    all.push_back({stem + L"-fragmented", fps, group});
            }
    return all;
}

// A seeded few, or all when there is time.
std::vector<Recording> someRecordings() {
    std::vector<Recording> all = allRecordings();
    if (std::getenv("VELKANTRIX_LONG")) return all;
    return {{L"numbered-25-1-0", 25, 1},
            {L"numbered-25-30-0", 25, 30},
            {L"numbered-2997-30-3", 30000.0 / 1001, 30},
            {L"numbered-60-250-3", 60, 250},
            {L"numbered-2997-30-3-fragmented", 30000.0 / 1001, 30},
            {L"numbered-2997-30-3-fragmented-late", 30000.0 / 1001, 30}};
}

class ScrubPictures : public ScrubTest, public testing::WithParamInterface<Recording> {
protected:
    static int requests() { return std::getenv("VELKANTRIX_LONG") ? 300 : 40; }

    // When the engine shows the first picture: its source's times are the reader's.
    static double startOf(const std::wstring& path) {
        ComPtr<IMFSourceReader> reader;
        EXPECT_EQ(openSourceReader(path.c_str(), reader), S_OK);
        EXPECT_EQ(selectOnlyStream(reader.get(), FIRST_VIDEO), S_OK);
        Ticks earliest = TICKS_PER_SECOND;
        for (int i = 0; i < 20; ++i) {
            DWORD flags = 0;
            LONGLONG time = 0;
            ComPtr<IMFSample> sample;
            EXPECT_EQ(reader->ReadSample(FIRST_VIDEO, 0, nullptr, &flags, &time, sample.put()),
                      S_OK);
            if (sample) earliest = std::min<Ticks>(earliest, time);
        }
        return secondsOf(earliest);
    }

    // A plain file of keyframes alone has no table of them.
    static bool isByTextures(const Recording& recording) {
        return recording.group > 1 || recording.name.find(L"-fragmented") != std::wstring::npos;
    }

    // By the whole seconds of the keyframes' times.
    static int keyframeFor(double seconds, const Recording& recording, double start) {
        int best = 0;
        for (int i = 0; i < PICTURES; i += recording.group)
            if (start + i / recording.fps <= std::floor(seconds) + 1e-6) best = i;
        return best;
    }
};

TEST_P(ScrubPictures, TheKeyframeAndThenTheFrameItself) {
    const Recording& recording = GetParam();
    start(mediaFile(recording.name), recording.fps, NUMBERED);
    const double begins = startOf(mediaFile(recording.name));
    RandomChoices choices(7);
    for (int i = 0; i < requests(); ++i) {
        const int wanted = static_cast<int>(choices.below(PICTURES));
        // Not within a millisecond of the edges: there both neighbours are right.
        const double inside = choices.between(5, 95) / 100.0;
        const double seconds = begins + (wanted + inside) / recording.fps;
        if ((1 - inside) / recording.fps < 0.002) continue;
        const std::vector<Delivered> got = ask(seconds);
        ASSERT_FALSE(got.empty()) << i;
        EXPECT_EQ(got.back().picture, wanted) << "request " << i << " for " << seconds;
        EXPECT_NEAR(got.back().frame.seconds, begins + wanted / recording.fps, 0.0005) << i;
        EXPECT_TRUE(got.back().frame.exact) << i;
        // A keyframe, then the exact one.
        EXPECT_TRUE(got.size() == 2 || !isByTextures(recording)) << i;
        if (got.size() < 2) continue;
        EXPECT_EQ(got.size(), 2u) << i;
        EXPECT_EQ(got.front().picture, keyframeFor(seconds, recording, begins))
            << "request " << i << " for " << seconds;
        EXPECT_NEAR(got.front().frame.seconds, begins + got.front().picture / recording.fps, 0.0005)
            << i;
    }
    const Lock held(deviceLock);
    std::printf("%d by textures, %d by pixels\n", textures, pixelPictures);
    const bool byTextures = isByTextures(recording);
    EXPECT_EQ(textures > 0, byTextures);
    EXPECT_EQ(pixelPictures > 0, !byTextures);
}

INSTANTIATE_TEST_SUITE_P(Recordings, ScrubPictures, testing::ValuesIn(someRecordings()),
                         [](const auto& one) {
                             std::string name(one.param.name.begin(), one.param.name.end());
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

} // namespace
} // namespace velkantrix
