#include "capture/SpectrumAnalyzer.hpp"

#include "capture/AbsoluteMax.hpp"

#include "audio/Fft.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw {

namespace {

constexpr int size = 1024;
constexpr int bandCount = 24;
constexpr float nearClipLevel = 0.89125f; // -1 dBFS

// Several independent running sums so that successive samples do not wait on each other.
double sumOfSquares(const float* samples, std::size_t count, std::size_t stride)
{
    double sum[4] = {};
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        for (std::size_t k = 0; k < 4; ++k) {
            const double v = samples[(i + k) * stride];
            sum[k] += v * v;
        }
    }
    for (; i < count; ++i) {
        const double v = samples[i * stride];
        sum[0] += v * v;
    }
    return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}

} // namespace

// Everything the analysis needs, made once: the transform with its buffers, the window and the
// bins of each band for the rate they were worked out for.
struct SpectrumAnalyzer::Work {
    std::unique_ptr<Fft> fft;
    std::array<float, size> window{};
    double bandsRate = 0.0;
    std::array<int, bandCount> firstBin{};
    std::array<int, bandCount> endBin{}; // one past the last; equal to firstBin for a silent band

    void placeBands(double rate)
    {
        bandsRate = rate;
        const double top = std::min(rate * 0.5, 20000.0);
        for (int b = 0; b < bandCount; ++b) {
            // 24 equal frequency ratios from 30 Hz to top.
            const double f0 = 30.0 * std::pow(top / 30.0, b / 24.0);
            const double f1 = 30.0 * std::pow(top / 30.0, (b + 1) / 24.0);
            const double unraisedLo = std::trunc(f0 * size / rate);
            const int lo = static_cast<int>(std::max(unraisedLo, 1.0));
            int hi = static_cast<int>(std::max(std::trunc(f1 * size / rate), lo + 1.0));
            if (hi >= size / 2) {
                if (unraisedLo >= size / 2)
                    hi = lo; // the band lies above what the transform resolves
                else
                    hi = size / 2;
            }
            firstBin[b] = lo;
            endBin[b] = hi;
        }
    }
};

SpectrumAnalyzer::SpectrumAnalyzer(std::string source, SpectrumMonitor& monitor)
    : source_(std::move(source))
    , monitor_(monitor)
    , work_(std::make_unique<Work>())
{
    auto fft = Fft::create(size);
    if (fft)
        work_->fft = std::move(fft).value();
    // The platform's normalised Hann window: 0.8165 * (1 - cos(2*pi*i/N)) over N = 1024 points
    // (the periodic form, dividing by N). 0.8165 is sqrt(2/3), which gives the window unit mean
    // power; band values and the -70 dB display floor are measured against it.
    for (int i = 0; i < size; ++i)
        work_->window[i] = static_cast<float>(
            0.8165 * (1.0 - std::cos(2.0 * std::numbers::pi * i / static_cast<double>(size))));
}

SpectrumAnalyzer::~SpectrumAnalyzer() = default;

void SpectrumAnalyzer::process(const AudioBufferList& list, int frames)
{
    Work& work = *work_;
    if (!work.fft || frames <= 0 || list.count < 1)
        return;
    const AudioBuffer& first = list.buffers[0];
    if (!first.data)
        return;
    const std::size_t stride = first.channels > 0 ? static_cast<std::size_t>(first.channels) : 1;

    // Only the first channel and at most the first 1024 frames go into the transform; a short
    // buffer is padded with zeros.
    Fft::Complex* input = work.fft->input();
    const int n = std::min(frames, size);
    for (int i = 0; i < n; ++i)
        input[i] = {first.data[i * stride] * work.window[i], 0.0f};
    for (int i = n; i < size; ++i)
        input[i] = {0.0f, 0.0f};
    work.fft->forward();

    if (rate_ != work.bandsRate)
        work.placeBands(rate_);
    const Fft::Complex* output = work.fft->output();
    SpectrumBands bands{};
    for (int b = 0; b < bandCount; ++b) {
        // The largest magnitude of the band's bins; the square root once, on the largest square.
        float largest = 0.0f;
        for (int k = work.firstBin[b]; k < work.endBin[b]; ++k)
            largest = std::max(largest, output[k].re * output[k].re + output[k].im * output[k].im);
        bands[b] = 2.0f * std::sqrt(largest) / size;
    }

    float peak = 0.0f;
    for (int b = 0; b < list.count; ++b) {
        const AudioBuffer& buffer = list.buffers[b];
        if (buffer.data && buffer.channels > 0)
            peak = std::max(
                peak, absoluteMax(buffer.data, static_cast<std::size_t>(frames) * buffer.channels));
    }

    const float level = static_cast<float>(
        std::sqrt(sumOfSquares(first.data, static_cast<std::size_t>(frames), stride) / frames));

    monitor_.store(source_, bands, level, peak >= nearClipLevel);
}

} // namespace tw
