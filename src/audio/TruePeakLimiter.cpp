#include "audio/TruePeakLimiter.hpp"

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

constexpr double attackSeconds = 0.0015;
constexpr double releaseSeconds = 0.06;
// The limiter aims 0.1 dB under its ceiling: the detector's 24-tap reconstruction reads the
// ringing of a hard edge (a click, a cut) a few hundredths of a dB low, and a gain that changes
// within the interpolator's reach can lift a peak between samples by a few thousandths.
constexpr double detectionMargin = 1.0116;

} // namespace

TruePeakLimiter::TruePeakLimiter(double rate, int channels, double ceilingDb)
    : channels_(std::max(channels, 1))
    , ceilingDb_(ceilingDb)
    , ceiling_(std::pow(10.0, ceilingDb / 20))
    , attack_(std::max(1, static_cast<int>(std::lround(attackSeconds * rate))))
    , window_(attack_ + 2 * hold)
    , latency_(TruePeakDetector::delay + hold + attack_ - 1)
    , release_(std::exp(-1.0 / (releaseSeconds * rate)))
    , detector_(channels_)
    , peaks_(blockFrames)
    , delay_(static_cast<std::size_t>(latency_ * channels_))
    , minFrames_(static_cast<std::size_t>(window_ + 1))
    , minGains_(static_cast<std::size_t>(window_ + 1))
    , ramp_(static_cast<std::size_t>(attack_))
{
    reset();
}

void TruePeakLimiter::reset()
{
    detector_.reset();
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
    detector_.process(interleaved, frames, peaks_.data());
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
