// The capture path under load: an input hands over a 60-minute 48 kHz stereo take in pieces of 1
// to 240 frames, as a sound server does while something plays, at 100 times the pace of real
// time. The pieces go through the same gathering as the real input (4096-frame blocks on the
// capture thread), then the recorder copies, writes, builds the envelope and the spectrum; the
// take must come through without a dropped buffer. Also times the path with no pacing at all.
#include "audio/CaptureBlocks.hpp"
#include "capture/DiskRecorder.hpp"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <random>
#include <thread>

using namespace tw;

namespace {

constexpr double rate = 48000;
constexpr int channels = 2;
constexpr int largestPiece = 240;

// Hands over a stereo tone in random pieces, `speed` times faster than real time (0: no pace).
class PiecewiseInput final : public AudioInput {
public:
    PiecewiseInput(std::int64_t frames, double speed) : frames_(frames), speed_(speed)
    {
        // One second of 440 Hz and 550 Hz: whole periods, so it repeats seamlessly.
        second_.resize(static_cast<std::size_t>(rate) * channels);
        for (std::size_t f = 0; f < static_cast<std::size_t>(rate); ++f)
            for (int c = 0; c < channels; ++c)
                second_[f * channels + c] =
                    0.3f * static_cast<float>(std::sin(2 * std::numbers::pi * (440 + 110 * c) *
                                                       static_cast<double>(f) / rate));
    }
    ~PiecewiseInput() override { stop(); }

    void setCaptureCallback(CaptureCallback callback) override { callback_ = std::move(callback); }
    void setConfigurationChangeHandler(ConfigurationChangeHandler) override {}
    Result<StreamFormat> open(std::uint32_t, int blockFrames) override
    {
        blocks_.prepare(channels, blockFrames, callback_);
        return format();
    }
    Result<void> start() override
    {
        thread_ = std::thread([this] { run(); });
        return {};
    }
    Result<void> setPaused(bool) override { return {}; }
    void stop() override
    {
        if (thread_.joinable())
            thread_.join();
    }
    bool isRunning() const override { return thread_.joinable(); }
    StreamFormat format() const override { return {rate, channels, SampleType::float32, true}; }

private:
    void run()
    {
        std::minstd_rand random(1);
        std::uniform_int_distribution<int> pieceSize(1, largestPiece);
        const auto origin = std::chrono::steady_clock::now();
        const auto second = static_cast<std::int64_t>(rate);
        std::int64_t paced = 0;
        for (std::int64_t done = 0; done < frames_;) {
            // A piece never runs past the end of the one-second table.
            const auto n = static_cast<int>(std::min<std::int64_t>(
                {pieceSize(random), frames_ - done, second - done % second}));
            blocks_.push(second_.data() + (done % second) * channels, n);
            done += n;
            if (speed_ > 0 && done - paced >= 4096) {
                paced = done;
                std::this_thread::sleep_until(origin +
                                              std::chrono::duration<double>(done / rate / speed_));
            }
        }
        blocks_.flush();
    }

    std::int64_t frames_;
    double speed_;
    std::vector<float> second_;
    CaptureCallback callback_;
    CaptureBlocks blocks_;
    std::thread thread_;
};

void captureTake(benchmark::State& state)
{
    const double speed = static_cast<double>(state.range(0));
    const std::int64_t frames = static_cast<std::int64_t>(60 * 60 * rate);
    const auto folder = std::filesystem::temp_directory_path() / "tapewright-bench-capture";
    std::int64_t written = 0;
    bool failed = false;
    for (auto _ : state) {
        PiecewiseInput* input = nullptr;
        DiskRecorder recorder([&] {
            auto made = std::make_unique<PiecewiseInput>(frames, speed);
            input = made.get();
            return made;
        });
        if (!recorder.start(folder / "take.caf", std::nullopt)) {
            state.SkipWithError("the recorder did not start");
            return;
        }
        input->stop(); // returns once the whole take was delivered
        recorder.stop();
        auto status = recorder.status();
        failed = failed || status.error.has_value();
        written = std::llround(status.duration * rate);
    }
    std::filesystem::remove_all(folder);
    state.counters["realtime_x"] = benchmark::Counter(
        3600.0 * static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    // What reached the file per second of wall time: the speed the path sustains when the input
    // outruns it.
    state.counters["written_x"] =
        benchmark::Counter(static_cast<double>(written) / rate, benchmark::Counter::kIsRate);
    state.counters["dropped_frames"] = static_cast<double>(frames - written);
    state.counters["failed"] = failed ? 1 : 0;
}

} // namespace

// 100: the required pace, which must drop nothing; 0: as fast as the input can go (drops expected
// once the input outruns the disk).
BENCHMARK(captureTake)->Arg(100)->Arg(0)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();
BENCHMARK_MAIN();
