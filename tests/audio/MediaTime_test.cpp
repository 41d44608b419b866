#include "audio/MediaTime.hpp"

#include <gtest/gtest.h>

using tw::MediaTime;

namespace {
MediaTime s(double seconds)
{
    return MediaTime::fromSeconds(seconds);
}
} // namespace

TEST(MediaTime, secondsRoundToTheNearestTickAndFramesToTheNearestFrame)
{
    EXPECT_EQ(s(1.5).ticks, 72000);
    EXPECT_EQ(s(1.0 / 96000.0 + 1e-12).ticks, 1);
    EXPECT_EQ(s(-0.25).ticks, -12000);
    EXPECT_EQ(s(2.0).frameAt(44100), 88200);
    EXPECT_EQ(MediaTime{1}.frameAt(44100), 1); // 0.91875 rounds up
    EXPECT_DOUBLE_EQ(s(3.25).seconds(), 3.25);
}
