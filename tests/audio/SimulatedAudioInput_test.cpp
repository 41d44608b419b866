#include "audio/SimulatedAudioInput.hpp"

#include "support/CapturedAudio.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>

using namespace tw;
using namespace std::chrono_literals;

namespace {

SimulatedAudioInput::Options stereo(int pieceFrames, bool randomPieces = false)
{
    SimulatedAudioInput::Options options;
    options.format = StreamFormat{44100, 2, SampleType::float32, true};
    options.pieceFrames = pieceFrames;
    options.randomPieces = randomPieces;
    return options;
}

std::vector<float> ramp(std::size_t count)
{
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = static_cast<float>(i) / static_cast<float>(count);
    return samples;
}

} // namespace

TEST(SimulatedAudioInput, gathersRandomPiecesIntoBlocksOfTheAskedSizeOnItsOwnThread)
{
    auto signal = ramp(2 * 10000);
    SimulatedAudioInput input(stereo(240, true), signal);
    test::Capture collected;
    collected.channels = 2;
    input.setCaptureCallback(collected.callback());
    auto format = input.open(0, 4096);
    ASSERT_TRUE(format.ok());
    EXPECT_EQ(format.value(), (StreamFormat{44100, 2, SampleType::float32, true}));
    ASSERT_TRUE(input.start().ok());
    EXPECT_EQ(input.waitForFrames(10000), 10000);
    input.stop();
    std::lock_guard lock(collected.mutex);
    EXPECT_EQ(collected.sizes, (std::vector<int>{4096, 4096, 1808}));
    EXPECT_EQ(collected.samples, signal);
    EXPECT_NE(collected.thread, std::this_thread::get_id());
    EXPECT_TRUE(collected.denormalsOff);
}

TEST(SimulatedAudioInput, pauseHandsOverThePartialBlockAndAFailedResumeKeepsItPaused)
{
    const auto signal = ramp(2 * 1000);
    SimulatedAudioInput input(stereo(100), signal);
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

// Only listed sources with a valid format open; an input that disappears ends the capture, says
// so, and cannot be opened again while the default still can.
TEST(SimulatedAudioInput, opensOnlyListedSourcesAndAnnouncesItsDisappearance)
{
    auto options = stereo(64);
    options.format.channels = 0;
    SimulatedAudioInput formatless(options, [](std::int64_t, int) { return 0.f; });
    EXPECT_EQ(formatless.open(0, 4096).error(),
              (Error{"Audio", 1, "La entrada no tiene un formato de audio válido."}));
    options.format = StreamFormat{0, 2, SampleType::float32, true};
    EXPECT_FALSE(
        SimulatedAudioInput(options, [](std::int64_t, int) { return 0.f; }).open(0, 4096).ok());

    SimulatedAudioInput input(stereo(64), [](std::int64_t, int) { return 0.25f; });
    input.setSources({5, 9});
    EXPECT_EQ(input.open(8, 4096).error().description,
              "No se pudo activar la entrada seleccionada.");
    std::atomic<int> changes{0};
    std::atomic<bool> runningInHandler{true};
    input.setConfigurationChangeHandler([&] {
        runningInHandler = input.isRunning();
        ++changes;
    });
    ASSERT_TRUE(input.open(5, 4096).ok());
    EXPECT_EQ(input.openedSource(), 5u);
    ASSERT_TRUE(input.start().ok());
    input.waitForFrames(640);
    input.disappear();
    EXPECT_EQ(changes, 1);
    EXPECT_FALSE(runningInHandler);
    EXPECT_FALSE(input.isRunning());
    auto delivered = input.framesDelivered();
    EXPECT_EQ(input.waitForFrames(delivered + 64, 50ms), delivered);
    EXPECT_FALSE(input.setPaused(false).ok());
    EXPECT_FALSE(input.open(5, 4096).ok()); // unplugged
    EXPECT_TRUE(input.open(0, 4096).ok());  // the default is still there
}
