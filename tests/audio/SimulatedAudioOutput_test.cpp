#include "audio/SimulatedAudioOutput.hpp"

#include "audio/Denormals.hpp"

#include <gtest/gtest.h>

using namespace tw;

namespace {

// A render function that writes a running frame counter into every channel.
struct Counter {
    std::int64_t next = 0;
    int channels = 2;
    std::vector<int> blocks;
    bool denormalsOff = false;

    AudioOutput::RenderCallback callback()
    {
        return [this](float* interleaved, int frames) {
            blocks.push_back(frames);
            denormalsOff = ScopedDenormalsOff::active();
            for (int f = 0; f < frames; ++f, ++next)
                for (int c = 0; c < channels; ++c)
                    interleaved[f * channels + c] = static_cast<float>(next) + 0.5f * c;
        };
    }
};

} // namespace

TEST(SimulatedAudioOutput, advancePullsTheRenderFunctionInBlocksOnlyWhilePlaying)
{
    SimulatedAudioOutput output(256);
    Counter counter;
    output.setRenderCallback(counter.callback());

    auto format = output.open(StreamFormat{});
    ASSERT_TRUE(format.ok());
    EXPECT_EQ(format.value(), (StreamFormat{48000, 2, SampleType::float32, true}));
    EXPECT_EQ(output.advance(100), 0); // opened paused
    EXPECT_FALSE(output.isRunning());

    ASSERT_TRUE(output.start().ok());
    EXPECT_TRUE(output.isRunning());
    EXPECT_EQ(output.advance(600), 600);
    EXPECT_EQ(counter.blocks, (std::vector<int>{256, 256, 88}));
    EXPECT_TRUE(counter.denormalsOff);
    EXPECT_EQ(output.framesPlayed(), 600);
    EXPECT_DOUBLE_EQ(output.playedTime(), 600.0 / 48000);

    ASSERT_TRUE(output.pause().ok());
    EXPECT_EQ(output.advance(1000), 0);
    EXPECT_EQ(output.framesPlayed(), 600);

    ASSERT_TRUE(output.start().ok());
    EXPECT_EQ(output.advance(10), 10);
    auto rendered = output.rendered();
    ASSERT_EQ(rendered.size(), 2u * 610);
    for (std::size_t f = 0; f < 610; ++f) {
        ASSERT_EQ(rendered[2 * f], static_cast<float>(f));
        ASSERT_EQ(rendered[2 * f + 1], static_cast<float>(f) + 0.5f);
    }
}

TEST(SimulatedAudioOutput, failuresFlushesAndDisappearanceAreVisibleToTheTest)
{
    SimulatedAudioOutput output;
    output.failNext(Error{"System", 6, "Connection refused"});
    EXPECT_FALSE(output.open(StreamFormat{44100, 1, SampleType::float32, true}).ok());
    auto mono = output.open(StreamFormat{44100, 1, SampleType::float32, true});
    ASSERT_TRUE(mono.ok());
    EXPECT_EQ(mono.value().channels, 1);
    EXPECT_FALSE(output.open(StreamFormat{0, 2, SampleType::float32, true}).ok());

    ASSERT_TRUE(output.open(StreamFormat{}).ok());
    ASSERT_TRUE(output.flush().ok());
    EXPECT_EQ(output.flushCount(), 1);
    output.setLatency(0.1);
    EXPECT_DOUBLE_EQ(output.latency(), 0.1);

    int changes = 0;
    output.setConfigurationChangeHandler([&] {
        EXPECT_FALSE(output.isRunning());
        ++changes;
    });
    ASSERT_TRUE(output.start().ok());
    output.disappear();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(output.advance(100), 0);
    EXPECT_FALSE(output.start().ok()); // gone until opened again
}
