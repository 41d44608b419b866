#include "audio/LoudnessMeter.hpp"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace tw {

namespace {

int modeFor(int measures)
{
    int mode = 0;
    if (measures & LoudnessMeter::integrated)
        mode |= EBUR128_MODE_I;
    if (measures & LoudnessMeter::shortTerm)
        mode |= EBUR128_MODE_S;
    if (measures & LoudnessMeter::truePeak)
        mode |= EBUR128_MODE_TRUE_PEAK;
    return mode;
}

} // namespace

double decibels(double amplitude)
{
    return amplitude > 0 ? 20 * std::log10(amplitude) : -std::numeric_limits<double>::infinity();
}

LoudnessMeter::LoudnessMeter(int channels, double rate, int measures)
    : channels_(channels)
    , state_(ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(rate),
                          modeFor(measures)))
{
    if (!state_)
        throw std::bad_alloc();
}

LoudnessMeter::~LoudnessMeter()
{
    ebur128_destroy(&state_);
}

void LoudnessMeter::add(const float* interleaved, std::size_t frames)
{
    if (frames > 0)
        ebur128_add_frames_float(state_, interleaved, frames);
}

double LoudnessMeter::integratedLoudness() const
{
    double lufs = -std::numeric_limits<double>::infinity();
    ebur128_loudness_global(state_, &lufs);
    return lufs;
}

double LoudnessMeter::shortTermLoudness() const
{
    double lufs = -std::numeric_limits<double>::infinity();
    ebur128_loudness_shortterm(state_, &lufs);
    return lufs;
}

double LoudnessMeter::lastTruePeakDb() const
{
    double peak = 0;
    for (int c = 0; c < channels_; ++c) {
        double channelPeak = 0;
        if (ebur128_prev_true_peak(state_, static_cast<unsigned>(c), &channelPeak) ==
            EBUR128_SUCCESS)
            peak = std::max(peak, channelPeak);
    }
    return decibels(peak);
}

} // namespace tw
