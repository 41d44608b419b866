// Audio tracks laid out on one timeline: each track a list of source ranges of files and empty
// ranges. Inserting before a track's end moves the later material later, as an editor's insert.
#pragma once

#include "audio/MediaTime.hpp"
#include "base/Result.hpp"

#include <deque>
#include <filesystem>
#include <optional>
#include <vector>

namespace tw {

// What a loaded audio file offers a composition: its first audio track.
struct AudioAsset {
    std::filesystem::path file;
    double sampleRate = 0;
    int channels = 0;
    std::int64_t frames = 0;

    MediaTime duration() const { return MediaTime::fromSeconds(frames / sampleRate); }
    // Opens the file to learn its format and exact length. Blocking.
    static Result<AudioAsset> load(const std::filesystem::path& file);
};

struct TrackSegment {
    std::optional<AudioAsset> source; // absent: an empty (silent) range
    MediaTime sourceStart;
    MediaTime targetStart;
    MediaTime duration;

    MediaTime targetEnd() const { return targetStart + duration; }
};

class CompositionTrack {
public:
    explicit CompositionTrack(int trackID) : trackID_(trackID) {}

    int trackID() const { return trackID_; }
    const std::vector<TrackSegment>& segments() const { return segments_; }
    // The end of the last segment.
    MediaTime end() const;

    // Inserts silence at `at`, moving what lies at or after it later.
    void insertEmptyTimeRange(MediaTime at, MediaTime duration);
    // Inserts [sourceStart, sourceStart + duration) of the asset at `at`. Fails when the range
    // does not start inside the asset.
    Result<void> insertTimeRange(const AudioAsset& asset, MediaTime sourceStart, MediaTime duration,
                                 MediaTime at);

private:
    void insert(TrackSegment segment);

    int trackID_;
    std::vector<TrackSegment> segments_;
};

class Composition {
public:
    // A new track with the preferred identifier, or nullptr when that identifier is taken.
    CompositionTrack* addTrack(int preferredTrackID);
    const CompositionTrack* track(int trackID) const;
    const std::deque<CompositionTrack>& tracks() const { return tracks_; }
    // The end of the longest track.
    MediaTime duration() const;
    // Every source channel count is 1.
    bool allSourcesMono() const;

private:
    std::deque<CompositionTrack> tracks_; // stable addresses: callers keep track pointers
};

} // namespace tw
