#include "studio/Studio.hpp"

#include "studio/MediaCopy.hpp"
#include "support/HostileFiles.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tw {
namespace {

using testing::countFiles;
using testing::makeTone;
using testing::placedClip;
using testing::StudioFixture;
using testing::writeProject;

std::set<std::string> filesOf(const PodcastProject& document)
{
    std::set<std::string> files;
    for (const Segment& segment : document.resolvedSegments())
        if (segment.file)
            files.insert(*segment.file);
    return files;
}

// A paste cut short leaves nothing under a final name and opening clears its remains; imported
// music is checked, copied and removed, and undo restores the file and its envelope; a paste
// copies each source once into another project and none within its own.
TEST(StudioMedia, pastesAndImportsCopyWhatTheyNeedOnceAndACopyCutShortLeavesNothing)
{
    testing::TempFolder forked; // no Studio's threads yet at the fork
    const auto from = forked / "A.podcastproject", to = forked / "B.podcastproject";
    testing::writeFile(from / "Media" / "voice-3.wav", std::string(4 << 20, 'x'));
    writeProject(to, PodcastProject{});
    const std::vector<Segment> clips = {placedClip(0, 2, "Media/voice-3.wav")};
    // The child may write 1 MiB per file: the system kills it in the middle of the copy.
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const rlimit size{1 << 20, 1 << 20};
        const rlimit core{0, 0};
        ::setrlimit(RLIMIT_FSIZE, &size);
        ::setrlimit(RLIMIT_CORE, &core);
        (void)preparePastedClips(clips, from, to);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ) << status;
    EXPECT_EQ(countFiles(to / "Media", "paste-"), 0);

    StudioFixture f;
    const auto& temp = f.temp;
    makeTone(temp / "first.wav", 3);
    makeTone(temp / "second.flac", 5);

    // No folder yet: import creates the project first; a cancelled file choice stops there.
    f.host.newProjectAnswers = {temp / "show.podcastproject"};
    f.studio.importMusic();
    EXPECT_EQ(f.studio.folder(), temp / "show.podcastproject");
    EXPECT_EQ(f.host.audioFileRequests, 1);
    EXPECT_TRUE(f.studio.undoStack->empty());

    f.studio.project.mutate([](PodcastProject& p) {
        p.fadeIn = 1;
        p.musicOffset = 4.0;
        p.fadeOutEnd = 2.0;
    });
    f.host.audioFileAnswers = {temp / "first.wav"};
    f.studio.importMusic();
    ASSERT_TRUE(f.waitIdle());
    const std::optional<std::string> firstName = f.studio.project->musicFile;
    ASSERT_TRUE(firstName && firstName->starts_with("Media/music-") &&
                firstName->ends_with(".wav"));
    EXPECT_TRUE(std::filesystem::exists(*f.studio.folder() / *firstName));
    // A new music starts with the automatic fades, at the timeline's start.
    EXPECT_EQ(std::tuple(f.studio.project->fadeIn, f.studio.project->fadeOut), std::tuple(5, 10));
    EXPECT_FALSE(f.studio.project->musicOffset || f.studio.project->fadeOutEnd);
    EXPECT_NEAR(f.studio.musicDuration(), 3, 1e-6);

    f.host.audioFileAnswers = {temp / "second.flac"};
    f.studio.importMusic();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_NEAR(f.studio.musicDuration(), 5, 1e-6);
    EXPECT_TRUE(std::filesystem::exists(*f.studio.folder() / *firstName)); // the old one stays

