// Measures what a processor does to a steady sine: runs the tone through it, lets it settle and
// compares output and input amplitude by quadrature over the same window.
#pragma once

#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <vector>

namespace tw::test {

// Amplitude of the component at frequency in samples [from, to).
inline double toneAmplitude(const std::vector<double>& samples, double frequency, double rate,
                            std::size_t from, std::size_t to)
{
    std::complex<double> sum = 0.0;
    for (std::size_t n = from; n < to; ++n) {
        double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(n) / rate;
        sum += samples[n] * std::complex<double>(std::cos(phase), -std::sin(phase));
    }
    return 2.0 * std::abs(sum) / static_cast<double>(to - from);
}

// Gain in dB of filter (a sample-in, sample-out function) at frequency, measured in steady state.
inline double measuredGainDb(const std::function<double(double)>& filter, double frequency,
                             double rate, double seconds = 4.0)
{
    std::size_t total = static_cast<std::size_t>(seconds * rate);
    std::vector<double> input(total), output(total);
    for (std::size_t n = 0; n < total; ++n) {
        input[n] =
            0.5 * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(n) / rate);
        output[n] = filter(input[n]);
    }
    // The first half lets the filter settle.
    std::size_t from = total / 2;
    return 20.0 * std::log10(toneAmplitude(output, frequency, rate, from, total) /
                             toneAmplitude(input, frequency, rate, from, total));
}

} // namespace tw::test
