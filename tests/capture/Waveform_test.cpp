#include "capture/Waveform.hpp"

#include "support/AudioFiles.hpp"
#include "support/ProjectAudio.hpp"
#include "support/Signals.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace tw {
namespace {

using testfiles::TempDir;
using testfiles::writeCaf;

// The envelope rule applied to a whole decoded signal at once.
std::vector<float> envelopeOf(const std::vector<float>& interleaved, int channels, double rate)
{
    const std::size_t perPeak = std::max<std::size_t>(std::size_t(rate / 50.0), 1);
    const std::size_t frames = interleaved.size() / channels;
    std::vector<float> peaks;
    for (std::size_t start = 0; start < frames; start += perPeak) {
        float m = 0;
        for (std::size_t f = start; f < std::min(frames, start + perPeak); ++f)
            for (int c = 0; c < channels; ++c)
                m = std::max(m, std::fabs(interleaved[f * channels + c]));
        peaks.push_back(m);
    }
    return peaks;
}

TEST(Waveform, fiftyPeaksASecondOfTheLargestSampleOfAnyChannelWithAPartialLastOne)
{
    TempDir dir;
    // 960 frames at 48 kHz: one full bucket; one frame more opens a second, partial one.
    std::vector<float> samples(961, 0.25f);
    samples[959] = -0.5f;
    samples[960] = -0.125f;
    writeCaf(dir / "960.caf", std::vector<float>(samples.begin(), samples.end() - 1), 48000, 1);
    writeCaf(dir / "961.caf", samples, 48000, 1);
    // Stereo: left silent, right reaching -0.8 gives 0.8.
    std::vector<float> stereo(2 * 2000, 0.0f);
    stereo[2 * 1000 + 1] = -0.8f;
    stereo[2 * 1950 + 1] = 0.1f; // the partial third bucket
    writeCaf(dir / "stereo.caf", stereo, 48000, 2);
    // Below 50 Hz every frame is its own peak.
    writeCaf(dir / "slow.caf", {0.1f, -0.2f, 0.3f, -0.4f, 0.0f, 0.9f, -1.5f}, 40, 1);
    // An empty take.
    writeCaf(dir / "empty.caf", {}, 48000, 2);
    const struct {
        const char* name;
        std::vector<float> peaks;
        double duration;
    } cases[] = {
        {"960.caf", {0.5f}, 0.02},
        {"961.caf", {0.5f, 0.125f}, 961.0 / 48000.0},
        {"stereo.caf", {0.0f, 0.8f, 0.1f}, 2000.0 / 48000.0},
        {"slow.caf", {0.1f, 0.2f, 0.3f, 0.4f, 0.0f, 0.9f, 1.5f}, 7.0 / 40.0},
        {"empty.caf", {}, 0.0},
    };
    for (const auto& c : cases) {
        auto result = waveform(dir / c.name);
        ASSERT_TRUE(result.ok()) << c.name << ": " << result.error().description;
        ASSERT_EQ(result.value().peaks.size(), c.peaks.size()) << c.name;
        for (std::size_t i = 0; i < c.peaks.size(); ++i)
            EXPECT_NEAR(result.value().peaks[i], c.peaks[i], 1e-6) << c.name << " " << i;
        EXPECT_DOUBLE_EQ(result.value().duration, c.duration) << c.name;
    }
}

TEST(Waveform, chunkedReadsGiveTheWholeFileEnvelopeInEveryCommonFormat)
{
    const struct {
        std::string name;
        std::string codecArgs;
        int rate;
        int channels;
    } cases[] = {
        {"a.mp3", "-c:a libmp3lame", 44100, 2},
        {"g.flac", "", 192000, 2},
        {"k.caf", "-c:a pcm_f32le", 48000, 2},
        {"l.wav", "-c:a pcm_f32le", 8000, 1},
    };
    TempDir dir;
    unsigned seed = 1;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // A little over 2.5 reads of 8192 frames plus a partial bucket, so buckets straddle reads.
        const std::size_t frames = 8192 * 2 + 5000 + 7;
        testfiles::encodeSamples(dir / c.name, signals::noise(c.channels, frames, seed++), c.rate,
                                 c.channels, c.codecArgs);
        const std::vector<float> decoded = testfiles::decodeWithFfmpeg(dir / c.name);
        auto result = waveform(dir / c.name);
        ASSERT_TRUE(result.ok()) << result.error().description;
        EXPECT_EQ(result.value().peaks, envelopeOf(decoded, c.channels, c.rate));
        EXPECT_DOUBLE_EQ(result.value().duration, double(decoded.size() / c.channels) / c.rate);
    }
    // A take of the project's own writer gives the envelope of exactly what was written.
    const std::vector<float> samples = signals::noise(2, 50000, 99);
    writeCaf(dir / "take.caf", samples, 44100, 2);
    EXPECT_EQ(waveform(dir / "take.caf").value().peaks, envelopeOf(samples, 2, 44100));
}

TEST(Waveform, projectPeaksKeepEveryVoiceSourceAndTheMusicOrFailWithTheFirstVoiceError)
{
    TempDir dir;
    std::filesystem::create_directories(dir / "Media");
    writeCaf(dir / "Media/voice-A.caf", std::vector<float>(48000, 0.5f), 48000, 1);
    writeCaf(dir / "Media/voice-B.caf", std::vector<float>(4800, -0.25f), 48000, 1);
    testfiles::makeTone(dir / "Media/music.mp3", 44100, 2, 1.0);

    auto peaks = computeProjectPeaks(
        dir.path(), {"Media/voice-A.caf", "Media/voice-B.caf", "Media/voice-A.caf"},
        dir / "Media/music.mp3");
    ASSERT_TRUE(peaks.ok()) << peaks.error().description;
    ASSERT_EQ(peaks.value().voices.size(), 2u);
    EXPECT_EQ(peaks.value().voices.at("Media/voice-A.caf").peaks, std::vector<float>(50, 0.5f));
    EXPECT_EQ(peaks.value().voices.at("Media/voice-B.caf").peaks, std::vector<float>(5, 0.25f));
    EXPECT_EQ(peaks.value().music, waveform(dir / "Media/music.mp3").value());

    // Broken voice files fail the batch as a whole with a readable error naming the file; music
    // that cannot be read is only reported, so the voice can still be played and exported.
    testfiles::writeBytes(dir / "Media/broken.caf", {'c', 'a', 'f', 'f', 0, 1});
    testfiles::writeBytes(dir / "notes.mp3", {'h', 'e', 'l', 'l', 'o', '\n'});
    auto broken = computeProjectPeaks(
        dir.path(), {"Media/voice-A.caf", "Media/broken.caf", "Media/missing.caf"}, std::nullopt);
    ASSERT_FALSE(broken.ok());
    EXPECT_EQ(broken.error().domain, "Audio");
    EXPECT_NE(broken.error().description.find("broken.caf"), std::string::npos)
        << broken.error().description;
    auto badMusic = computeProjectPeaks(dir.path(), {"Media/voice-A.caf"}, dir / "notes.mp3");
    ASSERT_TRUE(badMusic.ok());
    EXPECT_EQ(badMusic.value().voices.size(), 1u);
    EXPECT_TRUE(badMusic.value().music.peaks.empty());
    ASSERT_TRUE(badMusic.value().musicError);
    EXPECT_NE(badMusic.value().musicError->description.find("notes.mp3"), std::string::npos);
}

} // namespace
} // namespace tw
