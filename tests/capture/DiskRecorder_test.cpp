#include "capture/DiskRecorder.hpp"

#include "audio/SimulatedAudioInput.hpp"
#include "base/ManualScheduler.hpp"
#include "support/AudioFiles.hpp"
#include "support/HookedWriter.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <numbers>

using namespace tw;
using testfiles::TempDir;

namespace {

constexpr double rate = 48000;

float tone(std::int64_t frame, int channel)
{
    return (channel == 0 ? 0.5f : -0.25f) *
           static_cast<float>(std::sin(2 * std::numbers::pi * 1000 * frame / rate));
}

SimulatedAudioInput::Options options(int channels, int pieceFrames, std::int64_t length)
{
    SimulatedAudioInput::Options o;
    o.format = StreamFormat{rate, channels, SampleType::float32, true};
    o.pieceFrames = pieceFrames;
    o.length = length;
    return o;
}

// Hands the recorder simulated inputs and keeps a pointer to the current one.
struct Inputs {
    SimulatedAudioInput::Options options;
    SimulatedAudioInput::Signal signal = tone;
    SimulatedAudioInput* current = nullptr;

    DiskRecorder::InputFactory factory()
    {
        return [this] {
            auto input = std::make_unique<SimulatedAudioInput>(options, signal);
            current = input.get();
            return input;
        };
    }
};

// The disk: writes wait while the test holds it stalled.
struct Disk {
    std::mutex mutex;
    std::condition_variable moved;
    bool stalled = false;

    void stall(bool on)
    {
        {
            std::lock_guard lock(mutex);
            stalled = on;
        }
        moved.notify_all();
    }
    DiskRecorder::WriterFactory writers()
    {
        return tw::testing::hookedWriters({[this]() -> std::optional<Error> {
            std::unique_lock lock(mutex);
            moved.wait(lock, [this] { return !stalled; });
            return std::nullopt;
        }});
    }
};

} // namespace

TEST(DiskRecorder, writesTheInputUnchangedWithItsLiveEnvelopeAndDuration)
{
    TempDir dir;
    ManualScheduler clock;
    SpectrumMonitor monitor(clock);
    Inputs inputs{options(2, 300, 961)};
    DiskRecorder recorder(inputs.factory(), {}, monitor);
    const auto take = dir / "Media/voice-take.caf";
    ASSERT_TRUE(recorder.start(take, std::nullopt));
    inputs.current->waitForFrames(961);
    recorder.stop();

    auto first = recorder.status();
    EXPECT_FALSE(first.error);
    EXPECT_DOUBLE_EQ(first.duration, 961 / rate);
    ASSERT_EQ(first.peaks.size(), 2u); // 960 frames, then the flushed last frame
    EXPECT_NEAR(first.peaks[0], 0.5f, 1e-3);
    EXPECT_FLOAT_EQ(first.peaks[1], std::max(std::abs(tone(960, 0)), std::abs(tone(960, 1))));
    auto second = recorder.status();
    EXPECT_TRUE(second.peaks.empty());
    EXPECT_DOUBLE_EQ(second.duration, first.duration);

    auto samples = testfiles::decodeWithFfmpeg(take);
    ASSERT_EQ(samples.size(), 961u * 2);
    for (int f = 0; f < 961; ++f)
        for (int c = 0; c < 2; ++c)
            ASSERT_EQ(samples[f * 2 + c], tone(f, c)) << f;
    EXPECT_GT(monitor.level("record"), 0.1f);
}

