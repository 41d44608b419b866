// The project as a document: opening, creating, carrying over, the title, the remembered last
// project and saving through the writer queue. Main thread, except the writer jobs.
#include "base/SettingsStore.hpp"
#include "model/ProjectJson.hpp"
#include "studio/MainThread.hpp"
#include "studio/ProjectLock.hpp"
#include "studio/ProjectTitle.hpp"
#include "studio/ProjectWriter.hpp"
#include "studio/StaleTemporaries.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"

#include <QPointer>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <system_error>
#include <utility>

namespace tw {

struct Studio::QueuedSave {
    QueuedSave(std::filesystem::path at, std::shared_ptr<const PodcastProject> snapshot)
        : folder(std::move(at))
        , document(std::move(snapshot))
    {
    }

    const std::filesystem::path folder;
    std::mutex mutex; // guards the rest, shared with the writer job
    std::shared_ptr<const PodcastProject> document;
    std::vector<std::shared_ptr<Result<void>>> outcomes;
    bool started = false;
};

namespace {

constexpr const char* lastProjectKey = "lastProject";
constexpr double seekSaveDelay = 0.4;
constexpr double minimumZoom = 2;
constexpr double maximumZoom = 300;
constexpr double defaultZoom = 30;

// What keeps a folder from being opened, said with the folder it concerns.
Error unreadableProject(const std::filesystem::path& folder, Error error)
{
    std::error_code ignored;
    const std::string where = folder.string();
    if (error.domain == ErrorDomain::system && error.code == ENOENT)
        error.description = std::filesystem::exists(folder, ignored)
                                ? where + ": falta project.json en la carpeta."
                                : where + ": la carpeta no existe.";
    else if (error.domain == ErrorDomain::system && error.code == ENOTDIR)
        error.description = where + ": no es una carpeta de proyecto.";
    // Any other failure already names the file it could not read.
    return error;
}

Result<PodcastProject> readProject(const std::filesystem::path& folder)
{
    Result<std::string> bytes = readProjectFile(folder);
    if (!bytes)
        return unreadableProject(folder, bytes.error());
    Result<PodcastProject> decoded = decode(bytes.value());
    if (!decoded)
        return decoded.error();
    if (Result<void> valid = validateForOpen(decoded.value()); !valid)
        return valid.error();
    return decoded;
}

const char* const saveFailed = "No se pudo guardar el proyecto: ";
const char* const saveElsewhere = "Los cambios no se pueden guardar en esta carpeta: usa "
                                  "«Guardar una copia…» en el menú Archivo para seguir en otro "
                                  "lugar.";

} // namespace

void Studio::openProject(const std::filesystem::path& at)
{
    assertMainThread();
    if (recording())
        return;
    if (busy()) {
        pendingOpenURL = at; // only the latest request is carried out
        return;
    }
    // Writes still queued may be for this very folder: read only what they leave, or the peak
    // loading would save the stale file back over them.
    flushSaves();
    Result<PodcastProject> opened = readProject(at);
    if (!opened) {
        message = opened.error().description;
        return;
    }
    if (Result<void> locked = moveProjectLock(folderLock, at); !locked) {
        message = locked.error().description;
        return;
    }
    removeStaleTemporaries(at);
    removeStaleExportTemporaries();
    showWelcome = false;
    pause();
    folder = at;
    project = std::move(opened).value();
    undoStack = {};
    redoStack = {};
    selection = std::nullopt;
    selectedClip = std::nullopt;
    position = project->playhead.value_or(0.0);
    zoom = std::clamp(project->timelineZoom.value_or(defaultZoom), minimumZoom, maximumZoom);
    // Nothing of the previous project may show on this one, even if its audio cannot be read.
    clearPeakCaches();
    saveFailureShown_ = false;
    // The peak loading saves the document once it has finished (and clamps the play head).
    loadPeaks(project->recordingPending, true);
}

void Studio::drainPendingOpen()
{
    if (busy() || !pendingOpenURL)
        return;
    const std::filesystem::path at = *pendingOpenURL;
    pendingOpenURL.reset();
    openProject(at);
}

void Studio::open()
{
    if (!idle())
        return;
    if (auto chosen = host_.chooseProjectToOpen())
        openProject(*chosen);
}

bool Studio::newProject()
{
    if (!idle())
        return false;
    const auto location =
        host_.chooseNewProjectLocation("Crear proyecto de podcast", "Mi podcast.podcastproject");
    if (!location || location->empty())
        return false;
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(*location, error))) {
        message = projectLocationTakenError().description;
        return false;
    }
    std::filesystem::create_directories(*location / "Media", error);
    if (error) {
        message = systemError(error.value()).description;
        return false;
    }
    if (Result<void> locked = moveProjectLock(folderLock, *location); !locked) {
        message = locked.error().description;
        return false;
    }
    pause();
    folder = *location;
    project = PodcastProject{};
    clearPeakCaches();
    saveFailureShown_ = false;
    selectedClip = std::nullopt;
    position = 0.0;
    selection = std::nullopt;
    undoStack = {};
    redoStack = {};
    showWelcome = false;
    save();
    return true;
}

