#include "audio/PulseAudioInput.hpp"

#include "audio/DeviceCatalog.hpp"

#include "PulseRig.hpp"
#include "support/CapturedAudio.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>

using namespace tw;

namespace {

class PulseAudioInputTest : public rig::PulseRigTest {
protected:
    // Opens a source in blocks of 4096 frames and starts; done once the first audio arrives.
    void start(std::uint32_t source)
    {
        input.setCaptureCallback(capture.callback());
        auto opened = input.open(source, 4096);
        ASSERT_TRUE(opened.ok()) << opened.error().description;
        format = opened.value();
        capture.channels = format.channels;
        EXPECT_FALSE(input.isRunning());
        ASSERT_TRUE(input.start().ok());
        EXPECT_TRUE(input.isRunning());
        ASSERT_TRUE(rig::eventually([&] { return capture.frames > 0; }));
    }
    std::vector<float> left()
    {
        std::lock_guard lock(capture.mutex);
        return rig::channel(capture.samples, capture.channels, 0);
    }

    rig::ScratchFolder folder;
    PulseAudioInput input;
    test::Capture capture;
    StreamFormat format;
};

} // namespace

TEST_F(PulseAudioInputTest, recordsAToneFromTheVirtualMicrophoneInTheSourcesOwnFormat)
{
    std::string tone = folder.file("tone.wav");
    ASSERT_TRUE(rig::makeTone(tone, 1000, 1.5));
    auto sampleSpec = rig::sourceSpec(rig::micName);
    ASSERT_GT(sampleSpec.rate, 0);
    ASSERT_NO_FATAL_FAILURE(start(captureSourceId(rig::micName)));
    EXPECT_EQ(format, (StreamFormat{double(sampleSpec.rate), sampleSpec.channels,
                                    SampleType::float32, true}));
    EXPECT_EQ(input.format(), format);
    ASSERT_TRUE(rig::play(tone));
    // The server has played the tone; the capture thread hands it over when it gets to run.
    EXPECT_TRUE(rig::eventually([&] { return rig::heardToItsEnd(left(), sampleSpec.rate); }));
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

TEST_F(PulseAudioInputTest, pausingTheDefaultSourceCorksTheStreamAndResumingUncorksIt)
{
    // Identifier zero is the server's default source, the rig's microphone.
    ASSERT_NO_FATAL_FAILURE(start(0));
    EXPECT_EQ(format.sampleRate, rig::sourceSpec(rig::micName).rate);
    ASSERT_TRUE(input.setPaused(true).ok());
    EXPECT_FALSE(input.isRunning());
    // A tone played while paused is never captured, not even once the capture resumes.
    ASSERT_TRUE(rig::makeTone(folder.file("tone.wav"), 1000, 0.5));
    ASSERT_TRUE(rig::play(folder.file("tone.wav")));
    ASSERT_TRUE(input.setPaused(false).ok());
    EXPECT_TRUE(input.isRunning());
    const std::int64_t resumed = capture.frames;
    EXPECT_TRUE(rig::eventually([&] { return capture.frames > resumed + format.sampleRate / 2; }));
    input.stop();
    EXPECT_LT(rig::toneAmplitude(left(), 1000, format.sampleRate), 0.1);
    // Pausing a stopped input does nothing.
    EXPECT_TRUE(input.setPaused(true).ok());
    EXPECT_FALSE(input.isRunning());
}

TEST_F(PulseAudioInputTest, unloadingTheSourceDuringCaptureIsAConfigurationChange)
{
    rig::ExtraMicrophone probe("tw_input_probe");
    ASSERT_TRUE(probe.loaded());
    std::atomic<int> changes{0};
    std::atomic<bool> runningInHandler{true};
    input.setConfigurationChangeHandler([&] {
        runningInHandler = input.isRunning();
        ++changes;
    });
    ASSERT_NO_FATAL_FAILURE(start(captureSourceId("tw_input_probe")));
    EXPECT_EQ(changes, 0);

    probe.unload();
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
