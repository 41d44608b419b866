#include "studio/QtScheduler.hpp"

#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace tw {
namespace {

// Runs the event loop until condition holds or five seconds of wall time have gone by.
template <class Condition> bool runEventsUntil(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QCoreApplication::processEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

TEST(QtScheduler, jobsRunOnTheEventLoopInTimeOrderAndCancelledOnesNever)
{
    testing::coreApplication();
    QtScheduler scheduler;
    std::vector<int> order;
    scheduler.after(0.03, [&] { order.push_back(2); });
    scheduler.after(0.01, [&] { order.push_back(1); });
    TaskHandle cancelled = scheduler.after(0.02, [&] { order.push_back(99); });
    cancelled->cancel();
    int ticks = 0;
    TaskHandle repeating = scheduler.every(0.005, [&] { ++ticks; });
    EXPECT_TRUE(order.empty()); // nothing runs outside the event loop

    ASSERT_TRUE(runEventsUntil([&] { return order.size() == 2 && ticks >= 3; }));
    EXPECT_EQ(order, (std::vector<int>{1, 2}));

    repeating->cancel();
    const int stoppedAt = ticks;
    const double before = scheduler.now();
    runEventsUntil([&] { return scheduler.now() - before > 0.05; });
    EXPECT_EQ(ticks, stoppedAt);
}

TEST(QtScheduler, jobsOfADestroyedSchedulerNeverRun)
{
    testing::coreApplication();
    bool ran = false;
    {
        QtScheduler scheduler;
        scheduler.after(0.0, [&] { ran = true; });
    }
    const auto start = std::chrono::steady_clock::now();
    runEventsUntil(
        [&] { return std::chrono::steady_clock::now() - start > std::chrono::milliseconds(30); });
    EXPECT_FALSE(ran);
}

} // namespace
} // namespace tw
