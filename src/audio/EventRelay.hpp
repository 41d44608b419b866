// Hands notifications from the sound server's thread to a handler on a thread of its own, so a
// handler may call back into the object that notified (list sources, stop a stream) without
// deadlocking on the server's main-loop lock. Bursts of notifications are coalesced.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace tw {

class EventRelay {
public:
    EventRelay();
    // Waits for a running handler to return. Must not be destroyed from inside the handler.
    ~EventRelay();
    EventRelay(const EventRelay&) = delete;
    EventRelay& operator=(const EventRelay&) = delete;

    // Any thread.
    void setHandler(std::function<void()> handler);
    // Any thread; takes a mutex briefly, never waits for the handler.
    void notify();

private:
    void run();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::function<void()> handler_;
    bool pending_ = false;
    bool quit_ = false;
    std::thread thread_;
};

} // namespace tw
