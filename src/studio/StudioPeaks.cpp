// Loading the peak envelopes and source durations of a project in the background, and recovering
// a take that an interrupted recording left pending. Main thread; the batch runs on the pool.
#include "studio/MainThread.hpp"
#include "studio/Studio.hpp"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

namespace tw {

void Studio::loadPeaks(bool recover, bool notifyRecovery)
{
    assertMainThread();
    if (!folder())
        return;
    busy = true;
    std::vector<std::string> sources = project->voiceSources();
    // Projects of the earlier single-file layout recorded straight into the voice file.
    std::optional<std::string> pendingTake = project->pendingVoiceFile;
    if (!pendingTake && project->recordingPending)
        pendingTake = project->voiceFile;
    if (pendingTake && std::find(sources.begin(), sources.end(), *pendingTake) == sources.end())
        sources.push_back(*pendingTake);
    std::optional<std::filesystem::path> music;
    if (project->musicFile)
        music = *folder() / *project->musicFile;

    (void)QtConcurrent::run([projectFolder = *folder(), sources, music, recover, notifyRecovery,
                             pendingTake, studio = QPointer<Studio>(this)] {
        Result<ProjectPeaks> peaks = computeProjectPeaks(projectFolder, sources, music);
        runOnMainThread([studio, peaks, recover, notifyRecovery, pendingTake] {
            if (studio)
                studio->applyPeaks(peaks, recover, notifyRecovery, pendingTake);
        });
    });
}

void Studio::applyPeaks(const Result<ProjectPeaks>& result, bool recover, bool notifyRecovery,
                        const std::optional<std::string>& pendingTake)
{
    if (!result) {
        // The caches stay, and so does a pending take, for a later attempt.
        message = "No se pudo leer el audio: " + result.error().description;
        busy = false;
        return;
    }
    const ProjectPeaks& peaks = result.value();
    std::map<std::string, std::vector<float>> envelopes;
    std::map<std::string, double> durations;
    for (const auto& [name, waveform] : peaks.voices) {
        envelopes[name] = waveform.peaks;
        durations[name] = waveform.duration;
    }
    voiceWaveforms = std::move(envelopes);
    sourceDurations = std::move(durations);
    std::vector<float> legacyVoice;
    if (project->voiceFile)
        if (auto found = peaks.voices.find(*project->voiceFile); found != peaks.voices.end())
            legacyVoice = found->second.peaks;
    voicePeaks = std::move(legacyVoice);
    musicPeaks = peaks.music.peaks;
    musicDuration = peaks.music.duration;

    if (recover && pendingTake) {
        if (auto take = peaks.voices.find(*pendingTake); take != peaks.voices.end()) {
            const double length = take->second.duration;
            project.mutate([&](PodcastProject& document) {
                if (document.pendingVoiceFile) {
                    document.insertTake(*pendingTake, length, document.pendingStart.value_or(0.0),
                                        Uuid::random());
                } else {
                    document.segments.clear();
                    if (length > 0) {
                        Segment whole;
                        whole.start = 0;
                        whole.duration = length;
                        whole.file = *pendingTake;
                        document.segments.push_back(whole);
                    }
                }
                document.recordingPending = false;
                document.pendingVoiceFile.reset();
                document.pendingStart.reset();
            });
            if (notifyRecovery)
                message = "Se recuperaron " +
                          std::to_string(static_cast<long long>(std::trunc(length))) +
                          " segundos de la grabación interrumpida.";
        }
    }
    position = std::clamp(position(), 0.0, std::max(duration(), 0.0));
    save();
    busy = false;
}

} // namespace tw
