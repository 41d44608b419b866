#include "studio/Studio.hpp"

#include "model/ProjectJson.hpp"
#include "support/HostileFiles.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

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
using testing::writeProjectText;

PodcastProject documentWith(float voiceVolume, std::optional<double> zoom = std::nullopt,
                            std::optional<double> playhead = std::nullopt)
{
    PodcastProject document;
    document.voiceVolume = voiceVolume;
    document.timelineZoom = zoom;
    document.playhead = playhead;
    return document;
}

TEST(StudioProject, creationStartsWithTheWelcomeScreenTheDevicesAndAClockAndEveryAssignmentNotifies)
{
    StudioFixture f;
    EXPECT_TRUE(f.studio.showWelcome());
    // The devices are listed (again only on request, as the input picker's test shows).
    EXPECT_EQ(f.studio.devices(),
              (std::vector<InputDevice>{{11, "Micrófono USB"}, {22, "Auriculares con micrófono"}}));
    EXPECT_EQ(f.studio.previousReelTick, f.scheduler.now());

    // The clock fires every 0.1 s of virtual time.
    const double created = f.scheduler.now();
    f.scheduler.advance(0.25);
    EXPECT_NEAR(f.studio.previousReelTick, created + 0.2, 1e-9);
    f.scheduler.advance(0.05);
    EXPECT_NEAR(f.studio.previousReelTick, created + 0.3, 1e-9);

    // The title is the folder's name without its extension.
    for (auto [folder, title] : {std::pair{"", "Nuevo podcast"},
                                 {"/home/ana/Mi podcast.podcastproject", "Mi podcast"},
                                 {"/home/ana/Entrevista.v2.podcastproject/", "Entrevista.v2"},
                                 {"/home/ana/Sin extensión", "Sin extensión"},
                                 {"/home/ana/v1.2.podcastproject", "v1.2"}}) {
        if (*folder)
            f.studio.folder = std::filesystem::path(folder);
        EXPECT_EQ(f.studio.title(), title);
    }

    // Every assignment of a published field notifies, also when the value is equal.
    f.notifications.clear();
    f.studio.position = 0.0;
    f.studio.position = 0.0;
    f.studio.message = std::nullopt;
    f.studio.project.mutate([](PodcastProject&) {});
    f.studio.busy = false;
    f.studio.busy = true;
    f.studio.busy = false;
    EXPECT_EQ(f.count(StudioField::position), 2);
    EXPECT_EQ(f.count(StudioField::message), 1);
    EXPECT_EQ(f.count(StudioField::project), 1);
    EXPECT_EQ(f.count(StudioField::busy), 3);
    EXPECT_EQ(f.count(StudioField::zoom), 0);
}

TEST(StudioProject, openingRestoresPlayheadAndClampsTheZoom)
{
    StudioFixture f;
    f.studio.checkpoint(); // a history that opening must clear
    f.studio.selection = TimeRange{1, 2};
    for (auto [zoom, shown] : {std::pair{std::optional(0.5), 2.0},
                               {std::optional(1000.0), 300.0},
                               {std::optional<double>(), 30.0}}) {
        ASSERT_TRUE(f.open(documentWith(0.5f, zoom, 3.0)));
        EXPECT_EQ(f.studio.zoom(), shown);
    }
    EXPECT_FALSE(f.studio.showWelcome());
    EXPECT_EQ(f.studio.folder(), f.folder);
    EXPECT_EQ(f.studio.project->voiceVolume, 0.5f);
    EXPECT_TRUE(f.studio.undoStack->empty());
    EXPECT_FALSE(f.studio.selection());
    // The play head is clamped into the (empty) programme by the peak loading.
    EXPECT_EQ(f.studio.position(), 0);
}

