#include "audio/PulseAudioInput.hpp"

#include "audio/Denormals.hpp"
#include "audio/DeviceCatalog.hpp"

#include "PulseRig.hpp"
#include "support/CapturedAudio.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>

using namespace tw;
using namespace std::chrono_literals;

namespace {

using test::Capture;

class PulseAudioInputTest : public rig::PulseRigTest {};

} // namespace

TEST_F(PulseAudioInputTest, recordsAToneFromTheVirtualMicrophoneInTheSourcesOwnFormat)
{
    rig::ScratchFolder folder;
    std::string tone = folder.file("tone.wav");
    ASSERT_TRUE(rig::makeTone(tone, 1000, 1.5));
    auto sampleSpec = rig::sourceSpec(rig::micName);
    ASSERT_GT(sampleSpec.rate, 0);

    PulseAudioInput input;
    Capture capture;
    input.setCaptureCallback(capture.callback());
    auto format = input.open(captureSourceId(rig::micName), 4096);
    ASSERT_TRUE(format.ok()) << format.error().description;
    EXPECT_EQ(format.value().sampleRate, sampleSpec.rate);
    EXPECT_EQ(format.value().channels, sampleSpec.channels);
    EXPECT_EQ(format.value().sampleType, SampleType::float32);
    EXPECT_EQ(input.format(), format.value());
    capture.channels = format.value().channels;
    EXPECT_FALSE(input.isRunning());

    ASSERT_TRUE(input.start().ok());
    EXPECT_TRUE(input.isRunning());
    ASSERT_EQ(rig::run(std::string("paplay --device=") + rig::sinkName + " '" + tone + "'"), 0);
    // The server has played the tone; the capture thread hands it over when it gets to run.
    EXPECT_TRUE(rig::eventually([&] {
        std::lock_guard lock(capture.mutex);
        return rig::heardToItsEnd(rig::channel(capture.samples, capture.channels, 0),
                                  sampleSpec.rate);
    }));
    input.stop();
    EXPECT_FALSE(input.isRunning());

    std::lock_guard lock(capture.mutex);
    EXPECT_EQ(capture.badBuffers, 0);
    // Whatever pieces the server handed over, the capture came in the blocks asked for; only the
    // one handed over at the stop may be shorter.
    ASSERT_FALSE(capture.sizes.empty());
    EXPECT_EQ(std::count(capture.sizes.begin(), capture.sizes.end() - 1, 4096),
              static_cast<std::ptrdiff_t>(capture.sizes.size() - 1));
    EXPECT_LE(capture.sizes.back(), 4096);
    EXPECT_NE(capture.thread, std::this_thread::get_id());
    EXPECT_TRUE(capture.denormalsOff);
    EXPECT_GE(capture.frames, static_cast<std::int64_t>(1.5 * sampleSpec.rate));
    for (int c = 0; c < capture.channels; ++c) {
        auto heard = rig::loudPart(rig::channel(capture.samples, capture.channels, c));
        ASSERT_GT(heard.size(), static_cast<std::size_t>(sampleSpec.rate)) << "channel " << c;
        EXPECT_NEAR(rig::zeroCrossingFrequency(heard, sampleSpec.rate), 1000, 10);
        EXPECT_NEAR(rig::toneAmplitude(heard, 1000, sampleSpec.rate), 0.5, 0.1);
        EXPECT_LT(rig::toneAmplitude(heard, 1500, sampleSpec.rate), 0.05);
    }
}

TEST_F(PulseAudioInputTest, withoutAServerOpeningFailsWithoutHangingAndZeroOpensTheDefaultSource)
{
    std::string saved = std::getenv("PULSE_SERVER") ? std::getenv("PULSE_SERVER") : "";
    rig::ScratchFolder folder;
    setenv("PULSE_SERVER", ("unix:" + folder.file("no-such-socket")).c_str(), 1);
    PulseAudioInput input;
    auto format = input.open(0, 4096);
    setenv("PULSE_SERVER", saved.c_str(), 1);
    ASSERT_FALSE(format.ok());
    EXPECT_EQ(format.error().description, "No se pudo activar la entrada seleccionada.");
    // With the server back, identifier zero is its default source (the rig's microphone).
    auto fallback = input.open(0, 4096);
    ASSERT_TRUE(fallback.ok()) << fallback.error().description;
    EXPECT_EQ(fallback.value().sampleRate, rig::sourceSpec(rig::micName).rate);
}

