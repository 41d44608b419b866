// Delayed and repeating jobs on the owner's thread. Every delay of the studio goes through one,
// so that tests advance virtual time instead of sleeping.
#pragma once

#include "base/Clock.hpp"

#include <functional>
#include <memory>

namespace tw {

// A scheduled job that can be cancelled before it runs (or between repetitions).
class ScheduledTask {
public:
    void cancel() { cancelled_ = true; }
    bool cancelled() const { return cancelled_; }

private:
    bool cancelled_ = false;
};

using TaskHandle = std::shared_ptr<ScheduledTask>;

class Scheduler : public Clock {
public:
    // Runs job once, delay seconds from now, unless the handle is cancelled first.
    virtual TaskHandle after(double delay, std::function<void()> job) = 0;
    // Runs job every interval seconds until the handle is cancelled.
    virtual TaskHandle every(double interval, std::function<void()> job) = 0;
};

} // namespace tw