TEST(StudioProject, aDamagedDocumentLeavesTheOpenProjectFolderAndHistoriesAsTheyWere)
{
    TempFolder temp;
    const auto good = temp / "good.podcastproject";
    writeProject(good, documentWith(0.8f));

    PodcastProject clip = documentWith(0.3f);
    clip.segments = {testing::placedClip(0, 2, "Media/voice-A.caf")};
    const std::string full = encode(clip).value();
    writeProjectText(temp / "truncated", full.substr(0, full.size() / 2));
    PodcastProject future = documentWith(0.3f);
    future.version = 2;
    writeProject(temp / "future", future);
    PodcastProject escaping = clip;
    escaping.segments[0].file = "Media/../../outside.caf";
    writeProject(temp / "escaping", escaping);
    std::filesystem::create_directories(temp / "empty");
    writeProject(temp / "absurd", documentWith(0.3f, std::nullopt, 1.5e308));
    // Hostile documents: refused at once, never read whole, never waited on.
    writeProjectText(temp / "huge", "{}");
    std::filesystem::resize_file(temp / "huge/project.json", 1'500'000'000); // sparse
    std::vector<std::filesystem::path> fifos;
    for (const auto& special : testing::specialFiles()) {
        testing::makeSpecialFile(temp / special.kind / "project.json", special.kind);
        fifos.push_back(temp / special.kind / "project.json");
    }

    StudioFixture f;
    ASSERT_TRUE(f.openAndWait(good));
    f.studio.checkpoint();
    f.studio.project.mutate([](PodcastProject& p) { p.musicVolume = 0.1f; });
    const PodcastProject open = f.studio.project();
    const auto undo = f.studio.undoStack();

    struct Case {
        std::string folder;
        std::string message;
    };
    std::vector<Case> cases = {
        {"truncated", decode(full.substr(0, full.size() / 2)).error().description},
        {"future", "Versión de proyecto no compatible."},
        {"escaping", "Ruta de audio inválida."},
        {"missing", (temp / "missing").string() + ": la carpeta no existe."},
        {"empty", (temp / "empty").string() + ": falta project.json en la carpeta."},
        {"absurd", "El número de \"playhead\" está fuera de rango (1.5e+308)."},
        {"huge", "El proyecto ocupa más de 64 MiB y no se puede leer."},
    };
    for (const auto& special : testing::specialFiles())
        cases.push_back({special.kind, "No se puede leer «project.json»: " + special.message});
    for (const auto& damaged : cases) {
        f.studio.message = std::nullopt;
        testing::FifoWatchdog watchdog(fifos);
        f.studio.openProject(temp / damaged.folder);
        EXPECT_TRUE(watchdog.dismiss()) << damaged.folder << " blocked the main thread";
        EXPECT_FALSE(f.studio.busy()) << damaged.folder;
        EXPECT_EQ(f.studio.message(), damaged.message) << damaged.folder;
        EXPECT_FALSE(damaged.message.empty());
        EXPECT_EQ(f.studio.folder(), good) << damaged.folder;
        EXPECT_EQ(f.studio.project(), open) << damaged.folder;
        EXPECT_EQ(f.studio.undoStack(), undo) << damaged.folder;
    }
}

TEST(StudioProject, openingReadsAfterQueuedWritesFromEmptyCachesAndClearsStaleTemporaries)
{
    TempFolder temp;
    const auto a = temp / "a";
    const auto b = temp / "b";
    PodcastProject withMusic = documentWith(1.0f);
    withMusic.musicFile = "Media/music.wav";
    makeTone(a / "Media" / "music.wav", 2);
    writeProject(a, withMusic);
    PodcastProject unreadable = documentWith(1.0f);
    unreadable.segments = {testing::placedClip(0, 1, "Media/absent.wav")};
    writeProject(b, unreadable);
    const std::string uuid = Uuid::random().text();
    for (const std::string& name : std::vector<std::string>{
             ".project.json.Ab12Cd", ".project.json.bak", ".project.json.Ab12Cd7",
             "Media/.paste-1.wav." + uuid, "Media/.notes." + uuid.substr(1), "Media/paste-2.wav"})
        testing::writeFile(b / name, "x");
    StudioFixture f;
    ASSERT_TRUE(f.openAndWait(a));
    ASSERT_FALSE(f.studio.musicPeaks->empty());

    // An edit whose write is still queued behind a slow one, then the same folder again.
    f.studio.projectWriter.async(
        [] { std::this_thread::sleep_for(std::chrono::milliseconds(200)); });
    f.studio.project.mutate([](PodcastProject& p) { p.voiceVolume = 0.3f; });
    f.studio.save();
    ASSERT_TRUE(f.openAndWait(a));
    EXPECT_EQ(f.studio.project->voiceVolume, 0.3f);
    f.settle();
    EXPECT_EQ(readProject(a).voiceVolume, 0.3f);

    // A project whose audio cannot be read shows nothing of the previous one.
    ASSERT_TRUE(f.openAndWait(b));
    EXPECT_TRUE(f.studio.message());
    EXPECT_TRUE(f.studio.musicPeaks->empty());
    EXPECT_EQ(f.studio.musicDuration(), 0);
    EXPECT_EQ(f.studio.duration(), 1);
    // Only what the writers leave half done is removed, not names that merely look alike.
    EXPECT_FALSE(std::filesystem::exists(b / ".project.json.Ab12Cd"));
    EXPECT_EQ(countFiles(b, ".project.json."), 2);
    EXPECT_EQ(countFiles(b / "Media", ""), 2);
}

TEST(StudioProject, openIsIgnoredWhileRecordingAndDeferredWhileBusyKeepingOnlyTheLastRequest)
{
    TempFolder temp;
    writeProject(temp / "a", documentWith(0.1f));
    writeProject(temp / "b", documentWith(0.2f));
    writeProject(temp / "c", documentWith(0.3f));
    StudioFixture f;

    f.studio.recording = true;
    f.studio.openProject(temp / "a");
    EXPECT_FALSE(f.studio.folder());
    EXPECT_FALSE(f.studio.pendingOpenURL);
    f.studio.recording = false;

    f.studio.busy = true;
    f.studio.openProject(temp / "a");
    f.studio.openProject(temp / "b");
    f.studio.drainPendingOpen(); // still busy: nothing happens
    EXPECT_FALSE(f.studio.folder());
    f.studio.busy = false;
    f.studio.drainPendingOpen();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.folder(), temp / "b");
    EXPECT_EQ(f.studio.project->voiceVolume, 0.2f);
    EXPECT_FALSE(f.studio.pendingOpenURL);
    f.studio.drainPendingOpen(); // nothing left to open
    EXPECT_EQ(f.studio.folder(), temp / "b");

    // The open panel: refused while busy, cancel does nothing, a choice opens.
    f.studio.busy = true;
    f.host.openAnswers = {temp / "c"};
    f.studio.open();
    EXPECT_EQ(f.host.openRequests, 0);
    f.studio.busy = false;
    f.host.openAnswers = {std::nullopt};
    f.studio.open();
    EXPECT_EQ(f.studio.folder(), temp / "b");
    f.host.openAnswers = {temp / "c"};
    f.studio.open();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.folder(), temp / "c");
}

