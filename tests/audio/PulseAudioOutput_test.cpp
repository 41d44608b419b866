#include "audio/PulseAudioOutput.hpp"

#include "audio/Denormals.hpp"
#include "audio/RealtimeThread.hpp"

#include "PulseRig.hpp"

#include <atomic>

#include <sched.h>

using namespace tw;
using namespace std::chrono_literals;

namespace {

class PulseAudioOutputTest : public rig::PulseRigTest {};

// A 1 kHz sine in stereo, rendered on the output's thread.
struct Sine {
    std::int64_t frame = 0;
    std::atomic<std::int64_t> rendered{0};
    std::atomic<bool> denormalsOff{false};
    std::atomic<bool> onCallerThread{false};
    std::atomic<int> policy{-1};
    std::thread::id caller = std::this_thread::get_id();

    AudioOutput::RenderCallback callback()
    {
        return [this](float* interleaved, int frames) {
            denormalsOff = ScopedDenormalsOff::active();
            policy = sched_getscheduler(0);
            if (std::this_thread::get_id() == caller)
                onCallerThread = true;
            for (int f = 0; f < frames; ++f, ++frame)
                interleaved[2 * f] = interleaved[2 * f + 1] =
                    static_cast<float>(0.5 * std::sin(2 * M_PI * 1000 * frame / 48000.0));
            rendered += frames;
        };
    }
};

} // namespace

// What it plays is heard in the player's device test; here its thread and its play head.
TEST_F(PulseAudioOutputTest,
       rendersOnItsOwnThreadAndThePlayHeadMovesWhilePlayingAndHoldsWhilePaused)
{
    PulseAudioOutput output;
    Sine sine;
    output.setRenderCallback(sine.callback());
    auto format = output.open(StreamFormat{});
    ASSERT_TRUE(format.ok()) << format.error().description;
    EXPECT_EQ(format.value(), (StreamFormat{48000, 2, SampleType::float32, true}));
    // Nothing is heard before start (the server's interpolated timing may say a few ms under load).
    EXPECT_LT(output.framesPlayed(), 480);

    ASSERT_TRUE(output.start().ok());
    ASSERT_TRUE(rig::eventually([&] { return output.framesPlayed() > 48000 / 10; }));
    // Never more than was rendered.
    auto played = output.framesPlayed();
    EXPECT_LE(played, sine.rendered.load());
    EXPECT_NEAR(output.playedTime(), static_cast<double>(output.framesPlayed()) / 48000, 0.05);
    double latency = output.latency();
    EXPECT_GT(latency, 0.0);
    EXPECT_LT(latency, 0.5);
    EXPECT_TRUE(sine.denormalsOff);
    EXPECT_FALSE(sine.onCallerThread);
    // Realtime wherever this machine allows a thread to ask for it.
    bool permitted = false;
    std::thread([&] { permitted = requestRealtimeScheduling(); }).join();
    if (permitted) {
        EXPECT_EQ(sine.policy, SCHED_RR);
    }

    ASSERT_TRUE(output.pause().ok());
    auto paused = output.framesPlayed();
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(output.framesPlayed(), paused);

    // A flush drops what was queued; the play head does not jump back.
    ASSERT_TRUE(output.flush().ok());
    EXPECT_GE(output.framesPlayed(), paused);
    ASSERT_TRUE(output.start().ok());
    EXPECT_TRUE(rig::eventually([&] { return output.framesPlayed() > paused + 4800; }));
    output.close();
    EXPECT_FALSE(output.isRunning());
}
