#include "app/strip_drawing.h"

#include <functional>
#include <set>

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

TEST_F(Strip, TheKeyChangesWithWhateverIsSeen) {
    const std::vector<float> peaks(PEAK_BUCKETS, 1.0F);
    const std::vector<std::function<void()>> changes = {
        [&] { ++state.track.right; },
        [&] { ++state.track.bottom; },
        [&] { state.track = {29, 606, 1029, 706}; },
        [&] { state.track = {28, 607, 1028, 707}; },
        [&] { state.dpi = 97; },
        [&] { state.selectedClip = 0; },
        [&] { state.selectedCut = 0; },
        [&] { state.renamedClip = 0; },
        [&] { state.peakGeneration = 1; },
        [&] { state.peaks = {peaks.data(), 1}; },
        [&] { state.peaks = {peaks.data(), 2}; },
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
