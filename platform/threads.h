// threads.h: threads that nobody waits for.
#pragma once

#include <functional>

namespace velkantrix {

// Runs `body` on a thread of its own, which goes when it is done. A thread that can't be started
// ends the process.
//
// std::thread can't do it: with mingw's runtime a thread that ends just while it is being detached
// has its record freed twice, and the next thread to be started is lost.
void startDetached(std::function<void()> body) noexcept;

} // namespace velkantrix
