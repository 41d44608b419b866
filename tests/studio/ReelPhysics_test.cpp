#include "studio/ReelPhysics.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(ReelPhysics, fullSupplyTurnsSlowlyAndEmptyTakeUpFast)
{
    const auto speeds = ReelPhysics::angularSpeeds(0, 600);
    EXPECT_NEAR(speeds.supply, 85.0, 0.5);
    EXPECT_NEAR(speeds.takeup, 312.0, 0.5);
}

TEST(ReelPhysics, reelsTurnAlikeWhenHalfTheTapeIsWound)
{
    const auto speeds = ReelPhysics::angularSpeeds(3600, 1800);
    EXPECT_NEAR(speeds.supply, speeds.takeup, 1e-9);
    // A longer programme lengthens the tape: the midpoint moves with it.
    const auto longer = ReelPhysics::angularSpeeds(5000, 10000);
    EXPECT_NEAR(longer.supply, longer.takeup, 1e-9);
    EXPECT_GT(ReelPhysics::angularSpeeds(3600, 10000).takeup,
              ReelPhysics::angularSpeeds(3600, 10000).supply);
}

TEST(ReelPhysics, packRadiiRunFromFullReelToBareHub)
{
    const auto start = ReelPhysics::packRadii(0, 3600);
    EXPECT_NEAR(start.supply, 0.128, 1e-4);
    EXPECT_NEAR(start.takeup, 0.035, 1e-9);
    // A one-hour programme at its end: half the two-hour tape on each side.
    const auto end = ReelPhysics::packRadii(3600, 3600);
    EXPECT_NEAR(end.supply, end.takeup, 1e-12);
    EXPECT_NEAR(ReelPhysics::woundShare(3600, 3600), 0.5, 1e-12);
    // Beyond the tape or before its start the packs stay within hub and full reel.
    const auto past = ReelPhysics::packRadii(20000, 9000);
    EXPECT_NEAR(past.supply, 0.035, 1e-9);
    EXPECT_NEAR(past.takeup, 0.128, 1e-4);
    const auto before = ReelPhysics::packRadii(-50, 100);
    EXPECT_NEAR(before.supply, 0.128, 1e-4);
}

} // namespace tw
