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

// The true peak of interleaved audio in dBTP, for judging a true-peak limiter: every channel
// reconstructed on an 8× grid by a long windowed sinc (flat to 0.45 × rate, unlike the short
// filters meters use, which read high frequencies a few tenths of a dB high or low) and each
// grid peak refined to the top of its parabola.
inline double referenceTruePeakDb(const std::vector<float>& samples, int channels)
{
    constexpr int half = 48, over = 8;
    std::vector<double> kernel(static_cast<std::size_t>(over * 2 * half));
    const auto bessel = [](double x) {
        double sum = 1, term = 1;
        for (int k = 1; k < 40; ++k) {
            term *= (x / (2 * k)) * (x / (2 * k));
            sum += term;
        }
        return sum;
    };
    for (int k = 0; k < over; ++k)
        for (int j = -half + 1; j <= half; ++j) {
            const double t = double(k) / over - j;
            const double sinc =
                t == 0 ? 1 : std::sin(std::numbers::pi * t) / (std::numbers::pi * t);
            const double edge = t / half;
            kernel[static_cast<std::size_t>(k * 2 * half + (j + half - 1))] =
                sinc * bessel(8 * std::sqrt(std::max(0.0, 1 - edge * edge))) / bessel(8);
        }
    const std::size_t frames = samples.size() / static_cast<std::size_t>(channels);
    double peak = 0;
    std::vector<double> grid;
    for (int c = 0; c < channels; ++c) {
        grid.assign(frames * over, 0.0);
        for (std::size_t n = 0; n < frames; ++n)
            for (int k = 0; k < over; ++k) {
                double y = 0;
                for (int j = -half + 1; j <= half; ++j) {
                    const auto at = static_cast<std::ptrdiff_t>(n) + j;
                    if (at >= 0 && at < static_cast<std::ptrdiff_t>(frames))
                        y += kernel[static_cast<std::size_t>(k * 2 * half + (j + half - 1))] *
                             samples[static_cast<std::size_t>(at) *
                                         static_cast<std::size_t>(channels) +
                                     static_cast<std::size_t>(c)];
                }
                grid[n * over + static_cast<std::size_t>(k)] = std::fabs(y);
            }
        for (std::size_t i = 1; i + 1 < grid.size(); ++i) {
            const double a = grid[i], b = grid[i - 1], e = grid[i + 1], d = 2 * a - b - e;
            peak = std::max(peak, a >= b && a >= e && d > 0 ? a + (e - b) * (e - b) / (8 * d) : a);
        }
    }
    return 20 * std::log10(peak);
}

} // namespace tw::testing
