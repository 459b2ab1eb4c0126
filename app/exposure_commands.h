// exposure_commands.h: the commands that make the picture brighter or darker. UI thread.
//
// They run when the command table lets them: with a video, the automatic ones not while a job runs.
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
