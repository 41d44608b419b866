// The player on the real PulseAudio output of the virtual rig: what it plays is heard on the
// sink's monitor at the right pitch, and its clock follows what was heard.
#include "audio/Player.hpp"

#include "audio/PulseAudioOutput.hpp"
#include "base/ManualScheduler.hpp"

#include "GraphSignals.hpp"
#include "PulseRig.hpp"

#include <fstream>
#include <thread>

using namespace tw;
using namespace std::chrono_literals;

namespace {

class PulsePlayerTest : public rig::PulseRigTest {};

std::vector<float> readFloats(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

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

    const std::string heardFile = (folder / "heard.raw").string();
    std::thread listener([&] {
        rig::run(std::string("timeout 2.5 parec --device=") + rig::sinkName +
                 ".monitor --raw --format=float32le --rate=48000 --channels=2 > '" + heardFile +
                 "'");
    });
    std::this_thread::sleep_for(300ms);
    player.play();
    std::this_thread::sleep_for(1500ms);
    player.pause();
    const double heardUntil = player.currentTime().seconds();
    listener.join();

    EXPECT_EQ(player.underruns(), 0);
    EXPECT_GT(heardUntil, 2.2);
    EXPECT_LT(heardUntil, 2.7);
    auto heard = rig::loudPart(rig::channel(readFloats(heardFile), 2, 0));
    ASSERT_GT(heard.size(), 48000u);
    EXPECT_NEAR(rig::zeroCrossingFrequency(heard, 48000), 1000, 2);
    EXPECT_NEAR(rig::toneAmplitude(heard, 1000, 48000), 1.0 / 16, 0.01);
    auto right = rig::loudPart(rig::channel(readFloats(heardFile), 2, 1));
    EXPECT_NEAR(rig::toneAmplitude(right, 1000, 48000), 1.0 / 16, 0.01) << "mono in both channels";
}
