// Every state that the picture's ownership can reach, with every event in it. The presenter's step
// counts as three events, so every way in which the threads can take turns is among them.
#include <cstdio>
#include <deque>
#include <set>

#include "tests/playback/picture_fixture.h"
#include "tests/playback/picture_model.h"

namespace velkantrix {
namespace {

constexpr Ticks EARLY = 20'000'000; // two places to seek to, far from each other
constexpr Ticks LATE = 80'000'000;

enum class Event {
    Play,
    Pause,
    SeekEarly,
    SeekLate,
    BeginScrub,
    EndScrub,
    EndScrubAndPlay,
    Deliver,
    Metadata,
    Error,
    Playing,
    Ended,
    PauseAfterEnd,
    DecideWithoutFrame,
    DecideEarly,
    DecideLate,
    Present,
    PresentFails,
    Land,
    Reopen,
    Count
};

double seconds(Ticks ticks) {
    return static_cast<double>(ticks) / 1e7;
}

// The real thing, driven by the same events.
class RealPicture {
public:
    RealPicture() {
        attach();
        calls.newFrame = [this] {
            return std::exchange(offered, std::nullopt);
        };
        calls.draw = [this](bool) {
            return drawWorks;
        };
    }

    // Brings it to the state of the model.
    void become(const PictureModel& m) {
        control.state = m.state;
        control.owner = m.owner;
        control.generation = m.generation;
        control.seekTarget = m.target;
        control.settledPts = m.settled;
        control.lastEnginePts = m.lastPts;
        control.waitPlay = m.waitPlay;
        control.resumeAfterSeek = m.resume;
        control.engineReady = m.ready;
        control.redrawRequested = m.redraw;
        control.enginePresented = m.presented;
        control.lastScrubRequestTime = m.lastScrub;
        ScrubRequest& scrub = control.scrub;
        scrub.previewPending = m.pending;
        scrub.previewTime = m.previewTime;
        scrub.previewShownTime = m.shownTime;
        scrub.scrubRequested = m.requested;
        scrub.scrubClaimed = m.claimed;
        scrub.previewRequestId = m.previewId;
        scrub.previewShownId = m.shownId;
        memory = {};
        if (m.undrawn) memory = {m.undrawn->first, m.undrawn->second};
        task.reset();
        drawn = m.task && m.task->drawn;
        if (m.task)
            task = {true, m.task->preview, m.task->pts, m.task->owner, m.task->generation, 0};
        asked.clear();
    }

    bool apply(Event event) {
        asked.clear();
        switch (event) {
        case Event::Play:
            playPicture(control);
            break;
        case Event::Pause:
            pausePicture(control);
            break;
        case Event::SeekEarly:
            seekPicture(control, seconds(EARLY));
            break;
        case Event::SeekLate:
            seekPicture(control, seconds(LATE));
            break;
        case Event::BeginScrub:
            beginScrub(control);
            break;
        case Event::EndScrub:
            endScrub(control, seconds(EARLY), false);
            break;
        case Event::EndScrubAndPlay:
            endScrub(control, seconds(LATE), true);
            break;
        case Event::Deliver:
            deliver();
            break;
        case Event::Metadata:
            return metadataArrived(control);
        case Event::Error:
            return failOpening(control);
        case Event::Playing:
            playingBegan(control);
            break;
        case Event::Ended:
            return endReached(control);
        case Event::PauseAfterEnd:
            pauseAfterEnd(control);
            break;
        case Event::DecideWithoutFrame:
            decide(std::nullopt);
            break;
        case Event::DecideEarly:
            decide(EARLY + PictureModel::TOLERANCE);
            break;
        case Event::DecideLate:
            decide(LATE);
            break;
        case Event::Present:
            present(true);
            break;
        case Event::PresentFails:
            present(false);
            break;
        case Event::Land:
            land();
            break;
        case Event::Reopen:
            reopen();
            break;
        case Event::Count:
            break;
        }
        return false;
    }

    PictureControl control;
    PresenterMemory memory;
    std::vector<std::string> asked;

private:
    void attach() {
        control.state = PlaybackState::Opening;
        control.duration = 10;
        control.fps = 25;
        attachEngine(
            control,
            {[this] { asked.push_back("play"); }, [this] { asked.push_back("pause"); },
             [this](double t) { asked.push_back(PictureModel::seekText(nearestTicks(t))); },
             [] {
                 return 0.0;
             }});
    }

    void reopen() {
        detachEngine(control);
        resetPicture(control);
        memory = {};
        task.reset();
        attach();
    }

    void deliver() {
        ScrubRequest& scrub = control.scrub;
        if (control.owner != PictureOwner::Preview || scrub.scrubRequested == scrub.scrubClaimed)
            return;
        scrub.scrubClaimed = scrub.scrubRequested.load();
        scrub.previewRequestId = scrub.scrubRequested.load();
        scrub.previewTime = control.lastScrubRequestTime;
        scrub.previewPending = true;
    }

    void decide(std::optional<Ticks> frame) {
        offered = frame;
        task = nextTask(control, memory, calls);
        if (!task->draws) task.reset();
        drawn = false;
    }

    void present(bool works) {
        if (!task || drawn) return;
        drawWorks = works;
        drawn = velkantrix::present(control, memory, calls, *task);
        if (!drawn || task->owner != PictureOwner::Frozen) task.reset();
    }

