#include "edit/timeline_map.h"

#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

//     source:   0  [2..5]  [5..6]  gap  [9..12]  20      edited: [0..3] [3..4] [4..7]
const ClipList CLIPS{clip(2, 5), clip(5, 6), clip(9, 12)};

class TimelineMapTest : public EditTest {};

TEST_F(TimelineMapTest, TheEditedDurationIsTheSumOfTheClips) {
    EXPECT_EQ(editedDuration(CLIPS), 7);
    EXPECT_EQ(editedDuration(ClipList{}), 0);
    load(20, CLIPS);
    EXPECT_EQ(editedDuration(), 7);
}

TEST_F(TimelineMapTest, SourceTimesMapToTheClipsLaidEndToEnd) {
    struct Row {
        double source;
        double edited;
    };
    const Row rows[] = {
        {0, 0},                         // before the first clip
        {2, 0},     {3.5, 1.5}, {5, 3}, // where two clips meet
        {5.5, 3.5}, {6, 4},     {7, 4}, // in the gap: where the next clip begins
        {8.999, 4}, {9, 4},     {10, 5},   {12, 7},           {15, 7}, // behind the last: the total
        {-4, 0},    {INF, 7},   {-INF, 0}, {NOT_A_NUMBER, 0},
    };
    load(20, CLIPS);
    for (const Row& row : rows) {
        EXPECT_DOUBLE_EQ(sourceToEdited(CLIPS, row.source), row.edited) << row.source;
        EXPECT_DOUBLE_EQ(sourceToEdited(row.source), row.edited) << row.source;
    }
}

TEST_F(TimelineMapTest, EditedTimesMapIntoTheFirstClipThatReachesThem) {
    struct Row {
        double edited;
        double source;
        std::int32_t clip;
    };
    const Row rows[] = {
        {0, 2, 0},  {1, 3, 0},    {3, 5, 0},  {3.5, 5.5, 1},        {4, 6, 1},    {4.25, 9.25, 2},
        {7, 12, 2}, {100, 12, 2}, {-1, 2, 0}, {NOT_A_NUMBER, 2, 0}, {INF, 12, 2}, {-INF, 2, 0},
    };
    load(20, CLIPS);
    for (const Row& row : rows) {
        std::int32_t index = 99;
        EXPECT_DOUBLE_EQ(editedToSource(CLIPS, row.edited, index), row.source) << row.edited;
        EXPECT_EQ(index, row.clip) << row.edited;
        index = 99;
        EXPECT_DOUBLE_EQ(editedToSource(row.edited, index), row.source) << row.edited;
        EXPECT_EQ(index, row.clip) << row.edited;
    }
}

// 3.4 + (7.7 - 3.4) is a little more than 7.7.
TEST_F(TimelineMapTest, TheEndOfAClipIsNotPassedByRounding) {
    std::int32_t index = -1;
    EXPECT_EQ(editedToSource({clip(3.4, 7.7)}, 100, index), 7.7);
}

TEST_F(TimelineMapTest, WithoutClipsThereIsNowhereToGo) {
    std::int32_t index = 99;
    EXPECT_EQ(editedToSource(3, index), 0);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(sourceToEdited(3), 0);
    state.selectedClip = 0; // to be left alone
    state.playhead = 2;
    expectNothingHappens([] { seekToEdited(3); });
}

TEST_F(TimelineMapTest, SeekToEditedSelectsTheClipAndSeeks) {
    load(20, CLIPS);
    seekToEdited(5);
    EXPECT_EQ(state.selectedClip, 2);
    EXPECT_EQ(state.playhead, 10);
    EXPECT_THAT(recorder.calls, ElementsAre("seek 10", "dim 1", "repaint"));
    EXPECT_EQ(recorder.during("seek 10").selectedClip, 2);
}

TEST_F(TimelineMapTest, SeekToEditedSelectsTheClipEvenWithoutAnEngine) {
    load(20, CLIPS);
    recorder.engine = false;
    seekToEdited(5);
    EXPECT_EQ(state.selectedClip, 2);
    EXPECT_EQ(state.playhead, 0);
}

TEST_F(TimelineMapTest, SeekToEditedWorksWhileAJobRuns) {
    load(20, CLIPS);
    state.exportBusy = true;
    seekToEdited(5);
    EXPECT_EQ(state.selectedClip, 2);
    EXPECT_EQ(state.playhead, 10);
}

TEST_F(TimelineMapTest, SeekToNoEditedTimeDoesNothing) {
    load(20, CLIPS);
    state.selectedClip = 1;
    expectNothingHappens([&] { seekToEdited(NOT_A_NUMBER); });
}

TEST(ClipBehindGap, IsFoundWhereAnEditedTimeMeansTwoPictures) {
    const ClipList clips = {{0, 5}, {10, 12}, {12, 13}, {20, 21}}; // edited: 0, 5, 7, 8 to 9
    EXPECT_EQ(clipBehindGapAt(clips, 5, 0.01), 1);
    EXPECT_EQ(clipBehindGapAt(clips, 4.995, 0.01), 1);
    EXPECT_EQ(clipBehindGapAt(clips, 5.005, 0.01), 1);
    EXPECT_EQ(clipBehindGapAt(clips, 4.98, 0.01), -1);
    EXPECT_EQ(clipBehindGapAt(clips, 5.02, 0.01), -1);
    EXPECT_EQ(clipBehindGapAt(clips, 8, 0.01), 3);
    EXPECT_EQ(clipBehindGapAt(clips, 7, 0.01), -1) << "nothing was removed there";
    EXPECT_EQ(clipBehindGapAt(clips, 0, 0.01), -1) << "nothing lies before the first";
    EXPECT_EQ(clipBehindGapAt(clips, 9, 0.01), -1);
    EXPECT_EQ(clipBehindGapAt({}, 0, 0.01), -1);
}

TEST_F(TimelineMapTest, TheCurrentEditedTimeIsThePlayheads) {
    load(20, CLIPS);
    state.playhead = 5.5;
    EXPECT_DOUBLE_EQ(currentEditedTime(), 3.5);
    state.playhead = 7;
    EXPECT_DOUBLE_EQ(currentEditedTime(), 4);
}

} // namespace
} // namespace velkantrix
