// Undo and redo, the after-edit step and the edit commands on the voice timeline and the music
// placement, including the two live trim gestures. Main thread.
#include "studio/MainThread.hpp"
#include "studio/Studio.hpp"

#include <algorithm>
#include <iterator>
#include <limits>

namespace tw {

namespace {

constexpr std::size_t historyLimit = 100;
constexpr double splitMargin = 0.001;
constexpr double shortestTrim = 0.02;
constexpr double neighbourTolerance = 0.0001;
constexpr double autoFadeIn = 5;
constexpr double autoFadeOut = 10;

double clipStart(const Segment& clip)
{
    return clip.timelineStart.value_or(0.0);
}

double clipEnd(const Segment& clip)
{
    return clipStart(clip) + clip.duration;
}

std::vector<Segment> withClipReplaced(const PodcastProject& project, const Segment& replacement)
{
    std::vector<Segment> segments = project.resolvedSegments();
    for (Segment& segment : segments)
        if (segment.id == replacement.id)
            segment = replacement;
    return segments;
}

} // namespace

void Studio::checkpoint()
{
    assertMainThread();
    // A take is one step, taken as it starts: a document caught halfway through it is no state
    // to return to.
    if (recording())
        return;
    std::vector<PodcastProject> dropped;
    undoStack.mutate([&](std::vector<PodcastProject>& history) {
        history.push_back(project());
        if (history.size() > historyLimit) {
            const auto oldest = history.begin() + static_cast<long>(history.size() - historyLimit);
            dropped.assign(std::make_move_iterator(history.begin()),
                           std::make_move_iterator(oldest));
            history.erase(history.begin(), oldest);
        }
    });
    redoStack.mutate([&](std::vector<PodcastProject>& history) {
        std::move(history.begin(), history.end(), std::back_inserter(dropped));
        history.clear();
    });
    // Freeing a long document costs as much as copying it: let the writer thread do it.
    if (!dropped.empty())
        projectWriter.async([documents = std::move(dropped)] {});
}

void Studio::changed()
{
    pause();
    selection = std::nullopt;
    position = std::min(position(), duration());
    save();
}

void Studio::undo()
{
    moveBetweenHistories(undoStack, redoStack);
}

void Studio::redo()
{
    moveBetweenHistories(redoStack, undoStack);
}

void Studio::moveBetweenHistories(Published<std::vector<PodcastProject>>& source,
                                  Published<std::vector<PodcastProject>>& destination)
{
    if (!idle() || source->empty())
        return;
    PodcastProject restored;
    source.mutate([&](std::vector<PodcastProject>& history) {
        restored = std::move(history.back());
        history.pop_back();
    });
    const bool musicFileDiffers = project->musicFile != restored.musicFile;
    // The pending take describes the recorder, not an edit: undo and redo never bring one back
    // nor drop one still waiting.
    restored.recordingPending = project->recordingPending;
    restored.pendingVoiceFile = project->pendingVoiceFile;
    restored.pendingStart = project->pendingStart;
    // The documents are moved, not copied: undo stays cheap for long projects.
    PodcastProject current;
    project.mutate([&](PodcastProject& document) {
        current = std::move(document);
        document = std::move(restored);
    });
    destination.mutate(
        [&](std::vector<PodcastProject>& history) { history.push_back(std::move(current)); });
    changed();
    if (musicFileDiffers)
        loadPeaks(false, true); // the music lane follows the restored file
}

void Studio::splitClip()
{
    if (!idle())
        return;
    const std::optional<Segment> clip = project->segment(position());
    if (!clip)
        return;
    const double at = position();
    if (!(clipStart(*clip) + splitMargin < at && at < clipEnd(*clip) - splitMargin))
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.split(at); });
    changed();
}

void Studio::trimSelection()
{
    if (!idle() || !selection())
        return;
    const TimeRange range = *selection();
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.trimVoice(range); });
    changed();
}

void Studio::deleteSelection()
{
    if (!idle() || !selection())
        return;
    const TimeRange range = *selection();
    checkpoint();
    project.mutate(
        [&](PodcastProject& document) { document.deleteVoice(range.lower, range.upper); });
    changed();
}

