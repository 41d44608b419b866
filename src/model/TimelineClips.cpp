#include "model/TimelineClips.hpp"

#include <algorithm>
#include <cmath>

namespace tw::timeline {

void sortByStart(std::vector<Segment>& clips)
{
    // After the first edit the stored clips are nearly always in order already.
    if (!std::is_sorted(clips.begin(), clips.end(), startsBefore))
        std::stable_sort(clips.begin(), clips.end(), startsBefore);
}

Segment pieceOf(const Segment& clip, double offset, double duration, double at)
{
    Segment piece; // a new random identifier
    piece.start = clip.start + offset;
    piece.duration = duration;
    piece.file = clip.file;
    piece.timelineStart = at;
    piece.gain = clip.gain;
    return piece;
}

std::vector<Segment> splitAt(std::vector<Segment> clips, double at)
{
    std::vector<Segment> result;
    result.reserve(clips.size() + 2);
    for (Segment& clip : clips) {
        double t0 = startOf(clip);
        double t1 = endOf(clip);
        if (at <= t0 + splitTolerance || t1 - splitTolerance <= at) {
            result.push_back(std::move(clip));
            continue;
        }
        result.push_back(pieceOf(clip, 0, at - t0, t0));
        result.push_back(pieceOf(clip, at - t0, t1 - at, at));
    }
    return result;
}

std::vector<Segment> clipsWithin(const std::vector<Segment>& clips, double from, double to)
{
    std::vector<Segment> result;
    for (const Segment& clip : clips) {
        double t0 = startOf(clip);
        double lo = std::max(t0, from);
        double hi = std::min(endOf(clip), to);
        if (lo < hi)
            result.push_back(pieceOf(clip, lo - t0, hi - lo, lo - from));
    }
    return result;
}

bool allFinite(const std::vector<Segment>& clips)
{
    return std::all_of(clips.begin(), clips.end(), [](const Segment& clip) {
        return std::isfinite(clip.start) && std::isfinite(clip.duration) &&
               (!clip.timelineStart || std::isfinite(*clip.timelineStart)) &&
               (!clip.gain || std::isfinite(*clip.gain));
    });
}

} // namespace tw::timeline