TEST(StudioProject, newProjectAsksForAFreshLocationAndStartsAnEmptyDocumentThere)
{
    TempFolder temp;
    std::filesystem::create_directories(temp / "taken.podcastproject");
    StudioFixture f;

    EXPECT_FALSE(f.studio.newProject()); // cancelled
    EXPECT_EQ(f.host.lastNewProjectTitle, "Crear proyecto de podcast");
    EXPECT_EQ(f.host.lastNewProjectName, "Mi podcast.podcastproject");
    EXPECT_FALSE(f.studio.message());

    f.host.newProjectAnswers = {temp / "taken.podcastproject"};
    EXPECT_FALSE(f.studio.newProject());
    EXPECT_EQ(f.studio.message(), "Elige un nombre nuevo para evitar reemplazar otro proyecto.");
    EXPECT_FALSE(f.studio.folder());
    EXPECT_TRUE(f.studio.showWelcome());

    // A location below a regular file cannot hold the Media folder.
    writeProjectText(temp / "plainfile-parent", "{}");
    f.host.newProjectAnswers = {temp / "plainfile-parent" / "project.json" / "x"};
    f.studio.message = std::nullopt;
    EXPECT_FALSE(f.studio.newProject());
    EXPECT_EQ(f.studio.message(), systemError(ENOTDIR).description);
    EXPECT_FALSE(f.studio.folder());

    f.studio.busy = true;
    f.host.newProjectAnswers = {temp / "nested" / "Mi podcast.podcastproject"};
    EXPECT_FALSE(f.studio.newProject());
    f.studio.busy = false;
    f.studio.position = 12;
    f.studio.musicDuration = 40;
    f.studio.checkpoint();
    ASSERT_TRUE(f.studio.newProject());
    const auto created = temp / "nested" / "Mi podcast.podcastproject";
    EXPECT_TRUE(std::filesystem::is_directory(created / "Media"));
    EXPECT_EQ(f.studio.folder(), created);
    EXPECT_EQ(f.studio.title(), "Mi podcast");
    EXPECT_FALSE(f.studio.showWelcome());
    EXPECT_EQ(f.studio.position(), 0);
    EXPECT_EQ(f.studio.musicDuration(), 0);
    EXPECT_TRUE(f.studio.undoStack->empty());
    f.settle();
    EXPECT_TRUE(f.studio.lastSaved());
    PodcastProject expected;
    expected.playhead = 0.0;
    expected.timelineZoom = 30.0;
    EXPECT_EQ(readProject(created), expected);
}

