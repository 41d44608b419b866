// Measurements that tell a fault a listener would hear: the largest sample-to-sample step of a
// stretch of audio (a click, a dropped or repeated sample), set against what a clean tone of the
// same level may do.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace tw::testing {

// One channel of a sine of `frames` frames, interleaved into `channels` identical channels.
inline std::vector<float> sineTone(double frequency, double rate, std::size_t frames,
                                   double amplitude = 0.5, int channels = 1)
{
    std::vector<float> samples(frames * static_cast<std::size_t>(channels));
    for (std::size_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            samples[f * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                static_cast<float>(amplitude *
                                   std::sin(2 * std::numbers::pi * frequency * double(f) / rate));
    return samples;
}

// The largest |x[i] - x[i - stride]| over interleaved samples [from, to) of one channel.
inline double largestStep(const std::vector<float>& samples, std::size_t from, std::size_t to,
                          std::size_t stride = 1)
{
    double step = 0;
    for (std::size_t i = std::max(from, stride); i < std::min(to, samples.size()); i += stride)
        step = std::max(step, double(std::fabs(samples[i] - samples[i - stride])));
    return step;
}

// The largest step a sine of this amplitude and frequency takes between two samples.
inline double toneStep(double amplitude, double frequency, double rate)
{
    return 2 * amplitude * std::sin(std::numbers::pi * frequency / rate);
}

} // namespace tw::testing
