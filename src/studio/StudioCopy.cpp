// "Guardar una copia…": the project, as it is in memory, copied with its media to a new folder in
// the background, where work then goes on. The way out of a folder that refuses to be saved.
// Main thread; the copy runs on the global thread pool.
#include "model/ProjectJson.hpp"
#include "studio/MainThread.hpp"
#include "studio/ProjectCopy.hpp"
#include "studio/ProjectLock.hpp"
#include "studio/Studio.hpp"
#include "studio/StudioHost.hpp"

#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

namespace tw {

namespace {

const char* const copyFailed = "No se pudo guardar la copia: ";

bool isInside(const std::filesystem::path& place, const std::filesystem::path& folder)
{
    std::error_code error;
    const std::filesystem::path relative =
        std::filesystem::weakly_canonical(place, error)
            .lexically_relative(std::filesystem::weakly_canonical(folder, error));
    return !relative.empty() && *relative.begin() != "..";
}

} // namespace

void Studio::saveCopy()
{
    if (!idle() || !folder())
        return;
    const auto location =
        host_.chooseNewProjectLocation("Guardar una copia", title() + " (copia).podcastproject");
    if (!location || location->empty())
        return;
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(*location, error))) {
        message = projectLocationTakenError().description;
        return;
    }
    if (isInside(*location, *folder())) {
        message = "Elige un lugar fuera de la carpeta del proyecto.";
        return;
    }
    PodcastProject document = project();
    document.playhead = position();
    document.timelineZoom = zoom();
    Result<std::string> bytes = encode(document);
    if (!bytes) {
        message = copyFailed + bytes.error().description;
        return;
    }
    std::vector<std::string> named = document.voiceSources();
    if (document.musicFile)
        named.push_back(*document.musicFile);
    busy = true;
    (void)QtConcurrent::run([from = *folder(), to = *location, named = std::move(named),
                             bytes = std::move(bytes).value(), studio = QPointer<Studio>(this)] {
        Result<void> copied = copyProjectFolder(from, to, named, bytes);
        runOnMainThread([studio, to, copied] {
            if (studio)
                studio->copyFinished(to, copied);
        });
    });
}

void Studio::copyFinished(const std::filesystem::path& copy, const Result<void>& copied)
{
    busy = false;
    if (!copied) {
        message = copyFailed + copied.error().description;
        return;
    }
    // Work goes on in the copy: it is the project now, the one remembered and the one locked.
    if (Result<void> locked = moveProjectLock(folderLock, copy); !locked)
        message = locked.error().description;
    folder = copy;
    saveFailureShown_ = false;
    save();
}

} // namespace tw
