#include "app/strip_drawing.h"

#include <algorithm>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/drawing_support.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Strip : public testing::Test {
protected:
    Strip() {
        state.track = {28, 606, 1028, 706};
        state.clips = &clips;
        state.sourceDuration = 20;
    }

    Drawing draw() {
        Drawing drawing;
        drawStrip(drawing, state);
        return drawing;
    }

    ClipList clips{{.start = 0, .end = 4}, {.start = 6, .end = 12}};
    StripState state;
};

TEST_F(Strip, ClipsLieEndToEndOnTheTrack) {
    const Drawing drawing = draw();
    EXPECT_EQ(drawing.front(), DrawItem(FillItem{{28, 606, 1028, 706}, colour(18, 17, 13)}));
    EXPECT_TRUE(holds(drawing, FillItem{{28, 606, 428, 706}, colour(38, 36, 30)}));
    EXPECT_TRUE(holds(drawing, FillItem{{428, 606, 1028, 706}, colour(38, 36, 30)}));
    EXPECT_TRUE(holds(drawing, OutlineItem{{28, 606, 428, 706}, colour(74, 70, 60), 1}));
    EXPECT_TRUE(holds(drawing, OutlineItem{{428, 606, 1028, 706}, colour(74, 70, 60), 1}));
}

TEST_F(Strip, TheSelectedClipStandsOut) {
    state.selectedClip = 1;
    const Drawing drawing = draw();
    EXPECT_TRUE(holds(drawing, FillItem{{28, 606, 428, 706}, colour(38, 36, 30)}));
    EXPECT_TRUE(holds(drawing, FillItem{{428, 606, 1028, 706}, colour(58, 30, 26)}));
    EXPECT_TRUE(holds(drawing, OutlineItem{{428, 606, 1028, 706}, colour(226, 91, 69), 2}));
    EXPECT_TRUE(holds(drawing, FillItem{{429, 607, 432, 705}, colour(198, 190, 175)}));
    EXPECT_TRUE(holds(drawing, FillItem{{1024, 607, 1027, 705}, colour(198, 190, 175)}));
    EXPECT_FALSE(holds(drawing, FillItem{{29, 607, 32, 705}, colour(198, 190, 175)}));
}

TEST_F(Strip, TheSelectedCutIsTheBrightBarAtItsClipsEnd) {
    state.selectedCut = 0;
    state.selectedClip = 1;
    const Drawing drawing = draw();
    EXPECT_TRUE(holds(drawing, FillItem{{29, 607, 32, 705}, colour(198, 190, 175)}));
    EXPECT_TRUE(holds(drawing, FillItem{{424, 607, 427, 705}, colour(248, 246, 240)}));
    EXPECT_TRUE(holds(drawing, FillItem{{1024, 607, 1027, 705}, colour(198, 190, 175)}));
}

TEST_F(Strip, LabelsAreTheNameOrTheNumber) {
    clips[1].name = L"Goal & shot";
    const Drawing drawing = draw();
    EXPECT_THAT(textsOf(drawing),
                ElementsAre(L"CLIP 1", L"00:04.000", L"Goal & shot", L"00:06.000"));
    EXPECT_EQ(textItem(drawing, L"CLIP 1"), (TextItem{L"CLIP 1",
                                                      {36, 611, 424, 636},
                                                      colour(224, 220, 208),
                                                      Font::Monospace,
                                                      TextAlign::Left,
                                                      true}));
    EXPECT_EQ(textItem(drawing, L"Goal & shot").font, Font::Text);
    EXPECT_EQ(textItem(drawing, L"00:06.000"), (TextItem{L"00:06.000",
                                                         {436, 678, 1024, 702},
                                                         colour(154, 148, 138),
                                                         Font::Monospace,
                                                         TextAlign::Left,
                                                         false}));
}

TEST_F(Strip, TheNameUnderRenameIsInItsField) {
    state.renamedClip = 0;
    EXPECT_THAT(textsOf(draw()), ElementsAre(L"00:04.000", L"CLIP 2", L"00:06.000"));
}

TEST_F(Strip, AClipNarrowerThanItsTextsShowsThoseThatHaveAPlace) {
    clips = {{.start = 0, .end = 0.11}, {.start = 1, .end = 10.89}};
    EXPECT_THAT(textsOf(draw()), ElementsAre(L"CLIP 2", L"00:09.890"));
    clips = {{.start = 0, .end = 0.13}, {.start = 1, .end = 10.87}};
    EXPECT_EQ(textItem(draw(), L"CLIP 1").rect, (PixelRect{36, 611, 37, 636}));
}

