// A scheduler whose time moves only when a test advances it.
#pragma once

#include "base/Scheduler.hpp"

#include <atomic>
#include <cstdint>
#include <vector>

namespace tw {

class ManualScheduler final : public Scheduler {
public:
    explicit ManualScheduler(double start = 1000.0) : now_(start) {}

    double now() const override { return now_.load(); }
    TaskHandle after(double delay, std::function<void()> job) override;
    TaskHandle every(double interval, std::function<void()> job) override;

    // Moves time forward by seconds, running every job that falls due on the way, in time order
    // (jobs with the same due time in the order they were scheduled), each at its own due time.
    void advance(double seconds);
    // Number of jobs waiting (cancelled ones are dropped as they come due).
    std::size_t pending() const { return entries_.size(); }

private:
    struct Entry {
        double due;
        std::uint64_t order;
        double interval; // 0 for one-shot jobs
        TaskHandle handle;
        std::function<void()> job;
    };
    TaskHandle add(double due, double interval, std::function<void()> job);

    std::atomic<double> now_;
    std::uint64_t nextOrder_ = 0;
    std::vector<Entry> entries_;
};

} // namespace tw
