// Loading the peak envelopes and source durations of a project in the background, and recovering
// a take that an interrupted recording left pending. Main thread; the batch runs on the pool.
#include "studio/MainThread.hpp"
#include "studio/Studio.hpp"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

// A take file without a single byte never received audio: it is recovered as an empty take
// rather than kept waiting for audio it cannot hold.
Result<Waveform> readTake(const std::filesystem::path& file)
{
    std::error_code error;
    if (std::filesystem::is_regular_file(file, error) &&
        std::filesystem::file_size(file, error) == 0 && !error)
        return Waveform{};
    return waveform(file);
}

} // namespace

std::optional<std::string> Studio::pendingTakeName() const
{
    if (project->pendingVoiceFile)
        return *project->pendingVoiceFile;
    // Projects of the earlier single-file layout recorded straight into the voice file.
    if (project->recordingPending && project->voiceFile)
        return *project->voiceFile;
    return std::nullopt;
}

void Studio::clearPeakCaches()
{
    voicePeaks = {};
    voiceWaveforms = {};
    sourceDurations.clear();
    musicPeaks = {};
    musicDuration = 0.0;
}

void Studio::loadPeaks(bool recover, bool notifyRecovery)
{
    assertMainThread();
    if (!folder())
        return;
    busy = true;
    std::vector<std::string> sources = project->voiceSources();
    // The take is read on its own: no other file may keep it from being recovered.
    const std::optional<std::string> takeName = pendingTakeName();
    if (takeName)
        std::erase(sources, *takeName);
    std::optional<std::filesystem::path> music;
    if (project->musicFile)
        music = *folder() / *project->musicFile;

    (void)QtConcurrent::run([projectFolder = *folder(), sources, music, takeName, recover,
                             notifyRecovery, studio = QPointer<Studio>(this)] {
        LoadedPeaks loaded{computeProjectPeaks(projectFolder, sources, music), takeName,
                           std::nullopt};
        if (takeName)
            loaded.take = readTake(projectFolder / *takeName);
        runOnMainThread([studio, loaded = std::move(loaded), recover, notifyRecovery] {
            if (studio)
                studio->applyPeaks(loaded, recover, notifyRecovery);
        });
    });
}

void Studio::applyPeaks(const LoadedPeaks& loaded, bool recover, bool notifyRecovery)
{
    const Waveform* take = loaded.take && *loaded.take ? &loaded.take->value() : nullptr;
    if (loaded.sources) {
        const ProjectPeaks& peaks = loaded.sources.value();
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
        if (peaks.musicError)
            message = "No se pudo leer el audio: " + peaks.musicError->description;
    } else {
        // The caches stay as they were, for a later attempt.
        message = "No se pudo leer el audio: " + loaded.sources.error().description;
    }
    if (take) {
        voiceWaveforms.mutate([&](auto& envelopes) { envelopes[*loaded.takeName] = take->peaks; });
        sourceDurations[*loaded.takeName] = take->duration;
        if (project->voiceFile == *loaded.takeName)
            voicePeaks = take->peaks;
    }

    const bool recovering = recover && project->recordingPending;
    const bool recovered = recovering && (take || !loaded.takeName);
    if (recovering && !recovered) {
        // Kept pending, on disk too: the next open or the record key tries again.
        message = "No se pudo leer el audio: " + loaded.take->error().description;
        message = "La grabación interrumpida " + *loaded.takeName +
                  " se conserva sin recuperar: se intentará de nuevo al abrir el proyecto o al "
                  "pulsar Grabar.";
    } else if (recovered) {
        recoverTake(loaded.takeName, take, notifyRecovery);
    }
    if (!loaded.sources && !recovered) {
        busy = false;
        return;
    }
    position = std::clamp(position(), 0.0, std::max(duration(), 0.0));
    save();
    busy = false;
}

void Studio::recoverTake(const std::optional<std::string>& name, const Waveform* take,
                         bool notifyRecovery)
{
    // Without a take file named there is nothing to insert; the mark alone is cleared.
    if (take)
        project.mutate([&](PodcastProject& document) {
            if (document.pendingVoiceFile) {
                document.insertTake(*name, take->duration, document.pendingStart.value_or(0.0),
                                    Uuid::random());
                return;
            }
            // The earlier single-file layout: the take is the whole voice.
            document.segments.clear();
            if (take->duration > 0) {
                Segment whole;
                whole.start = 0;
                whole.duration = take->duration;
                whole.file = *name;
                document.segments.push_back(whole);
            }
        });
    clearPendingMark();
    if (notifyRecovery && take)
        message = "Se recuperaron " +
                  std::to_string(static_cast<long long>(std::trunc(take->duration))) +
                  " segundos de la grabación interrumpida.";
}

} // namespace tw