TEST_F(Strip, AFadeIsARampWithItsLength) {
    clips[0].fadeIn = 1;
    clips[1].fadeOut = 1.5;
    const Drawing drawing = draw();
    EXPECT_THAT(
        itemsOf<TriangleItem>(drawing),
        ElementsAre(
            TriangleItem{{PixelPoint{28, 607}, {128, 607}, {28, 705}}, colour(16, 15, 11)},
            TriangleItem{{PixelPoint{1028, 607}, {878, 607}, {1028, 705}}, colour(16, 15, 11)}));
    EXPECT_THAT(itemsOf<LineItem>(drawing),
                ElementsAre(LineItem{{28, 705}, {128, 607}, colour(224, 220, 208), 1},
                            LineItem{{1028, 705}, {878, 607}, colour(224, 220, 208), 1}));
    EXPECT_EQ(textItem(drawing, L"1.0 s"), (TextItem{L"1.0 s",
                                                     {134, 608, 194, 626},
                                                     colour(196, 190, 176),
                                                     Font::Monospace,
                                                     TextAlign::Left}));
    EXPECT_EQ(textItem(drawing, L"1.5 s"), (TextItem{L"1.5 s",
                                                     {812, 608, 872, 626},
                                                     colour(196, 190, 176),
                                                     Font::Monospace,
                                                     TextAlign::Right}));
}

// 100 pixels a second.
TEST_F(Strip, ARampEndsAtTheLastWholePixel) {
    clips[0].fadeIn = 1.0033;
    clips[0].fadeOut = 1.0067;
    clips[1].fadeIn = 1.0067;
    clips[1].fadeOut = 1.0033;
    std::vector<std::int32_t> inner;
    for (const TriangleItem& ramp : itemsOf<TriangleItem>(draw()))
        inner.push_back(ramp.corners[1].x);
    EXPECT_THAT(inner, ElementsAre(28 + 100, 428 - 100, 428 + 100, 1028 - 100));
}

TEST_F(Strip, ARampIsNoLongerThanItsClip) {
    clips[0].fadeIn = 9;
    EXPECT_EQ(itemsOf<TriangleItem>(draw()).front().corners[1], (PixelPoint{428, 607}));
}

std::vector<FillItem> bars(const Drawing& drawing, std::uint32_t wanted) {
    std::vector<FillItem> found;
    for (const FillItem& item : itemsOf<FillItem>(drawing)) {
        if (item.colour == wanted) found.push_back(item);
    }
    return found;
}

TEST_F(Strip, TheWaveformHasABarEachTwoPixels) {
    const std::vector<float> peaks(PEAK_BUCKETS, 0.5F);
    state.peaks = peaks;
    state.selectedClip = 1;
    const std::vector<FillItem> first = bars(draw(), colour(80, 76, 66));
    ASSERT_EQ(first.size(), 199u); // from 29 to 425
    EXPECT_EQ(first.front().rect, (PixelRect{29, 634, 31, 678}));
    EXPECT_EQ(first.back().rect, (PixelRect{425, 634, 427, 678}));
    EXPECT_EQ(bars(draw(), colour(150, 140, 120)).size(), 299u);
}

TEST_F(Strip, SilenceIsOnePixelEachWay) {
    const std::vector<float> peaks(PEAK_BUCKETS, 0.0F);
    state.peaks = peaks;
    EXPECT_EQ(bars(draw(), colour(80, 76, 66)).front().rect, (PixelRect{29, 655, 31, 657}));
}

TEST_F(Strip, TheWaveformEndsWithTheKnownPeaks) {
    // The second clip begins at 6 of 20 seconds, in bucket 1228.
    const std::vector<float> peaks(1228, 1.0F);
    state.peaks = peaks;
    const std::vector<FillItem> found = bars(draw(), colour(80, 76, 66));
    EXPECT_EQ(found.size(), 199u);
    EXPECT_EQ(found.front().rect, (PixelRect{29, 612, 31, 700}));
}

// Peaks that tell their buckets apart.
std::vector<float> ascendingPeaks(int count) {
    std::vector<float> peaks;
    for (int i = 0; i < count; ++i) peaks.push_back(static_cast<float>(i) / PEAK_BUCKETS);
    return peaks;
}

// A bar of the track, which is 44 pixels each way at most, for a peak of `bucket` in 4096.
FillItem barAt(std::int32_t x, std::int32_t bucket, std::uint32_t wanted) {
    const std::int32_t half = std::max(1, 44 * bucket / 4096);
    return {{x, 656 - half, x + 2, 656 + half}, wanted};
}

