// edit_actions.h: any sequence of edit operations, chosen number by number: by a random generator
// in the property tests, by the input in the fuzzer.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <string>

#include "edit/clip_geometry.h"
#include "edit/clip_name.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/history.h"
#include "edit/operations.h"
#include "edit/rename.h"
#include "edit/roll_cut.h"
#include "edit/timeline_map.h"
#include "tests/support/edit_recorder.h"

namespace velkantrix {

enum class EditAction {
    Split,
    SplitAtPlayhead,
    Remove,
    Trim,
    TrimToHere,
    RollCut,
    Nudge,
    PressCut,
    DragCut,
    ReleaseCut,
    Escape,
    Fade,
    ToggleFade,
    Undo,
    Redo,
    BeginRename,
    CommitRename,
    RenameKey,
    Seek,
    SeekEdited,
    Select,
    Busy,
    World,
    Look,
    Count
};

// Chooser: `std::uint32_t below(std::uint32_t limit)` gives one of 0 .. limit - 1.
template <class Chooser>
class EditActions {
public:
    EditActions(Chooser& chooser, EditRecorder& recorder) : choose_(chooser), recorder_(recorder) {}

    // A loaded video with any list that operations may leave behind: pieces down to the split
    // margin, clips that touch, fades that fill their clip.
    void openVideo() {
        renameState() = {};
        startEdit(chance(40) ? 0 : 1 + fraction() * 1000);
        EditState& state = editState();
        state.exportBusy = false;
        if (state.duration == 0) return;
        ClipList clips;
        double time = chance(3) ? 0 : fraction();
        for (std::uint32_t count = 1 + choose_.below(12); clips.size() < count;) {
            const double length = chance(4) ? 0.041 + fraction() * 0.2 : 0.1 + fraction() * 9;
            if (time + length > state.duration) break;
            clips.push_back({time, time + length, chance(3) ? L"name" : L"", 0, 0});
            if (chance(3)) clips.back().fadeIn = fraction() * length;
            if (chance(3)) clips.back().fadeOut = fraction() * length;
            time = clips.back().end + (chance(2) ? 0 : fraction() * 3);
        }
        if (clips.empty()) return;
        normalizeFades(clips);
        state.clips = std::move(clips);
        state.selectedClip = 0;
    }

    // One operation with any arguments. Returns which it was.
    EditAction act() {
        const auto action =
            static_cast<EditAction>(choose_.below(static_cast<std::uint32_t>(EditAction::Count)));
        perform(action);
        return action;
    }

    void perform(EditAction action) {
        EditState& state = editState();
        switch (action) {
        case EditAction::Split:
            return splitClip(index(), time());
        case EditAction::SplitAtPlayhead:
            return splitAtPlayhead();
        case EditAction::Remove:
            return chance(2) ? removeSelectedClip() : void();
        case EditAction::Trim:
            return trimClip(index(), chance(2), time());
        case EditAction::TrimToHere:
            return trimClipToHere(index(), chance(2), time());
        case EditAction::RollCut:
            return rollCut(index(), time());
        case EditAction::Nudge:
            return rollNudge(delta());
        case EditAction::PressCut:
            return beginCutDrag(index());
        case EditAction::DragCut:
            return dragCut(time());
        case EditAction::ReleaseCut:
            return endCutDrag();
        case EditAction::Escape:
            return cancelGesture();
        case EditAction::Fade:
            return setFade(index(), chance(2), delta());
        case EditAction::ToggleFade:
            return toggleFade(index(), chance(2));
        case EditAction::Undo:
            return undo();
        case EditAction::Redo:
            return redo();
        case EditAction::BeginRename:
            return beginRename();
        case EditAction::CommitRename:
            return commitRename(chance(2));
        case EditAction::RenameKey:
            return renameKey(static_cast<RenameKey>(choose_.below(4)));
        case EditAction::Seek:
            return seekTo(time());
        case EditAction::SeekEdited:
            return seekToEdited(time());
        case EditAction::Select:
            return select();
        case EditAction::Busy:
            state.exportBusy = !state.exportBusy && chance(4);
            return;
        case EditAction::World:
            return changeWorld();
        case EditAction::Look:
            return look();
        case EditAction::Count:
            return;
        }
    }

