// Long runs of random operations with random, also senseless, arguments. Seeded: each run is the
// same.
#include <algorithm>
#include <array>
#include <random>

#include "tests/support/edit_actions.h"
#include "tests/support/edit_fixture.h"
#include "tests/support/edit_invariants.h"

namespace velkantrix {
namespace {

constexpr int ACTIONS = 200'000;
constexpr int ACTIONS_PER_VIDEO = 400;

// The standard's distributions differ between libraries, its generators don't.
class RandomChooser {
public:
    explicit RandomChooser(std::uint32_t seed) : generator_(seed) {}

    std::uint32_t below(std::uint32_t limit) {
        return static_cast<std::uint32_t>((std::uint64_t{generator_()} * limit) >> 32);
    }

private:
    std::mt19937 generator_;
};

bool isEdit(EditAction action) {
    switch (action) {
    case EditAction::Seek:
    case EditAction::SeekEdited:
    case EditAction::Select:
    case EditAction::Busy:
    case EditAction::World:
    case EditAction::Look:
        return false;
    default:
        return true;
    }
}

bool movesAnEdge(EditAction action) {
    switch (action) {
    case EditAction::Trim:
    case EditAction::TrimToHere:
    case EditAction::RollCut:
    case EditAction::Nudge:
    case EditAction::DragCut:
        return true;
    default:
        return false;
    }
}

class EditProperties : public EditTest {
protected:
    EditProperties() { recorder.keepsStates = false; }

    void expectWellKept(const EditState& before, EditAction action) {
        ASSERT_EQ(editProblem(state), "");
        if (before.exportBusy && isEdit(action)) {
            ASSERT_NO_FATAL_FAILURE(expectRefused(before, action));
        }
        if (action != EditAction::Undo && action != EditAction::Redo) {
            ASSERT_NO_FATAL_FAILURE(expectRecorded(before, action));
        }
        if (!movesAnEdge(action)) return;
        for (std::size_t i = 0; i < before.clips.size(); ++i) {
            const double length = clipLength(state.clips[i]);
            if (length >= clipLength(before.clips[i])) continue;
            ASSERT_GE(length, 0.1 - INVARIANT_TOLERANCE);
        }
    }

    // A job refuses everything but the end of a gesture. (That a rename field closes isn't seen
    // here.)
    void expectRefused(const EditState& before, EditAction action) {
        EditState expected = before;
        if (action == EditAction::Escape && before.rollCutIndex >= 0) {
            expected.rollCutIndex = -1;
            expected.gestureRecorded = false;
        }
        ASSERT_TRUE(state == expected);
        ++refusals;
    }

    // An action that changes the list makes one step, which holds what was before. It makes none
    // when it goes on with the running gesture or changes nothing.
    void expectRecorded(const EditState& before, EditAction action) {
        const bool goesOn = movesAnEdge(action) && before.gestureRecorded && state.gestureRecorded;
        ASSERT_TRUE(state.edited || state.clips == before.clips);
        if (state.clips == before.clips || goesOn) {
            ASSERT_TRUE(state.undoStack == before.undoStack);
            return;
        }
        ASSERT_EQ(state.undoStack.size(), std::min(before.undoStack.size() + 1, MAX_HISTORY));
        const HistoryEntry& step = state.undoStack.back();
        ASSERT_EQ(step.clips, before.clips);
        ASSERT_EQ(step.selectedClip, before.selectedClip);
        ASSERT_EQ(step.playhead, before.playhead);
        ASSERT_TRUE(state.redoStack.empty());
    }

    // So many steps back and forward again: each is met as it was kept, and the end is the start.
    // Without an engine the playhead stays where it is.
    void expectThereAndBack(RandomChooser& chooser) {
        if (state.exportBusy || state.undoStack.empty()) return;
        const ClipList clips = state.clips;
        const std::int32_t selected = state.selectedClip;
        const double playhead = state.playhead;
        const std::vector<HistoryEntry> undoStack = state.undoStack;
        const std::uint32_t steps =
            1 + chooser.below(static_cast<std::uint32_t>(state.undoStack.size()));
        for (std::uint32_t i = 0; i < steps; ++i) {
            const HistoryEntry entry = state.undoStack.back();
            undo();
            ASSERT_EQ(state.clips, entry.clips);
            ASSERT_EQ(state.selectedClip, entry.selectedClip);
            ASSERT_EQ(state.playhead, recorder.engine ? entry.playhead : playhead);
            ASSERT_EQ(editProblem(state), "");
        }
        for (std::uint32_t i = 0; i < steps; ++i) redo();
        ASSERT_EQ(state.clips, clips);
        ASSERT_EQ(state.selectedClip, selected);
        ASSERT_EQ(state.playhead, playhead);
        if (recorder.engine) { ASSERT_TRUE(state.undoStack == undoStack); }
        ++journeys;
    }

    void run(std::uint32_t seed) {
        RandomChooser chooser(seed);
        EditActions actions(chooser, recorder);
        actions.openVideo();
        ASSERT_EQ(editProblem(state), "");
        for (int i = 0; i < ACTIONS_PER_VIDEO; ++i) {
            const EditState before = state;
            const EditAction action = actions.act();
            SCOPED_TRACE(testing::Message() << "action " << static_cast<int>(action));
            ++counts[static_cast<std::size_t>(action)];
            if (state.clips != before.clips) ++changes[static_cast<std::size_t>(action)];
            ASSERT_NO_FATAL_FAILURE(expectWellKept(before, action));
            if (actions.chance(20)) { ASSERT_NO_FATAL_FAILURE(expectThereAndBack(chooser)); }
            recorder.forget();
        }
        ASSERT_EQ(actions.wrongAnswers, 0);
    }

    using PerAction = std::array<int, static_cast<std::size_t>(EditAction::Count)>;
    PerAction counts{};
    PerAction changes{};
    int journeys = 0;
    int refusals = 0;
};

TEST_F(EditProperties, InvariantsHoldAndUndoIsExactThroughRandomOperations) {
    for (std::uint32_t seed = 1; seed <= ACTIONS / ACTIONS_PER_VIDEO; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        ASSERT_NO_FATAL_FAILURE(run(seed));
    }
    // A run whose operations are all refused would prove nothing.
    for (const EditAction action :
         {EditAction::Split, EditAction::SplitAtPlayhead, EditAction::Remove, EditAction::Trim,
          EditAction::TrimToHere, EditAction::RollCut, EditAction::Nudge, EditAction::DragCut,
          EditAction::Fade, EditAction::ToggleFade, EditAction::Undo, EditAction::Redo,
          EditAction::CommitRename, EditAction::RenameKey}) {
        const auto i = static_cast<std::size_t>(action);
        RecordProperty("changes_by_action_" + std::to_string(i), changes[i]);
        EXPECT_GT(changes[i], 100) << "action " << i << " of " << counts[i];
    }
    EXPECT_GT(journeys, 1000);
    EXPECT_GT(refusals, 1000);
}

} // namespace
} // namespace velkantrix
