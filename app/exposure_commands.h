// exposure_commands.h: the commands that make the picture brighter or darker. UI thread.
//
// All do nothing without a video, the automatic ones also while a job runs.
#pragma once

namespace velkantrix {

void exposureBrighter();
void exposureDarker();
void exposureReset();

// What the video's brightness asks for; waits until a few of its pictures are decoded.
void exposureAuto();

// Takes back what is set, else exposureAuto.
void exposureResetOrAuto();

} // namespace velkantrix
