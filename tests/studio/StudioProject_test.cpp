#include "studio/Studio.hpp"

#include "model/ProjectJson.hpp"
#include "support/HostileFiles.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <future>
#include <thread>

namespace tw {
namespace {

using testing::countFiles;
using testing::makeTone;
using testing::readProject;
using testing::StudioFixture;
using testing::TempFolder;
using testing::writeProject;

PodcastProject documentWith(float voiceVolume, std::optional<double> zoom = std::nullopt,
                            std::optional<double> playhead = std::nullopt)
{
    PodcastProject document;
    document.voiceVolume = voiceVolume;
    document.timelineZoom = zoom;
    document.playhead = playhead;
    return document;
}

// A new studio welcomes, names itself after its folder and notifies every assignment. A new
// project needs a free location, starts empty there and keeps only the settings made before; a
// burst of saves writes once after the last; a folder that cannot be written says so once.
TEST(StudioProject, aNewProjectKeepsTheSettingsMadeBeforeItsSavesLandOnceAndOpeningRefusesDamage)
{
    StudioFixture f;
    EXPECT_TRUE(f.studio.showWelcome());
    EXPECT_EQ(f.studio.devices(),
              (std::vector<InputDevice>{{11, "Micrófono USB"}, {22, "Auriculares con micrófono"}}));
    // The clock fires every 0.1 s of virtual time.
    const double created = f.scheduler.now();
    f.scheduler.advance(0.25);
    EXPECT_NEAR(f.studio.previousReelTick, created + 0.2, 1e-9);

    for (auto [folder, title] : {std::pair{"", "Nuevo podcast"},
                                 {"/home/ana/Entrevista.v2.podcastproject/", "Entrevista.v2"},
                                 {"/home/ana/Sin extensión", "Sin extensión"}}) {
        if (*folder)
            f.studio.folder = std::filesystem::path(folder);
        EXPECT_EQ(f.studio.title(), title);
    }
    f.studio.folder = std::nullopt;

    // Every assignment of a published field notifies, also when the value is equal.
    f.notifications.clear();
    f.studio.position = 0.0;
    f.studio.position = 0.0;
    f.studio.project.mutate([](PodcastProject&) {});
    EXPECT_EQ(f.count(StudioField::position), 2);
    EXPECT_EQ(f.count(StudioField::project), 1);
    EXPECT_EQ(f.count(StudioField::zoom), 0);
    f.studio.save();                     // without a folder: nothing
    EXPECT_FALSE(f.studio.newProject()); // cancelled
    EXPECT_EQ(f.host.lastNewProjectTitle, "Crear proyecto de podcast");
    EXPECT_EQ(f.host.lastNewProjectName, "Mi podcast.podcastproject");
    // A taken location, and one below a regular file, which cannot hold the Media folder.
    testing::writeFile(f.temp / "taken" / "project.json", "{}");
    for (auto [location, message] :
         {std::pair{f.temp / "taken", projectLocationTakenError().description},
          {f.temp / "taken" / "project.json" / "x", systemError(ENOTDIR).description}}) {
        f.host.newProjectAnswers = {location};
        f.studio.message = std::nullopt;
        EXPECT_FALSE(f.studio.newProject());
        EXPECT_EQ(f.studio.message(), message);
    }
    f.studio.busy = true;
    f.host.newProjectAnswers = {f.folder};
    EXPECT_FALSE(f.studio.newProject());
    f.studio.busy = false;
    f.settle();
    EXPECT_FALSE(f.studio.folder() || f.settings.value("lastProject") || f.studio.lastSaved());
    EXPECT_TRUE(f.studio.showWelcome());

    // Settings changed before the first folder belong to it; the music file is no setting.
    VoiceTreatment treatment;
    treatment.preset = Preset::femaleRadio;
    f.studio.project.mutate([&](PodcastProject& p) {
        p.musicVolume = 0.5f;
        p.voiceVolume = 0.9f;
        p.fadeIn = 2;
        p.fadeOut = 3;
        p.treatment = treatment;
        p.musicFile = "Media/music-X.mp3";
    });
    PodcastProject expected = f.studio.project();
    f.studio.position = 12;
    f.studio.checkpoint();
    f.studio.saveProject();
    EXPECT_EQ(f.studio.folder(), f.folder);
    EXPECT_EQ(f.studio.position(), 0);
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_TRUE(f.studio.ensureProject()); // with a folder it asks nothing
    EXPECT_EQ(f.host.newProjectRequests, 4);
    f.settle();
    expected.musicFile.reset();
    expected.playhead = 0.0;
    expected.timelineZoom = 30.0;
    EXPECT_EQ(readProject(f.folder), expected);
    EXPECT_EQ(f.settings.value("lastProject"), f.folder.string());
    EXPECT_EQ(f.studio.recentProjectURL(), f.folder);
    std::filesystem::remove(f.folder / "project.json");
    EXPECT_FALSE(f.studio.recentProjectURL());

    // A second new project starts from the defaults.
    f.host.newProjectAnswers = {f.temp / "second"};
    ASSERT_TRUE(f.studio.newProject());
    EXPECT_EQ(f.studio.project->musicVolume, 0.35f);
    EXPECT_FALSE(f.studio.project->treatment);

    // A burst of saves writes once after the last.
    f.studio.message = std::nullopt; // from the refused location above
    ASSERT_TRUE(f.open(documentWith(1.0f)));
    const int before = f.savesAfter(0);
    for (int call = 0; call < 10; ++call) {
        f.studio.zoom = 40.0 + call;
        f.studio.scheduleSave();
        EXPECT_EQ(f.savesAfter(call < 9 ? 0.1 : 0), before) << call;
    }
    EXPECT_EQ(f.savesAfter(0.399), before);
    EXPECT_EQ(f.savesAfter(0.002), before + 1);
    EXPECT_EQ(readProject(f.folder).timelineZoom, 49.0);
    EXPECT_EQ(f.savesAfter(5), before + 1);

    // Saves queued behind a busy disk become one write of the newest document.
    std::promise<void> diskFree;
    f.studio.projectWriter.async([busy = diskFree.get_future().share()] { busy.wait(); });
    for (int move = 1; move <= 50; ++move) { // a volume drag saving on every movement
        f.studio.project.mutate([&](PodcastProject& p) { p.musicVolume = move / 100.0f; });
        f.studio.save();
    }
    diskFree.set_value();
    EXPECT_EQ(f.savesAfter(0), before + 2);
    EXPECT_EQ(readProject(f.folder).musicVolume, 0.5f);
    f.studio.project.mutate([](PodcastProject& p) { p.musicVolume = 0.25f; });
    EXPECT_TRUE(f.studio.saveAndWait());
    EXPECT_EQ(readProject(f.folder).musicVolume, 0.25f);

    f.studio.lastSaved = std::nullopt;
    f.studio.save();
    f.studio.flushSaves(); // written, but its result not yet handed back
    f.studio.folder = f.temp / "other";
    QCoreApplication::processEvents();
    EXPECT_FALSE(f.studio.lastSaved());

    // A folder that cannot be written says so once, and the project can be saved as a copy.
    const auto& temp = f.temp;
    const auto folder = f.folder;
    makeTone(folder / "Media" / "voice-A.wav", 0.5);
    ASSERT_TRUE(f.openAndWait(folder));
    f.settle(); // the save into the vanished folder above has failed and said so
    f.studio.message = std::nullopt;
    const auto savedAt = f.studio.lastSaved();
    ASSERT_TRUE(savedAt);

    // A regular file where the folder was: even root cannot write below it.
    std::filesystem::rename(folder, temp / "aside");
    testing::writeFile(folder, "x");
    f.studio.project.mutate([](PodcastProject& p) { p.voiceVolume = 0.25f; });
    for (int attempt = 0; attempt < 3; ++attempt) {
        f.studio.save();
        f.settle();
        if (attempt == 0)
            EXPECT_EQ(f.studio.message(),
                      "No se pudo guardar el proyecto: " + systemError(ENOTDIR).description +
                          "\nLos cambios no se pueden guardar en esta carpeta: usa «Guardar una "
                          "copia…» en el menú Archivo para seguir en otro lugar.");
        else
            EXPECT_FALSE(f.studio.message()); // told once, not at every edit
        f.studio.message = std::nullopt;
    }
    EXPECT_EQ(f.studio.lastSaved(), savedAt);
    EXPECT_FALSE(f.studio.saveAndWait());

    std::filesystem::remove(folder);
    std::filesystem::rename(temp / "aside", folder);
    EXPECT_EQ(readProject(folder).voiceVolume, 1.0f); // the old content survived
    // The copy holds the document as it is now and the media, and work goes on there.
    f.host.newProjectAnswers = {folder / "inside", folder, temp / "copy"};
    for (int attempt = 0; attempt < 3; ++attempt)
        f.studio.saveCopy();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.message(), "Elige un lugar fuera de la carpeta del proyecto.\n" +
                                      projectLocationTakenError().description);
    f.settle();
    EXPECT_EQ(f.studio.folder(), temp / "copy");
    EXPECT_EQ(readProject(temp / "copy").voiceVolume, 0.25f);
    EXPECT_EQ(std::filesystem::file_size(temp / "copy" / "Media" / "voice-A.wav"),
              std::filesystem::file_size(folder / "Media" / "voice-A.wav"));
    EXPECT_NE(f.studio.lastSaved(), savedAt);
    EXPECT_EQ(countFiles(temp.path(), "."), 0); // no staging left

