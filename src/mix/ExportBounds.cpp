#include "mix/ExportBounds.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace tw::ExportBounds {

namespace {

// The peak indices [lo, hi) that cover source time [start, start + duration) of a list of count.
struct PeakSpan {
    std::int64_t lo = 0;
    std::int64_t hi = 0;
};

PeakSpan peakSpan(double start, double duration, std::size_t count)
{
    const double lo = std::max(std::floor(start * peakRate), 0.0);
    const double hi =
        std::min(std::ceil((start + duration) * peakRate), static_cast<double>(count));
    if (!(lo < hi))
        return {};
    return {static_cast<std::int64_t>(lo), static_cast<std::int64_t>(hi)};
}

// The gain the music automation applies t seconds into the fragment (the same curve as the mix).
double fadeEnvelope(const Fades& f, double t)
{
    double in = 1;
    if (t < f.inStart)
        in = 0;
    else if (t < f.inEnd)
        in = (t - f.inStart) / (f.inEnd - f.inStart);
    double out = 1;
    if (t >= f.outEnd)
        out = 0;
    else if (t > f.outStart)
        out = (f.outEnd - t) / (f.outEnd - f.outStart);
    return in * out;
}

struct Scan {
    double audibleStart = std::numeric_limits<double>::max();
    double audibleEnd = 0;
    double earliest =
        std::numeric_limits<double>::max(); // timeline start of the first audible item
};

void scanVoice(const PodcastProject& project,
               const std::map<std::string, std::vector<float>>& voices, Scan& scan)
{
    if (!(project.voiceVolume > 0))
        return;
    for (const Segment& clip : project.resolvedSegments()) {
        if (!clip.file)
            continue;
        const auto peaks = voices.find(*clip.file);
        if (peaks == voices.end() || (clip.gain && !(*clip.gain > 0)))
            continue;
        const std::vector<float>& list = peaks->second;
        const PeakSpan span = peakSpan(clip.start, clip.duration, list.size());
        if (span.lo >= span.hi)
            continue;
        const double factor =
            static_cast<double>(project.voiceVolume) * static_cast<double>(clip.gain.value_or(1));
        auto heard = [&](std::int64_t i) {
            return factor * static_cast<double>(list[static_cast<std::size_t>(i)]) > audibleLevel;
        };
        std::int64_t first = span.lo;
        while (first < span.hi && !heard(first))
            ++first;
        if (first == span.hi)
            continue;
        std::int64_t last = span.hi - 1;
        while (!heard(last))
            --last;
        const double t0 = clip.timelineStart.value_or(0);
        scan.earliest = std::min(scan.earliest, t0);
        scan.audibleStart =
            std::min(scan.audibleStart, t0 + std::max(first / peakRate - clip.start, 0.0));
        scan.audibleEnd = std::max(
            scan.audibleEnd, t0 + std::min((last + 1) / peakRate - clip.start, clip.duration));
    }
}

void scanMusic(const PodcastProject& project, const std::vector<float>& peaks,
               const MusicRange& range, Scan& scan)
{
    if (!project.musicFile || !(project.musicVolume > 0) || !(range.duration > 0))
        return;
    const Fades fades = project.fades(range.duration);
    const PeakSpan span = peakSpan(range.start, range.duration, peaks.size());
    for (std::int64_t i = span.lo; i < span.hi; ++i) {
        double t = (static_cast<double>(i) + 0.5) / peakRate - range.start;
        t = std::max(std::min(t, range.duration), 0.0);
        const double level = static_cast<double>(project.musicVolume) *
                             static_cast<double>(peaks[static_cast<std::size_t>(i)]) *
                             fadeEnvelope(fades, t);
        if (!(level > audibleLevel))
            continue;
        scan.earliest = std::min(scan.earliest, range.offset);
        scan.audibleStart =
            std::min(scan.audibleStart, range.offset + std::max(i / peakRate - range.start, 0.0));
        scan.audibleEnd =
            std::max(scan.audibleEnd,
                     range.offset + std::min((i + 1) / peakRate - range.start, range.duration));
    }
}

} // namespace

std::optional<TimeRange> audible(const PodcastProject& project,
                                 const std::map<std::string, std::vector<float>>& voices,
                                 const std::vector<float>& music, double musicDuration)
{
    Scan scan;
    scanVoice(project, voices, scan);
    const MusicRange range = project.musicRange(musicDuration);
    scanMusic(project, music, range, scan);

    if (!std::isfinite(scan.audibleStart) ||
        scan.audibleStart == std::numeric_limits<double>::max() ||
        scan.audibleStart >= scan.audibleEnd)
        return std::nullopt;
    const double total =
        std::max(project.voiceDuration(), range.duration > 0 ? range.offset + range.duration : 0.0);
    return TimeRange{std::max(scan.audibleStart - margin, scan.earliest),
                     std::min(scan.audibleEnd + margin, total)};
}

} // namespace tw::ExportBounds
