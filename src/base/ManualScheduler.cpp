#include "base/ManualScheduler.hpp"

#include <algorithm>

namespace tw {

TaskHandle ManualScheduler::after(double delay, std::function<void()> job)
{
    return add(now() + std::max(delay, 0.0), 0.0, std::move(job));
}

TaskHandle ManualScheduler::every(double interval, std::function<void()> job)
{
    return add(now() + interval, interval, std::move(job));
}

TaskHandle ManualScheduler::add(double due, double interval, std::function<void()> job)
{
    auto handle = std::make_shared<ScheduledTask>();
    entries_.push_back(Entry{due, nextOrder_++, interval, handle, std::move(job)});
    return handle;
}

void ManualScheduler::advance(double seconds)
{
    const double target = now() + seconds;
    for (;;) {
        auto next =
            std::min_element(entries_.begin(), entries_.end(), [](const auto& a, const auto& b) {
                return a.due < b.due || (a.due == b.due && a.order < b.order);
            });
        // A tiny tolerance so that ten 0.1 s steps reach a job due at 1.0 s.
        if (next == entries_.end() || next->due > target + 1e-9)
            break;
        Entry entry = std::move(*next);
        entries_.erase(next);
        if (entry.handle->cancelled())
            continue;
        now_ = std::max(now(), entry.due);
        if (entry.interval > 0) {
            auto job = entry.job;
            entries_.push_back(Entry{entry.due + entry.interval, nextOrder_++, entry.interval,
                                     entry.handle, std::move(entry.job)});
            job();
        } else {
            entry.job();
        }
    }
    now_ = std::max(now(), target);
}

} // namespace tw
