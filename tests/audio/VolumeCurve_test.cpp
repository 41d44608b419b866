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

} // namespace

// A cursor walked over the music's fades in blocks of random sizes follows the automation sample
// by sample; sent back and forth, it gives the same gains again.
TEST(VolumeCurve, aCursorFollowsTheAutomationSampleBySampleWhateverItsBlocksAndJumps)
{
    const VolumeAutomation volume = musicFades();
    const VolumeCurve curve(volume, 48000);
    VolumeCursor cursor(&curve);
    std::mt19937 random(1);
    const std::int64_t frames = 14 * 48000;
    std::vector<float> gains(static_cast<std::size_t>(frames));
    for (std::int64_t done = 0; done < frames;) {
        const auto count = std::min<std::int64_t>(random() % 3000 + 1, frames - done);
        cursor.fillGains(gains.data() + done, static_cast<int>(count), done);
        done += count;
    }
    float worst = 0;
    for (std::int64_t f = 0; f < frames; ++f)
        worst = std::max(
            worst, std::fabs(gains[static_cast<std::size_t>(f)] - volume.volumeAt(MediaTime{f})));
    EXPECT_LT(worst, 1e-6f);
    std::vector<float> block(512);
    for (int i = 0; i < 200; ++i) {
        const auto start = static_cast<std::int64_t>(random() % (frames - 512));
        cursor.fillGains(block.data(), 512, start);
        EXPECT_EQ(cursor.position(), start + 512);
        for (std::size_t k = 0; k < 512; k += 37)
            ASSERT_NEAR(block[k], gains[static_cast<std::size_t>(start) + k], 1e-6) << start;
    }
}

// Each row: an automation, a rate and the gains expected at some frames.
TEST(VolumeCurve, eventsLandOnTheNearestFrameAtAnyRateAndTheGainHoldsOrRampsBetweenThem)
{
    VolumeAutomation clips; // two touching clips in silence: at a shared frame the later wins
    clips.setVolume(0, at(0));
    clips.setVolumeRamp(0.4f, 0.4f, at(1), at(0.5));
    clips.setVolume(0, at(1.5));
    clips.setVolumeRamp(0.8f, 0.8f, at(1.5), at(1));
    clips.setVolume(0, at(2.5));
    VolumeAutomation cut; // a ramp cut short by the next event stops where it is
    cut.setVolumeRamp(0, 1, at(0), at(1));
    cut.setVolume(0.25f, at(0.5));
    VolumeAutomation late; // before the first event the volume is one
    late.setVolumeRamp(0.2f, 0.6f, at(1), at(1));
    EXPECT_EQ(late.volumeAt(at(0.5)), 1.0f);
    const VolumeAutomation fades = musicFades();
    struct Case {
        const VolumeAutomation& volume;
        int rate;
        std::vector<std::pair<std::int64_t, double>> gains;
    };
    for (const Case& c :
         {Case{clips, 48000, {{47999, 0}, {48000, .4}, {71999, .4}, {72000, .8}, {120000, 0}}},
          Case{cut, 48000, {{23999, 23999.0 / 48000}, {24000, .25}, {47999, .25}, {96000, .25}}},
          Case{late, 44100, {{-5, 1}, {44099, 1}, {44100, .2}, {66150, .4}, {441000, .6}}},
          Case{fades,
               48000,
               {{143999, 0}, {192000, .35}, {384000, .7}, {576000, .35}, {624000, 0}}}}) {
        const VolumeCurve curve(c.volume, c.rate);
        for (const auto& [frame, gain] : c.gains)
            EXPECT_NEAR(curve.gainAt(frame), gain, 1e-7) << "frame " << frame << " at " << c.rate;
    }
    EXPECT_EQ(VolumeCurve().gainAt(123456), 1.0);
    // Beneath them, times round to the nearest tick and frames to the nearest frame.
    EXPECT_EQ(at(1.5).ticks, 72000);
    EXPECT_EQ(at(1.0 / 96000.0 + 1e-12).ticks, 1);
    EXPECT_EQ(at(-0.25).ticks, -12000);
    EXPECT_EQ(at(2.0).frameAt(44100), 88200);
    EXPECT_EQ(MediaTime{1}.frameAt(44100), 1); // 0.91875 rounds up
    EXPECT_DOUBLE_EQ(at(3.25).seconds(), 3.25);
}

} // namespace tw
