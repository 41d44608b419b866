// The application's scheduler: jobs run on the thread that created it (the main thread), from
// precise Qt timers, so they keep firing in the nested event loops of menus and resizes.
#pragma once

#include "base/Scheduler.hpp"

#include <QObject>

#include <memory>

namespace tw {

class QtScheduler final : public Scheduler {
public:
    QtScheduler();
    ~QtScheduler() override;

    double now() const override;
    TaskHandle after(double delay, std::function<void()> job) override;
    TaskHandle every(double interval, std::function<void()> job) override;

private:
    // Parent of every timer, so that none outlives the scheduler.
    std::unique_ptr<QObject> timers_;
};

} // namespace tw
