#include "audio/TruePeakDetector.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace tw {

namespace {

using Lanes = float __attribute__((vector_size(16)));

constexpr double kaiserBeta = 6.0;

double besselI0(double x)
{
    double sum = 1, term = 1;
    for (int k = 1; k < 30; ++k) {
        term *= (x / (2 * k)) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

// A point on the 4× grid, nudged up to the top of the parabola through it and its neighbours
// when it is a local peak: the grid alone may miss a peak by half a grid step.
inline float refined(const float* p)
{
    const float a = p[0], b = p[-1], c = p[1];
    const float d = 2 * a - b - c;
    return a >= b && a >= c && d > 0 ? a + (c - b) * (c - b) / (8 * d) : a;
}

} // namespace

TruePeakDetector::TruePeakDetector(int channels)
    : channels_(std::max(channels, 1))
    , phases_(3 * taps)
    // Room for whole groups of four past the block.
    , lines_(static_cast<std::size_t>(channels_), std::vector<float>(taps + blockFrames + 4))
    , points_(static_cast<std::size_t>(channels_), std::vector<float>(4 * (blockFrames + 1) + 1))
    , sums_(blockFrames + 4)
{
    // Windowed-sinc interpolation at a quarter, a half and three quarters of a frame after
    // frame s, from frames s - 11 to s + 12; each phase passes a constant unchanged.
    for (int p = 1; p <= 3; ++p) {
        double sum = 0;
        for (int j = 0; j < taps; ++j) {
            const double t = (j - (delay - 1)) - p / 4.0;
            const double sinc = std::sin(std::numbers::pi * t) / (std::numbers::pi * t);
            const double edge = t / delay;
            const double window = besselI0(kaiserBeta * std::sqrt(std::max(0.0, 1 - edge * edge))) /
                                  besselI0(kaiserBeta);
            phases_[static_cast<std::size_t>((p - 1) * taps + j)] =
                static_cast<float>(sinc * window);
            sum += sinc * window;
        }
        for (int j = 0; j < taps; ++j)
            phases_[static_cast<std::size_t>((p - 1) * taps + j)] /= static_cast<float>(sum);
    }
}

void TruePeakDetector::reset()
{
    for (auto& line : lines_)
        std::fill(line.begin(), line.end(), 0.0f);
}

void TruePeakDetector::process(const float* interleaved, int frames, float* peaks)
{
    for (int done = 0; done < frames;) {
        const int count = std::min(blockFrames, frames - done);
        processBlock(interleaved + static_cast<std::ptrdiff_t>(done) * channels_, count,
                     peaks + done);
        done += count;
    }
}

void TruePeakDetector::processBlock(const float* interleaved, int frames, float* peaks)
{
    std::fill(peaks, peaks + frames, 0.0f);
    // Frames s = -1 .. frames - 1 of the block's detection (one before, for the grid's left
    // neighbour): u = s + 1 counts them from 0, and frame s sits at line[u + delay - 1].
    const int count = frames + 1;
    for (int c = 0; c < channels_; ++c) {
        float* line = lines_[static_cast<std::size_t>(c)].data();
        for (int f = 0; f < frames; ++f)
            line[taps + f] = interleaved[f * channels_ + c];
        float* grid = points_[static_cast<std::size_t>(c)].data();
        for (int p = 0; p < 3; ++p) {
            // Four frames at a time: each output is a dot product over the same coefficients.
            float* sums = sums_.data();
            std::fill(sums, sums + count, 0.0f);
            const float* h = phases_.data() + p * taps;
            for (int j = 0; j < taps; ++j) {
                const Lanes coefficient = {h[j], h[j], h[j], h[j]};
                for (int u = 0; u < count; u += 4) {
                    Lanes x, sum;
                    std::memcpy(&x, line + u + j, sizeof x);
                    std::memcpy(&sum, sums + u, sizeof sum);
                    sum += coefficient * x;
                    std::memcpy(sums + u, &sum, sizeof sum);
                }
            }
            for (int u = 0; u < count; ++u)
                grid[4 * u + p + 1] = std::fabs(sums[u]);
        }
        for (int u = 0; u <= count; ++u)
            grid[4 * u] = std::fabs(line[u + delay - 1]);
        for (int s = 0; s < frames; ++s) {
            const float* at = grid + 4 * (s + 1);
            const float peak = std::max(std::max(refined(at), refined(at + 1)),
                                        std::max(refined(at + 2), refined(at + 3)));
            peaks[s] = std::max(peaks[s], peak);
        }
        std::copy(line + frames, line + frames + taps, line);
    }
}

} // namespace tw
