#include "voice/Biquad.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw {

namespace {

// Sections above 0.45 of the rate would sit too close to Nyquist to keep their shape.
double angularFrequency(double frequency, double rate)
{
    double f = std::min(frequency, 0.45 * rate);
    return 2.0 * std::numbers::pi * f / rate;
}

} // namespace

Biquad Biquad::highPass(double frequency, double twoQ, double rate)
{
    double w = angularFrequency(frequency, rate);
    double cosW = std::cos(w);
    double alpha = std::sin(w) / twoQ;
    double a0 = 1.0 + alpha;
    Biquad section;
    section.b0 = (1.0 + cosW) / 2.0 / a0;
    section.b1 = -(1.0 + cosW) / a0;
    section.b2 = (1.0 + cosW) / 2.0 / a0;
    section.a1 = -2.0 * cosW / a0;
    section.a2 = (1.0 - alpha) / a0;
    return section;
}

Biquad Biquad::peaking(double frequency, double twoQ, double gainDb, double rate)
{
    double w = angularFrequency(frequency, rate);
    double cosW = std::cos(w);
    double alpha = std::sin(w) / twoQ;
    double a = std::pow(10.0, gainDb / 40.0);
    double a0 = 1.0 + alpha / a;
    Biquad section;
    section.b0 = (1.0 + alpha * a) / a0;
    section.b1 = -2.0 * cosW / a0;
    section.b2 = (1.0 - alpha * a) / a0;
    section.a1 = -2.0 * cosW / a0;
    section.a2 = (1.0 - alpha / a) / a0;
    return section;
}

} // namespace tw
