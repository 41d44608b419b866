// The time text used across the interface: hours, minutes, seconds and hundredths.
#pragma once

#include <string>

namespace tw {

// "HH:MM:SS.hh" from the whole hundredths in max(seconds, 0), truncated; hours are not capped.
std::string clockText(double seconds);

} // namespace tw