    void land() {
        if (!task || !drawn) return;
        landSeek(control, *task);
        task.reset();
    }

    PresenterCalls calls;
    std::optional<Ticks> offered;
    std::optional<PresenterTask> task;
    bool drawn = false;
    bool drawWorks = true;
};

bool apply(PictureModel& model, Event event) {
    model.asked.clear();
    switch (event) {
    case Event::Play:
        model.play();
        break;
    case Event::Pause:
        model.pause();
        break;
    case Event::SeekEarly:
        model.seek(EARLY);
        break;
    case Event::SeekLate:
        model.seek(LATE);
        break;
    case Event::BeginScrub:
        model.beginScrub();
        break;
    case Event::EndScrub:
        model.endScrub(EARLY, false);
        break;
    case Event::EndScrubAndPlay:
        model.endScrub(LATE, true);
        break;
    case Event::Deliver:
        model.deliver();
        break;
    case Event::Metadata:
        return model.metadata();
    case Event::Error:
        return model.error();
    case Event::Playing:
        model.playing();
        break;
    case Event::Ended:
        return model.ended();
    case Event::PauseAfterEnd:
        model.pauseAfterEnd();
        break;
    case Event::DecideWithoutFrame:
        model.decide(std::nullopt);
        break;
    case Event::DecideEarly:
        model.decide(EARLY + PictureModel::TOLERANCE);
        break;
    case Event::DecideLate:
        model.decide(LATE);
        break;
    case Event::Present:
        model.present(true);
        break;
    case Event::PresentFails:
        model.present(false);
        break;
    case Event::Land:
        model.land();
        break;
    case Event::Reopen:
        model.reopen();
        break;
    case Event::Count:
        break;
    }
    return false;
}

// Everything of both that can be compared, as one text each.
std::string describe(const PictureModel& m) {
    std::string text;
    for (const std::int64_t value :
         {static_cast<std::int64_t>(m.state), static_cast<std::int64_t>(m.owner),
          static_cast<std::int64_t>(m.generation), m.target, m.settled, m.lastPts,
          std::int64_t{m.waitPlay}, std::int64_t{m.resume}, std::int64_t{m.ready},
          std::int64_t{m.redraw}, std::int64_t{m.presented}, std::int64_t{m.pending}, m.requested,
          m.claimed, m.previewId, m.shownId})
        text += std::to_string(value) + ' ';
    text += std::to_string(m.previewTime) + ' ' + std::to_string(m.shownTime);
    for (const std::string& call : m.asked) text += ", " + call;
    return text;
}

std::string describe(const RealPicture& real) {
    const PictureControl& c = real.control;
    PictureModel same;
    same.state = c.state;
    same.owner = c.owner;
    same.generation = c.generation;
    same.target = c.seekTarget;
    same.settled = c.settledPts;
    same.lastPts = c.lastEnginePts;
    same.waitPlay = c.waitPlay;
    same.resume = c.resumeAfterSeek;
    same.ready = c.engineReady;
    same.redraw = c.redrawRequested;
    same.presented = c.enginePresented;
    same.pending = c.scrub.previewPending;
    same.requested = c.scrub.scrubRequested;
    same.claimed = c.scrub.scrubClaimed;
    same.previewId = c.scrub.previewRequestId;
    same.shownId = c.scrub.previewShownId;
    same.previewTime = c.scrub.previewTime;
    same.shownTime = c.scrub.previewShownTime;
    same.asked = real.asked;
    return describe(same);
}

// What must hold in whatever order things happen.
void checkInvariants(const PictureModel& m) {
    EXPECT_EQ(m.owner == PictureOwner::Frozen, m.target >= 0);
    EXPECT_FALSE(m.state == PlaybackState::Opening && m.owner != PictureOwner::Engine);
    EXPECT_FALSE(m.owner == PictureOwner::Preview && m.state == PlaybackState::Playing);
    EXPECT_FALSE(m.resume && m.owner == PictureOwner::Engine);
    EXPECT_FALSE(m.waitPlay && !m.resume);
    EXPECT_FALSE(m.state == PlaybackState::Playing && !m.enginePlays);
    EXPECT_FALSE(m.state == PlaybackState::Paused && m.enginePlays && !m.resume && !m.endUntold);
}

TEST(PictureExhaustive, EveryEventInEveryReachableStateDoesWhatTheRulesSay) {
    std::set<decltype(PictureModel{}.key())> seen{PictureModel{}.key()};
    std::deque<PictureModel> toVisit{{}};
    RealPicture real;
    std::size_t compared = 0;
    while (!toVisit.empty() && !testing::Test::HasFailure()) {
        const PictureModel before = std::move(toVisit.front());
        toVisit.pop_front();
        for (int event = 0; event < static_cast<int>(Event::Count); ++event) {
            PictureModel model = before;
            real.become(before);
            ASSERT_EQ(real.apply(Event{event}), apply(model, Event{event}));
            ASSERT_EQ(describe(real), describe(model))
                << "event " << event << ", from " << describe(before);
            checkInvariants(model);
            ++compared;
            if (seen.insert(model.key()).second) toVisit.push_back(std::move(model));
        }
    }
    // Far more than would be seen if the walk got stuck at its beginning.
    EXPECT_GT(seen.size(), 1'000u);
    std::printf("%zu states, %zu events compared\n", seen.size(), compared);
}

} // namespace
} // namespace velkantrix