TEST(StudioProject, settingsChangedBeforeTheFirstFolderAreCarriedOverButANewProjectStartsFresh)
{
    TempFolder temp;
    StudioFixture f;
    VoiceTreatment treatment;
    treatment.enhance = true;
    treatment.preset = Preset::femaleRadio;
    f.studio.project.mutate([&](PodcastProject& p) {
        p.musicVolume = 0.5f;
        p.voiceVolume = 0.9f;
        p.fadeIn = 2;
        p.fadeOut = 3;
        p.treatment = treatment;
        p.musicFile = "Media/music-X.mp3"; // not a setting: not carried over
    });
    EXPECT_EQ(f.studio.treatment(), treatment);

    f.host.newProjectAnswers = {temp / "first.podcastproject"};
    ASSERT_TRUE(f.studio.ensureProject());
    EXPECT_EQ(f.studio.project->musicVolume, 0.5f);
    EXPECT_EQ(f.studio.project->voiceVolume, 0.9f);
    EXPECT_EQ(f.studio.project->fadeIn, 2);
    EXPECT_EQ(f.studio.project->fadeOut, 3);
    EXPECT_EQ(f.studio.project->treatment, treatment);
    EXPECT_FALSE(f.studio.project->musicFile);
    f.settle();
    EXPECT_EQ(readProject(temp / "first.podcastproject").musicVolume, 0.5f);
    EXPECT_EQ(readProject(temp / "first.podcastproject").treatment, treatment);

    // With a folder, ensureProject asks nothing.
    EXPECT_TRUE(f.studio.ensureProject());
    EXPECT_EQ(f.host.newProjectRequests, 1);

    f.host.newProjectAnswers = {temp / "second.podcastproject"};
    ASSERT_TRUE(f.studio.newProject());
    EXPECT_EQ(f.studio.project->musicVolume, 0.35f);
    EXPECT_FALSE(f.studio.project->treatment);
    EXPECT_EQ(f.studio.treatment(), VoiceTreatment{});
}

