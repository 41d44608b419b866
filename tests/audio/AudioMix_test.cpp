#include "audio/AudioMix.hpp"

#include <gtest/gtest.h>

using namespace tw;

namespace {
MediaTime s(double seconds)
{
    return MediaTime::fromSeconds(seconds);
}
} // namespace

TEST(VolumeAutomation, holdsTheLastVolumeAndInterpolatesRamps)
{
    VolumeAutomation automation;
    EXPECT_FLOAT_EQ(automation.volumeAt(s(3)), 1.0f);
    automation.setVolume(0, s(0));
    automation.setVolumeRamp(0, 0.35f, s(3), s(5));
    automation.setVolumeRamp(0.35f, 0, s(20), s(10));
    EXPECT_FLOAT_EQ(automation.volumeAt(s(1)), 0);
    EXPECT_FLOAT_EQ(automation.volumeAt(s(5.5)), 0.175f);
    EXPECT_FLOAT_EQ(automation.volumeAt(s(12)), 0.35f);
    EXPECT_FLOAT_EQ(automation.volumeAt(s(25)), 0.175f);
    EXPECT_FLOAT_EQ(automation.volumeAt(s(40)), 0);
}

TEST(VolumeAutomation, touchingClipsKeepTheirLevelsAcrossTheJoin)
{
    // Each clip: a flat ramp at its level, then silence at its end; the next clip starts there.
    VolumeAutomation voice;
    voice.setVolume(0, s(0));
    voice.setVolumeRamp(0.8f, 0.8f, s(1), s(2));
    voice.setVolume(0, s(3));
    voice.setVolumeRamp(0.4f, 0.4f, s(3), s(1));
    voice.setVolume(0, s(4));
    EXPECT_FLOAT_EQ(voice.volumeAt(s(0.5)), 0);
    EXPECT_FLOAT_EQ(voice.volumeAt(s(2.99)), 0.8f);
    EXPECT_FLOAT_EQ(voice.volumeAt(s(3)), 0.4f);
    EXPECT_FLOAT_EQ(voice.volumeAt(s(4)), 0);
    ASSERT_EQ(voice.events().size(), 5u);
    EXPECT_TRUE(voice.events()[2].start == s(3) && !voice.events()[2].isRamp());
}