// 100 pixels are a second of the 20, which are 4096 buckets: 256 buckets in 125 pixels.
TEST_F(Strip, EachBarIsThePeakOfItsPlaceInTheSource) {
    const std::vector<float> peaks = ascendingPeaks(PEAK_BUCKETS);
    state.peaks = peaks;
    state.selectedClip = 1;
    std::vector<FillItem> first;
    for (std::int32_t x = 29; x < 427; x += 2)
        first.push_back(barAt(x, (x - 28) * 256 / 125, colour(80, 76, 66)));
    EXPECT_EQ(bars(draw(), colour(80, 76, 66)), first);
    std::vector<FillItem> second; // which begins at 6 s
    for (std::int32_t x = 429; x < 1027; x += 2)
        second.push_back(barAt(x, (x - 428 + 600) * 256 / 125, colour(150, 140, 120)));
    EXPECT_EQ(bars(draw(), colour(150, 140, 120)), second);
}

TEST_F(Strip, TheWaveformEndsInTheMiddleOfTheClipWhosePeaksAreKnownToThere) {
    const std::vector<float> peaks = ascendingPeaks(500);
    state.peaks = peaks;
    const std::vector<FillItem> found = bars(draw(), colour(80, 76, 66));
    ASSERT_EQ(found.size(), 122u);
    EXPECT_EQ(found.back(), barAt(271, 497, colour(80, 76, 66))); // the next would be of 501
    state.peaks = std::span(peaks).first(498);
    EXPECT_EQ(bars(draw(), colour(80, 76, 66)).back().rect.left, 271);
    state.peaks = std::span(peaks).first(497);
    EXPECT_EQ(bars(draw(), colour(80, 76, 66)).back().rect.left, 269);
}

// The engine may say a little less than the clip that was made of it.
TEST_F(Strip, BehindTheSourcesEndTheLastPeakGoesOn) {
    std::vector<float> peaks(PEAK_BUCKETS, 0.0F);
    peaks.back() = 1.0F;
    state.peaks = peaks;
    state.sourceDuration = 10;
    std::vector<FillItem> high;
    for (const FillItem& bar : bars(draw(), colour(80, 76, 66))) {
        if (bar.rect.top < 655) high.push_back(bar);
    }
    std::vector<FillItem> expected;
    for (std::int32_t x = 829; x < 1027; x += 2)
        expected.push_back({{x, 612, x + 2, 700}, colour(80, 76, 66)});
    EXPECT_EQ(high, expected);
}

TEST_F(Strip, WithoutPeaksOrADurationThereIsNoWaveform) {
    EXPECT_THAT(bars(draw(), colour(80, 76, 66)), IsEmpty());
    const std::vector<float> peaks(PEAK_BUCKETS, 1.0F);
    state.peaks = peaks;
    state.sourceDuration = 0;
    EXPECT_THAT(bars(draw(), colour(80, 76, 66)), IsEmpty());
}

TEST_F(Strip, AClipOfAPixelHasNoWaveform) {
    clips = {{.start = 0, .end = 0.02}, {.start = 1, .end = 10.98}};
    const std::vector<float> peaks(PEAK_BUCKETS, 1.0F);
    state.peaks = peaks;
    for (const FillItem& bar : bars(draw(), colour(80, 76, 66))) EXPECT_GE(bar.rect.left, 30);
}

TEST_F(Strip, NothingKeptIsAnEmptyTrack) {
    clips = {{.start = 0, .end = 0}};
    EXPECT_EQ(draw().size(), 1u);
    state.track = {};
    EXPECT_THAT(draw(), IsEmpty());
}

TEST_F(Strip, LengthsFollowTheDpi) {
    state.dpi = 192;
    state.selectedClip = 0;
    const Drawing drawing = draw();
    EXPECT_TRUE(holds(drawing, FillItem{{29, 607, 35, 705}, colour(198, 190, 175)}));
    EXPECT_EQ(textItem(drawing, L"CLIP 1").rect, (PixelRect{44, 616, 420, 666}));
}

