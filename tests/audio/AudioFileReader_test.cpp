#include "audio/AudioFileReader.hpp"

#include "support/AudioFiles.hpp"
#include "support/HostileFiles.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace tw {
namespace {

using testfiles::TempDir;

// Reads everything left, in chunks of random sizes.
std::vector<float> readToEnd(AudioFileReader& reader, std::mt19937& random)
{
    std::vector<float> all;
    std::vector<float> chunk;
    std::uniform_int_distribution<int> size(1, 5000);
    for (;;) {
        const int frames = size(random);
        chunk.resize(static_cast<std::size_t>(frames) * reader.channels());
        auto got = reader.read(chunk.data(), frames);
        EXPECT_TRUE(got.ok()) << (got.ok() ? "" : got.error().description);
        if (!got || got.value() == 0)
            break;
        all.insert(all.end(), chunk.begin(), chunk.begin() + got.value() * reader.channels());
    }
    return all;
}

struct Format {
    std::string extension;
    std::string codecArgs;
    int rate;
    int channels;
};

TEST(AudioFileReader, decodesCommonFormatsSampleForSampleLikeFfmpeg)
{
    const std::vector<Format> formats = {
        {"wav", "-c:a pcm_s24le", 96000, 1}, {"wav", "-c:a pcm_f32le", 48000, 2},
        {"wav", "-c:a pcm_u8", 22050, 1},    {"flac", "", 192000, 2},
        {"ogg", "-c:a libvorbis", 44100, 2}, {"aiff", "", 48000, 1},
        {"caf", "-c:a pcm_s16be", 32000, 2}, {"caf", "-c:a pcm_f32le", 48000, 1},
        {"mp3", "-c:a libmp3lame", 8000, 1}, {"m4a", "-c:a aac", 22050, 1},
        {"wav", "-c:a pcm_f64le", 16000, 1}};
    TempDir dir;
    std::mt19937 random(7);
    int index = 0;
    for (const Format& format : formats) {
        SCOPED_TRACE(format.extension + " " + format.codecArgs + " " + std::to_string(format.rate));
        const auto file = dir / ("tone" + std::to_string(index++) + "." + format.extension);
        testfiles::makeTone(file, format.rate, format.channels, 0.7, format.codecArgs);
        const std::vector<float> expected = testfiles::decodeWithFfmpeg(file);

        auto opened = AudioFileReader::open(file);
        ASSERT_TRUE(opened.ok()) << opened.error().description;
        AudioFileReader& reader = *opened.value();
        EXPECT_EQ(reader.sampleRate(), format.rate);
        ASSERT_EQ(reader.channels(), format.channels);
        EXPECT_EQ(reader.position(), 0);
        // Known before reading, compressed files included, and what the decode delivers.
        EXPECT_EQ(reader.length() * format.channels, static_cast<std::int64_t>(expected.size()));
        const std::vector<float> samples = readToEnd(reader, random);
        ASSERT_EQ(samples.size(), expected.size());
        EXPECT_TRUE(samples == expected);
        EXPECT_EQ(reader.position(), reader.length());
    }
}

TEST(AudioFileReader, seekLandsOnTheExactFrameInEveryFormatWhateverWasReadBefore)
{
    TempDir dir;
    // Lossless formats give the very same samples. A lossy decoder restarted by a seek starts
    // from other state (AAC's noise substitution carries a random state through the whole
    // stream), so its samples differ slightly; a frame too early or too late differs far more.
    // The float CAF takes the reader's own route, the others FFmpeg's.
    // The low-rate VBR MP3 leans hardest on the bit reservoir; Ogg's demuxer answers seeks
    // from an index it fills while reading.
    const std::vector<Format> formats = {
        {"caf", "-c:a pcm_f32le", 44100, 2},         {"flac", "", 48000, 1},
        {"mp3", "-c:a libmp3lame -q:a 9", 44100, 2}, {"m4a", "-c:a aac", 48000, 2},
        {"ogg", "-c:a libvorbis", 48000, 2},         {"opus", "-c:a libopus", 48000, 1}};
    std::mt19937 random(11);
    for (const Format& format : formats) {
        SCOPED_TRACE(format.extension);
        const auto file = dir / ("seek." + format.extension);
        // A rising pitch sweep: every frame differs from its neighbours.
        testfiles::run("ffmpeg -nostdin -y -v error -f lavfi -i "
                       "'aevalsrc=0.4*sin(2*PI*(200+300*t)*t)|0.3*sin(2*PI*(500+100*t)*t):s=" +
                       std::to_string(format.rate) + ":d=4' -ac " +
                       std::to_string(format.channels) + " " + format.codecArgs + " " +
                       testfiles::quoted(file));
        const std::vector<float> whole = testfiles::decodeWithFfmpeg(file);
        const int channels = format.channels;
        const bool lossy = format.extension != "caf" && format.extension != "flac";
        const double tolerance = lossy ? 3e-3 : 0.0;
        const std::int64_t frames = static_cast<std::int64_t>(whole.size()) / channels;

        auto opened = AudioFileReader::open(file);
        ASSERT_TRUE(opened.ok()) << opened.error().description;
        AudioFileReader& reader = *opened.value();
        std::vector<std::int64_t> targets = {
            frames / 2, 0,           1, 1151,       1152,          1153,  4800,
            44117,      frames - 10, 3, frames / 3, frames - 5000, 100000};
        std::uniform_int_distribution<std::int64_t> anywhere(0, frames - 1);
        for (int i = 0; i < 12; ++i)
            targets.push_back(anywhere(random));
        std::vector<float> got(2000 * static_cast<std::size_t>(channels));
        // Every target twice, the second time in reverse order: where a seek lands must not
        // depend on what was read before it.
        const std::vector<std::int64_t> reversed(targets.rbegin(), targets.rend());
        targets.insert(targets.end(), reversed.begin(), reversed.end());
        for (std::int64_t target : targets) {
            SCOPED_TRACE("target " + std::to_string(target));
            auto seek = reader.seek(target);
            ASSERT_TRUE(seek.ok()) << seek.error().description;
            EXPECT_EQ(reader.position(), target);
            auto read = reader.read(got.data(), 2000);
            ASSERT_TRUE(read.ok()) << read.error().description;
            const std::int64_t expectedFrames = std::min<std::int64_t>(2000, frames - target);
            ASSERT_EQ(read.value(), expectedFrames);
            // The largest difference from the decode `shift` frames later.
            const auto difference = [&](int shift) {
                double worst = 0;
                for (std::int64_t i = 0; i < expectedFrames * channels; ++i)
                    worst = std::max(
                        worst, double(std::fabs(got[i] - whole[(target + shift) * channels + i])));
                return worst;
            };
            const double worst = difference(0);
            EXPECT_LE(worst, tolerance);
            // One frame early or late reads clearly worse than the right frame.
            for (int shift : {-1, 1}) {
                if (target + shift >= 0 && target + shift + expectedFrames <= frames) {
                    EXPECT_GT(difference(shift), std::max(4 * worst, 5e-3)) << "shift " << shift;
                }
            }
        }
        // Past the end: nothing more to read.
        ASSERT_TRUE(reader.seek(frames + 1000).ok());
        auto after = reader.read(got.data(), 10);
        ASSERT_TRUE(after.ok());
        EXPECT_EQ(after.value(), 0);
        EXPECT_EQ(reader.length(), frames);
    }
}

// A file cut short after its header was written (a copy that stopped, a full disk) still says
// its old length until the end is reached; from then on it says what was really there.
TEST(AudioFileReader, aFileShorterThanItsHeaderSaysEndsWhereItsAudioEnds)
{
    TempDir dir;
    std::mt19937 random(1);
    for (const auto& [name, codec] :
         {std::pair{"cut.wav", "-c:a pcm_s16le"}, std::pair{"cut.caf", "-c:a pcm_s16be"},
          std::pair{"cut.aiff", "-c:a pcm_s16be"}}) {
        const auto file = dir / name;
        testfiles::makeTone(file, 48000, 1, 1.0, codec);
        auto bytes = testfiles::readBytes(file);
        bytes.resize(bytes.size() - 2 * 12000); // the last quarter second
        testfiles::writeBytes(file, bytes);
        auto opened = AudioFileReader::open(file);
        ASSERT_TRUE(opened.ok()) << opened.error().description;
        const auto announced = opened.value()->length();
        EXPECT_EQ(readToEnd(*opened.value(), random).size(), 36000u) << name;
        EXPECT_EQ(opened.value()->length(), 36000) << name << ", announced " << announced;
    }
}

TEST(AudioFileReader, brokenOrForeignFilesFailWithAReadableError)
{
    TempDir dir;
    std::mt19937 random(5);
    std::vector<std::uint8_t> noise(20000);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<std::uint8_t>(random()); });

    const auto wav = dir / "good.wav";
    testfiles::makeTone(wav, 44100, 1, 0.5);
    auto wavBytes = testfiles::readBytes(wav);
    wavBytes.resize(30); // cut inside the header

    const std::vector<std::uint8_t> json{'{', '"', 't', '"', ':', '1', '}', '\n'};
    const std::vector<std::pair<std::string, std::vector<std::uint8_t>>> cases = {
        {"empty.wav", {}},    {"empty.mp3", {}},           {"noise.wav", noise},
        {"noise.m4a", noise}, {"truncated.wav", wavBytes}, {"project.m4a", json}};
    for (const auto& [name, bytes] : cases) {
        SCOPED_TRACE(name);
        testfiles::writeBytes(dir / name, bytes);
        auto opened = AudioFileReader::open(dir / name);
        ASSERT_FALSE(opened.ok());
        EXPECT_EQ(opened.error().domain, "Audio");
        EXPECT_NE(opened.error().description.find(name), std::string::npos)
            << opened.error().description;
        // FFmpeg's own text follows the file name.
        EXPECT_GT(opened.error().description.size(), name.size() + 40)
            << opened.error().description;
    }
    // Names that are no files fail at once, through either route, and never block.
    for (const auto& special : testing::specialFiles()) {
        for (const char* extension : {".caf", ".wav", ".mp3"}) {
            const auto path = dir / (special.kind + extension);
            SCOPED_TRACE(path.filename().string());
            testing::makeSpecialFile(path, special.kind);
            testing::FifoWatchdog watchdog({path});
            for (bool viaFfmpeg : {false, true}) {
                auto opened =
                    viaFfmpeg ? AudioFileReader::openWithFfmpeg(path) : AudioFileReader::open(path);
                ASSERT_FALSE(opened.ok());
                EXPECT_EQ(opened.error().domain, "Audio");
                EXPECT_EQ(opened.error().code, AudioFileError::open);
                EXPECT_NE(opened.error().description.find(special.message), std::string::npos)
                    << opened.error().description;
            }
            EXPECT_TRUE(watchdog.dismiss()) << "blocked";
        }
    }
    auto missing = AudioFileReader::open(dir / "missing.flac");
    ASSERT_FALSE(missing.ok());
    EXPECT_NE(missing.error().description.find("»: El archivo o la carpeta no existe."),
              std::string::npos)
        << missing.error().description;
}

} // namespace
} // namespace tw
