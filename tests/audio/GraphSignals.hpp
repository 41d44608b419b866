// Signals, files and measurements for the render graph and player tests: real audio files made on
// the spot (float CAF by the project's own writer, other formats by the ffmpeg tool), and the few
// measurements the tests make on rendered audio.
#pragma once

#include "audio/AudioMix.hpp"
#include "audio/Composition.hpp"
#include "audio/ProcessingTap.hpp"
#include "support/AudioFiles.hpp"
#include "support/ProjectAudio.hpp"
#include "support/Signals.hpp"
#include "support/SoundChecks.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace tw::graphtest {

using ScratchFolder = testfiles::TempDir;
using signals::noise;
using signals::peak;
using signals::sampleAt;
using testfiles::run;
using testfiles::writeCaf;
using testing::sineTone;

inline std::vector<float> constant(float value, int channels, std::int64_t frames)
{
    return std::vector<float>(static_cast<std::size_t>(frames * channels), value);
}

inline AudioAsset loadAsset(const std::filesystem::path& file)
{
    auto asset = AudioAsset::load(file);
    if (!asset)
        throw std::runtime_error(asset.error().description);
    return asset.value();
}

inline MediaTime seconds(double s)
{
    return MediaTime::fromSeconds(s);
}

// The automation the mix builder makes for a voice clip: silent outside, v inside.
inline void addClipVolume(VolumeAutomation& volume, MediaTime start, MediaTime duration, float v)
{
    volume.setVolumeRamp(v, v, start, duration);
    volume.setVolume(0, start + duration);
}

// The first frame whose left or right sample is not silent, or -1.
inline std::int64_t firstSound(const std::vector<float>& stereo, std::int64_t from = 0,
                               float threshold = 1e-6f)
{
    for (std::size_t i = static_cast<std::size_t>(from * 2); i < stereo.size(); ++i)
        if (std::fabs(stereo[i]) > threshold)
            return static_cast<std::int64_t>(i / 2);
    return -1;
}

// Frequency of a tone in one channel from its rising zero crossings, placed between samples by
// linear interpolation: far finer than a hertz over a second of audio.
inline double measureFrequency(const std::vector<float>& stereo, int channel, std::int64_t from,
                               std::int64_t to, int rate)
{
    double firstCrossing = -1, lastCrossing = -1;
    int crossings = 0;
    for (std::int64_t f = from + 1; f < to; ++f) {
        const float a = sampleAt(stereo, f - 1, channel), b = sampleAt(stereo, f, channel);
        if (a < 0 && b >= 0) {
            const double at = static_cast<double>(f - 1) + a / (a - b);
            if (firstCrossing < 0)
                firstCrossing = at;
            lastCrossing = at;
            ++crossings;
        }
    }
    if (crossings < 2)
        return 0;
    return (crossings - 1) / ((lastCrossing - firstCrossing) / rate);
}

// A tap that counts its calls and keeps the largest sample it was given.
class CountingTap final : public ProcessingTap {
public:
    void prepare(int maxFrames, const StreamFormat& format) override
    {
        ++prepares;
        preparedMaxFrames = maxFrames;
        preparedFormat = format;
    }
    void process(AudioBufferList& list, int frames) override
    {
        ++processCalls;
        framesProcessed += frames;
        float p = largestInput.load();
        for (int b = 0; b < list.count; ++b)
            for (int i = 0; i < frames * list.buffers[b].channels; ++i)
                p = std::max(p, std::fabs(list.buffers[b].data[i]));
        largestInput = p;
        if (gain != 1.0f)
            for (int b = 0; b < list.count; ++b)
                for (int i = 0; i < frames * list.buffers[b].channels; ++i)
                    list.buffers[b].data[i] *= gain;
    }
    void unprepare() override { ++unprepares; }

    std::atomic<int> prepares{0};
    std::atomic<int> unprepares{0};
    std::atomic<std::int64_t> processCalls{0};
    std::atomic<std::int64_t> framesProcessed{0};
    std::atomic<float> largestInput{0};
    int preparedMaxFrames = 0;
    StreamFormat preparedFormat;
    float gain = 1.0f;
};

} // namespace tw::graphtest
