#include "voice/VoiceProcessor.hpp"

#include "audio/AudioFileReader.hpp"
#include "support/AudioFiles.hpp"
#include "support/Treatments.hpp"
#include "voice/VoiceDSP.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>

namespace tw {
namespace {

namespace fs = std::filesystem;

const VoiceTreatment enhanced{.enhance = true};

std::vector<fs::path> filesIn(const fs::path& folder)
{
    std::vector<fs::path> files;
    if (fs::exists(folder))
        for (const auto& entry : fs::directory_iterator(folder))
            files.push_back(entry.path());
    return files;
}

// A spoken-word stand-in: a tone with noise under a syllable-rate envelope, made by sox.
void makeVoice(const fs::path& file, int rate, int channels, double seconds)
{
    testfiles::run("sox -n -r " + std::to_string(rate) + " -c " + std::to_string(channels) +
                   " -b 16 " + testfiles::quoted(file) + " synth " + std::to_string(seconds) +
                   " sine 220 pinknoise mix tremolo 4 90 vol 0.6");
}

// Every setting that changes the sound is in the name: a render is reused only for the very same
// treatment. Settings that sound the same (level false or absent, treble 0 or absent) name alike.
TEST(VoiceProcessor, cacheNameSpellsOutEveryTreatmentSetting)
{
    const struct {
        const char* source;
        VoiceTreatment treatment;
        const char* name;
    } cases[] = {
        {"Media/voice-3.caf",
         {.enhance = true, .treble = 0.0},
         "voice-3-true-false-Podcast masculino-levelfalse-eq0.0-0.0-0.0-bandslegacy-v4.caf"},
        {"Media/voice-ABC.caf",
         {.reduceNoise = true,
          .level = true,
          .bass = 3.5,
          .mid = -2.0,
          .treble = 0.1,
          .preset = Preset::femaleRadio},
         "voice-ABC-false-true-Radio femenina-leveltrue-eq3.5--2.0-0.1-bandslegacy-v4.caf"},
        {"paste-1.m4a",
         {.level = false, .preset = Preset::radio},
         "paste-1-false-false-Radio masculina-levelfalse-eq0.0-0.0-0.0-bandslegacy-v4.caf"},
        {"a.caf",
         {.preset = Preset::femalePodcast},
         "a-false-false-Podcast femenino-levelfalse-eq0.0-0.0-0.0-bandslegacy-v4.caf"},
        {"a.b.caf",
         {.eqBands = {{-12, 1.25, 0.1, 0.0}}},
         "a.b-false-false-Podcast "
         "masculino-levelfalse-eq0.0-0.0-0.0-bands-12.0_1.25_0.1_0.0-v4.caf"},
        {"a.caf",
         {.eqBands = {{}}},
         "a-false-false-Podcast masculino-levelfalse-eq0.0-0.0-0.0-bands-v4.caf"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(VoiceProcessor::cacheName(c.source, c.treatment), c.name);
    // Numbers in the name read back as the same double, so distinct settings never share it.
    for (double value : {0.1 + 0.2, -7.3, 1e-3, 2.5e-7, 123456.789})
        EXPECT_EQ(std::stod(VoiceProcessor::decimalText(value)), value) << value;
}

TEST(VoiceProcessor, preparedRenderIsTheTreatedSourceToItsLengthAndASecondPrepareReusesIt)
{
    testfiles::TempDir project;
    fs::create_directories(project / "Media");
    makeVoice(project / "Media/voice-1.wav", 44100, 2, 2.5);

    auto prepared =
        VoiceProcessor::prepare("Media/voice-1.wav", project.path(), test::fullTreatment());
    ASSERT_TRUE(prepared.ok()) << prepared.error().description;
    EXPECT_EQ(prepared.value(),
              ".Render/" + VoiceProcessor::cacheName("voice-1.wav", test::fullTreatment()));
    const fs::path rendered = project.path() / prepared.value();
    ASSERT_TRUE(fs::is_regular_file(rendered));
    EXPECT_EQ(filesIn(project / ".Render"), std::vector<fs::path>{rendered}) << "no temporary left";

    // The render is the source through the treatment, float at the source's rate and layout.
    std::vector<float> source = testfiles::decodeWithFfmpeg(project / "Media/voice-1.wav");
    VoiceDSP dsp(test::fullTreatment());
    dsp.prepare(44100, 2);
    AudioBufferList list = AudioBufferList::interleaved(source.data(), 2);
    dsp.process(list, static_cast<int>(source.size() / 2));
    auto decoded = AudioFileReader::openWithFfmpeg(rendered);
    ASSERT_TRUE(decoded.ok());
    EXPECT_EQ(decoded.value()->sampleRate(), 44100.0);
    EXPECT_EQ(decoded.value()->channels(), 2);
    EXPECT_EQ(testfiles::decodeWithFfmpeg(rendered), source);

    // Again with the same treatment: the same file, untouched.
    struct stat before {
    }, after{};
    ASSERT_EQ(::stat(rendered.c_str(), &before), 0);
    EXPECT_EQ(
        VoiceProcessor::prepare("Media/voice-1.wav", project.path(), test::fullTreatment()).value(),
        prepared.value());
    ASSERT_EQ(::stat(rendered.c_str(), &after), 0);
    EXPECT_EQ(std::tie(after.st_ino, after.st_mtim.tv_sec, after.st_mtim.tv_nsec),
              std::tie(before.st_ino, before.st_mtim.tv_sec, before.st_mtim.tv_nsec));
    EXPECT_EQ(filesIn(project / ".Render").size(), 1u);

    // Sources of whole blocks or less than one render to their exact length.
    for (int frames : {8192, 8193, 1}) {
        const std::string name = "mono-" + std::to_string(frames) + ".caf";
        testfiles::encodeSamples(project / name, std::vector<float>(std::size_t(frames), 0.3f),
                                 48000, 1, "-c:a pcm_f32le");
        auto made = VoiceProcessor::prepare(name, project.path(), enhanced);
        ASSERT_TRUE(made.ok()) << made.error().description;
        EXPECT_EQ(testfiles::decodeWithFfmpeg(project.path() / made.value()).size(),
                  std::size_t(frames))
            << name;
    }
}

TEST(VoiceProcessor, failuresPassTheUnderlyingErrorOnAndLeaveNoFileUnderTheCacheName)
{
    testfiles::TempDir project;
    fs::create_directories(project / "Media");
    const std::string cache = ".Render/" + VoiceProcessor::cacheName("voice-x.wav", enhanced);

    // A source that is not audio.
    testfiles::writeBytes(project / "Media/voice-x.wav", std::vector<std::uint8_t>(5000, 90));
    auto failed = VoiceProcessor::prepare("Media/voice-x.wav", project.path(), enhanced);
    ASSERT_FALSE(failed.ok());
    EXPECT_EQ(failed.error().domain, "Audio");
    EXPECT_NE(failed.error().description.find("voice-x.wav"), std::string::npos);
    EXPECT_FALSE(fs::exists(project.path() / cache));
    EXPECT_TRUE(filesIn(project / ".Render").empty()) << "the temporary is removed";

    // A .Render that cannot be made: a regular file is in its way.
    makeVoice(project / "Media/voice-x.wav", 48000, 1, 0.5);
    fs::remove_all(project / ".Render");
    testfiles::writeBytes(project / ".Render", {1, 2, 3});
    auto noFolder = VoiceProcessor::prepare("Media/voice-x.wav", project.path(), enhanced);
    ASSERT_FALSE(noFolder.ok());
    EXPECT_EQ(noFolder.error().domain, "System");
    EXPECT_EQ(noFolder.error().description, systemError(noFolder.error().code).description);
    EXPECT_TRUE(fs::is_regular_file(project / ".Render"));
}

// Waits until a temporary render (a UUID name, unlike a finished render's) in folder has grown past
// bytes; the render runs elsewhere.
bool waitForTemporaryRender(const fs::path& folder, std::uintmax_t bytes, pid_t child = 0)
{
    for (;;) {
        for (const fs::path& file : filesIn(folder)) {
            std::error_code code;
            if (file.extension() == ".caf" && !file.stem().string().ends_with("-v4") &&
                fs::file_size(file, code) > bytes && !code)
                return true;
        }
        if (child != 0 && ::waitpid(child, nullptr, WNOHANG) == child)
            return false; // finished before it could be caught
        std::this_thread::yield();
    }
}

// Neither a render killed midway nor one whose source is cut short leaves a file under the cache
// name, and the next prepare renders again.
TEST(VoiceProcessor, anInterruptedRenderLeavesNoCacheFileAndTheNextPrepareRendersAgain)
{
    testfiles::TempDir project;
    fs::create_directories(project / "Media");
    makeVoice(project / "Media/voice-long.wav", 48000, 2, 90.0);
    const auto prepare = [&](const VoiceTreatment& treatment) {
        return VoiceProcessor::prepare("Media/voice-long.wav", project.path(), treatment);
    };
    const fs::path cache =
        project / (".Render/" + VoiceProcessor::cacheName("voice-long.wav", test::fullTreatment()));

    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        ::_exit(prepare(test::fullTreatment()).ok() ? 0 : 1);
    ASSERT_TRUE(waitForTemporaryRender(project / ".Render", 1 << 20, child));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(fs::exists(cache));
    auto prepared = prepare(test::fullTreatment());
    ASSERT_TRUE(prepared.ok()) << prepared.error().description;
    EXPECT_EQ(project.path() / prepared.value(), cache);
    auto reader = AudioFileReader::openWithFfmpeg(cache);
    ASSERT_TRUE(reader.ok());
    EXPECT_EQ(reader.value()->length(), 90 * 48000);

    // Another treatment while the source is cut to its first second (removing the file would not
    // stop a reader that has it open; cutting it does).
    Result<std::string> result = Error{};
    std::thread render([&] { result = prepare(enhanced); });
    waitForTemporaryRender(project / ".Render", 1 << 20);
    fs::resize_file(project / "Media/voice-long.wav", 44 + 48000 * 4);
    render.join();
    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error().domain, "Audio");
    EXPECT_NE(result.error().description.find("voice-long.wav"), std::string::npos);
    EXPECT_EQ(filesIn(project / ".Render"), std::vector<fs::path>{cache});
}

} // namespace
} // namespace tw
