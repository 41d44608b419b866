#include "audio/AudioMix.hpp"

#include <gtest/gtest.h>

using namespace tw;

namespace {
MediaTime s(double seconds)
{
    return MediaTime::fromSeconds(seconds);
}
} // namespace

// Touching clips' levels across a join are checked on the curve that plays them and in the mix
// parameters.
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
