// Export of the audible mix as M4A or MP3 (the destination's extension says which), with the
// episode's tags, cover and chapters: a save panel, the bounds from the peak caches, the mix built
// and the cover read in export mode on the thread pool, an export session into a temporary file
// polled every 200 ms, and the finished file moved into place. Main thread.
#include "audio/ExportSession.hpp"
#include "mix/ExportBounds.hpp"
#include "mix/ExportChapters.hpp"
#include "mix/MixBuilder.hpp"
#include "studio/FileMove.hpp"
#include "studio/MainThread.hpp"
#include "studio/StaleTemporaries.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

#include <cctype>
#include <cmath>
#include <string>

namespace tw {

namespace {

constexpr double progressPollInterval = 0.2;
const char* const nothingAudible =
    "No hay audio audible para exportar. Comprueba los clips y volúmenes.";

// " · −16,0 LUFS · pico −1,2 dBTP": the measured figures of the file, a tenth each, with a
// decimal comma; nothing when they could not be measured.
std::string levelsText(const std::optional<Levels>& levels)
{
    if (!levels || !std::isfinite(levels->loudness) || !std::isfinite(levels->truePeak))
        return {};
    return " · " + levelFigure(levels->loudness) + " LUFS · pico " + levelFigure(levels->truePeak) +
           " dBTP";
}

ExportFormat formatOf(const std::filesystem::path& destination)
{
    std::string extension = destination.extension().string();
    for (char& c : extension)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension == ".mp3" ? ExportFormat::mp3 : ExportFormat::m4a;
}

} // namespace

void Studio::exportProject()
{
    if (recording() || busy() || !folder() || !(duration() > 0))
        return;
    const std::optional<std::filesystem::path> destination =
        host_.chooseExportDestination(title() + ".m4a");
    if (!destination)
        return;
    const std::optional<TimeRange> range =
        ExportBounds::audible(project(), voiceWaveforms(), musicPeaks(), musicDuration());
    if (!range) {
        message = nothingAudible;
        return;
    }
    save();
    busy = true;
    pause();

    removeStaleExportTemporaries();
    const EpisodeDetails episode = project->episode.value_or(EpisodeDetails{});
    ExportJob job{*destination,
                  exportTemporaryPath(),
                  *range,
                  {episodeTitle(), episode.author.value_or(""), episode.show.value_or(""), {}, {}},
                  formatOf(*destination),
                  loudnessTarget(),
                  std::nullopt};
    (void)QtConcurrent::run(
        [project = project(), projectFolder = *folder(), job, studio = QPointer<Studio>(this)] {
            auto built =
                std::make_shared<Result<BuiltMix>>(MixBuilder::make(project, projectFolder, false));
            ExportJob read = job;
            if (const auto& cover = project.episode ? project.episode->cover : std::nullopt;
                cover && *built) {
                // A cover that went missing is said, not silently left out of the episode.
                Result<CoverArt> art = readCoverArt(projectFolder / *cover);
                if (art)
                    read.metadata.cover = std::move(art.value());
                else
                    *built = art.error();
            }
            runOnMainThread([studio, built, job = std::move(read)] {
                if (studio)
                    studio->startExport(std::move(*built), job);
                else
                    std::filesystem::remove(job.temporary);
            });
        });
}

void Studio::startExport(Result<BuiltMix> built, const ExportJob& job)
{
    if (!built) {
        finishExport(job, built.error());
        return;
    }
    Result<std::unique_ptr<ExportSession>> created = ExportSession::create(
        std::move(built.value().composition), std::move(built.value().audioMix), job.format);
    if (!created) {
        finishExport(job, created.error());
        return;
    }
    ExportJob running = job;
    running.musicLeftOut = built.value().musicLeftOut;
    // Without the music that was left out, the audible part is the voice's own.
    if (running.musicLeftOut)
        if (auto voice = ExportBounds::audible(project(), voiceWaveforms(), {}, 0.0))
            running.range = *voice;
    activeExport = std::move(created.value());
    activeExport->setOutputPath(job.temporary);
    const MediaTime start = MediaTime::fromSeconds(running.range.lower);
    activeExport->setTimeRange(start, MediaTime::fromSeconds(running.range.upper) - start);
    running.metadata.chapters = exportChapters(project->chapters, running.range);
    activeExport->setMetadata(std::exchange(running.metadata, {})); // the cover is not kept twice
    activeExport->setLoudnessTarget(targetLoudness(job.target, activeExport->channels()));
    exportProgress = 0.0f;
    const QPointer<Studio> studio(this);
    exportPoll = scheduler_.every(progressPollInterval, [studio] {
        if (studio && studio->activeExport)
            studio->exportProgress = studio->activeExport->progress();
    });
    const std::weak_ptr<ExportSession> session = activeExport;
    activeExport->exportAsynchronously([studio, session, running] {
        runOnMainThread([studio, session, running] {
            if (studio && !session.expired() && session.lock() == studio->activeExport)
                studio->exportEnded(running);
        });
    });
}

void Studio::exportEnded(const ExportJob& job)
{
    if (exportPoll) {
        exportPoll->cancel();
        exportPoll.reset();
    }
    switch (activeExport->status()) {
    case ExportSession::Status::cancelled:
        finishExport(job, std::nullopt);
        return;
    case ExportSession::Status::completed:
        if (Result<void> moved = moveIntoPlace(job.temporary, job.destination); !moved) {
            finishExport(job, moved.error());
            return;
        }
        message = "Exportación completada: " + job.destination.filename().string() +
                  levelsText(activeExport->levels()) +
                  (job.musicLeftOut ? ". " + MixBuilder::musicLeftOutText(*job.musicLeftOut)
                                    : std::string());
        finishExport(job, std::nullopt);
        return;
    default:
        finishExport(job, activeExport->error().value_or(exportError(ExportError::failed)));
    }
}

void Studio::finishExport(const ExportJob& job, const std::optional<Error>& failure)
{
    if (exportPoll) {
        exportPoll->cancel();
        exportPoll.reset();
    }
    if (failure)
        message = "No se pudo exportar: " + failure->description;
    busy = false;
    exportProgress = std::nullopt;
    activeExport.reset();
    std::error_code ignored;
    std::filesystem::remove(job.temporary, ignored);
}

void Studio::cancelExport()
{
    if (activeExport)
        activeExport->cancelExport();
}

} // namespace tw
