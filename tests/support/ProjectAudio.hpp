// Audio files written and read back through the project's own writer and reader, for the tests
// of the layers that take CAF files in and give audio out.
#pragma once

#include "audio/AudioFileReader.hpp"
#include "audio/CafWriter.hpp"

#include <filesystem>
#include <stdexcept>
#include <vector>

namespace tw::testfiles {

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
    std::vector<float> samples;
    std::vector<float> block(4096 * static_cast<std::size_t>(r.channels()));
    for (;;) {
        auto got = r.read(block.data(), 4096);
        if (!got)
            throw std::runtime_error(got.error().description);
        if (got.value() == 0)
            return samples;
        samples.insert(samples.end(), block.begin(), block.begin() + got.value() * r.channels());
    }
}

} // namespace tw::testfiles
