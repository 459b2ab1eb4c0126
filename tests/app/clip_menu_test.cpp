#include "app/clip_menu.h"

#include "app/command_table.h"
#include "edit/operations.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

// 10 ms a pixel, from x 28; the cut is at 428.
class ClipMenuTest : public EditTest {
protected:
    ClipMenuTest() {
        load(20, {clip(0, 4), clip(6, 12)});
        timelineMouse() = {};
        recorder.keepsStates = false;
    }

    TimelinePlace place{{28, 606, 1028, 706}, 96};
};

TEST_F(ClipMenuTest, AClickMeansTheClipAndTheTimeUnderIt) {
    EXPECT_EQ(clipMenuAtPoint(place, 228, 650), (ClipMenuTarget{0, 2, {228, 650}}));
    EXPECT_EQ(clipMenuAtPoint(place, 528, 650), (ClipMenuTarget{1, 7, {528, 650}}));
}

TEST_F(ClipMenuTest, OutsideTheTimelineThereIsNone) {
    EXPECT_FALSE(clipMenuAtPoint(place, 228, 605));
    EXPECT_FALSE(clipMenuAtPoint(place, 228, 706));
    EXPECT_FALSE(clipMenuAtPoint(place, 27, 650));
    EXPECT_FALSE(clipMenuAtPoint(place, 1028, 650));
}

TEST_F(ClipMenuTest, ByKeyItIsTheSelectedClips) {
    state.selectedClip = 0;
    state.playhead = 3;
    EXPECT_EQ(clipMenuByKey(place), (ClipMenuTarget{0, 3, {34, 634}}));
    state.selectedClip = 1;
    EXPECT_EQ(clipMenuByKey(place), (ClipMenuTarget{1, 6, {434, 634}}));
    state.playhead = 15;
    EXPECT_EQ(clipMenuByKey(place)->time, 12);
}

TEST_F(ClipMenuTest, ByKeyWithoutASelectionItIsTheLastClips) {
    for (const std::int32_t selected : {-1, 2, 7}) {
        state.selectedClip = selected;
        EXPECT_EQ(clipMenuByKey(place)->clip, 1);
    }
}

TEST_F(ClipMenuTest, AClipWithoutRoomForALabelHasItsMenuBelowIt) {
    state.clips = {clip(0, 0.1), clip(6, 15.9)};
    state.selectedClip = 0;
    EXPECT_EQ(clipMenuByKey(place)->at, (PixelPoint{28, 706}));
}

TEST_F(ClipMenuTest, ThereIsNoneWithoutAVideoDuringAJobADragOrInFullscreen) {
    const auto none = [&] {
        return !clipMenuAtPoint(place, 228, 650) && !clipMenuByKey(place);
    };
    EXPECT_FALSE(none());
    state.exportBusy = true;
    EXPECT_TRUE(none());
    state.exportBusy = false;
    timelineMouse().drag = CutDrag{};
    EXPECT_TRUE(none());
    timelineMouse() = {};
    state.videoLoaded = false;
    EXPECT_TRUE(none());
    state.videoLoaded = true;
    state.clips.clear();
    EXPECT_TRUE(none());
    load(20, {clip(0, 4)});
    place.track = {};
    EXPECT_TRUE(none());
}

TEST_F(ClipMenuTest, ItsChoicesActOnTheClickedClipAndTime) {
    EXPECT_TRUE(runClipMenuChoice(140, {1, 8, {}}));
    EXPECT_EQ(state.clips, (ClipList{clip(0, 4), clip(6, 8), clip(8, 12)}));
    EXPECT_TRUE(runClipMenuChoice(141, {0, 1, {}}));
    EXPECT_EQ(state.clips[0], clip(1, 4));
    EXPECT_EQ(state.statusText, L"Clip 1 start trimmed to 00:01.000 — Ctrl+Z to undo");
    EXPECT_TRUE(runClipMenuChoice(142, {2, 11, {}}));
    EXPECT_EQ(state.clips[2], clip(8, 11));
    EXPECT_EQ(state.statusText, L"Clip 3 end trimmed to 00:11.000 — Ctrl+Z to undo");
    EXPECT_TRUE(runClipMenuChoice(149, {0, 2, {}}));
    EXPECT_EQ(state.clips[0].fadeIn, 1);
    EXPECT_TRUE(runClipMenuChoice(150, {0, 2, {}}));
    EXPECT_EQ(state.clips[0].fadeOut, 1);
}

// Playing goes on behind the menu, and the selection with it.
TEST_F(ClipMenuTest, ACommandMeansTheClickedClipWhereverTheSelectionWent) {
    state.selectedClip = 0;
    EXPECT_FALSE(runClipMenuChoice(COMMAND_REMOVE, {1, 8, {}}));
    EXPECT_EQ(state.selectedClip, 1);
    removeSelectedClip();
    EXPECT_EQ(state.clips, ClipList{clip(0, 4)});
}

TEST_F(ClipMenuTest, AClipThatIsGoneIsNotSelected) {
    state.selectedClip = 1;
    for (const std::int32_t gone : {-1, 2}) {
        EXPECT_FALSE(runClipMenuChoice(COMMAND_REMOVE, {gone, 8, {}}));
        EXPECT_EQ(state.selectedClip, 1);
    }
}

TEST_F(ClipMenuTest, CommandsAreLeftToTheWindow) {
    for (const std::uint16_t choice : std::initializer_list<std::uint16_t>{0, 104, 106, 122, 132})
        expectNothingHappens([&] { EXPECT_FALSE(runClipMenuChoice(choice, {0, 2, {}})); });
}

} // namespace
} // namespace velkantrix
