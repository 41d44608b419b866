// Export of the audible mix as M4A: a save panel, the bounds from the peak caches, the mix built
// in export mode on the thread pool, an export session into a temporary file polled every 200 ms,
// and the finished file moved into place. Main thread.
#include "audio/ExportSession.hpp"
#include "mix/ExportBounds.hpp"
#include "mix/MixBuilder.hpp"
#include "studio/FileMove.hpp"
#include "studio/MainThread.hpp"
#include "studio/StaleTemporaries.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

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
    ExportJob job{*destination, exportTemporaryPath(), *range,
                  title(),      loudnessTarget(),      std::nullopt};
    (void)QtConcurrent::run(
        [project = project(), projectFolder = *folder(), job, studio = QPointer<Studio>(this)] {
            auto built =
                std::make_shared<Result<BuiltMix>>(MixBuilder::make(project, projectFolder, false));
            runOnMainThread([studio, built, job] {
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
        std::move(built.value().composition), std::move(built.value().audioMix));
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
    activeExport->setTitle(job.title);
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