    f.studio.undo();
    EXPECT_TRUE(f.studio.busy()); // the envelopes of the restored file are being loaded
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.project->musicFile, firstName);
    EXPECT_NEAR(f.studio.musicDuration(), 3, 1e-6);

    // Files that are no audio: the error, nothing copied, no step.
    const std::string text = "no soy audio";
    testfiles::writeBytes(temp / "notes.mp3", {text.begin(), text.end()});
    testing::makeSpecialFile(temp / "stuck.mp3", "fifo");
    const auto media = *f.studio.folder() / "Media";
    const auto steps = f.studio.undoStack->size();
    for (const char* bad : {"missing.wav", "notes.mp3", "stuck.mp3"}) {
        testing::FifoWatchdog watchdog({temp / "stuck.mp3"});
        f.host.audioFileAnswers = {temp / bad};
        f.studio.importMusic();
        EXPECT_TRUE(watchdog.dismiss()) << bad;
        EXPECT_NE(f.studio.message().value_or("").find(bad), std::string::npos) << bad;
        EXPECT_EQ(f.studio.undoStack->size(), steps);
        EXPECT_EQ(countFiles(media, "music-"), 2);
    }

    // "Quitar música": one step that keeps the file; the play head follows the shorter programme.
    f.studio.project.mutate([](PodcastProject& p) { p.musicOffset = 1.0; });
    f.studio.position = 2.5;
    f.studio.removeMusic();
    EXPECT_FALSE(f.studio.project->musicFile);
    EXPECT_TRUE(f.studio.musicPeaks->empty());
    EXPECT_EQ(f.studio.position(), 0.0);
    EXPECT_EQ(f.studio.undoStack->size(), steps + 1);
    EXPECT_EQ(countFiles(media, "music-"), 2);
    f.studio.undo();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_NEAR(f.studio.musicDuration(), 3, 1e-6);

    // What the paste cut short left is cleared by opening.
    ASSERT_TRUE(f.openAndWait(to));
    EXPECT_EQ(countFiles(to / "Media", ""), 0);

    // Project A: two two-second takes, the first used twice. Project B: empty.
    const auto a = f.folder, b = f.temp / "B.podcastproject";
    makeTone(a / "Media" / "voice-1.wav", 2, 440);
    makeTone(a / "Media" / "voice-2.wav", 2, 660);
    PodcastProject document;
    document.segments = {placedClip(0, 2, "Media/voice-1.wav"),
                         placedClip(2, 2, "Media/voice-2.wav"),
                         placedClip(4, 2, "Media/voice-1.wav")};
    writeProject(b, PodcastProject{});
    f.studio.message = std::nullopt;
    ASSERT_TRUE(f.open(document));
    f.studio.selection = TimeRange{0, 6};
    f.studio.copySelection();
    ASSERT_TRUE(f.studio.canPaste());
    // Copying keeps the selection and takes no step; an empty copy leaves the clipboard alone.
    EXPECT_EQ(f.studio.selection(), (TimeRange{0, 6}));
    f.studio.selection = TimeRange{30, 30};
    f.studio.copySelection();
    EXPECT_EQ(f.studio.audioClipboard->duration, 6);
    EXPECT_TRUE(f.studio.undoStack->empty());
    // Within its own project (the folder spelled differently) a paste copies no file.
    f.studio.audioClipboard->folder = a / "Media" / ".." / ".";
    f.studio.position = 6.0;
    f.studio.pasteClips();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(filesOf(f.studio.project()),
              (std::set<std::string>{"Media/voice-1.wav", "Media/voice-2.wav"}));
    f.settle();

    ASSERT_TRUE(f.openAndWait(b));
    f.studio.pasteClips();
    EXPECT_TRUE(f.studio.busy());
    f.studio.undo(); // refused while the copy runs
    ASSERT_TRUE(f.waitIdle());
    EXPECT_FALSE(f.studio.message());
    EXPECT_EQ(countFiles(b / "Media", "paste-"), 2);
    const std::set<std::string> firstCopies = filesOf(f.studio.project());
    ASSERT_EQ(firstCopies.size(), 2u);
    for (const std::string& file : firstCopies)
        EXPECT_TRUE(f.studio.voiceWaveforms->count(file) && std::filesystem::exists(b / file));
    EXPECT_EQ(f.studio.undoStack->size(), 1u);
    f.settle();
    EXPECT_EQ(filesOf(testing::readProject(b)), firstCopies);

    // The clipboard survives: pasting again copies again, under new names.
    f.studio.position = 6.0;
    f.studio.pasteClips();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(filesOf(f.studio.project()).size(), 4u);

    // A source gone from the other project: the paste says why and changes nothing, though the
    // copy made before the failure stays.
    std::filesystem::remove(a / "Media" / "voice-2.wav");
    const PodcastProject before = f.studio.project();
    const auto pasteSteps = f.studio.undoStack->size();
    f.studio.pasteClips();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.message(),
              "No se pudo pegar el audio: " +
                  systemError(ENOENT, "No se puede leer «voice-2.wav»").description);
    EXPECT_EQ(f.studio.project(), before);
    EXPECT_EQ(f.studio.undoStack->size(), pasteSteps);
    EXPECT_EQ(countFiles(b / "Media", "paste-"), 5);
}
} // namespace
} // namespace tw
