#include "base/SerialQueue.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using tw::SerialQueue;

TEST(SerialQueue, runsJobsInOrderOnOneThreadAndSyncWaitsForEarlierJobs)
{
    SerialQueue queue("Tapewright.project-writer");
    EXPECT_EQ(queue.label(), "Tapewright.project-writer");
    std::vector<int> order;
    std::thread::id worker;
    for (int i = 0; i < 1000; ++i)
        queue.async([&, i] {
            if (i == 0)
                worker = std::this_thread::get_id();
            EXPECT_EQ(std::this_thread::get_id(), worker);
            EXPECT_TRUE(queue.isCurrent());
            order.push_back(i);
        });
    queue.sync([] {});
    ASSERT_EQ(order.size(), 1000u);
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(order[i], i);
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_FALSE(queue.isCurrent());
}

TEST(SerialQueue, jobsFromManyThreadsNeverOverlapAndDestructionDrainsTheQueue)
{
    std::atomic<int> inside = 0;
    std::atomic<int> ran = 0;
    std::atomic<bool> overlapped = false;
    {
        SerialQueue queue("Tapewright.disk-writer");
        std::vector<std::thread> producers;
        for (int t = 0; t < 4; ++t)
            producers.emplace_back([&] {
                for (int i = 0; i < 500; ++i)
                    queue.async([&] {
                        if (inside.fetch_add(1) != 0)
                            overlapped = true;
                        ++ran;
                        inside.fetch_sub(1);
                    });
            });
        for (auto& p : producers)
            p.join();
    }
    EXPECT_EQ(ran.load(), 2000);
    EXPECT_FALSE(overlapped.load());
}
