// The capture path under load: an input delivers a 60-minute 48 kHz stereo take at 100 times the
// pace of real time (callback copy, then write, envelope and spectrum on the disk writer), and the
// take must come through without a dropped buffer. Also times the path with no pacing at all.
#include "capture/DiskRecorder.hpp"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <thread>

using namespace tw;

namespace {

constexpr double rate = 48000;
constexpr int bufferFrames = 4096;

// Delivers a stereo tone in 4096-frame buffers, `speed` times faster than real time (0: no pace).
class PacedInput final : public AudioInput {
public:
    PacedInput(std::int64_t frames, double speed) : frames_(frames), speed_(speed) {}
    ~PacedInput() override { stop(); }

    void setCaptureCallback(CaptureCallback callback) override { callback_ = std::move(callback); }
    void setConfigurationChangeHandler(ConfigurationChangeHandler) override {}
    Result<StreamFormat> open(std::uint32_t) override { return format(); }
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
    StreamFormat format() const override { return {rate, 2, SampleType::float32, true}; }

private:
    void run()
    {
        std::vector<float> buffer(bufferFrames * 2);
        const auto origin = std::chrono::steady_clock::now();
        for (std::int64_t done = 0; done < frames_; done += bufferFrames) {
            for (int f = 0; f < bufferFrames; ++f)
                for (int c = 0; c < 2; ++c)
                    buffer[f * 2 + c] =
                        0.3f * static_cast<float>(std::sin(2 * std::numbers::pi * (440 + 110 * c) *
                                                           (done + f) / rate));
            if (speed_ > 0)
                std::this_thread::sleep_until(origin +
                                              std::chrono::duration<double>(done / rate / speed_));
            const int n = static_cast<int>(std::min<std::int64_t>(bufferFrames, frames_ - done));
            callback_(AudioBufferList::interleaved(buffer.data(), 2), n);
        }
    }

    std::int64_t frames_;
    double speed_;
    CaptureCallback callback_;
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
        PacedInput* input = nullptr;
        DiskRecorder recorder([&] {
            auto made = std::make_unique<PacedInput>(frames, speed);
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
    state.counters["dropped_frames"] = static_cast<double>(frames - written);
    state.counters["failed"] = failed ? 1 : 0;
}

} // namespace

// 100: the required pace, which must drop nothing; 0: as fast as the input can go (drops expected
// once the input outruns the disk).
BENCHMARK(captureTake)->Arg(100)->Arg(0)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();
BENCHMARK_MAIN();
