#include "audio/SpscRing.hpp"

#include <gtest/gtest.h>

#include <numeric>
#include <thread>
#include <vector>

namespace tw {

TEST(SpscRing, keepsFramesInOrderAcrossTheWrapAndRefusesWhatDoesNotFit)
{
    SpscRing ring(2, 6); // rounds up to 8 frames
    EXPECT_EQ(ring.capacity(), 8);
    std::vector<float> in(40);
    std::iota(in.begin(), in.end(), 0.0f);
    EXPECT_EQ(ring.write(in.data(), 5), 5);
    std::vector<float> out(20, -1);
    EXPECT_EQ(ring.read(out.data(), 3), 3);
    EXPECT_EQ(out[5], 5.0f);
    // 2 left; 6 more fit, wrapping past the end of the storage.
    EXPECT_EQ(ring.write(in.data() + 10, 10), 6);
    EXPECT_EQ(ring.writable(), 0);
    EXPECT_EQ(ring.readable(), 8);
    EXPECT_EQ(ring.read(out.data(), 10), 8);
    const std::vector<float> expected{6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
    EXPECT_EQ(std::vector<float>(out.begin(), out.begin() + 16), expected);
    EXPECT_EQ(ring.read(out.data(), 1), 0);
}

TEST(SpscRing, aProducerAndAConsumerOnTwoThreadsLoseAndRepeatNothing)
{
    SpscRing ring(2, 1024);
    constexpr std::int64_t total = 2'000'000;
    // Frame n holds n (modulo 2^16) on the left, its negative on the right.
    const auto value = [](std::int64_t frame) { return static_cast<float>(frame % 65536); };
    std::thread producer([&] {
        std::vector<float> block(2 * 300);
        for (std::int64_t next = 0; next < total;) {
            const std::int64_t count = std::min<std::int64_t>(300, total - next);
            for (std::int64_t i = 0; i < count; ++i) {
                block[2 * i] = value(next + i);
                block[2 * i + 1] = -block[2 * i];
            }
            for (std::int64_t written = 0; written < count;)
                written += ring.write(block.data() + 2 * written, count - written);
            next += count;
        }
    });
    std::vector<float> block(2 * 257);
    bool inOrder = true;
    for (std::int64_t expected = 0; expected < total;) {
        const std::int64_t got = ring.read(block.data(), 257);
        for (std::int64_t i = 0; i < got; ++i, ++expected)
            inOrder =
                inOrder && block[2 * i] == value(expected) && block[2 * i + 1] == -value(expected);
    }
    producer.join();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(ring.readable(), 0);
}

} // namespace tw
