// The project document: how recorded takes, pasted audio and one music file are cut and placed,
// at which volumes, with which fades and voice treatment. A plain value; the editing operations
// below are pure functions of it (they rewrite segments and never touch audio).
#pragma once

#include "model/Chapter.hpp"
#include "model/EpisodeDetails.hpp"
#include "model/LoudnessTarget.hpp"
#include "model/Segment.hpp"
#include "model/VoiceTreatment.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tw {

// A closed range of seconds, lower <= upper.
struct TimeRange {
    double lower = 0;
    double upper = 0;
    bool operator==(const TimeRange&) const = default;
};

// The placed music fragment: source time [start, start + duration) plays at timeline
// [offset, offset + duration).
struct MusicRange {
    double start = 0;
    double duration = 0;
    double offset = 0;
    bool operator==(const MusicRange&) const = default;
};

// The four fade points, seconds from the start of the music fragment, always in order.
struct Fades {
    double inStart = 0;
    double inEnd = 0;
    double outStart = 0;
    double outEnd = 0;
    bool operator==(const Fades&) const = default;
};

struct PodcastProject {
    int version = 1;
    std::optional<std::string> voiceFile;
    std::optional<std::string> musicFile;
    std::vector<Segment> segments;
    bool recordingPending = false;
    float voiceVolume = 1.0f;
    float musicVolume = 0.35f;
    double fadeIn = 5.0;
    double fadeOut = 10.0;
    std::optional<VoiceTreatment> treatment;
    std::optional<double> playhead;
    std::optional<double> timelineZoom;
    std::optional<std::string> pendingVoiceFile;
    std::optional<double> pendingStart;
    std::optional<double> musicSourceStart;
    std::optional<double> musicLength;
    std::optional<double> musicOffset;
    std::optional<double> fadeInStart;
    std::optional<double> fadeInEnd;
    std::optional<double> fadeOutStart;
    std::optional<double> fadeOutEnd;
    std::optional<LoudnessTarget> loudnessTarget; // absent: the podcast norm
    std::vector<Chapter> chapters;                // kept in time order by the edits below
    std::optional<EpisodeDetails> episode;

    bool operator==(const PodcastProject&) const = default;

    // Reading the timeline.
    std::vector<Segment> resolvedSegments() const;
    std::optional<Segment> segment(double at) const;
    double voiceDuration() const;
    std::vector<std::string> voiceSources() const;
    std::vector<Segment> copiedClips(TimeRange in) const;
    MusicRange musicRange(double sourceDuration) const;
    Fades fades(double duration) const;

    // Editing: each rewrites segments (insertTake may also set voiceFile), nothing else.
    void split(double at);
    void trimVoice(TimeRange to);
    void deleteVoice(double from, double to);
    // Deletes [from, to] like deleteVoice and moves every later clip left by the range's length,
    // so that no gap is left where it was.
    void deleteVoiceClosingGap(double from, double to);
    void silence(TimeRange range, bool muted);
    void paste(const std::vector<Segment>& clips, double duration, double at);
    void insertTake(const std::string& file, double duration, double at, const Uuid& id);
    void moveClip(const Uuid& id, double to);

    // Chapters: each edit leaves the list in time order (equal times keep their order, a moved
    // chapter goes last among them); unknown identifiers and unusable values change nothing.
    // Adds "Capítulo N" at `at`, N being the first number from the chapter count on that no
    // chapter is called yet.
    void addChapter(double at, const Uuid& id);
    void moveChapter(const Uuid& id, double to);
    void renameChapter(const Uuid& id, const std::string& title);
    void removeChapter(const Uuid& id);
};

} // namespace tw