TEST(StudioProject, saveProjectMakesAFolderAndTheLastSavedOneIsRecentWhileItHoldsADocument)
{
    StudioFixture f;
    f.studio.save(); // without a folder: nothing
    f.settle();
    EXPECT_FALSE(f.settings.value("lastProject") || f.studio.lastSaved() ||
                 f.studio.recentProjectURL());
    f.host.newProjectAnswers = {f.folder};
    f.studio.saveProject();
    f.settle();
    EXPECT_EQ(f.studio.folder(), f.folder);
    EXPECT_TRUE(std::filesystem::exists(f.folder / "project.json"));
    EXPECT_EQ(f.settings.value("lastProject"), f.folder.string());
    EXPECT_EQ(f.studio.recentProjectURL(), f.folder);
    std::filesystem::remove(f.folder / "project.json");
    EXPECT_FALSE(f.studio.recentProjectURL());
}

TEST(StudioProject, aBurstOfSavesWritesOnceScheduledAfterTheLastOrQueuedWhenTheDiskIsFree)
{
    TempFolder temp;
    writeProject(temp / "p", documentWith(1.0f));
    StudioFixture f;
    ASSERT_TRUE(f.openAndWait(temp / "p"));
    const int before = f.savesAfter(0);
    for (int call = 0; call < 10; ++call) {
        f.studio.zoom = 40.0 + call;
        f.studio.scheduleSave();
        EXPECT_EQ(f.savesAfter(call < 9 ? 0.1 : 0), before) << call;
    }
    EXPECT_EQ(f.savesAfter(0.399), before);
    EXPECT_EQ(f.savesAfter(0.002), before + 1);
    EXPECT_EQ(readProject(temp / "p").timelineZoom, 49.0);
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
    EXPECT_EQ(readProject(temp / "p").musicVolume, 0.5f);
    f.studio.project.mutate([](PodcastProject& p) { p.musicVolume = 0.25f; });
    EXPECT_TRUE(f.studio.saveAndWait());
    EXPECT_EQ(readProject(temp / "p").musicVolume, 0.25f);
}

TEST(StudioProject, aFolderThatCannotBeWrittenSaysSoOnceAndTheProjectCanBeSavedAsACopy)
{
    TempFolder temp;
    const auto folder = temp / "p";
    writeProject(folder, documentWith(1.0f));
    makeTone(folder / "Media" / "voice-A.wav", 0.5);
    StudioFixture f;
    ASSERT_TRUE(f.openAndWait(folder));
    f.settle();
    const auto savedAt = f.studio.lastSaved();
    ASSERT_TRUE(savedAt);

    // A regular file where the folder was: even root cannot write below it.
    std::filesystem::rename(folder, temp / "aside");
    writeProjectText(temp / "blocker", "x");
    std::filesystem::rename(temp / "blocker" / "project.json", folder);
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
}

TEST(StudioProject, aSaveFinishingAfterTheUserSwitchedProjectsLeavesLastSavedAlone)
{
    TempFolder temp;
    writeProject(temp / "a", documentWith(1.0f));
    writeProject(temp / "b", documentWith(1.0f));
    StudioFixture f;
    ASSERT_TRUE(f.openAndWait(temp / "a"));
    f.settle();
    f.studio.lastSaved = std::nullopt;

    f.studio.save();
    f.studio.flushSaves(); // written, but its result not yet handed back
    f.studio.folder = temp / "b";
    QCoreApplication::processEvents();
    EXPECT_FALSE(f.studio.lastSaved());

    f.studio.save();
    f.settle();
    EXPECT_TRUE(f.studio.lastSaved());
}

TEST(StudioProject, aSaveHandedBackAfterTheStudioIsGoneDoesNothing)
{
    testing::coreApplication();
    testing::StudioFakes fakes;
    std::filesystem::create_directories(fakes.folder);
    auto studio = std::make_unique<Studio>(fakes.environment());
    studio->folder = fakes.folder;
    studio->position = 7.0;
    studio->save();
    studio.reset(); // the writer finishes its job; the hand-back is still queued
    QCoreApplication::processEvents();
    EXPECT_EQ(readProject(fakes.folder).playhead, 7.0);
}

} // namespace
} // namespace tw
