#include "studio/Studio.hpp"

#include "support/AudioFiles.hpp"
#include "support/HostileFiles.hpp"
#include "support/SoundChecks.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <regex>
#include <sys/wait.h>
#include <unistd.h>

namespace tw {
namespace {

using testfiles::decodeWithFfmpeg;
using testfiles::encodeSamples;
using testing::countFiles;
using testing::placedClip;
using testing::StudioFixture;
using testing::TempFolder;
using testing::writeProject;

// Seconds of silence followed by seconds of a 440 Hz tone at half scale, 48 kHz mono.
std::vector<float> silenceThenTone(double silence, double tone)
{
    std::vector<float> samples(static_cast<std::size_t>(silence * 48000), 0.0f);
    const auto sine = testing::sineTone(440, 48000, static_cast<std::size_t>(tone * 48000));
    samples.insert(samples.end(), sine.begin(), sine.end());
    return samples;
}

// A project whose one clip holds 2 s of silence and then a tone, opened with its peaks, and a
// private temporary folder for the studio's intermediate files while the fixture lives.
struct ExportFixture {
    TempFolder temp;
    std::filesystem::path folder = temp / "Show.podcastproject";
    std::filesystem::path scratch = temp / "tmp";
    StudioFixture f; // its own temporary folder made before the scratch is the system's
    const char* systemTemporary = std::getenv("TMPDIR");
    std::string previous = systemTemporary ? systemTemporary : "";

    explicit ExportFixture(double tone = 3.0)
    {
        std::filesystem::create_directories(scratch);
        ::setenv("TMPDIR", scratch.c_str(), 1);
        std::filesystem::create_directories(folder / "Media");
        encodeSamples(folder / "Media" / "voice-1.wav", silenceThenTone(2.0, tone), 48000, 1);
        PodcastProject document;
        document.segments = {placedClip(0, 2.0 + tone, "Media/voice-1.wav")};
        writeProject(folder, document);
        EXPECT_TRUE(f.openAndWait(folder));
    }
    ~ExportFixture()
    {
        systemTemporary ? ::setenv("TMPDIR", previous.c_str(), 1) : ::unsetenv("TMPDIR");
    }

