// The read-only side of the project: how the stored clips lie on the timeline, and where the
// music fragment and its fades fall.
#include "model/PodcastProject.hpp"

#include "model/TimelineClips.hpp"

#include <algorithm>
#include <limits>
#include <string_view>

namespace tw {

std::vector<Segment> PodcastProject::resolvedSegments() const
{
    // A clip without a position follows the previous stored clip; one with a position restarts
    // the running position for those after it (documents of the single-file layout).
    std::vector<Segment> clips;
    clips.reserve(segments.size());
    double cursor = 0;
    for (const Segment& stored : segments) {
        if (stored.timelineStart)
            cursor = *stored.timelineStart;
        Segment& clip = clips.emplace_back(stored);
        clip.timelineStart = cursor;
        if (!clip.file)
            clip.file = voiceFile;
        cursor += stored.duration;
    }
    timeline::sortByStart(clips);
    return clips;
}

std::optional<Segment> PodcastProject::segment(double at) const
{
    // The first clip in timeline order is the one with the earliest start, the earliest stored
    // among equal starts; found in one pass without resolving every clip.
    const Segment* found = nullptr;
    double foundStart = 0;
    double cursor = 0;
    for (const Segment& stored : segments) {
        if (stored.timelineStart)
            cursor = *stored.timelineStart;
        double t0 = cursor;
        double t1 = t0 + stored.duration;
        if (t0 <= at && at < t1 && (!found || t0 < foundStart)) {
            found = &stored;
            foundStart = t0;
        }
        cursor = t1;
    }
    if (!found)
        return std::nullopt;
    Segment clip = *found;
    clip.timelineStart = foundStart;
    if (!clip.file)
        clip.file = voiceFile;
    return clip;
}

double PodcastProject::voiceDuration() const
{
    if (segments.empty())
        return 0;
    double end = -std::numeric_limits<double>::infinity();
    double cursor = 0;
    for (const Segment& stored : segments) {
        if (stored.timelineStart)
            cursor = *stored.timelineStart;
        cursor += stored.duration;
        end = std::max(end, cursor);
    }
    return end;
}

std::vector<std::string> PodcastProject::voiceSources() const
{
    std::vector<std::string_view> paths;
    paths.reserve(segments.size() + 2);
    for (const Segment& stored : segments) {
        if (stored.file)
            paths.push_back(*stored.file);
        else if (voiceFile)
            paths.push_back(*voiceFile);
    }
    if (pendingVoiceFile)
        paths.push_back(*pendingVoiceFile);
    if (voiceFile)
        paths.push_back(*voiceFile);
    std::sort(paths.begin(), paths.end());
    paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
    return {paths.begin(), paths.end()};
}

std::vector<Segment> PodcastProject::copiedClips(TimeRange in) const
{
    return timeline::clipsWithin(resolvedSegments(), in.lower, in.upper);
}

MusicRange PodcastProject::musicRange(double sourceDuration) const
{
    MusicRange range;
    range.start = std::max(std::min(musicSourceStart.value_or(0), sourceDuration), 0.0);
    double rest = sourceDuration - range.start;
    range.duration = std::max(std::min(musicLength.value_or(rest), rest), 0.0);
    range.offset = std::max(musicOffset.value_or(0), 0.0);
    return range;
}

Fades PodcastProject::fades(double duration) const
{
    // Each point is at least the one before it and at most the fragment's end, so the four are
    // always in order; the older fadeIn/fadeOut lengths stand in for absent points.
    auto between = [](double value, double low, double high) {
        return std::min(std::max(value, low), high);
    };
    double d = duration;
    Fades f;
    f.inStart = between(fadeInStart.value_or(0), 0, d);
    f.inEnd = between(fadeInEnd.value_or(std::min(d / 2, fadeIn)), f.inStart, d);
    f.outStart = between(fadeOutStart.value_or(d - std::min(d / 2, fadeOut)), f.inEnd, d);
    f.outEnd = between(fadeOutEnd.value_or(d), f.outStart, d);
    return f;
}

} // namespace tw
