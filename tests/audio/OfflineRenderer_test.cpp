#include "audio/OfflineRenderer.hpp"

#include "GraphSignals.hpp"
#include "support/SoundChecks.hpp"

#include <gtest/gtest.h>

namespace tw {

using namespace graphtest;

namespace {

// The graph alone, without the master stage (which has its own test below).
OfflineRenderOptions graphOnly(int rate = 48000)
{
    return {.sampleRate = rate, .ceilingDb = std::nullopt};
}

class OfflineRendererTest : public ::testing::Test {
protected:
    ScratchFolder folder;
};

} // namespace

// The track's tap (here halving) sees the clips before their volume and is prepared for the
// render only.
TEST_F(OfflineRendererTest, clipsStartOnTheNearestFrameAtTheirVolumeAfterTheTapWithSilenceBetween)
{
    const auto voice = noise(1, 48000 * 2);
    writeCaf(folder / "voice.caf", voice, 48000, 1);
    const AudioAsset asset = loadAsset(folder / "voice.caf");

    Composition composition;
    CompositionTrack* track = composition.addTrack(1);
    // Two clips from one file: 0.5 s from 0.25 s placed at 1.2345678 s, then 0.3 s from 1.5 s
    // placed at 2.2 s. gain 0.5 under voice volume 0.8 plays at 0.4.
    const MediaTime firstAt = seconds(1.2345678), secondAt = seconds(2.2);
    ASSERT_TRUE(track->insertTimeRange(asset, seconds(0.25), seconds(0.5), firstAt));
    ASSERT_TRUE(track->insertTimeRange(asset, seconds(1.5), seconds(0.3), secondAt));
    auto tap = std::make_shared<CountingTap>();
    tap->gain = 0.5f;
    AudioMix mix;
    mix.inputParameters.push_back(InputParameters{1, {}, tap});
    VolumeAutomation& volume = mix.inputParameters[0].volume;
    volume.setVolume(0, {});
    addClipVolume(volume, firstAt, seconds(0.5), 0.8f * 0.5f);
    addClipVolume(volume, secondAt, seconds(0.3), 0.8f);

    const auto out = renderBuffer(composition, mix, 0, 3, graphOnly());
    EXPECT_EQ(tap->prepares.load(), 1);
    EXPECT_EQ(tap->unprepares.load(), 1);
    EXPECT_EQ(tap->framesProcessed.load(), 3 * 48000);
    EXPECT_EQ(tap->preparedFormat, (StreamFormat{48000, 2, SampleType::float32, true}));
    // The noise peaks near 0.5 before the volume, at 0.4 at most after it.
    EXPECT_GT(tap->largestInput.load(), 0.45f);
    EXPECT_LE(tap->largestInput.load(), 0.5f);
    ASSERT_EQ(out.size(), 3u * 48000 * 2);
    const std::int64_t first = std::llround(1.2345678 * 48000);
    EXPECT_EQ(firstSound(out), first);
    for (std::int64_t f = first; f < first + 24000; ++f) {
        const float expected = voice[static_cast<std::size_t>(12000 + f - first)] * 0.5f * 0.4f;
        ASSERT_NEAR(sampleAt(out, f, 0), expected, 1e-6f) << f;
        ASSERT_EQ(sampleAt(out, f, 0), sampleAt(out, f, 1)) << "mono feeds both channels";
    }
    const std::int64_t second = 105600; // 2.2 s
    EXPECT_EQ(peak(out, first + 24000, second), 0.0f);
    EXPECT_EQ(firstSound(out, first + 24000), second);
    for (std::int64_t f = second; f < second + 14400; ++f)
        ASSERT_NEAR(sampleAt(out, f, 1),
                    voice[static_cast<std::size_t>(72000 + f - second)] * 0.5f * 0.8f, 1e-6f);
    EXPECT_EQ(peak(out, second + 14400, 3 * 48000), 0.0f);

    // Without taps, the plain mix.
    const auto plain =
        renderBuffer(composition, mix, 0, 3, {.runTaps = false, .ceilingDb = std::nullopt});
    EXPECT_EQ(tap->prepares.load(), 1);
    EXPECT_FLOAT_EQ(sampleAt(plain, first + 100, 1), voice[12100] * 0.4f);
}

TEST_F(OfflineRendererTest, aSourceAtAnotherRatePlaysAtTheRightPitchAndLandsOnTheNearestFrame)
{
    // 44.1 kHz FLAC (FFmpeg's route) at 48 kHz, and float CAF (the reader's own) at 44.1 kHz.
    for (const auto& [file, rate, outputRate] :
         {std::tuple{"tone.flac", 44100, 48000}, std::tuple{"tone.caf", 48000, 44100}}) {
        SCOPED_TRACE(file);
        // Half a second of silence, then a 1 kHz tone: its onset marks the place.
        std::vector<float> samples(static_cast<std::size_t>(rate / 2), 0.0f);
        const auto tone = sineTone(1000, rate, 3 * static_cast<std::size_t>(rate));
        samples.insert(samples.end(), tone.begin(), tone.end());
        if (rate == 44100)
            testfiles::encodeSamples(folder / file, samples, rate, 1, "-c:a flac");
        else
            writeCaf(folder / file, samples, rate, 1);
        const AudioAsset asset = loadAsset(folder / file);
        ASSERT_EQ(asset.sampleRate, rate);

        Composition composition;
        // From 0.25 s of the file placed at 1 s: the onset belongs at 1.25 s. The clip runs 0.25 s
        // past the end of the file (3.5 s long), so it falls silent at 4.25 s.
        ASSERT_TRUE(composition.addTrack(1)->insertTimeRange(asset, seconds(0.25), seconds(3.5),
                                                             seconds(1)));
        const auto out = renderBuffer(composition, AudioMix{}, 0, 4.75, graphOnly(outputRate));
        ASSERT_EQ(out.size(), static_cast<std::size_t>(2 * std::llround(4.75 * outputRate)));
        const double r = outputRate;
        EXPECT_NEAR(static_cast<double>(firstSound(out, 0, 0.01f)), 1.25 * r, 2.0);
        EXPECT_LT(peak(out, 0, 1.25 * r - 20), 0.001f) << "silence before the onset";
        const std::vector<float> steady(out.begin() + 4 * outputRate, out.begin() + 8 * outputRate);
        for (int c : {0, 1})
            EXPECT_NEAR(rig::zeroCrossingFrequency(channel(steady, 2, c), r), 1000.0, 1.0);
        EXPECT_NEAR(peak(out, 2 * r, 4 * r), 0.5f, 0.01f);
        EXPECT_NEAR(peak(out, 4 * r, 4.25 * r - 64), 0.5f, 0.01f);
        EXPECT_EQ(peak(out, 4.25 * r, 4.75 * r), 0.0f);
    }
}

TEST_F(OfflineRendererTest, a51SourceFoldsDownKeepingItsCentreAndOtherLayoutsKeepTheirFirstPair)
{
    std::vector<float> surround;
    for (int f = 0; f < 4800; ++f)
        surround.insert(surround.end(), {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f});
    writeCaf(folder / "surround.caf", surround, 48000, 6);
    std::vector<float> quad;
    for (int f = 0; f < 4410; ++f)
        quad.insert(quad.end(), {0.1f, -0.2f, 0.3f, 0.4f});
    writeCaf(folder / "quad.caf", quad, 44100, 4);
    Composition composition;
    ASSERT_TRUE(composition.addTrack(1)->insertTimeRange(loadAsset(folder / "surround.caf"), {},
                                                         seconds(0.1), {}));
    ASSERT_TRUE(composition.addTrack(2)->insertTimeRange(loadAsset(folder / "quad.caf"), {},
                                                         seconds(0.1), seconds(0.2)));
    const auto out = renderBuffer(composition, AudioMix{}, 0, 0.3, graphOnly());
    EXPECT_NEAR(sampleAt(out, 2400, 0), 0.1f + 0.70710678f * (0.3f + 0.5f), 1e-6f);
    EXPECT_NEAR(sampleAt(out, 2400, 1), 0.2f + 0.70710678f * (0.3f + 0.6f), 1e-6f);
    // Resampled from 44.1 kHz, a constant stays that constant away from the edges.
    EXPECT_NEAR(sampleAt(out, 12000, 0), 0.1f, 1e-3f);
    EXPECT_NEAR(sampleAt(out, 12000, 1), -0.2f, 1e-3f);
}

TEST_F(OfflineRendererTest, theMasterStageLimitsTheSumOnlyWhereItGoesOverAndKeepsItInPlace)
{
    // Two tones that sum to 2.5 dB over full scale from 1 s to 1.5 s, and to well under the
    // ceiling elsewhere. The limiter lets go within a second.
    const std::vector<float> tone = sineTone(220, 48000, 3 * 48000, 0.45);
    std::vector<float> loud = sineTone(330, 48000, 3 * 48000, 0.2);
    for (int f = 48000; f < 72000; ++f)
        loud[static_cast<std::size_t>(f)] *= 4.2f;
    writeCaf(folder / "tone.caf", tone, 48000, 1);
    writeCaf(folder / "loud.caf", loud, 48000, 1);
    Composition composition;
    ASSERT_TRUE(composition.addTrack(1)->insertTimeRange(loadAsset(folder / "tone.caf"), {},
                                                         seconds(3), {}));
    ASSERT_TRUE(composition.addTrack(2)->insertTimeRange(loadAsset(folder / "loud.caf"), {},
                                                         seconds(3), {}));
    const auto plain = renderBuffer(composition, AudioMix{}, 0.5, 2.5, graphOnly());
    const auto mastered = renderBuffer(composition, AudioMix{}, 0.5, 2.5);
    ASSERT_EQ(mastered.size(), plain.size());
    EXPECT_GT(peak(plain, 24000, 48000), 1.0f);
    EXPECT_LT(testing::referenceTruePeakDb(mastered, 2), -1.0);
    // The same samples, in the same places, before the loud part and once the limiter has let
    // go after it.
    for (std::size_t i = 0; i < 2 * 23000; ++i)
        ASSERT_EQ(mastered[i], plain[i]) << "sample " << i;
    for (std::size_t i = 2 * 48000 * 2; i < plain.size(); ++i)
        ASSERT_EQ(mastered[i], plain[i]) << "sample " << i;
}

} // namespace tw