    // Runs the export to its end, moving virtual time so that the progress poll runs.
    bool exportTo(const std::optional<std::filesystem::path>& destination)
    {
        f.host.exportAnswers.push_back(destination);
        f.studio.exportProject();
        return f.waitUntil([this] {
            f.scheduler.advance(0.2);
            return !f.studio.busy();
        });
    }
};

// The two figures of a completion message ("… · −16,0 LUFS · pico −1,2 dBTP"), as numbers.
std::pair<double, double> messageFigures(const std::string& message)
{
    std::smatch match;
    const std::string text = std::regex_replace(message, std::regex("−"), "-");
    if (!std::regex_search(text, match,
                           std::regex(R"( · (-?\d+),(\d) LUFS · pico (-?\d+),(\d) dBTP$)")))
        return {NAN, NAN};
    const auto number = [&](int whole, int tenth) {
        const double magnitude = std::abs(std::stod(match[whole])) + std::stod(match[tenth]) / 10;
        return match[whole].str()[0] == '-' ? -magnitude : magnitude;
    };
    return {number(1, 2), number(3, 4)};
}

// Each chapter edit is one saved step; the episode and its chapters reach a file of the chosen
// format at the chosen loudness, the audible mix replaces an old file, music that cannot be read
// is left out, and failures say why, leaving nothing behind.
TEST(StudioExport, chaptersEpisodeAndLoudnessReachTheFileAndFailuresLeaveNothingBehind)
{
    ExportFixture x; // exports [1.96, 5]
    Studio& studio = x.f.studio;
    x.f.folder = x.folder;
    studio.togglePlayback();
    ASSERT_TRUE(x.f.waitIdle());
    x.f.play(0.5);
    studio.addChapter();
    EXPECT_TRUE(studio.playing()) << "marking a chapter while listening";
    studio.pause();
    for (double at : {1.0, 3.0, 4.0, 4.0 /* one is there already */}) {
        studio.seek(at);
        studio.addChapter();
    }
    ASSERT_EQ(studio.project->chapters.size(), 4u);
    const Chapter last = studio.project->chapters[3];
    EXPECT_EQ(x.f.saved().chapters, studio.project->chapters);

    const std::size_t steps = studio.undoStack->size();
    studio.moveChapter(last.id, 40); // past the programme: at its end
    EXPECT_EQ(studio.project->chapters[3].time, 5.0);
    studio.renameChapter(last.id, "Final");
    studio.busy = true;
    studio.removeChapter(last.id);
    studio.addChapter();
    studio.busy = false;
    EXPECT_EQ(studio.undoStack->size(), steps + 2);
    studio.removeChapter(last.id);
    EXPECT_EQ(x.f.saved().chapters.size(), 3u);
    studio.undo();
    studio.undo();
    EXPECT_EQ(studio.project->chapters[3].title, "Capítulo 4");
    studio.renameChapter(studio.project->chapters[2].id, "Tema");

    // The episode's cover: refused when it is no image, copied into the project when it is.
    testfiles::makeImage(x.temp / "cover.jpg");
    testing::writeFile(x.temp / "notes.txt", "\xFF\xD8\xFF but no frame");
    studio.setEpisodeDetails({"Episodio 1", "", "", std::nullopt}, x.temp / "notes.txt");
    EXPECT_EQ(studio.message(), "La portada debe ser una imagen JPEG o PNG: notes.txt");
    EXPECT_EQ(countFiles(x.folder / "Media", "cover-"), 0);
    studio.setEpisodeDetails({"Episodio 1", "Ana", "Charlas", std::nullopt}, x.temp / "cover.jpg");
    const std::string cover = studio.project->episode.value().cover.value();
    EXPECT_EQ(testfiles::readBytes(x.folder / cover), testfiles::readBytes(x.temp / "cover.jpg"));

    for (const auto& [name, audio] : {std::pair{"Show.MP3", "mp3,0\n"}, {"Show.m4a", "aac,0\n"}}) {
        studio.message = std::nullopt;
        ASSERT_TRUE(x.exportTo(x.temp / name));
        ASSERT_EQ(studio.message()->rfind("Exportación completada: ", 0), 0u) << *studio.message();
        const auto probed = testfiles::probeExport(x.temp / name);
        // The last chapter before the range moves to its start; the one at its end is left out.
        EXPECT_EQ(probed.chapters, "0.000000,1.040000,Capítulo 2\n1.040000,3.040000,Tema\n");
        EXPECT_EQ(probed.streams.rfind(audio, 0), 0u) << probed.streams;
        EXPECT_NE(probed.streams.find("mjpeg,1\n"), std::string::npos) << probed.streams;
    }
    // A cover gone from the project is said rather than left out.
    std::filesystem::remove(x.folder / cover);
    studio.message = std::nullopt;
    ASSERT_TRUE(x.exportTo(x.temp / "Again.mp3"));
    EXPECT_EQ(studio.message()->rfind("No se pudo exportar: ", 0), 0u) << *studio.message();
    EXPECT_FALSE(std::filesystem::exists(x.temp / "Again.mp3"));
    studio.setEpisodeDetails({"", "", "", std::nullopt});
    EXPECT_EQ(studio.project->episode, std::nullopt) << "nothing left to store";

    // The project's loudness choice sets the file's, and the message gives its figures.
    // A mono programme: the podcast norm is -19 LUFS for it; unnormalised it is its take. The
    // last is treated ("Mejorar voz" and "Nivelar audio"), which drives the take far louder.
    const double take = testfiles::ebur128WithFfmpeg(x.folder / "Media" / "voice-1.wav").integrated;
    for (const auto& [target, lufs, treated] : {std::tuple{LoudnessTarget::podcast, -19.0, false},
                                                std::tuple{LoudnessTarget::none, take, false},
                                                std::tuple{LoudnessTarget::podcast, -19.0, true}}) {
        x.f.studio.setLoudnessTarget(target);
        if (treated)
            x.f.studio.project.mutate([](PodcastProject& document) {
                document.treatment.emplace();
                document.treatment->enhance = true;
                document.treatment->level = true;
            });
        const std::filesystem::path destination = x.temp / "Show.m4a";
        ASSERT_TRUE(x.exportTo(destination));
        const auto [loudness, peak] = messageFigures(x.f.studio.message().value_or(""));
        const auto tool = testfiles::ebur128WithFfmpeg(destination);
        EXPECT_NEAR(loudness, tool.integrated, 0.15) << *x.f.studio.message();
        EXPECT_NEAR(peak, tool.truePeak, 0.3) << *x.f.studio.message();
        EXPECT_NEAR(tool.integrated, lufs, 0.5) << *x.f.studio.message();
        EXPECT_LE(tool.truePeak, -1.0);
    }
    EXPECT_EQ(countFiles(x.scratch, ""), 0) << "no temporary render or excerpt is left";

    // The audible mix replaces an old file; unreadable music is left out; failures say why.
    studio.project.mutate([](PodcastProject& document) { document.treatment.reset(); });
    // What a killed export left is removed; what a running one writes is not.
    const pid_t gone = fork();
    if (gone == 0)
        ::_exit(0);
    ASSERT_EQ(waitpid(gone, nullptr, 0), gone);
    const std::string uuid = "-" + Uuid::random().text() + ".m4a";
    const auto killed = x.scratch / ("tapewright-export-" + std::to_string(gone) + uuid);
    const auto running = x.scratch / ("tapewright-export-1" + uuid);
    testing::writeFile(killed, "partial");
    testing::writeFile(running, "partial");
    const std::filesystem::path show = x.temp / "Show.m4a";
    testfiles::writeBytes(show, {'o', 'l', 'd'});
    ASSERT_TRUE(x.exportTo(show));
    EXPECT_EQ(x.f.host.lastExportName, "Show.m4a");
    EXPECT_FALSE(x.f.studio.exportProgress() || x.f.studio.activeExport);
    EXPECT_FALSE(std::filesystem::exists(killed));
    EXPECT_TRUE(std::filesystem::remove(running));
    EXPECT_EQ(countFiles(x.scratch, ""), 0) << "the temporary file is gone";
    // The range is [1.96, 5]: the tone starts 0.04 s into the file and plays to the end.
    const std::vector<float> decoded = decodeWithFfmpeg(show);
    EXPECT_NEAR(decoded.size() / 48000.0, 3.04, 1024.0 / 48000);
    const auto sound = std::find_if(decoded.begin(), decoded.end(),
                                    [](float sample) { return std::fabs(sample) > 0.05f; });
    EXPECT_NEAR((sound - decoded.begin()) / 48000.0, 0.04, 0.003);
    x.f.studio.message = std::nullopt;

    // Music that cannot be read is left out of playback and export, and the voice stays.
    testing::makeTone(x.folder / "Media" / "music-1.wav", 6, 220);
    x.f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/music-1.wav"; });
    x.f.studio.loadPeaks(false, false);
    ASSERT_TRUE(x.f.waitIdle());
    // The music becomes a FIFO that nobody writes.
    testing::makeSpecialFile(x.folder / "Media" / "music-1.wav", "fifo");
    testing::FifoWatchdog watchdog({x.folder / "Media" / "music-1.wav"});
    const std::string leftOut = "Se ha dejado fuera la música porque no se pudo leer: No se puede "
                                "leer «music-1.wav»: es una tubería (FIFO), no un archivo.";

    x.f.studio.togglePlayback();
    ASSERT_TRUE(x.f.waitIdle());
    EXPECT_TRUE(x.f.studio.playing());
    EXPECT_EQ(x.f.studio.message(), leftOut);
    x.f.studio.pause();
    x.f.studio.message = std::nullopt; // the user closes the alert

    ASSERT_TRUE(x.exportTo(show));
    const std::string done = x.f.studio.message().value_or("");
    EXPECT_EQ(done.rfind("Exportación completada: Show.m4a · ", 0), 0u) << done;
    EXPECT_TRUE(done.ends_with(" dBTP. " + leftOut)) << done;
    EXPECT_TRUE(watchdog.dismiss()) << "a thread blocked on the music";
    x.f.studio.project.mutate([](PodcastProject& p) { p.musicFile.reset(); });

    // A destination whose folder does not exist (the finished file cannot be moved there), and a
    // source deleted after opening (the build fails with the file's description).
    for (const auto& [destination, told] :
         {std::pair{x.temp / "absent" / "Show.m4a", ""}, {x.temp / "Gone.m4a", "voice-1.wav"}}) {
        if (*told)
            std::filesystem::remove(x.folder / "Media" / "voice-1.wav");
        x.f.studio.message = std::nullopt;
        ASSERT_TRUE(x.exportTo(destination));
        const std::string message = x.f.studio.message().value_or("");
        EXPECT_TRUE(message.starts_with("No se pudo exportar: ")) << message;
        EXPECT_NE(message.find(told), std::string::npos) << message;
        EXPECT_FALSE(std::filesystem::exists(destination));
        EXPECT_EQ(countFiles(x.scratch, ""), 0);
    }

    // Nothing audible: its message at once and no file; a cancelled save panel does nothing.
    x.f.studio.message = std::nullopt;
    x.f.studio.project.mutate([](PodcastProject& document) { document.segments[0].gain = 0; });
    x.f.host.exportAnswers = {x.temp / "Muted.m4a", std::nullopt};
    x.f.studio.exportProject();
    EXPECT_FALSE(x.f.studio.busy());
    EXPECT_EQ(x.f.studio.message(),
              "No hay audio audible para exportar. Comprueba los clips y volúmenes.");
    EXPECT_FALSE(std::filesystem::exists(x.temp / "Muted.m4a"));
    x.f.studio.message = std::nullopt;
    x.f.studio.exportProject();
    EXPECT_FALSE(x.f.studio.message());
}

TEST(StudioExport, whileExportingPlaybackAndASecondExportAreRefusedAndCancelLeavesNothing)
{
    ExportFixture x(120.0);
    const std::filesystem::path destination = x.temp / "Long.m4a";
    x.f.host.exportAnswers.push_back(destination);
    x.f.studio.exportProject();
    ASSERT_TRUE(x.f.studio.busy());
    ASSERT_TRUE(x.f.waitUntil([&] { return x.f.studio.activeExport || !x.f.studio.busy(); }));
    ASSERT_TRUE(x.f.studio.activeExport) << x.f.studio.message().value_or("");
    EXPECT_EQ(x.f.studio.exportProgress(), 0.0f);

    x.f.studio.togglePlayback();
    x.f.studio.exportProject();
    EXPECT_EQ(x.f.host.exportRequests, 1);
    EXPECT_FALSE(x.f.studio.playing());

    x.f.studio.cancelExport();
    ASSERT_TRUE(x.f.waitIdle());
    EXPECT_FALSE(x.f.studio.message() || x.f.studio.exportProgress());
    EXPECT_FALSE(std::filesystem::exists(destination));
    EXPECT_EQ(countFiles(x.scratch, ""), 0);
}

} // namespace
} // namespace tw
