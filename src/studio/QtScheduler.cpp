#include "studio/QtScheduler.hpp"

#include "base/Clock.hpp"

#include <QTimer>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

int milliseconds(double seconds)
{
    return static_cast<int>(std::lround(std::max(seconds, 0.0) * 1000.0));
}

} // namespace

QtScheduler::QtScheduler() : timers_(std::make_unique<QObject>())
{
}

QtScheduler::~QtScheduler() = default;

double QtScheduler::now() const
{
    return SteadyClock::instance().now();
}

TaskHandle QtScheduler::after(double delay, std::function<void()> job)
{
    auto handle = std::make_shared<ScheduledTask>();
    auto* timer = new QTimer(timers_.get());
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, handle, job = std::move(job)] {
        timer->deleteLater();
        if (!handle->cancelled())
            job();
    });
    timer->start(milliseconds(delay));
    return handle;
}

TaskHandle QtScheduler::every(double interval, std::function<void()> job)
{
    auto handle = std::make_shared<ScheduledTask>();
    auto* timer = new QTimer(timers_.get());
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, handle, job = std::move(job)] {
        if (handle->cancelled()) {
            timer->stop();
            timer->deleteLater();
            return;
        }
        job();
    });
    timer->start(std::max(milliseconds(interval), 1));
    return handle;
}

} // namespace tw
