// Cost of the voice treatment per buffer: the DSP alone with the heaviest treatment, mono and
// stereo, and the live tap (DSP and spectrum analyser) on a 512-frame stereo render buffer.
#include "support/Treatments.hpp"
#include "voice/LiveVoiceTap.hpp"
#include "voice/VoiceDSP.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace tw {
namespace {

std::vector<float> speechLikeNoise(std::size_t samples)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> unit(-1.0f, 1.0f);
    std::vector<float> result(samples);
    for (std::size_t i = 0; i < samples; ++i) {
        double syllables = 0.5 + 0.5 * std::sin(2.0 * std::numbers::pi * 4.0 * i / 48000.0);
        result[i] = static_cast<float>(0.3 * syllables * unit(random));
    }
    return result;
}

void voiceDspProcess(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    const int frames = static_cast<int>(state.range(1));
    VoiceDSP dsp(test::fullTreatment());
    dsp.prepare(48000.0, channels);
    std::vector<float> source = speechLikeNoise(static_cast<std::size_t>(frames) * channels);
    std::vector<float> buffer = source;
    // The copy that restores the input each round (a few kilobytes) is timed too.
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), buffer.begin());
        AudioBufferList list = AudioBufferList::interleaved(buffer.data(), channels);
        dsp.process(list, frames);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(state.iterations() * frames);
    // Seconds of audio per second of processing.
    state.counters["realtime"] = benchmark::Counter(static_cast<double>(frames) / 48000.0 *
                                                        static_cast<double>(state.iterations()),
                                                    benchmark::Counter::kIsRate);
}
BENCHMARK(voiceDspProcess)->Args({1, 8192})->Args({2, 8192})->Args({2, 512});

// One render cycle of the voice track's tap: 512 stereo frames treated and analysed.
void liveTapProcess(benchmark::State& state)
{
    SpectrumMonitor monitor;
    auto made = liveVoiceTap(test::fullTreatment(), "voice", monitor);
    if (!made) {
        state.SkipWithError(made.error().description.c_str());
        return;
    }
    ProcessingTap& tap = *made.value();
    tap.prepare(512, StreamFormat{48000.0, 2, SampleType::float32, true});
    std::vector<float> source = speechLikeNoise(1024);
    std::vector<float> buffer = source;
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), buffer.begin());
        AudioBufferList list = AudioBufferList::interleaved(buffer.data(), 2);
        tap.process(list, 512);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetItemsProcessed(state.iterations() * 512);
}
BENCHMARK(liveTapProcess)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace tw

BENCHMARK_MAIN();