TEST_F(PulseAudioInputTest, pausingCorksTheStreamAndResumingUncorksIt)
{
    PulseAudioInput input;
    Capture capture;
    input.setCaptureCallback(capture.callback());
    auto format = input.open(captureSourceId(rig::micName), 4096);
    ASSERT_TRUE(format.ok()) << format.error().description;
    capture.channels = format.value().channels;
    ASSERT_TRUE(input.start().ok());
    ASSERT_TRUE(rig::eventually([&] { return capture.frames > 0; }));

    ASSERT_TRUE(input.setPaused(true).ok());
    EXPECT_FALSE(input.isRunning());
    // A tone played while paused is never captured, not even once the capture resumes.
    rig::ScratchFolder folder;
    ASSERT_TRUE(rig::makeTone(folder.file("tone.wav"), 1000, 0.5));
    ASSERT_EQ(rig::run(std::string("paplay --device=") + rig::sinkName + " '" +
                       folder.file("tone.wav") + "'"),
              0);
    ASSERT_TRUE(input.setPaused(false).ok());
    EXPECT_TRUE(input.isRunning());
    const std::int64_t resumed = capture.frames;
    const double rate = format.value().sampleRate;
    EXPECT_TRUE(rig::eventually([&] { return capture.frames > resumed + rate / 2; }));
    input.stop();
    {
        std::lock_guard lock(capture.mutex);
        EXPECT_LT(
            rig::toneAmplitude(rig::channel(capture.samples, capture.channels, 0), 1000, rate),
            0.1);
    }
    // Pausing a stopped input does nothing.
    EXPECT_TRUE(input.setPaused(true).ok());
    EXPECT_FALSE(input.isRunning());
}

TEST_F(PulseAudioInputTest, unloadingTheSourceDuringCaptureIsAConfigurationChange)
{
    std::string module = rig::loadExtraMicrophone("tw_input_probe", "Sonda");
    ASSERT_FALSE(module.empty());

    PulseAudioInput input;
    Capture capture;
    std::atomic<int> changes{0};
    std::atomic<bool> runningInHandler{true};
    input.setCaptureCallback(capture.callback());
    input.setConfigurationChangeHandler([&] {
        runningInHandler = input.isRunning();
        ++changes;
    });
    auto format = input.open(captureSourceId("tw_input_probe"), 4096);
    ASSERT_TRUE(format.ok()) << format.error().description;
    capture.channels = format.value().channels;
    ASSERT_TRUE(input.start().ok());
    ASSERT_TRUE(rig::eventually([&] { return capture.frames > 0; }));
    EXPECT_EQ(changes, 0);

    rig::unloadModule(module);
    ASSERT_TRUE(rig::eventually([&] { return changes > 0; }));
    EXPECT_FALSE(runningInHandler);
    EXPECT_FALSE(input.isRunning());
    // The stream is gone: it cannot be resumed, and the user is told why in their language.
    auto resumed = input.setPaused(false);
    ASSERT_FALSE(resumed.ok());
    EXPECT_EQ(resumed.error().description,
              AudioInputErrors::sourceLost(resumed.error().code).description);
    input.stop();

    // And the source cannot be opened any more.
    auto gone = input.open(captureSourceId("tw_input_probe"), 4096);
    ASSERT_FALSE(gone.ok());
    EXPECT_EQ(gone.error().description, "No se pudo activar la entrada seleccionada.");
}

TEST_F(PulseAudioInputTest, aServerThatGoesAwayIsAConfigurationChangeAndTheNextOpenConnectsAgain)
{
    rig::PrivateServer server;
    ASSERT_TRUE(server.started()) << server.startOutput();

    PulseAudioInput input;
    Capture capture;
    std::atomic<int> changes{0};
    input.setCaptureCallback(capture.callback());
    input.setConfigurationChangeHandler([&] { ++changes; });
    {
        rig::ServerOverride use(server.address());
        auto format = input.open(captureSourceId(rig::micName), 4096);
        ASSERT_TRUE(format.ok()) << format.error().description;
        capture.channels = format.value().channels;
    }
    ASSERT_TRUE(input.start().ok());
    ASSERT_TRUE(rig::eventually([&] { return capture.frames > 0; }));

    server.stop();
    ASSERT_TRUE(rig::eventually([&] { return changes > 0; }));
    EXPECT_FALSE(input.isRunning());
    input.stop();

    // The shared rig is still there: a new open connects to it.
    auto again = input.open(captureSourceId(rig::micName), 4096);
    ASSERT_TRUE(again.ok()) << again.error().description;
    EXPECT_TRUE(input.start().ok());
    input.stop();
}
