// Handing results of background work back to the main thread, where the Studio lives.
#pragma once

#include <functional>

namespace tw {

// Queues job to run on the main thread's event loop. Any thread. The job must itself check that
// what it touches still exists (a QPointer captured on the main thread).
void runOnMainThread(std::function<void()> job);

// Aborts a debug build when called off the main thread.
void assertMainThread();

} // namespace tw
