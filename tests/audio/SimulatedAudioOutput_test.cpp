#include "audio/SimulatedAudioOutput.hpp"

#include "audio/Denormals.hpp"

#include <gtest/gtest.h>

using namespace tw;

// The player's tests drive this output (flushes, latency, a failed open); here how it pulls the
// render function and what it does when it goes away.
TEST(SimulatedAudioOutput, advancePullsTheRenderFunctionInBlocksOnlyWhilePlayingUntilItGoesAway)
{
    SimulatedAudioOutput output(256);
    std::vector<int> blocks;
    bool denormalsOff = false;
    std::int64_t next = 0;
    // A running frame counter in the left channel, half a frame more in the right.
    output.setRenderCallback([&](float* interleaved, int frames) {
        blocks.push_back(frames);
        denormalsOff = ScopedDenormalsOff::active();
        for (int f = 0; f < frames; ++f, ++next) {
            interleaved[2 * f] = static_cast<float>(next);
            interleaved[2 * f + 1] = static_cast<float>(next) + 0.5f;
        }
    });
    EXPECT_FALSE(output.open(StreamFormat{0, 2, SampleType::float32, true}).ok());
    auto format = output.open(StreamFormat{});
    ASSERT_TRUE(format.ok());
    EXPECT_EQ(format.value(), (StreamFormat{48000, 2, SampleType::float32, true}));
    EXPECT_EQ(output.advance(100), 0); // opened paused
    EXPECT_FALSE(output.isRunning());

    ASSERT_TRUE(output.start().ok());
    EXPECT_TRUE(output.isRunning());
    EXPECT_EQ(output.advance(600), 600);
    EXPECT_EQ(blocks, (std::vector<int>{256, 256, 88}));
    EXPECT_TRUE(denormalsOff);
    EXPECT_DOUBLE_EQ(output.playedTime(), 600.0 / 48000);
    ASSERT_TRUE(output.pause().ok());
    EXPECT_EQ(output.advance(1000), 0);
    EXPECT_EQ(output.framesPlayed(), 600);
    ASSERT_TRUE(output.start().ok());
    EXPECT_EQ(output.advance(10), 10);
    const auto rendered = output.rendered();
    ASSERT_EQ(rendered.size(), 2u * 610);
    for (std::size_t f = 0; f < 610; ++f) {
        ASSERT_EQ(rendered[2 * f], static_cast<float>(f));
        ASSERT_EQ(rendered[2 * f + 1], static_cast<float>(f) + 0.5f);
    }

    int changes = 0;
    output.setConfigurationChangeHandler([&] {
        EXPECT_FALSE(output.isRunning());
        ++changes;
    });
    output.disappear();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(output.advance(100), 0);
    EXPECT_FALSE(output.start().ok()); // gone until opened again
}