    // A save handed back after its studio is gone does nothing.
    auto studio = std::make_unique<Studio>(f.environment());
    studio->folder = f.temp / "gone";
    std::filesystem::create_directories(f.temp / "gone");
    studio->position = 7.0;
    studio->save();
    studio.reset(); // the writer finishes its job; the hand-back is still queued
    QCoreApplication::processEvents();
    EXPECT_EQ(readProject(f.temp / "gone").playhead, 7.0);

    // Opening clamps the zoom, clears the history, waits out recording and busy for the last
    // request, and refuses damaged documents.
    f.studio.message = std::nullopt;
    f.studio.checkpoint(); // a history that opening must clear
    f.studio.selection = TimeRange{1, 2};
    for (auto [zoom, shown] : {std::pair{std::optional(0.5), 2.0},
                               {std::optional(1000.0), 300.0},
                               {std::optional<double>(), 30.0}}) {
        ASSERT_TRUE(f.open(documentWith(0.5f, zoom, 3.0)));
        EXPECT_EQ(f.studio.zoom(), shown);
    }
    EXPECT_FALSE(f.studio.showWelcome());
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_FALSE(f.studio.selection());
    // The play head is clamped into the (empty) programme by the peak loading.
    EXPECT_EQ(f.studio.position(), 0);

