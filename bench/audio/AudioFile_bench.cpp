// The audio file layer's hot paths: the 1024-point transform of the analysers, reading takes
// (libsndfile route) and compressed music (FFmpeg route), and seeking in an MP3.
#include "audio/AudioFileReader.hpp"
#include "audio/CafWriter.hpp"
#include "audio/Fft.hpp"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::filesystem::path benchFile(const std::string& name)
{
    return std::filesystem::temp_directory_path() /
           ("tapewright-bench-" + std::to_string(getpid()) + "-" + name);
}

void fft1024(benchmark::State& state)
{
    auto fft = std::move(tw::Fft::create(1024)).value();
    for (int i = 0; i < 1024; ++i)
        fft->input()[i] = {static_cast<float>(std::sin(i * 0.1)), 0.0f};
    for (auto _ : state) {
        fft->forward();
        benchmark::DoNotOptimize(fft->output());
    }
}
BENCHMARK(fft1024);

void readTake(benchmark::State& state)
{
    const auto file = benchFile("take.caf");
    {
        auto writer = std::move(tw::CafWriter::create(file, 48000, 1)).value();
        std::vector<float> buffer(48000, 0.25f);
        for (int s = 0; s < 60; ++s)
            (void)writer->writeInterleaved(buffer.data(), 48000);
    }
    std::vector<float> buffer(8192);
    for (auto _ : state) {
        auto reader = std::move(tw::AudioFileReader::open(file)).value();
        while (reader->read(buffer.data(), 8192).value() > 0) {
        }
    }
    state.SetItemsProcessed(state.iterations() * 60 * 48000);
    std::filesystem::remove(file);
}
BENCHMARK(readTake)->Unit(benchmark::kMillisecond);

void readAndSeekMp3(benchmark::State& state)
{
    const auto file = benchFile("music.mp3");
    const std::string command = "ffmpeg -nostdin -y -v error -f lavfi -i "
                                "'sine=frequency=330:sample_rate=44100:duration=60' -ac 2 " +
                                file.string();
    if (std::system(command.c_str()) != 0) {
        state.SkipWithError("ffmpeg could not make the MP3");
        return;
    }
    std::vector<float> buffer(8192 * 2);
    const bool seeking = state.range(0) == 1;
    for (auto _ : state) {
        auto reader = std::move(tw::AudioFileReader::open(file)).value();
        if (seeking) {
            for (std::int64_t target = 44100 * 50; target > 0; target -= 44100 * 7) {
                (void)reader->seek(target);
                (void)reader->read(buffer.data(), 1024);
            }
        } else {
            while (reader->read(buffer.data(), 8192).value() > 0) {
            }
        }
    }
    std::filesystem::remove(file);
}
BENCHMARK(readAndSeekMp3)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
