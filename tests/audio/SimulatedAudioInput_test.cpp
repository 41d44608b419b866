#include "audio/SimulatedAudioInput.hpp"

#include "support/CapturedAudio.hpp"
#include "support/Signals.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

using namespace tw;
using namespace std::chrono_literals;

// The pieces gathered into blocks of the size asked for on the capture thread are checked on the
// sound server's input; what the recorder sees of this one (random pieces, a source gone, its
// messages) in the recorder's tests. Here the partial block a pause hands over.
TEST(SimulatedAudioInput, pauseHandsOverThePartialBlockAndAFailedResumeKeepsItPaused)
{
    const auto signal = signals::noise(2, 1000);
    SimulatedAudioInput::Options options;
    options.format = StreamFormat{44100, 2, SampleType::float32, true};
    options.pieceFrames = 100;
    SimulatedAudioInput input(options, signal);
    test::Capture collected;
    collected.channels = 2;
    auto collect = collected.callback();
    std::atomic<bool> pausedFromCallback{false};
    // Pausing from the capture thread at the first block makes the pause point exact: half of
    // the third piece is gathered by then, and handed over by the pause.
    input.setCaptureCallback([&](const AudioBufferList& list, int frames) {
        collect(list, frames);
        if (!pausedFromCallback.exchange(true)) {
            EXPECT_TRUE(input.setPaused(true).ok());
        }
    });
    ASSERT_TRUE(input.open(0, 250).ok());
    EXPECT_TRUE(input.setPaused(true).ok()); // nothing to pause yet
    ASSERT_TRUE(input.start().ok());
    EXPECT_EQ(input.waitForFrames(1000, 200ms), 300);
    EXPECT_FALSE(input.isRunning());

    input.failNextResume(Error{"System", 42, "no"});
    auto failed = input.setPaused(false);
    ASSERT_FALSE(failed.ok());
    EXPECT_EQ(failed.error().code, 42);
    EXPECT_FALSE(input.isRunning());
    EXPECT_EQ(input.waitForFrames(1000, 50ms), 300);

    ASSERT_TRUE(input.setPaused(false).ok());
    EXPECT_TRUE(input.isRunning());
    EXPECT_EQ(input.waitForFrames(1000), 1000);
    input.stop();
    std::lock_guard lock(collected.mutex);
    EXPECT_EQ(collected.sizes, (std::vector<int>{250, 50, 250, 250, 200}));
    EXPECT_EQ(collected.samples, signal);
}
