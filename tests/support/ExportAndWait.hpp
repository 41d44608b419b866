// Runs an export session to its end on the calling thread's behalf.
#pragma once

#include "audio/ExportSession.hpp"

#include <condition_variable>
#include <mutex>

namespace tw::testing {

// Starts the export and waits for its completion handler.
inline void exportAndWait(ExportSession& session)
{
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    session.exportAsynchronously([&] {
        std::lock_guard lock(mutex);
        done = true;
        finished.notify_one();
    });
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
}

} // namespace tw::testing
