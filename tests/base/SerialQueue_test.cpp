#include "base/SerialQueue.hpp"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using tw::SerialQueue;

TEST(SerialQueue, runsJobsInOrderOnOneThreadNeverOverlappingAndSyncAndDestructionWaitForThem)
{
    SerialQueue queue("Tapewright.project-writer");
    std::vector<int> order;
    std::thread::id worker;
    for (int i = 0; i < 1000; ++i)
        queue.async([&, i] {
            if (i == 0)
                worker = std::this_thread::get_id();
            EXPECT_TRUE(queue.isCurrent() && std::this_thread::get_id() == worker);
            order.push_back(i);
        });
    queue.sync([] {});
    EXPECT_TRUE(order.size() == 1000u && std::is_sorted(order.begin(), order.end()));
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
        std::vector<std::jthread> producers;
        for (int t = 0; t < 4; ++t)
            producers.emplace_back([&] {
                for (int i = 0; i < 500; ++i)
                    drained.async([&] {
                        overlapped = overlapped || inside.fetch_add(1) != 0;
                        ++ran;
                        inside.fetch_sub(1);
                    });
            });
        producers.clear();
        leaving = true;
    }
    EXPECT_EQ(ran.load(), 2000);
    EXPECT_FALSE(overlapped.load());
}
