#include "capture/SpectrumAnalyzer.hpp"

#include "base/ManualScheduler.hpp"
#include "support/Signals.hpp"
#include "support/SoundChecks.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace tw {
namespace {

// Reads back what the analyser published: the bands as stored (not on the display scale).
struct Published {
    SpectrumBands bands{};
    float level = 0;
    bool nearClip = false;
};

class RecordingMonitor {
public:
    ManualScheduler clock;
    SpectrumMonitor monitor{clock};

    // Inverts the display mapping for bands between -70 and 0 dB.
    Published latest(const std::string& source)
    {
        Published result;
        const SpectrumBands display = monitor.read({{source, 1.0f}});
        for (std::size_t i = 0; i < display.size(); ++i)
            result.bands[i] =
                display[i] <= 0.0f ? 0.0f : std::pow(10.0f, (display[i] * 70.0f - 70.0f) / 20.0f);
        result.level = monitor.level(source);
        result.nearClip = monitor.nearClip(source);
        return result;
    }
};

int loudestBand(const SpectrumBands& bands)
{
    return static_cast<int>(std::max_element(bands.begin(), bands.end()) - bands.begin());
}

TEST(SpectrumAnalyzer, fullScaleKilohertzSineLightsTheBandOfBin21AndStampsNearClip)
{
    RecordingMonitor record;
    SpectrumAnalyzer analyzer("record", record.monitor);
    auto samples = testing::sineTone(1000.0, 48000.0, 1024, 1.0);
    analyzer.process(AudioBufferList::interleaved(samples.data(), 1), 1024);
    const Published out = record.latest("record");
    // Band 13 spans 1019…1336 Hz, bins 21 to 27 at 48 kHz. The tone sits a third of a bin
    // above bin 21; through the normalised Hann window that bin reads about 0.76.
    EXPECT_EQ(loudestBand(out.bands), 13);
    EXPECT_NEAR(out.bands[13], 0.76f, 0.02f);
    EXPECT_LT(std::max(out.bands[5], out.bands[20]), 1e-3f);
    EXPECT_TRUE(out.nearClip);
    EXPECT_NEAR(out.level, 1.0f / std::sqrt(2.0f), 1e-3f);

    // Just under -1 dBFS does not stamp a clip (on a fresh source).
    auto quieter = testing::sineTone(1000.0, 48000.0, 1024, 0.88);
    SpectrumAnalyzer voice("voice", record.monitor);
    voice.process(AudioBufferList::interleaved(quieter.data(), 1), 1024);
    EXPECT_FALSE(record.latest("voice").nearClip);
}

TEST(SpectrumAnalyzer, windowScaleBufferLengthAndChannels)
{
    RecordingMonitor record;
    SpectrumAnalyzer analyzer("music", record.monitor);
    // A tone exactly on bin 64 (3 kHz at 48 kHz) of amplitude 0.5 reads 0.5 * 0.8165.
    auto onBin = testing::sineTone(3000.0, 48000.0, 1024, 0.5);
    analyzer.process(AudioBufferList::interleaved(onBin.data(), 1), 1024);
    Published out = record.latest("music");
    EXPECT_NEAR(*std::max_element(out.bands.begin(), out.bands.end()), 0.5f * 0.8165f, 1e-3f);

    // Fewer than 1024 frames are padded with zeros and of more only the first 1024 reach the
    // transform: the bands of 1024 frames with the same start. The level is of every frame given.
    const auto analysed = [&](std::size_t toneFrames, std::size_t frames) {
        auto samples = testing::sineTone(2000.0, 48000.0, toneFrames, 0.5);
        samples.resize(frames, 0.0f);
        analyzer.process(AudioBufferList::interleaved(samples.data(), 1), int(frames));
        return record.latest("music");
    };
    for (const auto& [toneFrames, frames] :
         {std::pair<std::size_t, std::size_t>{256, 256}, {1024, 4096}}) {
        const Published given = analysed(toneFrames, frames);
        const Published transformed = analysed(toneFrames, 1024);
        for (int b = 0; b < 24; ++b)
            EXPECT_NEAR(given.bands[b], transformed.bands[b], 1e-6f)
                << frames << " frames, band " << b;
        EXPECT_NEAR(given.level,
                    0.5f / std::sqrt(2.0f) * std::sqrt(float(toneFrames) / float(frames)), 2e-3f)
            << frames;
    }

    // Interleaved stereo: the spectrum and level come from the first channel, the clip from any.
    auto stereo = testing::sineTone(500, 48000, 1024, 0.25, 2);
    stereo[2 * 300 + 1] = -0.95f;
    analyzer.process(AudioBufferList::interleaved(stereo.data(), 2), 1024);
    out = record.latest("music");
    EXPECT_TRUE(out.nearClip);
    EXPECT_NEAR(out.level, 0.25f / std::sqrt(2.0f), 1e-3f);
    // Planar stereo: the clip in the second buffer counts too.
    RecordingMonitor other;
    SpectrumAnalyzer planar("voice", other.monitor);
    auto left = testing::sineTone(500.0, 48000.0, 1024, 0.25);
    std::vector<float> right(1024, 0.0f);
    right[1000] = 0.9f;
    float* planes[] = {left.data(), right.data()};
    planar.process(AudioBufferList::planar(planes, 2), 1024);
    EXPECT_TRUE(other.latest("voice").nearClip);
}

TEST(SpectrumAnalyzer, bandsFollowTheRateAndNothingToAnalysePublishesNothing)
{
    RecordingMonitor record;
    SpectrumAnalyzer analyzer("record", record.monitor);
    analyzer.setRate(16000.0);
    // At 16 kHz the bands reach 8 kHz: a 7.8 kHz tone lights the top band.
    auto high = testing::sineTone(7800.0, 16000.0, 1024, 0.5);
    analyzer.process(AudioBufferList::interleaved(high.data(), 1), 1024);
    EXPECT_EQ(loudestBand(record.latest("record").bands), 23);
    // White noise reaches every band.
    std::vector<float> noise = signals::noise(1, 1024, 3);
    analyzer.process(AudioBufferList::interleaved(noise.data(), 1), 1024);
    for (float band : record.latest("record").bands)
        EXPECT_GT(band, 1e-3f);
    // Nothing to analyse publishes nothing.
    RecordingMonitor fresh;
    SpectrumAnalyzer empty("record", fresh.monitor);
    empty.process(AudioBufferList::interleaved(noise.data(), 1), 0);
    empty.process(AudioBufferList{}, 64);
    empty.process(AudioBufferList::interleaved(nullptr, 1), 64);
    EXPECT_FALSE(fresh.monitor.nearClip("record"));
    EXPECT_EQ(fresh.monitor.level("record"), 0.0f);
}

} // namespace
} // namespace tw