void Studio::deleteSelectionClosingGap()
{
    if (!idle() || !selection())
        return;
    const TimeRange range = *selection();
    checkpoint();
    project.mutate([&](PodcastProject& document) {
        document.deleteVoiceClosingGap(range.lower, range.upper);
    });
    changed();
}

void Studio::silenceSelection(bool muted)
{
    if (!idle() || !selection())
        return;
    const TimeRange range = *selection();
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.silence(range, muted); });
    changed();
}

void Studio::moveClip(const Uuid& id, double to)
{
    if (!idle())
        return;
    checkpoint();
    project.mutate([&](PodcastProject& document) { document.moveClip(id, to); });
    changed();
}

void Studio::autoFades()
{
    if (!idle() || !project->musicFile)
        return;
    checkpoint();
    const double length = project->musicRange(musicDuration()).duration;
    project.mutate([&](PodcastProject& document) {
        document.fadeInStart = 0.0;
        document.fadeInEnd = std::min(length / 2, autoFadeIn);
        document.fadeOutEnd = length;
        document.fadeOutStart = std::max(length - autoFadeOut, *document.fadeInEnd);
    });
    // Playback goes on with the new fades; the selection stays.
    updateMix();
    save();
}

void Studio::previewVoiceTrim(const Segment& segment, bool left, double delta)
{
    if (!idle())
        return;
    if (!trimOriginal) {
        trimOriginal = segment;
        pause();
    }
    // Always from the clip as the gesture found it and the total movement, never from the
    // previous preview, so that a drag back and forth ends where the pointer is.
    const Segment& original = *trimOriginal;
    const double t0 = clipStart(original);
    const double d = original.duration;
    const double shortest = std::min(d, shortestTrim);
    std::vector<Segment> others = project->resolvedSegments();
    std::erase_if(others, [&](const Segment& clip) { return clip.id == original.id; });

    Segment preview = original;
    if (left) {
        double previousEnd = 0;
        for (const Segment& clip : others)
            if (clipEnd(clip) <= t0 + neighbourTolerance)
                previousEnd = std::max(previousEnd, clipEnd(clip));
        const double lowest = std::max(previousEnd - t0, -original.start);
        const double shift = std::max(std::min(delta, d - shortest), lowest);
        preview.start = original.start + shift;
        preview.timelineStart = t0 + shift;
        preview.duration = d - shift;
    } else {
        double nextStart = std::numeric_limits<double>::infinity();
        for (const Segment& clip : others)
            if (clipStart(clip) >= t0 + d - neighbourTolerance)
                nextStart = std::min(nextStart, clipStart(clip));
        double sourceLimit = d; // without a known file length the tail cannot grow
        const SharedText file = original.file ? original.file : SharedText(project->voiceFile);
        if (file)
            if (auto known = sourceDurations.find(*file); known != sourceDurations.end())
                sourceLimit = known->second - original.start;
        preview.duration = std::max(std::min({nextStart - t0, sourceLimit, d + delta}), shortest);
    }
    voiceTrimPreview = preview;
}

void Studio::commitVoiceTrim()
{
    // No guard: a gesture that began is always finished.
    if (const std::optional<Segment> preview = voiceTrimPreview()) {
        checkpoint();
        project.mutate([&](PodcastProject& document) {
            document.segments = withClipReplaced(document, *preview);
        });
        changed();
    }
    voiceTrimPreview = std::nullopt;
    trimOriginal.reset();
}

void Studio::previewMusicTrim(bool left, double delta)
{
    if (!idle())
        return;
    if (!musicTrimBase) {
        // The whole gesture is one undo step, taken at its start.
        musicTrimBase = project->musicRange(musicDuration());
        checkpoint();
        pause();
    }
    const MusicRange base = *musicTrimBase;
    const double shortest = std::min(base.duration, shortestTrim);
    project.mutate([&](PodcastProject& document) {
        if (left) {
            // Head and source move together so the audio under the rest stays in place.
            const double shift = std::max(std::min(delta, base.duration - shortest),
                                          -std::min(base.start, base.offset));
            document.musicSourceStart = base.start + shift;
            document.musicOffset = base.offset + shift;
            document.musicLength = base.duration - shift;
        } else {
            document.musicLength =
                std::max(std::min(musicDuration() - base.start, base.duration + delta), shortest);
        }
    });
}

} // namespace tw
