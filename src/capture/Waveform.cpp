#include "capture/Waveform.hpp"

#include "capture/AbsoluteMax.hpp"

#include "audio/AudioFileReader.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>

namespace tw {

namespace {

constexpr int readFrames = 8192;

} // namespace

Result<Waveform> waveform(const std::filesystem::path& file)
{
    auto opened = AudioFileReader::open(file);
    if (!opened)
        return opened.error();
    AudioFileReader& reader = *opened.value();
    const double rate = reader.sampleRate();
    const int channels = reader.channels();
    const std::int64_t framesPerPeak =
        std::max<std::int64_t>(static_cast<std::int64_t>(std::trunc(rate / 50.0)), 1);

    std::vector<float> buffer;
    try {
        buffer.resize(static_cast<std::size_t>(readFrames) * channels);
    } catch (const std::bad_alloc&) {
        return Waveform{};
    }

    Waveform result;
    float maximum = 0.0f;
    std::int64_t count = 0; // frames in the current bucket
    // Reading on until the reader delivers nothing is the same as reading up to its length,
    // without asking a compressed file for its length before it has been decoded once.
    for (;;) {
        auto read = reader.read(buffer.data(), readFrames);
        if (!read)
            return read.error();
        const int frames = read.value();
        if (frames == 0)
            break;
        int frame = 0;
        while (frame < frames) {
            // Whole spans of a bucket at once; buckets run across reads.
            const int span =
                static_cast<int>(std::min<std::int64_t>(framesPerPeak - count, frames - frame));
            maximum = std::max(
                maximum, absoluteMax(buffer.data() + static_cast<std::size_t>(frame) * channels,
                                     static_cast<std::size_t>(span) * channels));
            count += span;
            frame += span;
            if (count == framesPerPeak) {
                result.peaks.push_back(maximum);
                maximum = 0.0f;
                count = 0;
            }
        }
    }
    if (count >= 1)
        result.peaks.push_back(maximum);
    result.duration = rate > 0 ? static_cast<double>(reader.length()) / rate : 0.0;
    return result;
}

Result<ProjectPeaks> computeProjectPeaks(const std::filesystem::path& folder,
                                         const std::vector<std::string>& voiceSources,
                                         const std::optional<std::filesystem::path>& musicFile)
{
    ProjectPeaks peaks;
    for (const std::string& name : voiceSources) {
        auto envelope = waveform(folder / name);
        if (!envelope)
            return envelope.error();
        peaks.voices[name] = std::move(envelope).value();
    }
    if (musicFile) {
        if (auto envelope = waveform(*musicFile))
            peaks.music = std::move(envelope).value();
        else
            peaks.musicError = envelope.error();
    }
    return peaks;
}

} // namespace tw
