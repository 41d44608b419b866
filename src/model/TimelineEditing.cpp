// The editing side of the project: every operation rewrites `segments` from the resolved clips
// and never touches audio ("Original intacto"). An argument that is NaN, or a result that would
// store a number that is not finite, leaves the project unchanged: such a document could not be
// saved.
#include "model/PodcastProject.hpp"

#include "model/TimelineClips.hpp"

#include <algorithm>
#include <cmath>

namespace tw {

using timeline::endOf;
using timeline::startOf;

namespace {

// Resolved clips of a list that is already resolved are the same clips in timeline order.
std::vector<Segment> inTimelineOrder(std::vector<Segment> clips)
{
    timeline::sortByStart(clips);
    return clips;
}

bool commit(std::vector<Segment>& segments, std::vector<Segment>&& clips)
{
    if (!timeline::allFinite(clips))
        return false;
    segments = std::move(clips);
    return true;
}

// Removes [from, to] (limited to the voice) from every clip; with closeGap every later clip moves
// left by the removed length. Cut pieces get new identifiers, whole clips keep theirs.
void cutOutVoice(PodcastProject& project, double from, double to, bool closeGap)
{
    if (std::isnan(from) || std::isnan(to))
        return;
    double a = std::max(from, 0.0);
    double b = std::min(to, project.voiceDuration());
    if (!(a < b))
        return;
    const double shift = closeGap ? b - a : 0.0;
    std::vector<Segment> clips = project.resolvedSegments();
    std::vector<Segment> kept;
    kept.reserve(clips.size() + 1);
    for (Segment& clip : clips) {
        double t0 = startOf(clip);
        double t1 = endOf(clip);
        if (t1 <= a || b <= t0) {
            if (b <= t0)
                clip.timelineStart = t0 - shift;
            kept.push_back(std::move(clip));
            continue;
        }
        if (t0 < a)
            kept.push_back(timeline::pieceOf(clip, 0, a - t0, t0));
        if (b < t1)
            kept.push_back(timeline::pieceOf(clip, b - t0, t1 - b, b - shift));
    }
    // Overlapping clips of older documents can change order when the later ones move left.
    if (closeGap)
        timeline::sortByStart(kept);
    commit(project.segments, std::move(kept));
}

} // namespace

void PodcastProject::split(double at)
{
    if (std::isnan(at))
        return;
    commit(segments, timeline::splitAt(resolvedSegments(), at));
}

void PodcastProject::trimVoice(TimeRange to)
{
    if (std::isnan(to.lower) || std::isnan(to.upper))
        return;
    double a = std::max(to.lower, 0.0);
    double b = std::min(to.upper, voiceDuration());
    if (!(a < b))
        return;
    commit(segments, timeline::clipsWithin(resolvedSegments(), a, b));
}

void PodcastProject::deleteVoice(double from, double to)
{
    // The deleted range stays as a silent gap; nothing after it moves.
    cutOutVoice(*this, from, to, false);
}

void PodcastProject::deleteVoiceClosingGap(double from, double to)
{
    cutOutVoice(*this, from, to, true);
}

void PodcastProject::silence(TimeRange range, bool muted)
{
    if (std::isnan(range.lower) || std::isnan(range.upper))
        return;
    double a = range.lower;
    double b = range.upper;
    std::vector<Segment> clips = inTimelineOrder(
        timeline::splitAt(inTimelineOrder(timeline::splitAt(resolvedSegments(), a)), b));
    for (Segment& clip : clips)
        if (a <= startOf(clip) && endOf(clip) <= b)
            clip.gain = muted ? 0.0f : 1.0f;
    commit(segments, std::move(clips));
}

void PodcastProject::paste(const std::vector<Segment>& clips, double duration, double at)
{
    if (clips.empty() || !(duration > 0) || std::isnan(at))
        return;
    double t = std::max(at, 0.0);
    std::vector<Segment> result = inTimelineOrder(timeline::splitAt(resolvedSegments(), t));
    // Everything from t on makes room for exactly `duration`, even where the pasted clips
    // leave gaps.
    for (Segment& clip : result)
        if (t <= startOf(clip))
            clip.timelineStart = startOf(clip) + duration;
    std::size_t existing = result.size();
    result.reserve(existing + clips.size());
    for (const Segment& pasted : clips) {
        Segment clip = pasted;
        clip.id = Uuid::random();
        clip.timelineStart = t + pasted.timelineStart.value_or(0);
        result.push_back(std::move(clip));
    }
    // Both parts are in timeline order (the shift keeps the order), so a stable merge gives
    // what a stable sort of the whole list would, in linear time.
    auto pastedBegin = result.begin() + static_cast<std::ptrdiff_t>(existing);
    std::stable_sort(pastedBegin, result.end(), timeline::startsBefore);
    std::inplace_merge(result.begin(), pastedBegin, result.end(), timeline::startsBefore);
    commit(segments, std::move(result));
}

void PodcastProject::insertTake(const std::string& file, double duration, double at, const Uuid& id)
{
    if (!(duration > 0) || std::isnan(at))
        return;
    double t = std::max(at, 0.0);
    std::vector<Segment> result = inTimelineOrder(timeline::splitAt(resolvedSegments(), t));
    // A take recorded into a gap long enough for it moves nothing; one that runs into later
    // material pushes that material just far enough.
    auto next = std::find_if(result.begin(), result.end(),
                             [t](const Segment& clip) { return t <= startOf(clip); });
    double nextStart = next != result.end() ? startOf(*next) : t + duration;
    double shift = std::max(t + duration - nextStart, 0.0);
    for (Segment& clip : result)
        if (t <= startOf(clip))
            clip.timelineStart = startOf(clip) + shift;
    Segment take;
    take.id = id;
    take.start = 0;
    take.duration = duration;
    take.file = file;
    take.timelineStart = t;
    // Where a stable sort would put it: after every clip that starts no later.
    auto place = std::upper_bound(result.begin(), result.end(), take, timeline::startsBefore);
    result.insert(place, std::move(take));
    if (commit(segments, std::move(result)) && !voiceFile)
        voiceFile = file;
}

void PodcastProject::moveClip(const Uuid& id, double to)
{
    if (std::isnan(to))
        return;
    std::vector<Segment> clips = resolvedSegments();
    auto found = std::find_if(clips.begin(), clips.end(),
                              [&id](const Segment& clip) { return clip.id == id; });
    if (found == clips.end())
        return;
    Segment moved = std::move(*found);
    clips.erase(found);
    moved.timelineStart = std::max(to, 0.0);
    // The others stay in timeline order; the moved clip goes before any clip that starts at the
    // same time.
    auto place = std::partition_point(clips.begin(), clips.end(), [&moved](const Segment& clip) {
        return startOf(clip) < startOf(moved);
    });
    clips.insert(place, std::move(moved));
    // A clip dropped onto another lands at its end, and later clips are pushed right just as
    // far as needed, never pulled left.
    double cursor = 0;
    for (Segment& clip : clips) {
        clip.timelineStart = std::max(startOf(clip), cursor);
        cursor = endOf(clip);
    }
    commit(segments, std::move(clips));
}

} // namespace tw
