// bindings.h: the one place where the edit and the opening of files learn of the window and the
// engine.
#pragma once

namespace velkantrix {

// Once, before the window is made.
void bindHosts();

// With the window: what saves ask of the engine and the settings.
void bindSaves();

} // namespace velkantrix
