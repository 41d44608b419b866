#include "studio/ReelPhysics.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw::ReelPhysics {

namespace {
constexpr double tapeSpeed = 0.1905;     // m/s, 7.5 inches per second
constexpr double hubSquared = 0.001225;  // 0.035 m squared
constexpr double windingArea = 0.015159; // 0.128² − 0.035²: the wound tape's share of r²
constexpr double shortestTape = 7200.0;  // seconds of tape on the reels at least
} // namespace

double woundShare(double position, double duration)
{
    return std::clamp(position / std::max(duration, shortestTape), 0.0, 1.0);
}

Radii packRadii(double position, double duration)
{
    const double share = woundShare(position, duration);
    return {std::sqrt(windingArea * (1.0 - share) + hubSquared),
            std::sqrt(windingArea * share + hubSquared)};
}

Speeds angularSpeeds(double position, double duration)
{
    const Radii radii = packRadii(position, duration);
    constexpr double toDegrees = 180.0 / std::numbers::pi;
    return {tapeSpeed / radii.supply * toDegrees, tapeSpeed / radii.takeup * toDegrees};
}

} // namespace tw::ReelPhysics
