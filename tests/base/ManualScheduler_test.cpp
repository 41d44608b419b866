#include "base/ManualScheduler.hpp"

#include <gtest/gtest.h>
#include <vector>

using tw::ManualScheduler;

TEST(ManualScheduler, runsDueJobsAtTheirTimeInOrderNeverCancelledOnesAndRepeatsAtTheirPace)
{
    ManualScheduler scheduler(0);
    std::vector<std::pair<int, double>> ran;
    scheduler.after(0.4, [&] { ran.emplace_back(2, scheduler.now()); });
    scheduler.after(0.1, [&] {
        ran.emplace_back(1, scheduler.now());
        scheduler.after(0.1, [&] { ran.emplace_back(4, scheduler.now()); });
    });
    scheduler.after(0.4, [&] { ran.emplace_back(3, scheduler.now()); });
    scheduler.after(0.2, [&] { ran.emplace_back(0, scheduler.now()); })->cancel();
    scheduler.advance(0.3);
    EXPECT_EQ(ran, (std::vector<std::pair<int, double>>{{1, 0.1}, {4, 0.2}}));
    scheduler.advance(1);
    EXPECT_EQ(ran, (std::vector<std::pair<int, double>>{{1, 0.1}, {4, 0.2}, {2, 0.4}, {3, 0.4}}));

    int ticks = 0;
    auto clock = scheduler.every(0.1, [&] { ++ticks; });
    for (int i = 0; i < 10; ++i)
        scheduler.advance(0.1);
    scheduler.advance(0.35);
    EXPECT_EQ(ticks, 13);
    clock->cancel();
    scheduler.advance(1);
    EXPECT_EQ(ticks, 13);
}