TEST(DiskRecorder, aDiskStalledForTwoAndAHalfSecondsLosesNothingAndALongerStallDropsTheRest)
{
    constexpr std::int64_t inFlight = DiskRecorder::slotCount * DiskRecorder::bufferFrames;
    for (const double stall : {2.5, 4.0}) {
        SCOPED_TRACE(stall);
        TempDir dir;
        // The server's pieces while something plays: 1 to 240 frames each.
        const auto length = static_cast<std::int64_t>(stall * rate);
        Inputs inputs{options(2, 240, length)};
        inputs.options.randomPieces = true;
        Disk disk;
        DiskRecorder recorder(inputs.factory(), disk.writers());
        disk.stall(true); // the first write waits while the stall's audio arrives
        ASSERT_TRUE(recorder.start(dir / "take.caf", std::nullopt));
        inputs.current->waitForFrames(length);
        const auto stalled = recorder.status();
        EXPECT_DOUBLE_EQ(stalled.duration, 0);
        disk.stall(false);
        recorder.stop();
        const auto after = recorder.status();

        const bool dropped = length > inFlight;
        EXPECT_EQ(stalled.error.has_value(), dropped);
        if (dropped) {
            EXPECT_EQ(stalled.error->domain, "Recording");
            EXPECT_EQ(stalled.error->code, 1);
            EXPECT_EQ(stalled.error->description,
                      "El disco no puede seguir el ritmo de la grabación.");
            EXPECT_TRUE(after.error); // sticky until the next start
        }
        // Every frame up to the drop is on disk, in order.
        const std::int64_t kept = dropped ? inFlight : length;
        EXPECT_DOUBLE_EQ(after.duration, static_cast<double>(kept) / rate);
        const auto samples = testfiles::decodeWithFfmpeg(dir / "take.caf");
        ASSERT_EQ(static_cast<std::int64_t>(samples.size()), kept * 2);
        for (std::int64_t f = 0; f < kept; ++f)
            for (int c = 0; c < 2; ++c)
                ASSERT_EQ(samples[static_cast<std::size_t>(f * 2 + c)], tone(f, c)) << f;
    }
}

TEST(DiskRecorder, writingResumesOnceTheDiskCatchesUp)
{
    TempDir dir;
    Inputs inputs{options(1, 1024, -1)};
    std::atomic<std::int64_t> generated = 0; // frames the input produced, dropped ones included
    inputs.signal = [&generated](std::int64_t frame, int channel) {
        if (frame + 1 > generated)
            generated = frame + 1;
        return tone(frame, channel);
    };
    Disk disk;
    DiskRecorder recorder(inputs.factory(), disk.writers());
    disk.stall(true);
    ASSERT_TRUE(recorder.start(dir / "take.caf", std::nullopt));
    inputs.current->waitForFrames(40 * DiskRecorder::bufferFrames);
    disk.stall(false);
    inputs.current->waitForFrames(inputs.current->framesDelivered() + 200 * 1024);
    recorder.stop(); // also ends the input
    auto after = recorder.status();
    const auto written = static_cast<std::int64_t>(std::llround(after.duration * rate));
    EXPECT_GT(written, DiskRecorder::slotCount * DiskRecorder::bufferFrames);
    EXPECT_LT(written, generated.load());
    EXPECT_EQ(static_cast<std::int64_t>(testfiles::decodeWithFfmpeg(dir / "take.caf").size()),
              written);
}

// A start that fails leaves the recorder idle; once running, only its own input stopping while
// it runs is an interruption.
TEST(DiskRecorder, startFailuresLeaveItIdleAndOnlyItsOwnRunningInputStoppingIsAnInterruption)
{
    TempDir dir;
    Inputs inputs{options(1, 480, -1)};
    auto factory = inputs.factory();
    DiskRecorder picky([&] {
        auto input = factory();
        static_cast<SimulatedAudioInput*>(input.get())->setSources({7});
        return input;
    });
    auto missing = picky.start(dir / "b.caf", 9u);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().description, "No se pudo activar la entrada seleccionada.");
    EXPECT_FALSE(std::filesystem::exists(dir / "b.caf"));

    DiskRecorder recorder(inputs.factory());
    std::ofstream(dir / "plain-file") << "x";
    EXPECT_FALSE(recorder.start(dir / "plain-file/Media/c.caf", std::nullopt));
    EXPECT_TRUE(recorder.setPaused(true));
    EXPECT_FALSE(recorder.captureWasInterrupted(nullptr, false));

    const void* reported = nullptr;
    recorder.setConfigurationChangeHandler([&](const void* input) { reported = input; });
    ASSERT_TRUE(recorder.start(dir / "take.caf", std::nullopt));
    inputs.current->waitForFrames(4800);
    int other = 0;
    EXPECT_FALSE(recorder.captureWasInterrupted(inputs.current, false)); // still running
    inputs.current->disappear();
    EXPECT_EQ(reported, inputs.current);
    EXPECT_TRUE(recorder.captureWasInterrupted(reported, false));
    EXPECT_FALSE(recorder.captureWasInterrupted(reported, true));
    EXPECT_FALSE(recorder.captureWasInterrupted(&other, false));
    recorder.stop();
    EXPECT_GT(recorder.status().duration, 0.09);
    EXPECT_FALSE(recorder.captureWasInterrupted(reported, false));
}
