// The player on the real PulseAudio output of the virtual rig: its clock follows what the sink's
// monitor heard, a seek cuts the old audio at once and starts on its frame, and a pause resumes
// on the next frame. The pitch heard through the server is checked where the window plays a take.
#include "audio/Player.hpp"

#include "audio/PulseAudioOutput.hpp"
#include "base/ManualScheduler.hpp"

#include "GraphSignals.hpp"
#include "PulseRig.hpp"

using namespace tw;

namespace {

class PulsePlayerTest : public rig::PulseRigTest {
protected:
    // A player on the rig's output holding the first `length` seconds of `file`, positioned at
    // `at` with its audio ready; null on failure.
    Player* open(const std::filesystem::path& file, double length, double at)
    {
        Composition composition;
        auto opened = Player::open(output, scheduler);
        if (!composition.addTrack(2)->insertTimeRange(graphtest::loadAsset(file), {},
                                                      graphtest::seconds(length), {}) ||
            !opened || !opened.value()->setItem(composition, AudioMix{}))
            return nullptr;
        player = std::move(opened.value());
        return seekTo(at) ? player.get() : nullptr;
    }
    bool seekTo(double seconds)
    {
        bool ready = false;
        player->seek(graphtest::seconds(seconds), [&](bool finished) { ready = finished; });
        player->waitForReadAhead();
        scheduler.advance(0.01);
        return ready;
    }

    graphtest::ScratchFolder folder;
    PulseAudioOutput output;
    ManualScheduler scheduler;
    std::unique_ptr<Player> player;
};

} // namespace

TEST_F(PulsePlayerTest, aSeekCutsTheOldAudioAtOnceAndPausesNeitherRepeatNorSkip)
{
    // A rising ramp: each sample heard on the monitor says which frame of the source it was.
    constexpr double start = 0.04, slope = 0.1, length = 7;
    const auto frames = static_cast<std::int64_t>(length * 48000);
    std::vector<float> ramp(static_cast<std::size_t>(frames));
    for (std::int64_t f = 0; f < frames; ++f)
        ramp[static_cast<std::size_t>(f)] = static_cast<float>(start + slope * double(f) / 48000);
    graphtest::writeCaf(folder / "ramp.caf", ramp, 48000, 1);
    ASSERT_TRUE(open(folder / "ramp.caf", length, 1));
    Player& player = *this->player;
    const auto playUntil = [&](double seconds) {
        return rig::eventually([&] { return player.currentTime().seconds() >= seconds; });
    };
    rig::MonitorRecording monitor((folder / "heard.raw").string());
    ASSERT_TRUE(monitor.listening());
    player.play();
    ASSERT_TRUE(playUntil(2.5));
    const double heardAtSeek = player.currentTime().seconds();
    ASSERT_TRUE(seekTo(4));
    ASSERT_TRUE(playUntil(4.8));
    player.pause(); // resumed before the output has played out
    player.play();
    ASSERT_TRUE(playUntil(5.4));
    player.pause(); // resumed once it has played out and the output is paused
    ASSERT_TRUE(rig::eventually([&] { return monitor.heardAll(0.02f); }));
    scheduler.advance(1);
    player.play();
    ASSERT_TRUE(playUntil(6.2));
    player.pause();
    const std::vector<float> left = rig::channel(monitor.finish(0.02f), 2, 0);

    // The source frames heard, in order, silences left out: one jump (the seek), else each
    // the next (the 16-bit sink rounds the ramp to about 0.3 ms).
    std::vector<double> heard;
    for (float x : left)
        if (x > 0.02f)
            heard.push_back((x - start) / slope);
    ASSERT_GT(heard.size(), 48000u);
    EXPECT_NEAR(heard.front(), 1, 0.001);
    std::vector<std::size_t> jumps;
    for (std::size_t i = 1; i < heard.size(); ++i)
        if (std::fabs(heard[i] - heard[i - 1] - 1.0 / 48000) > 0.001)
            jumps.push_back(i);
    std::string where;
    for (std::size_t at : jumps) // appended piece by piece: GCC 12 at -O3 warns on a + chain
        where.append(" ")
            .append(std::to_string(heard[at - 1]))
            .append("→")
            .append(std::to_string(heard[at]));
    ASSERT_EQ(jumps.size(), 1u) << "jumps:" << where;
    EXPECT_LE(heard[jumps[0] - 1] - heardAtSeek, 0.010 + rig::sinkRendersAhead)
        << "old audio heard after the seek";
    EXPECT_NEAR(heard[jumps[0]], 4, 0.001) << "the new position from its frame";
    EXPECT_NEAR(heard.back(), player.currentTime().seconds(), 0.001);
    EXPECT_EQ(player.underruns(), 0);
}
