#include "studio/QtScheduler.hpp"

#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::runEventsUntil;

TEST(QtScheduler, jobsRunOnTheEventLoopInTimeOrderAndCancelledOnesOrThoseOfAGoneSchedulerNever)
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

    // Nor do the jobs of a scheduler that is gone.
    bool ran = false;
    std::make_unique<QtScheduler>()->after(0.0, [&] { ran = true; });
    runEventsUntil([&] { return ran; }, 0.03);
    EXPECT_FALSE(ran);
}

} // namespace
} // namespace tw
