// Building blocks of the timeline operations on resolved clips (every clip has a timelineStart):
// ordering, cutting at a time and cutting out a window.
#pragma once

#include "model/Segment.hpp"

#include <vector>

namespace tw::timeline {

// A cut closer than this to either end of a clip leaves the clip whole.
inline constexpr double splitTolerance = 0.001;

inline double startOf(const Segment& clip)
{
    return *clip.timelineStart;
}
inline double endOf(const Segment& clip)
{
    return *clip.timelineStart + clip.duration;
}

inline bool startsBefore(const Segment& a, const Segment& b)
{
    return startOf(a) < startOf(b);
}

// Stable sort by timelineStart: clips that start together keep their order.
void sortByStart(std::vector<Segment>& clips);

// Every clip that contains `at` (beyond the tolerance) is replaced, in place, by its left and
// right pieces, both with new identifiers; every other clip is kept as it is.
std::vector<Segment> splitAt(std::vector<Segment> clips, double at);

// The part of each clip inside [from, to], as new clips placed relative to `from`.
std::vector<Segment> clipsWithin(const std::vector<Segment>& clips, double from, double to);

// A piece of `clip` with a new identifier: `offset` seconds into it, `duration` long, at `at`.
Segment pieceOf(const Segment& clip, double offset, double duration, double at);

// False when a stored number would be NaN or infinite, which the file format cannot hold.
bool allFinite(const std::vector<Segment>& clips);

} // namespace tw::timeline
