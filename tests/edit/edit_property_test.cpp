// Long runs of random operations with random, also senseless, arguments. Seeded: each run is the
// same.
#include <cstdlib>
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

// Two neighbours that don't have two minimum lengths between them can't both keep theirs.
bool hasRoom(const ClipList& clips, std::size_t i) {
    const double own = clipLength(clips[i]);
    const double before = i > 0 ? clipLength(clips[i - 1]) : 1;
    const double after = i + 1 < clips.size() ? clipLength(clips[i + 1]) : 1;
    return own >= 0.1 && own + before >= 0.2 && own + after >= 0.2;
}

class EditProperties : public EditTest {
protected:
    EditProperties() { recorder.keepsStates = false; }

    void expectWellKept(const EditState& before, EditAction action) {
        ASSERT_EQ(editProblem(state), "");
        if (before.exportBusy && isEdit(action)) {
            ASSERT_EQ(state.clips, before.clips);
            ASSERT_EQ(state.undoStack.size(), before.undoStack.size());
            ASSERT_EQ(state.redoStack.size(), before.redoStack.size());
        }
        if (action != EditAction::Undo && action != EditAction::Redo) { expectRecorded(before); }
        if (!movesAnEdge(action)) return;
        for (std::size_t i = 0; i < before.clips.size(); ++i) {
            if (!hasRoom(before.clips, i)) continue;
            ASSERT_GE(clipLength(state.clips[i]), 0.1 - INVARIANT_TOLERANCE);
        }
    }

    // A changed list means a step that holds the list before, unless it belongs to the gesture that
    // was running; and nothing but an edit makes one.
    void expectRecorded(const EditState& before) {
        if (state.clips == before.clips) return;
        ASSERT_TRUE(state.edited);
        if (before.gestureRecorded && state.gestureRecorded) return;
        ASSERT_FALSE(state.undoStack.empty());
        ASSERT_EQ(state.undoStack.back().clips, before.clips);
        ASSERT_TRUE(state.redoStack.empty());
    }

    // The operations that move edges end by selecting a clip, and undo clamps a lost selection.
    void expectThereAndBack(RandomChooser& chooser) {
        if (state.exportBusy || state.undoStack.empty()) return;
        const ClipList clips = state.clips;
        const std::int32_t selected = std::max(state.selectedClip, 0);
        const double playhead = state.playhead;
        const std::uint32_t steps =
            1 + chooser.below(static_cast<std::uint32_t>(state.undoStack.size()));
        for (std::uint32_t i = 0; i < steps; ++i) {
            const HistoryEntry entry = state.undoStack.back();
            undo();
            ASSERT_EQ(state.clips, entry.clips);
            ASSERT_EQ(state.selectedClip, std::max(entry.selectedClip, 0));
            ASSERT_EQ(state.playhead, entry.playhead);
            ASSERT_EQ(editProblem(state), "");
        }
        for (std::uint32_t i = 0; i < steps; ++i) redo();
        ASSERT_EQ(state.clips, clips);
        ASSERT_EQ(state.selectedClip, selected);
        ASSERT_EQ(state.playhead, playhead);
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
}

} // namespace
} // namespace velkantrix