// Lines of a pixel stay so, and what lies a pixel within its clip.
TEST_F(Strip, AtTwiceTheDpiEverythingIsTwiceAsLarge) {
    clips[0] = {.start = 0, .end = 4, .name = L"Goal", .fadeIn = 1, .fadeOut = 0.5};
    const std::vector<float> peaks(12, 0.5F); // three bars
    state.peaks = peaks;
    state.selectedClip = 0;
    state.selectedCut = 0;
    const Drawing smaller = draw();
    state.track = {56, 1212, 2056, 1412};
    state.dpi = 192;
    const Drawing larger = draw();
    ASSERT_EQ(smaller.size(), larger.size());
    const std::uint32_t wave = colour(150, 140, 120);
    const std::uint32_t shade = colour(16, 15, 11);
    const std::uint32_t ramp = colour(224, 220, 208);
    EXPECT_THAT(
        notDoubled(smaller, larger),
        ElementsAre(
            DrawItem(FillItem{{57, 1268, 61, 1356}, wave}),
            DrawItem(FillItem{{61, 1268, 65, 1356}, wave}),
            DrawItem(FillItem{{65, 1268, 69, 1356}, wave}),
            DrawItem(OutlineItem{{56, 1212, 856, 1412}, colour(226, 91, 69), 2}),
            DrawItem(FillItem{{57, 1213, 63, 1411}, colour(198, 190, 175)}),
            DrawItem(FillItem{{849, 1213, 855, 1411}, colour(248, 246, 240)}),
            DrawItem(TriangleItem{{PixelPoint{56, 1213}, {256, 1213}, {56, 1411}}, shade}),
            DrawItem(LineItem{{56, 1411}, {256, 1213}, ramp, 2}),
            DrawItem(TriangleItem{{PixelPoint{856, 1213}, {756, 1213}, {856, 1411}}, shade}),
            DrawItem(LineItem{{856, 1411}, {756, 1213}, ramp, 2}),
            DrawItem(OutlineItem{{856, 1212, 2056, 1412}, colour(74, 70, 60), 1})));
}

TEST_F(Strip, AtOneAndAHalfTimesTheDpiLengthsAreRounded) {
    clips[0].fadeIn = 1;
    clips[1].fadeOut = 1.5;
    const std::vector<float> peaks(8, 0.5F); // two bars
    state.peaks = peaks;
    state.selectedClip = 0;
    state.track = {42, 909, 1542, 1059};
    state.dpi = 144;
    const std::uint32_t text = colour(224, 220, 208);
    const std::uint32_t faint = colour(154, 148, 138);
    const std::uint32_t shade = colour(16, 15, 11);
    const Drawing expected = {
        FillItem{{42, 909, 1542, 1059}, colour(18, 17, 13)},
        FillItem{{42, 909, 642, 1059}, colour(58, 30, 26)},
        FillItem{{43, 951, 46, 1017}, colour(150, 140, 120)},
        FillItem{{46, 951, 49, 1017}, colour(150, 140, 120)},
        OutlineItem{{42, 909, 642, 1059}, colour(226, 91, 69), 2},
        FillItem{{43, 910, 48, 1058}, colour(198, 190, 175)},
        FillItem{{636, 910, 641, 1058}, colour(198, 190, 175)},
        TextItem{L"CLIP 1", {54, 917, 636, 954}, text, Font::Monospace, TextAlign::Left, true},
        TextItem{L"00:04.000", {54, 1017, 636, 1053}, faint, Font::Monospace},
        TriangleItem{{PixelPoint{42, 910}, {192, 910}, {42, 1058}}, shade},
        LineItem{{42, 1058}, {192, 910}, text, 2},
        TextItem{L"1.0 s", {201, 912, 291, 939}, colour(196, 190, 176), Font::Monospace},
        FillItem{{642, 909, 1542, 1059}, colour(38, 36, 30)},
        OutlineItem{{642, 909, 1542, 1059}, colour(74, 70, 60), 1},
        TextItem{L"CLIP 2", {654, 917, 1536, 954}, text, Font::Monospace, TextAlign::Left, true},
        TextItem{L"00:06.000", {654, 1017, 1536, 1053}, faint, Font::Monospace},
        TriangleItem{{PixelPoint{1542, 910}, {1317, 910}, {1542, 1058}}, shade},
        LineItem{{1542, 1058}, {1317, 910}, text, 2},
        TextItem{L"1.5 s",
                 {1218, 912, 1308, 939},
                 colour(196, 190, 176),
                 Font::Monospace,
                 TextAlign::Right}};
    EXPECT_EQ(draw(), expected);
}

