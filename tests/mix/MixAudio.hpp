// Real audio for the mix builder tests: float CAF files written with the project's own writer,
// deterministic noise to recognise every sample, and small measurements on rendered stereo.
#pragma once

#include "audio/AudioFileReader.hpp"
#include "audio/CafWriter.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <vector>

namespace tw::mixtest {

// Noise that differs in each channel and from seed to seed, so a misplaced range shows.
inline std::vector<float> noise(int channels, std::int64_t frames, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    std::vector<float> samples(static_cast<std::size_t>(frames * channels));
    for (float& s : samples)
        s = uniform(random);
    return samples;
}

inline void writeCaf(const std::filesystem::path& file, const std::vector<float>& interleaved,
                     double rate, int channels)
{
    std::filesystem::create_directories(file.parent_path());
    auto writer = CafWriter::create(file, rate, channels);
    if (!writer)
        throw std::runtime_error(writer.error().description);
    const int frames = static_cast<int>(interleaved.size() / static_cast<std::size_t>(channels));
    if (!writer.value()->writeInterleaved(interleaved.data(), frames) || !writer.value()->close())
        throw std::runtime_error("cannot write " + file.string());
}

// Every sample of a file, interleaved, as the project's reader decodes it.
inline std::vector<float> readAll(const std::filesystem::path& file)
{
    auto reader = AudioFileReader::open(file);
    if (!reader)
        throw std::runtime_error(reader.error().description);
    AudioFileReader& r = *reader.value();
    std::vector<float> samples(static_cast<std::size_t>(r.length() * r.channels()));
    std::size_t done = 0;
    while (done < samples.size()) {
        auto got = r.read(samples.data() + done, 4096);
        if (!got || got.value() == 0)
            break;
        done += static_cast<std::size_t>(got.value() * r.channels());
    }
    samples.resize(done);
    return samples;
}

inline float sampleAt(const std::vector<float>& stereo, std::int64_t frame, int channel)
{
    return stereo[static_cast<std::size_t>(frame * 2 + channel)];
}

// The largest absolute sample of frames [from, to) of interleaved stereo.
inline float peak(const std::vector<float>& stereo, std::int64_t from, std::int64_t to)
{
    float p = 0;
    for (std::int64_t i = from * 2; i < to * 2; ++i)
        p = std::max(p, std::fabs(stereo[static_cast<std::size_t>(i)]));
    return p;
}

inline std::int64_t frameOf(double seconds)
{
    return std::llround(seconds * 48000);
}

} // namespace tw::mixtest
