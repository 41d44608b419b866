// Test signals and the small measurements the audio tests make on rendered interleaved stereo.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace tw::signals {

// Noise that differs in each channel and from seed to seed, so a misplaced, swapped or
// duplicated range or channel shows.
inline std::vector<float> noise(int channels, std::int64_t frames, unsigned seed = 7)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> uniform(-0.5f, 0.5f);
    std::vector<float> samples(static_cast<std::size_t>(frames * channels));
    for (float& s : samples)
        s = uniform(random);
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

} // namespace tw::signals