    const auto a = f.temp / "a", b = f.temp / "b";
    writeProject(a, documentWith(0.1f));
    writeProject(b, documentWith(0.2f));
    f.studio.recording = true;
    f.studio.openProject(a);
    EXPECT_FALSE(f.studio.pendingOpenURL);
    f.studio.recording = false;
    f.studio.busy = true;
    f.studio.openProject(a);
    f.studio.openProject(b);
    f.studio.drainPendingOpen(); // still busy: nothing happens
    EXPECT_EQ(f.studio.folder(), f.folder);
    f.studio.busy = false;
    f.studio.drainPendingOpen();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.folder(), b);
    EXPECT_EQ(f.studio.project->voiceVolume, 0.2f);
    EXPECT_FALSE(f.studio.pendingOpenURL);

    // The open panel: not shown while busy, cancel does nothing, a choice opens.
    f.studio.busy = true;
    f.host.openAnswers = {a};
    f.studio.open();
    EXPECT_EQ(f.host.openRequests, 0);
    f.studio.busy = false;
    f.host.openAnswers = {std::nullopt, a};
    f.studio.open();
    EXPECT_EQ(f.studio.folder(), b);
    f.studio.open();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.folder(), a);

    // A damaged document leaves the open project, its folder and histories as they were.
    f.studio.checkpoint();
    f.studio.project.mutate([](PodcastProject& p) { p.musicVolume = 0.1f; });
    const PodcastProject open = f.studio.project();
    const auto undo = f.studio.undoStack();

    const std::string half = encode(documentWith(0.3f)).value().substr(0, 20);
    testing::writeFile(f.temp / "truncated" / "project.json", half);
    std::filesystem::create_directories(f.temp / "empty");
    // Hostile documents: refused at once, never read whole, never waited on.
    testing::writeFile(f.temp / "huge" / "project.json", "{}");
    std::filesystem::resize_file(f.temp / "huge/project.json", 1'500'000'000); // sparse
    std::vector<std::pair<std::string, std::string>> cases = {
        {"truncated", decode(half).error().description},
        {"missing", (f.temp / "missing").string() + ": la carpeta no existe."},
        {"empty", (f.temp / "empty").string() + ": falta project.json en la carpeta."},
        {"huge", "El proyecto ocupa más de 64 MiB y no se puede leer."},
    };
    std::vector<std::filesystem::path> fifos;
    for (const auto& special : testing::specialFiles()) {
        testing::makeSpecialFile(f.temp / special.kind / "project.json", special.kind);
        fifos.push_back(f.temp / special.kind / "project.json");
        cases.push_back({special.kind, "No se puede leer «project.json»: " + special.message});
    }
    for (const auto& [folder, message] : cases) {
        SCOPED_TRACE(folder);
        f.studio.message = std::nullopt;
        testing::FifoWatchdog watchdog(fifos);
        f.studio.openProject(f.temp / folder);
        EXPECT_TRUE(watchdog.dismiss()) << "it blocked the main thread";
        EXPECT_FALSE(f.studio.busy());
        EXPECT_EQ(f.studio.message(), message);
        EXPECT_EQ(f.studio.folder(), a);
        EXPECT_EQ(f.studio.project(), open);
        EXPECT_EQ(f.studio.undoStack(), undo);
    }

    // Opening reads after queued writes, from empty caches, and clears stale temporaries.
    const auto other = f.temp / "other";
    PodcastProject withMusic = documentWith(1.0f);
    withMusic.musicFile = "Media/music.wav";
    makeTone(f.folder / "Media" / "music.wav", 2);
    f.studio.message = std::nullopt;
    ASSERT_TRUE(f.open(withMusic));
    ASSERT_FALSE(f.studio.musicPeaks->empty());
    PodcastProject unreadable = documentWith(1.0f);
    unreadable.segments = {testing::placedClip(0, 1, "Media/absent.wav")};
    writeProject(other, unreadable);
    const std::string uuid = Uuid::random().text();
    for (const std::string& name : std::vector<std::string>{
             ".project.json.Ab12Cd", ".project.json.bak", ".project.json.Ab12Cd7",
             "Media/.paste-1.wav." + uuid, "Media/.notes." + uuid.substr(1), "Media/paste-2.wav"})
        testing::writeFile(other / name, "x");

    // An edit whose write is still queued behind a slow one, then the same folder again.
    f.studio.projectWriter.async(
        [] { std::this_thread::sleep_for(std::chrono::milliseconds(200)); });
    f.studio.project.mutate([](PodcastProject& p) { p.voiceVolume = 0.3f; });
    f.studio.save();
    ASSERT_TRUE(f.openAndWait(f.folder));
    EXPECT_EQ(f.studio.project->voiceVolume, 0.3f);
    EXPECT_EQ(f.saved().voiceVolume, 0.3f);

    // A project whose audio cannot be read shows nothing of the previous one.
    ASSERT_TRUE(f.openAndWait(other));
    EXPECT_TRUE(f.studio.message());
    EXPECT_TRUE(f.studio.musicPeaks->empty());
    EXPECT_EQ(f.studio.duration(), 1);
    // Only what the writers leave half done is removed, not names that merely look alike.
    EXPECT_FALSE(std::filesystem::exists(other / ".project.json.Ab12Cd"));
    EXPECT_EQ(countFiles(other, ".project.json."), 2);
    EXPECT_EQ(countFiles(other / "Media", ""), 2);
}

} // namespace
} // namespace tw
