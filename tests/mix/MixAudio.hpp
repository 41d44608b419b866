// Real audio for the mix builder tests: float CAF files written with the project's own writer,
// deterministic noise to recognise every sample, and small measurements on rendered stereo.
#pragma once

#include "audio/AudioFileReader.hpp"
#include "audio/CafWriter.hpp"
#include "support/Signals.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <vector>

namespace tw::mixtest {

using signals::noise;
using signals::peak;
using signals::sampleAt;

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

inline std::int64_t frameOf(double seconds)
{
    return std::llround(seconds * 48000);
}

} // namespace tw::mixtest
