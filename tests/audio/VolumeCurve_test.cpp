#include "audio/VolumeCurve.hpp"

#include <gtest/gtest.h>

#include <random>

namespace tw {

namespace {

MediaTime at(double seconds)
{
    return MediaTime::fromSeconds(seconds);
}

// Music with a fade in over [3, 5] and a fade out over [11, 13] at volume 0.7,
// as the mix builder makes it.
VolumeAutomation musicFades()
{
    VolumeAutomation volume;
    volume.setVolume(0, at(0));
    volume.setVolumeRamp(0, 0.7f, at(3), at(2));
    volume.setVolumeRamp(0.7f, 0, at(11), at(2));
    return volume;
}

// Walks the cursor over [0, frames) in blocks of random sizes.
std::vector<float> walk(const VolumeCurve& curve, std::int64_t frames, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> size(1, 3000);
    std::vector<float> gains(static_cast<std::size_t>(frames));
    VolumeCursor cursor(&curve);
    for (std::int64_t done = 0; done < frames;) {
        const int count = static_cast<int>(std::min<std::int64_t>(size(random), frames - done));
        cursor.fillGains(gains.data() + done, count, done);
        done += count;
    }
    return gains;
}

} // namespace

TEST(VolumeCurve, followsTheAutomationSampleBySampleAt48kWhateverTheBlockSizes)
{
    const VolumeAutomation volume = musicFades();
    const VolumeCurve curve(volume, 48000);
    const std::int64_t frames = 14 * 48000;
    const std::vector<float> gains = walk(curve, frames, 1);
    float worst = 0;
    for (std::int64_t f = 0; f < frames; ++f)
        worst = std::max(
            worst, std::fabs(gains[static_cast<std::size_t>(f)] - volume.volumeAt(MediaTime{f})));
    EXPECT_LT(worst, 1e-6f);
    EXPECT_EQ(gains[3 * 48000 - 1], 0.0f);
    for (auto [second, gain] : {std::pair{4, 0.35f}, {8, 0.7f}, {12, 0.35f}, {13, 0.0f}})
        EXPECT_FLOAT_EQ(gains[static_cast<std::size_t>(second * 48000)], gain) << second;
}

TEST(VolumeCurve, aClipPlaysAtItsOwnLevelAndSilenceSurroundsIt)
{
    VolumeAutomation volume;
    volume.setVolume(0, at(0));
    volume.setVolumeRamp(0.4f, 0.4f, at(1), at(0.5));
    volume.setVolume(0, at(1.5));
    volume.setVolumeRamp(0.8f, 0.8f, at(1.5),
                         at(1)); // a clip that touches the previous one
    volume.setVolume(0, at(2.5));
    const VolumeCurve curve(volume, 48000);
    const std::vector<float> gains = walk(curve, 3 * 48000, 2);
    // At 72000 the later event at the same frame wins.
    std::vector<float> heard;
    for (std::size_t frame : {47999, 48000, 71999, 72000, 119999, 120000})
        heard.push_back(gains[frame]);
    EXPECT_EQ(heard, (std::vector<float>{0, 0.4f, 0.4f, 0.8f, 0.8f, 0}));
}

TEST(VolumeCurve, aRampCutShortByTheNextEventStopsWhereItStarts)
{
    VolumeAutomation volume;
    volume.setVolumeRamp(0, 1, at(0), at(1));
    volume.setVolume(0.25f, at(0.5));
    const VolumeCurve curve(volume, 48000);
    EXPECT_NEAR(curve.gainAt(23999), 23999.0 / 48000, 1e-9);
    for (std::int64_t frame : {24000, 47999, 96000})
        EXPECT_EQ(curve.gainAt(frame), 0.25) << frame;
}

TEST(VolumeCurve, beforeAnyEventTheVolumeIsOneAndEventsLandOnTheNearestFrameAtAnyRate)
{
    VolumeAutomation volume;
    volume.setVolumeRamp(0.2f, 0.6f, at(1), at(1));
    const VolumeCurve curve(volume, 44100);
    EXPECT_EQ(curve.gainAt(-5), 1.0);
    EXPECT_EQ(curve.gainAt(44099), 1.0);
    for (auto [frame, gain] : {std::pair{44100, 0.2}, {66150, 0.4}, {88200, 0.6}, {441000, 0.6}})
        EXPECT_NEAR(curve.gainAt(frame), gain, 1e-7) << frame;

    EXPECT_EQ(VolumeCurve().gainAt(123456), 1.0);
}

TEST(VolumeCurve, aCursorSentBackAndForthGivesTheSameGainsAsTheCurve)
{
    const VolumeCurve curve(musicFades(), 48000);
    VolumeCursor cursor(&curve);
    std::mt19937 random(3);
    std::uniform_int_distribution<std::int64_t> frame(0, 14 * 48000);
    std::vector<float> gains(512);
    for (int i = 0; i < 200; ++i) {
        const std::int64_t start = frame(random);
        cursor.fillGains(gains.data(), 512, start);
        for (int k = 0; k < 512; k += 37)
            ASSERT_NEAR(gains[static_cast<std::size_t>(k)], curve.gainAt(start + k), 1e-6);
        EXPECT_EQ(cursor.position(), start + 512);
    }
}

} // namespace tw