bool Studio::ensureProject()
{
    if (folder())
        return true;
    // Settings changed before a folder existed belong to the project the user is starting.
    const PodcastProject before = project();
    if (!newProject())
        return false;
    project.mutate([&](PodcastProject& created) {
        created.treatment = before.treatment;
        created.voiceVolume = before.voiceVolume;
        created.musicVolume = before.musicVolume;
        created.fadeIn = before.fadeIn;
        created.fadeOut = before.fadeOut;
        created.chapters = before.chapters;
        created.episode = before.episode;
    });
    save();
    return true;
}

void Studio::saveProject()
{
    if (!folder())
        ensureProject();
    else
        save();
}

void Studio::save()
{
    queueSave(nullptr);
}

Result<void> Studio::saveAndWait()
{
    if (!folder())
        return systemError(ENOENT);
    auto outcome = std::make_shared<Result<void>>();
    queueSave(outcome);
    flushSaves();
    return *outcome;
}

void Studio::queueSave(const std::shared_ptr<Result<void>>& outcome)
{
    assertMainThread();
    if (!folder())
        return;
    if (project->playhead != position())
        project.mutate([&](PodcastProject& document) { document.playhead = position(); });
    if (project->timelineZoom != zoom())
        project.mutate([&](PodcastProject& document) { document.timelineZoom = zoom(); });
    const std::filesystem::path savedFolder = *folder();
    settings_.setValue(lastProjectKey, savedFolder.string());

    // The after-edit step saves twice in a row (the pause, then the edit); the second save of
    // an unchanged document shares the first one's copy instead of copying a long project again.
    if (!savedSnapshot_ || savedRevision_ != project.revision()) {
        // The previous copy is released on the writer thread, which frees it after its job.
        projectWriter.async([previous = std::move(savedSnapshot_)] {});
        savedSnapshot_ = std::make_shared<const PodcastProject>(project());
        savedRevision_ = project.revision();
    }
    // A save that has not started yet takes the newer document instead, so a drag that saves on
    // every movement writes no faster than the disk takes it.
    if (queuedSave_ && queuedSave_->folder == savedFolder) {
        const std::lock_guard lock(queuedSave_->mutex);
        if (!queuedSave_->started) {
            queuedSave_->document = savedSnapshot_;
            if (outcome)
                queuedSave_->outcomes.push_back(outcome);
            return;
        }
    }
    queuedSave_ = std::make_shared<QueuedSave>(savedFolder, savedSnapshot_);
    if (outcome)
        queuedSave_->outcomes.push_back(outcome);
    projectWriter.async([queued = queuedSave_, studio = QPointer<Studio>(this)] {
        std::shared_ptr<const PodcastProject> document;
        std::vector<std::shared_ptr<Result<void>>> outcomes;
        {
            const std::lock_guard lock(queued->mutex);
            queued->started = true;
            document = std::move(queued->document);
            outcomes = std::move(queued->outcomes);
        }
        Result<void> written = [&]() -> Result<void> {
            Result<std::string> bytes = encode(*document);
            if (!bytes)
                return bytes.error();
            return writeProjectFile(queued->folder, bytes.value());
        }();
        for (const std::shared_ptr<Result<void>>& outcome : outcomes)
            *outcome = written;
        // Whoever waits for an outcome tells its failure itself.
        runOnMainThread([studio, savedFolder = queued->folder, written, report = outcomes.empty()] {
            if (studio && (written || report))
                studio->saveFinished(savedFolder, written);
        });
    });
}

void Studio::saveFinished(const std::filesystem::path& savedFolder, const Result<void>& written)
{
    // A save that completes after the user switched projects says nothing about the new one,
    // but its failure is still told: that project's last changes are not on disk.
    const bool current = folder() == savedFolder;
    if (written) {
        if (current) {
            lastSaved = std::chrono::system_clock::now();
            saveFailureShown_ = false;
        }
        return;
    }
    // Once: in a folder that refuses every write, each edit would otherwise say it again.
    if (current && std::exchange(saveFailureShown_, true))
        return;
    message = saveFailed + written.error().description;
    if (current)
        message = saveElsewhere;
}

void Studio::scheduleSave()
{
    if (seekSaveTask)
        seekSaveTask->cancel();
    seekSaveTask = scheduler_.after(seekSaveDelay, [this] {
        seekSaveTask.reset();
        save();
    });
}

void Studio::flushSaves()
{
    // The finalizer may itself queue a save, so it is drained first.
    recordingFinalizer.sync([] {});
    projectWriter.sync([] {});
}

std::string Studio::title() const
{
    return folder() ? projectTitle(*folder()) : "Nuevo podcast";
}

std::optional<std::filesystem::path> Studio::recentProjectURL() const
{
    const std::optional<std::string> remembered = settings_.value(lastProjectKey);
    if (!remembered)
        return std::nullopt;
    std::error_code error;
    if (!std::filesystem::exists(*remembered + "/project.json", error))
        return std::nullopt;
    return std::filesystem::path(*remembered);
}

} // namespace tw
