// The audible part of a project, found from the peak envelopes already computed for display: the
// span in which any clip or the music sounds above the audible level after volumes, gains and
// fades, widened by a small margin but never before the first audible item's own start nor past
// the project's end. Export trims the mix to it.
#pragma once

#include "model/PodcastProject.hpp"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tw::ExportBounds {

inline constexpr double peakRate = 50;           // peak envelope values per second
inline constexpr double audibleLevel = 0.000001; // anything above is heard
inline constexpr double margin = 0.04;           // seconds added on each side

// voices maps each voice file (relative path) to its peak list; music is the music file's peak
// list and musicDuration its length in seconds. Absent when nothing is audible.
std::optional<TimeRange> audible(const PodcastProject& project,
                                 const std::map<std::string, std::vector<float>>& voices,
                                 const std::vector<float>& music, double musicDuration);

} // namespace tw::ExportBounds