    bool chance(std::uint32_t oneIn) { return choose_.below(oneIn) == 0; }

    int wrongAnswers = 0; // of the actions that only look

private:
    double fraction() { return choose_.below(1'000'001) / 1e6; }

    // Mostly a clip, now and then none.
    std::int32_t index() {
        constexpr std::array WRONG{-1, std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max(), 1000};
        if (chance(16)) return WRONG[choose_.below(WRONG.size())];
        const auto count = static_cast<std::uint32_t>(editState().clips.size());
        return static_cast<std::int32_t>(choose_.below(count + 1));
    }

    double extreme() {
        using Limits = std::numeric_limits<double>;
        constexpr std::array VALUES{Limits::quiet_NaN(),
                                    Limits::infinity(),
                                    -Limits::infinity(),
                                    Limits::max(),
                                    Limits::lowest(),
                                    Limits::denorm_min(),
                                    -0.0,
                                    -1.0};
        return VALUES[choose_.below(VALUES.size())];
    }

    // An edge of a clip, a little beside one, anywhere in the video, or nonsense.
    double time() {
        const EditState& state = editState();
        const std::uint32_t kind = choose_.below(16);
        if (kind == 0) return extreme();
        if (kind < 8 || state.clips.empty()) return fraction() * (state.duration + 2) - 1;
        const auto count = static_cast<std::uint32_t>(state.clips.size());
        const Segment& clip = state.clips[choose_.below(count)];
        if (kind < 12) return clip.start + fraction() * clipLength(clip);
        return (chance(2) ? clip.start : clip.end) + (fraction() - 0.5) * 0.2;
    }

    double delta() {
        if (chance(16)) return extreme();
        if (chance(3)) return chance(2) ? frameDuration() : -frameDuration();
        return (fraction() - 0.4) * 12;
    }

    // As the window does: by a click on the timeline.
    void select() {
        const std::int32_t x = static_cast<std::int32_t>(choose_.below(1000));
        editState().selectedClip = clipAtX({0, 0, 900, 40}, x);
    }

    void changeWorld() {
        recorder_.engine = !chance(4);
        recorder_.playing = chance(2);
        recorder_.fullscreen = chance(4);
        recorder_.labelRoom = !chance(4);
        recorder_.fieldOpens = !chance(4);
        recorder_.rate = chance(4) ? extreme() : fraction() * 120;
        recorder_.typed = chance(4) ? L"  " : std::wstring(1 + choose_.below(300), L'n');
    }

    // What only reads: it must not crash, and its answers stay within the video.
    void look() {
        const EditState& state = editState();
        std::int32_t clip = -1;
        const double source = editedToSource(time(), clip);
        const double edited = sourceToEdited(time());
        const double gain = fadePreviewGain();
        const PixelRect track{0, 0, static_cast<std::int32_t>(choose_.below(2000)), 40};
        const std::int32_t x = static_cast<std::int32_t>(choose_.below(2400)) - 200;
        const std::int32_t cut = boundaryAtX(track, 96, x, 20);
        const std::int32_t hit = clipAtX(track, x);
        const PixelRect rect = clipRect(track, index());
        const bool good = source >= 0 && source <= state.duration && edited >= 0 &&
                          edited <= editedDuration() && gain >= 0 && gain <= 1 &&
                          (cut == -1 || isCut(state.clips, cut)) &&
                          (hit == -1 ? state.clips.empty() : isClip(state.clips, hit)) &&
                          rect.left >= 0 && rect.right <= track.right;
        clipLabel(index());
        sanitizeFileName(recorder_.typed);
        if (!good) ++wrongAnswers;
    }

    Chooser& choose_;
    EditRecorder& recorder_;
};

} // namespace velkantrix
