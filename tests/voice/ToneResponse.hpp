// Measures what a filter does to a steady sine: the amplitude of a tone by quadrature, and a
// section's gain once it has settled.
#pragma once

#include "voice/Biquad.hpp"

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace tw::test {

// Amplitude of the component at frequency in samples [from, to), by quadrature.
inline double toneAmplitude(const std::vector<double>& samples, double frequency, double rate,
                            std::size_t from, std::size_t to)
{
    std::complex<double> sum = 0.0;
    for (std::size_t n = from; n < to; ++n) {
        const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(n) / rate;
        sum += samples[n] * std::complex<double>(std::cos(phase), -std::sin(phase));
    }
    return 2.0 * std::abs(sum) / static_cast<double>(to - from);
}

// The gain in dB of a filter section at a frequency, measured in steady state: the first half of
// the tone lets the section settle.
inline double gainOf(Biquad section, double frequency, double rate, double seconds = 4)
{
    const auto total = static_cast<std::size_t>(seconds * rate), from = total / 2;
    std::vector<double> input(total), output(total);
    for (std::size_t n = 0; n < total; ++n) {
        input[n] =
            0.5 * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(n) / rate);
        output[n] = section.process(input[n]);
    }
    return 20.0 * std::log10(toneAmplitude(output, frequency, rate, from, total) /
                             toneAmplitude(input, frequency, rate, from, total));
}

} // namespace tw::test
