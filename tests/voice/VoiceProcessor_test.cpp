#include "voice/VoiceProcessor.hpp"

#include "audio/AudioFileReader.hpp"
#include "support/AudioFiles.hpp"
#include "voice/VoiceDSP.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace tw {
namespace {

namespace fs = std::filesystem;

VoiceTreatment enhanced()
{
    VoiceTreatment treatment;
    treatment.enhance = true;
    return treatment;
}

VoiceTreatment heaviest()
{
    VoiceTreatment treatment;
    treatment.enhance = true;
    treatment.reduceNoise = true;
    treatment.level = true;
    treatment.eqBands = std::vector<double>{3, -2, 2, -1, 1.5, -2, 2.5, -3, 4, -4};
    treatment.preset = Preset::radio;
    return treatment;
}

std::vector<float> readAll(const fs::path& file, double* rate = nullptr, int* channels = nullptr)
{
    auto reader = AudioFileReader::open(file);
    EXPECT_TRUE(reader.ok()) << (reader ? "" : reader.error().description);
    if (!reader)
        return {};
    AudioFileReader& r = *reader.value();
    if (rate)
        *rate = r.sampleRate();
    if (channels)
        *channels = r.channels();
    std::vector<float> samples(static_cast<std::size_t>(r.length()) * r.channels());
    std::size_t done = 0;
    while (done < samples.size()) {
        auto got = r.read(samples.data() + done, 4096);
        EXPECT_TRUE(got.ok());
        if (!got || got.value() == 0)
            break;
        done += static_cast<std::size_t>(got.value()) * r.channels();
    }
    samples.resize(done);
    return samples;
}

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

TEST(VoiceProcessor, cacheNameSpellsOutEveryTreatmentSetting)
{
    EXPECT_EQ(
        ".Render/" + VoiceProcessor::cacheName("Media/voice-3.caf", enhanced()),
        ".Render/voice-3-true-false-Podcast masculino-levelfalse-eq0.0-0.0-0.0-bandslegacy-v4.caf");

    VoiceTreatment treatment;
    treatment.reduceNoise = true;
    treatment.level = true;
    treatment.bass = 3.5;
    treatment.mid = -2.0;
    treatment.treble = 0.1;
    treatment.preset = Preset::femaleRadio;
    EXPECT_EQ(VoiceProcessor::cacheName("Media/voice-ABC.caf", treatment),
              "voice-ABC-false-true-Radio femenina-leveltrue-eq3.5--2.0-0.1-bandslegacy-v4.caf");

    // level false and absent read the same; presets by their stored text.
    VoiceTreatment plain;
    plain.level = false;
    plain.preset = Preset::radio;
    EXPECT_EQ(VoiceProcessor::cacheName("paste-1.m4a", plain),
              "paste-1-false-false-Radio masculina-levelfalse-eq0.0-0.0-0.0-bandslegacy-v4.caf");
    plain.preset = Preset::femalePodcast;
    EXPECT_NE(VoiceProcessor::cacheName("paste-1.m4a", plain).find("-Podcast femenino-"),
              std::string::npos);

    // Treble absent or 0 is the same render; ten zero bands are another one.
    VoiceTreatment zeroTreble = enhanced();
    zeroTreble.treble = 0.0;
    EXPECT_EQ(VoiceProcessor::cacheName("Media/voice-3.caf", zeroTreble),
              VoiceProcessor::cacheName("Media/voice-3.caf", enhanced()));
    VoiceTreatment tenZeros = enhanced();
    tenZeros.eqBands = std::vector<double>(10, 0.0);
    EXPECT_EQ(VoiceProcessor::cacheName("Media/voice-3.caf", tenZeros),
              "voice-3-true-false-Podcast masculino-levelfalse-eq0.0-0.0-0.0-bands"
              "0.0_0.0_0.0_0.0_0.0_0.0_0.0_0.0_0.0_0.0-v4.caf");
    VoiceTreatment mixed;
    mixed.eqBands = std::vector<double>{-12, 1.25, 0.1};
    EXPECT_EQ(
        VoiceProcessor::cacheName("a.b.caf", mixed),
        "a.b-false-false-Podcast masculino-levelfalse-eq0.0-0.0-0.0-bands-12.0_1.25_0.1-v4.caf");
    mixed.eqBands = std::vector<double>{};
    EXPECT_EQ(VoiceProcessor::cacheName("a.caf", mixed),
              "a-false-false-Podcast masculino-levelfalse-eq0.0-0.0-0.0-bands-v4.caf");
}

TEST(VoiceProcessor, decimalTextIsTheShortestRoundTripWithAFraction)
{
    EXPECT_EQ(VoiceProcessor::decimalText(0.0), "0.0");
    EXPECT_EQ(VoiceProcessor::decimalText(3.5), "3.5");
    EXPECT_EQ(VoiceProcessor::decimalText(-2.0), "-2.0");
    EXPECT_EQ(VoiceProcessor::decimalText(12.0), "12.0");
    EXPECT_EQ(VoiceProcessor::decimalText(0.1), "0.1");
    EXPECT_EQ(VoiceProcessor::decimalText(1.0 / 3.0), "0.3333333333333333");
    EXPECT_EQ(VoiceProcessor::decimalText(-0.0), "-0.0");
    EXPECT_EQ(VoiceProcessor::decimalText(1e-5), "1e-05");
    for (double value : {0.1 + 0.2, -7.3, 1e-3, 2.5e-7, 123456.789}) {
        std::string text = VoiceProcessor::decimalText(value);
        EXPECT_EQ(std::stod(text), value) << text;
    }
}

TEST(VoiceProcessor, preparedRenderIsTheTreatedSourceAndASecondPrepareReusesIt)
{
    testfiles::TempDir project;
    fs::create_directories(project / "Media");
    makeVoice(project / "Media/voice-1.wav", 44100, 2, 2.5);

    auto prepared = VoiceProcessor::prepare("Media/voice-1.wav", project.path(), heaviest());
    ASSERT_TRUE(prepared.ok()) << prepared.error().description;
    EXPECT_EQ(prepared.value(), ".Render/" + VoiceProcessor::cacheName("voice-1.wav", heaviest()));
    const fs::path rendered = project.path() / prepared.value();
    ASSERT_TRUE(fs::is_regular_file(rendered));
    EXPECT_EQ(filesIn(project / ".Render"), std::vector<fs::path>{rendered}) << "no temporary left";

    // The render is the source through the treatment, float at the source's rate and layout,
    // as FFmpeg decodes it.
    double rate = 0;
    int channels = 0;
    std::vector<float> source = readAll(project / "Media/voice-1.wav", &rate, &channels);
    VoiceDSP dsp(heaviest());
    dsp.prepare(rate, channels);
    AudioBufferList list = AudioBufferList::interleaved(source.data(), channels);
    dsp.process(list, static_cast<int>(source.size() / channels));
    auto decoded = AudioFileReader::openWithFfmpeg(rendered);
    ASSERT_TRUE(decoded.ok());
    EXPECT_EQ(decoded.value()->sampleRate(), 44100.0);
    EXPECT_EQ(decoded.value()->channels(), 2);
    EXPECT_EQ(testfiles::decodeWithFfmpeg(rendered), source);

    // Again with the same treatment: the same file, untouched.
    struct stat before {};
    ASSERT_EQ(::stat(rendered.c_str(), &before), 0);
    auto again = VoiceProcessor::prepare("Media/voice-1.wav", project.path(), heaviest());
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(again.value(), prepared.value());
    struct stat after {};
    ASSERT_EQ(::stat(rendered.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(filesIn(project / ".Render").size(), 1u);

    // Another treatment is another file beside it.
    auto other = VoiceProcessor::prepare("Media/voice-1.wav", project.path(), enhanced());
    ASSERT_TRUE(other.ok());
    EXPECT_NE(other.value(), prepared.value());
    EXPECT_EQ(filesIn(project / ".Render").size(), 2u);
}

TEST(VoiceProcessor, sourcesOfWholeBlocksOrLessThanOneRenderToTheirExactLength)
{
    testfiles::TempDir project;
    for (int frames : {8192 * 2, 8192, 8191, 8193, 1}) {
        SCOPED_TRACE(frames);
        std::vector<float> samples(static_cast<std::size_t>(frames));
        for (int f = 0; f < frames; ++f)
            samples[f] = 0.3f * static_cast<float>(std::sin(f * 0.05));
        const std::string name = "mono-" + std::to_string(frames) + ".caf";
        testfiles::encodeSamples(project / name, samples, 48000, 1, "-c:a pcm_f32le");
        auto prepared = VoiceProcessor::prepare(name, project.path(), enhanced());
        ASSERT_TRUE(prepared.ok()) << prepared.error().description;
        auto reader = AudioFileReader::openWithFfmpeg(project.path() / prepared.value());
        ASSERT_TRUE(reader.ok());
        EXPECT_EQ(reader.value()->length(), frames);
        EXPECT_EQ(testfiles::decodeWithFfmpeg(project.path() / prepared.value()).size(),
                  samples.size());
    }
}

TEST(VoiceProcessor, failuresPassTheUnderlyingErrorOnAndLeaveNoFileUnderTheCacheName)
{
    testfiles::TempDir project;
    fs::create_directories(project / "Media");
    const std::string cache = ".Render/" + VoiceProcessor::cacheName("voice-x.wav", enhanced());

    // A missing source and one that is not audio.
    auto missing = VoiceProcessor::prepare("Media/voice-x.wav", project.path(), enhanced());
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error().domain, "Audio");
    EXPECT_FALSE(missing.error().description.empty());
    testfiles::writeBytes(project / "Media/voice-x.wav", std::vector<std::uint8_t>(5000, 0x5a));
    auto garbage = VoiceProcessor::prepare("Media/voice-x.wav", project.path(), enhanced());
    ASSERT_FALSE(garbage.ok());
    EXPECT_EQ(garbage.error().domain, "Audio");
    EXPECT_FALSE(fs::exists(project.path() / cache));
    EXPECT_TRUE(filesIn(project / ".Render").empty()) << "the temporary is removed";

    // A .Render that cannot be made: a regular file is in its way.
    makeVoice(project / "Media/voice-x.wav", 48000, 1, 0.5);
    testfiles::TempDir blocked;
    fs::create_directories(blocked / "Media");
    fs::copy_file(project / "Media/voice-x.wav", blocked / "Media/voice-x.wav");
    testfiles::writeBytes(blocked / ".Render", {1, 2, 3});
    auto noFolder = VoiceProcessor::prepare("Media/voice-x.wav", blocked.path(), enhanced());
    ASSERT_FALSE(noFolder.ok());
    EXPECT_EQ(noFolder.error().domain, "System");
    EXPECT_EQ(noFolder.error().description, systemError(noFolder.error().code).description);
    EXPECT_TRUE(fs::is_regular_file(blocked / ".Render"));

    // A .Render that cannot be written to (permissions do not stop root, so only as a user).
    if (::geteuid() != 0) {
        fs::create_directories(project / ".Render");
        fs::permissions(project / ".Render", fs::perms::owner_read | fs::perms::owner_exec);
        auto readOnly = VoiceProcessor::prepare("Media/voice-x.wav", project.path(), enhanced());
        fs::permissions(project / ".Render", fs::perms::owner_all);
        ASSERT_FALSE(readOnly.ok());
        EXPECT_EQ(readOnly.error().domain, "Audio");
        EXPECT_TRUE(filesIn(project / ".Render").empty());
    }

    // After all that, a readable source renders normally.
    auto fine = VoiceProcessor::prepare("Media/voice-x.wav", project.path(), enhanced());
    ASSERT_TRUE(fine.ok()) << fine.error().description;
    EXPECT_EQ(fine.value(), cache);
}

// Waits until a temporary render in folder has grown past bytes; the render runs elsewhere.
bool waitForTemporaryRender(const fs::path& folder, std::uintmax_t bytes, pid_t child = 0)
{
    for (;;) {
        for (const fs::path& file : filesIn(folder)) {
            std::error_code code;
            if (file.extension() == ".caf" && fs::file_size(file, code) > bytes && !code)
                return true;
        }
        if (child != 0 && ::waitpid(child, nullptr, WNOHANG) == child)
            return false; // finished before it could be caught
        std::this_thread::yield();
    }
}

TEST(VoiceProcessor, renderKilledMidwayLeavesNoCacheFileAndTheNextPrepareRendersAgain)
{
    testfiles::TempDir project;
    fs::create_directories(project / "Media");
    makeVoice(project / "Media/voice-long.wav", 48000, 2, 90.0);
    const std::string cache = ".Render/" + VoiceProcessor::cacheName("voice-long.wav", heaviest());

    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        auto result = VoiceProcessor::prepare("Media/voice-long.wav", project.path(), heaviest());
        ::_exit(result.ok() ? 0 : 1);
    }
    ASSERT_TRUE(waitForTemporaryRender(project / ".Render", 1 << 20, child));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));

    EXPECT_FALSE(fs::exists(project.path() / cache));
    auto prepared = VoiceProcessor::prepare("Media/voice-long.wav", project.path(), heaviest());
    ASSERT_TRUE(prepared.ok()) << prepared.error().description;
    EXPECT_EQ(prepared.value(), cache);
    auto reader = AudioFileReader::openWithFfmpeg(project.path() / cache);
    ASSERT_TRUE(reader.ok());
    EXPECT_EQ(reader.value()->length(), 90 * 48000);
}

TEST(VoiceProcessor, sourceCutShortWhileRenderingFailsAndLeavesNoCacheFile)
{
    testfiles::TempDir project;
    fs::create_directories(project / "Media");
    makeVoice(project / "Media/voice-cut.wav", 48000, 2, 60.0);
    const std::string cache = ".Render/" + VoiceProcessor::cacheName("voice-cut.wav", heaviest());

    Result<std::string> result = Error{};
    std::thread render([&] {
        result = VoiceProcessor::prepare("Media/voice-cut.wav", project.path(), heaviest());
    });
    waitForTemporaryRender(project / ".Render", 1 << 20);
    // Keep only the first second of the source (removing the file would not stop a reader that
    // has it open; cutting it does).
    fs::resize_file(project / "Media/voice-cut.wav", 44 + 48000 * 4);
    render.join();

    ASSERT_FALSE(result.ok());
    EXPECT_EQ(result.error().domain, "Audio");
    EXPECT_NE(result.error().description.find("voice-cut.wav"), std::string::npos);
    EXPECT_FALSE(fs::exists(project.path() / cache));
    EXPECT_TRUE(filesIn(project / ".Render").empty());
}

} // namespace
} // namespace tw
