// picture_model.h: the rules of the picture's ownership once more, written down as plainly as
// possible and without threads, to compare the real ones with. Nothing of the program is used but
// the types.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "playback/picture_control.h"

namespace velkantrix {

// What a step of the presenter has decided and not yet carried out.
struct ModelTask {
    bool preview = false;
    Ticks pts = -1;
    PictureOwner owner = PictureOwner::Engine;
    std::uint64_t generation = 0;
    bool drawn = false; // presented; what is left is the landing
};

struct PictureModel {
    static constexpr Ticks TOLERANCE = 500'000; // 1.25 frames of 25 a second

    PlaybackState state = PlaybackState::Opening;
    PictureOwner owner = PictureOwner::Engine;
    std::uint64_t generation = 0;
    Ticks target = -1, settled = -1, lastPts = -1;
    bool waitPlay = false, resume = false, ready = false, redraw = false, presented = false;
    bool pending = false;
    double previewTime = -1, shownTime = -1;
    std::int64_t requested = 0, claimed = 0, previewId = 0, shownId = -1;
    double lastScrub = 0;
    std::optional<std::pair<Ticks, std::uint64_t>> undrawn; // a frame and its generation
    std::optional<ModelTask> task;
    bool enginePlays = false;       // as it was last told; the end doesn't change that
    bool endUntold = false;         // the window is yet to hear of the end
    std::vector<std::string> asked; // of the engine, by the last event

    bool open() const { return state == PlaybackState::Paused || state == PlaybackState::Playing; }
    static std::string seekText(Ticks ticks) { return "seek " + std::to_string(ticks); }

    void play() {
        if (!open()) return;
        if (owner == PictureOwner::Preview) {
            resume = true;
            return;
        }
        pending = false;
        enginePlays = true;
        asked.push_back("play");
        if (owner == PictureOwner::Frozen && target >= 0 && state != PlaybackState::Playing) {
            resume = waitPlay = true;
            state = PlaybackState::Paused;
        } else {
            resume = owner == PictureOwner::Frozen && target >= 0;
            waitPlay = false;
            state = PlaybackState::Playing;
        }
    }

    void pause() {
        if (!open()) return;
        const bool waited = waitPlay;
        waitPlay = resume = false;
        enginePlays = false;
        asked.push_back("pause");
        state = PlaybackState::Paused;
        if (waited && target >= 0) asked.push_back(seekText(target));
    }

    void seek(Ticks to) {
        if (owner == PictureOwner::Preview) {
            const double seconds = static_cast<double>(to) / 1e7;
            const double distance = seconds > lastScrub ? seconds - lastScrub : lastScrub - seconds;
            if (distance < 0.02) return;
            lastScrub = seconds;
            ++requested;
            return;
        }
        if (!open()) return;
        resume = state == PlaybackState::Playing || resume;
        pending = false;
        target = to;
        settled = -1;
        waitPlay = false;
        ++generation;
        owner = PictureOwner::Frozen;
        redraw = true;
        asked.push_back(seekText(to));
    }

    void beginScrub() {
        if (!open()) return;
        waitPlay = resume = false;
        enginePlays = false;
        asked.push_back("pause");
        state = PlaybackState::Paused;
        target = -1;
        ++generation;
        claimed = previewId = ++requested;
        previewTime = shownTime = -1;
        shownId = -1;
        pending = redraw = false;
        owner = PictureOwner::Preview;
        lastScrub = -1e9;
    }

    void endScrub(Ticks to, bool thenPlay) {
        if (owner != PictureOwner::Preview) return;
        thenPlay = thenPlay || resume;
        claimed = previewId = ++requested;
        previewTime = -1;
        pending = redraw = false;
        target = to;
        settled = -1;
        resume = waitPlay = thenPlay;
        ++generation;
        owner = PictureOwner::Frozen;
        state = PlaybackState::Paused;
        if (thenPlay) enginePlays = true;
        asked.push_back(thenPlay ? "play" : seekText(to));
    }

    // A decoder delivers what was asked for last.
    void deliver() {
        if (owner != PictureOwner::Preview || requested == claimed) return;
        claimed = previewId = requested;
        previewTime = lastScrub;
        pending = true;
    }

    bool metadata() {
        if (state == PlaybackState::Closed) return false;
        ready = redraw = true;
        if (state != PlaybackState::Opening) return false;
        state = PlaybackState::Paused;
        return true;
    }

    bool error() {
        if (state != PlaybackState::Opening) return false;
        state = PlaybackState::Closed;
        return true;
    }

    void playing() {
        if (waitPlay && target >= 0) asked.push_back(seekText(target));
        waitPlay = false;
    }

    bool ended() {
        if (!open()) return false;
        waitPlay = resume = false;
        endUntold = true;
        state = PlaybackState::Paused;
        return true;
    }

    void pauseAfterEnd() {
        endUntold = false;
        if (!open() || state == PlaybackState::Playing || resume) return;
        enginePlays = false;
        asked.push_back("pause");
    }

    void decide(std::optional<Ticks> frame) {
        task.reset();
        if (!ready) return;
        if (owner == PictureOwner::Preview) {
            if (pending || (redraw && shownTime >= 0))
                task = ModelTask{true, -1, owner, generation, false};
            pending = redraw = false;
            return;
        }
        if (!frame && undrawn && undrawn->second == generation) frame = undrawn->first;
        undrawn.reset();
        pending = false;
        const bool again = redraw;
        redraw = false;
        if (owner == PictureOwner::Frozen) {
            if (!frame || target < 0) return;
            if (*frame < target - TOLERANCE || *frame > target + TOLERANCE) return;
        } else if (!frame && !again) {
            return;
        }
        task = ModelTask{false, frame.value_or(-1), owner, generation, false};
    }

    void present(bool works) {
        if (!task || task->drawn) return;
        if (owner != task->owner || generation != task->generation) return task.reset();
        if (!works) {
            if (task->preview)
                pending = true;
            else if (task->pts >= 0)
                undrawn = {task->pts, task->generation};
            else
                redraw = true;
            return task.reset();
        }
        if (task->preview) {
            shownTime = previewTime;
            shownId = previewId;
        } else {
            presented = true;
            if (task->pts >= 0) lastPts = task->pts;
        }
        if (task->owner != PictureOwner::Frozen) return task.reset();
        task->drawn = true;
    }

    void land() {
        if (!task || !task->drawn) return;
        if (owner == PictureOwner::Frozen && generation == task->generation) {
            settled = task->pts;
            target = -1;
            waitPlay = false;
            owner = PictureOwner::Engine;
            ++generation;
            state = resume ? PlaybackState::Playing : PlaybackState::Paused;
            resume = false;
        }
        task.reset();
    }

    // The file is closed, and the next one begins to open.
    void reopen() {
        PictureModel next;
        next.requested = next.claimed = next.previewId = requested + 1;
        next.lastScrub = lastScrub;
        *this = next;
    }

    // All that decides what can happen next: two models with equal keys behave alike. What is only
    // reported is left out, and numbers that only grow count by their distance.
    auto key() const {
        return std::make_tuple(state, owner, target, waitPlay, resume, ready, redraw, pending,
                               enginePlays, endUntold, shownTime >= 0, requested == claimed,
                               lastScrub, undrawn && undrawn->second == generation,
                               undrawn ? undrawn->first : -1, task.has_value(),
                               task && task->preview, task ? task->pts : -1,
                               task ? task->owner : PictureOwner::Engine,
                               task && task->generation == generation, task && task->drawn);
    }
};

} // namespace velkantrix
