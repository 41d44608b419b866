#include "audio/Composition.hpp"

#include "audio/AudioFileReader.hpp"

#include <algorithm>

namespace tw {

Result<AudioAsset> AudioAsset::load(const std::filesystem::path& file)
{
    auto reader = AudioFileReader::open(file);
    if (!reader)
        return reader.error();
    const auto& r = *reader.value();
    return AudioAsset{file, r.sampleRate(), r.channels(), r.length()};
}

MediaTime CompositionTrack::end() const
{
    return segments_.empty() ? MediaTime{} : segments_.back().targetEnd();
}

void CompositionTrack::insertEmptyTimeRange(MediaTime at, MediaTime duration)
{
    if (duration.ticks <= 0)
        return;
    insert(TrackSegment{std::nullopt, {}, at, duration});
}

Result<void> CompositionTrack::insertTimeRange(const AudioAsset& asset, MediaTime sourceStart,
                                               MediaTime duration, MediaTime at)
{
    if (sourceStart.ticks < 0 || sourceStart > asset.duration() || duration.ticks < 0)
        return Error{"Audio", 2,
                     "El fragmento pedido queda fuera del archivo " +
                         asset.file.filename().string() + "."};
    if (duration.ticks == 0)
        return {};
    insert(TrackSegment{asset, sourceStart, at, duration});
    return {};
}

void CompositionTrack::insert(TrackSegment segment)
{
    const MediaTime at = segment.targetStart;
    // Past the end: the gap up to `at` becomes an empty range.
    if (at > end()) {
        MediaTime gapStart = end();
        segments_.push_back(TrackSegment{std::nullopt, {}, gapStart, at - gapStart});
        segments_.push_back(std::move(segment));
        return;
    }
    // Split the segment that spans `at`, then shift everything from `at` on.
    auto spanning = std::find_if(segments_.begin(), segments_.end(), [&](const TrackSegment& s) {
        return s.targetStart < at && at < s.targetEnd();
    });
    if (spanning != segments_.end()) {
        TrackSegment right = *spanning;
        MediaTime leftLength = at - spanning->targetStart;
        spanning->duration = leftLength;
        right.targetStart = at;
        right.sourceStart += leftLength;
        right.duration = right.duration - leftLength;
        segments_.insert(spanning + 1, right);
    }
    auto firstLater = std::find_if(segments_.begin(), segments_.end(),
                                   [&](const TrackSegment& s) { return s.targetStart >= at; });
    for (auto it = firstLater; it != segments_.end(); ++it)
        it->targetStart += segment.duration;
    segments_.insert(firstLater, std::move(segment));
}

CompositionTrack* Composition::addTrack(int preferredTrackID)
{
    if (track(preferredTrackID))
        return nullptr;
    tracks_.emplace_back(preferredTrackID);
    return &tracks_.back();
}

const CompositionTrack* Composition::track(int trackID) const
{
    for (const auto& t : tracks_)
        if (t.trackID() == trackID)
            return &t;
    return nullptr;
}

MediaTime Composition::duration() const
{
    MediaTime longest;
    for (const auto& t : tracks_)
        longest = std::max(longest, t.end());
    return longest;
}

bool Composition::allSourcesMono() const
{
    for (const auto& t : tracks_)
        for (const auto& s : t.segments())
            if (s.source && s.source->channels != 1)
                return false;
    return true;
}

} // namespace tw
