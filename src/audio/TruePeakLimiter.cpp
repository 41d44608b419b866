#include "audio/TruePeakLimiter.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace tw {

namespace {

using Lanes = float __attribute__((vector_size(16)));

constexpr double attackSeconds = 0.0015;
constexpr double releaseSeconds = 0.06;
constexpr double kaiserBeta = 6.0;
// The limiter aims 0.1 dB under its ceiling: its 24-tap reconstruction reads the ringing of a
// hard edge (a click, a cut) a few hundredths of a dB low, and a gain that changes within the
// interpolator's reach can lift a peak between samples by a few thousandths.
constexpr double detectionMargin = 1.0116;

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

TruePeakLimiter::TruePeakLimiter(double rate, int channels, double ceilingDb)
    : channels_(std::max(channels, 1))
    , ceilingDb_(ceilingDb)
    , ceiling_(std::pow(10.0, ceilingDb / 20))
    , attack_(std::max(1, static_cast<int>(std::lround(attackSeconds * rate))))
    , window_(attack_ + 2 * hold)
    , latency_(detectDelay + hold + attack_ - 1)
    , release_(std::exp(-1.0 / (releaseSeconds * rate)))
    , phases_(3 * taps)
    , lines_(static_cast<std::size_t>(channels_), std::vector<float>(history + blockFrames + 4))
    , points_(static_cast<std::size_t>(channels_), std::vector<float>(4 * (blockFrames + 1) + 1))
    , peaks_(blockFrames)
    , sums_(blockFrames + 4) // rounded up to whole groups of four
    , delay_(static_cast<std::size_t>(latency_ * channels_))
    , minFrames_(static_cast<std::size_t>(window_ + 1))
    , minGains_(static_cast<std::size_t>(window_ + 1))
    , ramp_(static_cast<std::size_t>(attack_))
{
    // Windowed-sinc interpolation at a quarter, a half and three quarters of a frame after
    // frame s, from frames s - 11 to s + 12; each phase passes a constant unchanged.
    for (int p = 1; p <= 3; ++p) {
        double sum = 0;
        for (int j = 0; j < taps; ++j) {
            const double t = (j - (detectDelay - 1)) - p / 4.0;
            const double sinc = std::sin(std::numbers::pi * t) / (std::numbers::pi * t);
            const double edge = t / detectDelay;
            const double window = besselI0(kaiserBeta * std::sqrt(std::max(0.0, 1 - edge * edge))) /
                                  besselI0(kaiserBeta);
            phases_[static_cast<std::size_t>((p - 1) * taps + j)] =
                static_cast<float>(sinc * window);
            sum += sinc * window;
        }
        for (int j = 0; j < taps; ++j)
            phases_[static_cast<std::size_t>((p - 1) * taps + j)] /= static_cast<float>(sum);
    }
    reset();
}

void TruePeakLimiter::reset()
{
    for (auto& line : lines_)
        std::fill(line.begin(), line.end(), 0.0f);
    std::fill(delay_.begin(), delay_.end(), 0.0f);
    delayAt_ = 0;
    minHead_ = minCount_ = 0;
    frame_ = 0;
    envelope_ = 1;
    std::fill(ramp_.begin(), ramp_.end(), 1.0);
    rampAt_ = 0;
    rampSum_ = attack_;
    rampBelowOne_ = 0;
    gain_ = 1;
}

void TruePeakLimiter::process(float* interleaved, int frames)
{
    for (int done = 0; done < frames;) {
        const int count = std::min(blockFrames, frames - done);
        processBlock(interleaved + static_cast<std::ptrdiff_t>(done) * channels_, count);
        done += count;
    }
}

void TruePeakLimiter::processBlock(float* interleaved, int frames)
{
    for (int c = 0; c < channels_; ++c) {
        float* line = lines_[static_cast<std::size_t>(c)].data() + history;
        for (int f = 0; f < frames; ++f)
            line[f] = interleaved[f * channels_ + c];
    }
    detect(frames);
    const std::size_t width = static_cast<std::size_t>(channels_);
    for (int f = 0; f < frames; ++f) {
        const double peak = peaks_[static_cast<std::size_t>(f)] * detectionMargin;
        const double gain = nextGain(peak > ceiling_ ? ceiling_ / peak : 1.0);
        float* slot = delay_.data() + static_cast<std::size_t>(delayAt_) * width;
        float* frame = interleaved + static_cast<std::size_t>(f) * width;
        for (std::size_t c = 0; c < width; ++c) {
            const float out = static_cast<float>(slot[c] * gain);
            slot[c] = frame[c];
            // Rounding aside the gain already keeps every sample below the ceiling.
            frame[c] = std::clamp(out, static_cast<float>(-ceiling_), static_cast<float>(ceiling_));
        }
        if (++delayAt_ == latency_)
            delayAt_ = 0;
    }
    for (auto& line : lines_)
        std::copy(line.begin() + frames, line.begin() + frames + history, line.begin());
}

// For the frames of the block, the true peak of the interval from frame s to s + 1, where s lags
// the newest frame by detectDelay (the interpolator needs frames up to s + 12).
void TruePeakLimiter::detect(int frames)
{
    std::fill(peaks_.begin(), peaks_.begin() + frames, 0.0f);
    // Frames s = -1 .. frames - 1 of the block's detection (one before, for the grid's left
    // neighbour): u = s + 1 counts them from 0.
    const int count = frames + 1;
    for (int c = 0; c < channels_; ++c) {
        const float* line = lines_[static_cast<std::size_t>(c)].data();
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
            grid[4 * u] = std::fabs(line[u + detectDelay - 1]);
        for (int s = 0; s < frames; ++s) {
            const float* at = grid + 4 * (s + 1);
            const float peak = std::max(std::max(refined(at), refined(at + 1)),
                                        std::max(refined(at + 2), refined(at + 3)));
            peaks_[static_cast<std::size_t>(s)] =
                std::max(peaks_[static_cast<std::size_t>(s)], peak);
        }
    }
}

double TruePeakLimiter::nextGain(double required)
{
    const int capacity = window_ + 1;
    // Later, lower gains make earlier, higher ones irrelevant for the window's minimum.
    while (minCount_ > 0) {
        const int back = (minHead_ + minCount_ - 1) % capacity;
        if (minGains_[static_cast<std::size_t>(back)] < required)
            break;
        --minCount_;
    }
    const int tail = (minHead_ + minCount_) % capacity;
    minFrames_[static_cast<std::size_t>(tail)] = frame_;
    minGains_[static_cast<std::size_t>(tail)] = required;
    ++minCount_;
    while (minFrames_[static_cast<std::size_t>(minHead_)] <= frame_ - window_) {
        minHead_ = (minHead_ + 1) % capacity;
        --minCount_;
    }
    ++frame_;
    const double lowest = minGains_[static_cast<std::size_t>(minHead_)];

    // Down at once, back up with the release; close enough to 1 is exactly 1, so that the
    // output is the input again once the limiter has let go.
    envelope_ = std::min(lowest, envelope_ + (1 - envelope_) * (1 - release_));
    if (lowest >= 1 && envelope_ > 1 - 1e-7)
        envelope_ = 1;

    const double leaving = ramp_[static_cast<std::size_t>(rampAt_)];
    ramp_[static_cast<std::size_t>(rampAt_)] = envelope_;
    rampAt_ = rampAt_ + 1 == attack_ ? 0 : rampAt_ + 1;
    rampBelowOne_ += (envelope_ < 1 ? 1 : 0) - (leaving < 1 ? 1 : 0);
    rampSum_ += envelope_ - leaving;
    if (rampBelowOne_ == 0)
        rampSum_ = attack_; // no rounding left over from an earlier peak
    gain_ = rampBelowOne_ == 0 ? 1.0 : rampSum_ / attack_;
    return gain_;
}

} // namespace tw
