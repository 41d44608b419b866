#include "audio/EventRelay.hpp"

namespace tw {

EventRelay::EventRelay() : thread_([this] { run(); })
{
}

EventRelay::~EventRelay()
{
    {
        std::lock_guard lock(mutex_);
        quit_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void EventRelay::setHandler(std::function<void()> handler)
{
    std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
}

void EventRelay::notify()
{
    {
        std::lock_guard lock(mutex_);
        pending_ = true;
    }
    wake_.notify_one();
}

// Relay thread.
void EventRelay::run()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [this] { return pending_ || quit_; });
        if (quit_)
            return;
        pending_ = false;
        auto handler = handler_;
        lock.unlock();
        if (handler)
            handler();
        lock.lock();
    }
}

} // namespace tw
