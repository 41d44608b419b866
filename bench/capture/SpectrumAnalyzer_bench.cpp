// The analyser runs on the recorder's writer queue and on the playback taps, once per buffer.
#include "capture/SpectrumAnalyzer.hpp"

#include "base/ManualScheduler.hpp"

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

void analyse(benchmark::State& state)
{
    const int frames = static_cast<int>(state.range(0));
    const int channels = static_cast<int>(state.range(1));
    tw::ManualScheduler clock;
    tw::SpectrumMonitor monitor(clock);
    tw::SpectrumAnalyzer analyzer("record", monitor);
    std::vector<float> samples(static_cast<std::size_t>(frames) * channels);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] =
            0.5f * static_cast<float>(std::sin(2 * std::numbers::pi * 997.0 * i / 48000.0));
    const tw::AudioBufferList list = tw::AudioBufferList::interleaved(samples.data(), channels);
    for (auto _ : state) {
        analyzer.process(list, frames);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

} // namespace

BENCHMARK(analyse)->Args({4096, 1})->Args({4096, 2})->Args({1024, 1})->Unit(
    benchmark::kMicrosecond);
BENCHMARK_MAIN();
