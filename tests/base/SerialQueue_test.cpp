#include "base/SerialQueue.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>
#include <vector>

using tw::SerialQueue;

TEST(SerialQueue, runsJobsInOrderOnOneThreadNeverOverlappingAndSyncAndDestructionWaitForThem)
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
    std::vector<int> expected(1000);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_FALSE(queue.isCurrent());

    // Jobs from many threads never overlap, and destruction drains the queue: they wait behind a
    // first one until the queue is about to go.
    std::atomic<int> inside = 0, ran = 0;
    std::atomic<bool> overlapped = false, leaving = false;
    {
        SerialQueue drained("Tapewright.disk-writer");
        drained.async([&] {
            while (!leaving)
                std::this_thread::yield();
        });
        std::vector<std::thread> producers;
        for (int t = 0; t < 4; ++t)
            producers.emplace_back([&] {
                for (int i = 0; i < 500; ++i)
                    drained.async([&] {
                        if (inside.fetch_add(1) != 0)
                            overlapped = true;
                        ++ran;
                        inside.fetch_sub(1);
                    });
            });
        for (auto& p : producers)
            p.join();
        leaving = true;
    }
    EXPECT_EQ(ran.load(), 2000);
    EXPECT_FALSE(overlapped.load());
}
