#include "ui/ClockText.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace tw {

std::string clockText(double seconds)
{
    // Truncate, never round: the display must not show a hundredth that has not begun yet.
    const double clamped = std::max(seconds, 0.0);
    const auto hundredths = static_cast<std::int64_t>(std::floor(clamped * 100.0));
    char text[48];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld.%02lld",
                  static_cast<long long>(hundredths / 360000),
                  static_cast<long long>((hundredths / 6000) % 60),
                  static_cast<long long>((hundredths / 100) % 60),
                  static_cast<long long>(hundredths % 100));
    return text;
}

} // namespace tw
