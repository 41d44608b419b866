// Cost of the master stage's true-peak limiter on 48 kHz stereo, in render-sized blocks: quiet
// material it lets through and loud material it works on all the time. The "realtime" counter is
// seconds of audio per second of processing on one core (200 at least).
#include "audio/TruePeakLimiter.hpp"

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace tw {
namespace {

void limiterProcess(benchmark::State& state)
{
    const double level = static_cast<double>(state.range(0)) / 100;
    constexpr int frames = 512, seconds = 4, rate = 48000;
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    // Syllable-shaped noise over a low tone, a few seconds of it, played round and round.
    std::vector<float> source(2 * static_cast<std::size_t>(seconds * rate));
    for (std::size_t f = 0; f < source.size() / 2; ++f) {
        const double t = static_cast<double>(f) / rate;
        const double syllables = 0.5 + 0.5 * std::sin(2 * std::numbers::pi * 4 * t);
        const double x = level * (0.6 * syllables * unit(random) +
                                  0.4 * std::sin(2 * std::numbers::pi * 110 * t));
        source[2 * f] = static_cast<float>(x);
        source[2 * f + 1] = static_cast<float>(0.8 * x);
    }
    TruePeakLimiter limiter(rate, 2);
    std::vector<float> block(2 * frames);
    std::size_t at = 0;
    for (auto _ : state) {
        std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(at), block.size(), block.begin());
        at = (at + block.size()) % source.size();
        limiter.process(block.data(), frames);
        benchmark::DoNotOptimize(block.data());
    }
    state.counters["realtime"] = benchmark::Counter(static_cast<double>(frames) / rate *
                                                        static_cast<double>(state.iterations()),
                                                    benchmark::Counter::kIsRate);
}
// Peaks at about -8 dBFS (untouched) and at about +8 dBFS (limited throughout).
BENCHMARK(limiterProcess)->Arg(40)->Arg(250);

} // namespace
} // namespace tw

BENCHMARK_MAIN();