// What comes later lies over what came before.
TEST_F(Strip, AClipIsDrawnFromTheBackToTheFront) {
    clips = {{.start = 0, .end = 10, .name = L"Goal", .fadeIn = 1, .fadeOut = 2}};
    const std::vector<float> peaks(4, 0.5F); // one bar
    state.peaks = peaks;
    state.selectedClip = 0;
    using Step = std::pair<std::string, std::uint32_t>;
    EXPECT_THAT(
        sequenceOf(draw()),
        ElementsAre(Step{"fill", colour(18, 17, 13)}, Step{"fill", colour(58, 30, 26)},
                    Step{"fill", colour(150, 140, 120)}, Step{"outline", colour(226, 91, 69)},
                    Step{"fill", colour(198, 190, 175)}, Step{"fill", colour(198, 190, 175)},
                    Step{"text", colour(224, 220, 208)}, // its name
                    Step{"text", colour(154, 148, 138)}, // its length
                    Step{"triangle", colour(16, 15, 11)}, Step{"line", colour(224, 220, 208)},
                    Step{"text", colour(196, 190, 176)}, Step{"triangle", colour(16, 15, 11)},
                    Step{"line", colour(224, 220, 208)}, Step{"text", colour(196, 190, 176)}));
}

// It could be removed by a key at any time, so it must be seen.
TEST_F(Strip, ASelectedClipOfNoPixelsShowsItsEdgeBars) {
    clips = {{.start = 0, .end = 50}, {.start = 50, .end = 50.05}, {.start = 50.05, .end = 100}};
    state.selectedClip = 1;
    const Drawing drawing = draw();
    EXPECT_TRUE(holds(drawing, FillItem{{529, 607, 532, 705}, colour(198, 190, 175)}));
    EXPECT_TRUE(holds(drawing, FillItem{{524, 607, 527, 705}, colour(198, 190, 175)}));
    for (const std::int32_t x : {524, 526, 529, 531}) { // the blocks beside it don't cover them
        EXPECT_EQ(filledColour(drawing, x, 607), colour(198, 190, 175)) << x;
        EXPECT_EQ(filledColour(drawing, x, 704), colour(198, 190, 175)) << x;
    }
}

TEST_F(Strip, TheSelectedCutIsSeenWhenItsClipHasNoPixels) {
    clips = {{.start = 0, .end = 50}, {.start = 50, .end = 50.05}, {.start = 50.05, .end = 100}};
    state.selectedClip = 0;
    state.selectedCut = 1;
    const Drawing drawing = draw();
    EXPECT_EQ(filledColour(drawing, 525, 650), colour(248, 246, 240));
    EXPECT_EQ(filledColour(drawing, 530, 650), colour(198, 190, 175));
    state.selectedCut = -1; // the bars of a clip that isn't marked
    EXPECT_EQ(filledColour(draw(), 530, 650), colour(38, 36, 30));
}

TEST_F(Strip, TheKeyChangesWithWhateverIsSeen) {
    const std::vector<std::function<void()>> changes = {
        [&] { ++state.track.right; },
        [&] { ++state.track.bottom; },
        [&] { state.track = {29, 606, 1029, 706}; },
        [&] { state.track = {28, 607, 1028, 707}; },
        [&] { state.dpi = 97; },
        [&] { state.selectedClip = 0; },
        [&] { state.selectedCut = 0; },
        [&] { state.renamedClip = 0; },
        [&] { state.peaksVersion = 1; },
        [&] { state.peaksVersion = 2; },
        [&] { state.peaksVersion = std::uint64_t{1} << 32; },
        [&] { state.sourceDuration = 21; },
        [&] { clips[0].start = 0.001; },
        [&] { clips[0].end = 4.001; },
        [&] { clips[1].fadeIn = 0.001; },
        [&] { clips[1].fadeOut = 0.001; },
        [&] { clips[1].name = L"a"; },
        [&] { clips.pop_back(); },
        [&] { clips[0].name = L"a"; },
    };
    const StripState before = state;
    const ClipList clipsBefore = clips;
    std::set<std::uint64_t> keys{stripKey(state)};
    for (const auto& change : changes) {
        change();
        EXPECT_TRUE(keys.insert(stripKey(state)).second);
        state = before;
        clips = clipsBefore;
        EXPECT_TRUE(keys.contains(stripKey(state)));
    }
}

TEST_F(Strip, TheKeyRoundsToMilliseconds) {
    const std::uint64_t key = stripKey(state);
    clips[0].end = 4.0004;
    EXPECT_EQ(stripKey(state), key);
    clips[0].end = 4.0006;
    EXPECT_NE(stripKey(state), key);
}

} // namespace
} // namespace velkantrix
