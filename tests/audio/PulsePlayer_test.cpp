// The player on the real PulseAudio output of the virtual rig: what it plays is heard on the
// sink's monitor at the right pitch, and its clock follows what was heard.
#include "audio/Player.hpp"

#include "audio/PulseAudioOutput.hpp"
#include "base/ManualScheduler.hpp"

#include "GraphSignals.hpp"
#include "PulseRig.hpp"

using namespace tw;

namespace {

class PulsePlayerTest : public rig::PulseRigTest {};

} // namespace

TEST_F(PulsePlayerTest, a44kToneIsHeardAt1kHzThroughTheSoundServer)
{
    graphtest::ScratchFolder folder;
    graphtest::writeToneWithFfmpeg(folder / "tone.flac", 1000, 44100, 5);
    Composition composition;
    ASSERT_TRUE(composition.addTrack(2)->insertTimeRange(graphtest::loadAsset(folder / "tone.flac"),
                                                         {}, graphtest::seconds(5), {}));

    PulseAudioOutput output;
    ManualScheduler scheduler;
    auto opened = Player::open(output, scheduler);
    ASSERT_TRUE(opened) << opened.error().description;
    Player& player = *opened.value();
    ASSERT_TRUE(player.setItem(composition, AudioMix{}));
    bool ready = false;
    player.seek(graphtest::seconds(1), [&](bool finished) { ready = finished; });
    player.waitForReadAhead();
    scheduler.advance(0.01);
    ASSERT_TRUE(ready);

    rig::MonitorRecording monitor((folder / "heard.raw").string());
    ASSERT_TRUE(monitor.listening());
    player.play();
    ASSERT_TRUE(rig::eventually([&] { return player.currentTime().seconds() >= 2.5; }));
    player.pause();
    const double heardUntil = player.currentTime().seconds();
    const std::vector<float> recording = monitor.finish(0.02f);

    EXPECT_EQ(player.underruns(), 0);
    auto heard = rig::loudPart(rig::channel(recording, 2, 0), 0.02f);
    // The clock says what was heard: the tone from the seek at 1 s up to the pause.
    EXPECT_NEAR(static_cast<double>(heard.size()) / 48000, heardUntil - 1.0, 0.05);
    EXPECT_NEAR(rig::zeroCrossingFrequency(heard, 48000), 1000, 2);
    EXPECT_NEAR(rig::toneAmplitude(heard, 1000, 48000), 1.0 / 16, 0.01);
    auto right = rig::loudPart(rig::channel(recording, 2, 1), 0.02f);
    EXPECT_NEAR(rig::toneAmplitude(right, 1000, 48000), 1.0 / 16, 0.01) << "mono in both channels";
}
