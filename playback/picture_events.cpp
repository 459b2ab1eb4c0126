// picture_events.cpp: runs on the engine's thread.
#include "playback/picture_events.h"

namespace velkantrix {

bool metadataArrived(PictureControl& c) {
    const Lock control(c.controlLock);
    if (c.state == PlaybackState::Closed) return false;
    c.engineReady = true;
    c.redrawRequested = true;
    PlaybackState opening = PlaybackState::Opening;
    return c.state.compare_exchange_strong(opening, PlaybackState::Paused);
}

void playingBegan(PictureControl& c) {
    const Lock control(c.controlLock);
    const bool waited = c.waitPlay.exchange(false);
    if (waited && c.engineExists && c.seekTarget >= 0)
        c.engine.setCurrentTime(secondsOf(c.seekTarget));
}

bool endReached(PictureControl& c) {
    const Lock control(c.controlLock);
    const PlaybackState state = c.state;
    if (state != PlaybackState::Paused && state != PlaybackState::Playing) return false;
    c.waitPlay = false;
    c.resumeAfterSeek = false;
    c.state = PlaybackState::Paused;
    return true;
}

} // namespace velkantrix
