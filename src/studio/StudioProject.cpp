// The project as a document: opening, creating, carrying over, the title, the remembered last
// project and saving through the writer queue. Main thread, except the writer jobs.
#include "base/SettingsStore.hpp"
#include "model/ProjectJson.hpp"
#include "studio/MainThread.hpp"
#include "studio/ProjectLock.hpp"
#include "studio/ProjectWriter.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"

#include <QPointer>

#include <algorithm>
#include <system_error>

namespace tw {

namespace {

constexpr const char* lastProjectKey = "lastProject";
constexpr double seekSaveDelay = 0.4;
constexpr double minimumZoom = 2;
constexpr double maximumZoom = 300;
constexpr double defaultZoom = 30;

Result<PodcastProject> readProject(const std::filesystem::path& folder)
{
    Result<std::string> bytes = readProjectFile(folder);
    if (!bytes)
        return bytes.error();
    Result<PodcastProject> decoded = decode(bytes.value());
    if (!decoded)
        return decoded.error();
    if (Result<void> valid = validateForOpen(decoded.value()); !valid)
        return valid.error();
    return decoded;
}

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
    Result<PodcastProject> opened = readProject(at);
    if (!opened) {
        message = opened.error().description;
        return;
    }
    if (Result<void> locked = moveProjectLock(folderLock, at); !locked) {
        message = locked.error().description;
        return;
    }
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
    voicePeaks = {};
    voiceWaveforms = {};
    selectedClip = std::nullopt;
    musicPeaks = {};
    musicDuration = 0.0;
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
    projectWriter.async([document = savedSnapshot_, savedFolder, studio = QPointer<Studio>(this)] {
        Result<void> written = [&]() -> Result<void> {
            Result<std::string> bytes = encode(*document);
            if (!bytes)
                return bytes.error();
            return writeProjectFile(savedFolder, bytes.value());
        }();
        runOnMainThread([studio, savedFolder, written] {
            if (!studio)
                return;
            if (written)
                studio->finishSave(savedFolder);
            else
                studio->message = "No se pudo guardar el proyecto: " + written.error().description;
        });
    });
}

void Studio::finishSave(const std::filesystem::path& savedFolder)
{
    // A save that completes after the user switched projects says nothing about the new one.
    if (folder() == savedFolder)
        lastSaved = std::chrono::system_clock::now();
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
    if (!folder())
        return "Nuevo podcast";
    std::filesystem::path path = *folder();
    if (!path.has_filename())
        path = path.parent_path(); // a trailing separator
    return path.stem().string();
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
