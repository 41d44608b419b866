#include "base/ManualScheduler.hpp"

#include <gtest/gtest.h>
#include <vector>

using tw::ManualScheduler;

TEST(ManualScheduler, runsDelayedJobsAtTheirTimeInOrder)
{
    ManualScheduler scheduler(0);
    std::vector<std::pair<int, double>> ran;
    scheduler.after(0.4, [&] { ran.emplace_back(2, scheduler.now()); });
    scheduler.after(0.1, [&] { ran.emplace_back(1, scheduler.now()); });
    scheduler.after(0.4, [&] { ran.emplace_back(3, scheduler.now()); });
    scheduler.advance(0.3);
    ASSERT_EQ(ran.size(), 1u);
    EXPECT_DOUBLE_EQ(ran[0].second, 0.1);
    EXPECT_DOUBLE_EQ(scheduler.now(), 0.3);
    scheduler.advance(1);
    ASSERT_EQ(ran.size(), 3u);
    EXPECT_EQ(ran[1].first, 2);
    EXPECT_EQ(ran[2].first, 3);
    EXPECT_DOUBLE_EQ(ran[1].second, 0.4);
}

TEST(ManualScheduler, cancelledJobsNeverRunAndRepeatingJobsKeepTheirPace)
{
    ManualScheduler scheduler(0);
    int once = 0, ticks = 0;
    auto handle = scheduler.after(0.2, [&] { ++once; });
    handle->cancel();
    auto clock = scheduler.every(0.1, [&] { ++ticks; });
    for (int i = 0; i < 10; ++i)
        scheduler.advance(0.1);
    EXPECT_EQ(once, 0);
    EXPECT_EQ(ticks, 10);
    scheduler.advance(0.35);
    EXPECT_EQ(ticks, 13);
    clock->cancel();
    scheduler.advance(1);
    EXPECT_EQ(ticks, 13);
}

TEST(ManualScheduler, aJobScheduledByAJobRunsInTheSameAdvanceWhenDue)
{
    ManualScheduler scheduler(0);
    std::vector<double> times;
    scheduler.after(0.1, [&] {
        times.push_back(scheduler.now());
        scheduler.after(0.1, [&] { times.push_back(scheduler.now()); });
    });
    scheduler.advance(0.25);
    ASSERT_EQ(times.size(), 2u);
    EXPECT_DOUBLE_EQ(times[1], 0.2);
}
