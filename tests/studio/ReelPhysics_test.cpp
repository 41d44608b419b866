#include "studio/ReelPhysics.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(ReelPhysics, theFullSupplyTurnsSlowlyTheReelsTurnAlikeHalfWayAndPacksStayOnTheReel)
{
    const auto start = ReelPhysics::angularSpeeds(0, 600);
    EXPECT_NEAR(start.supply, 85.0, 0.5);
    EXPECT_NEAR(start.takeup, 312.0, 0.5);
    // Half the tape wound, whatever the programme's length (which lengthens the tape).
    for (auto [at, length] : {std::pair{3600.0, 1800.0}, {5000.0, 10000.0}}) {
        const auto speeds = ReelPhysics::angularSpeeds(at, length);
        EXPECT_NEAR(speeds.supply, speeds.takeup, 1e-9) << at;
    }
    EXPECT_NEAR(ReelPhysics::woundShare(3600, 3600), 0.5, 1e-12);
    // Beyond the tape or before its start the packs stay within hub and full reel.
    for (auto [at, length, supply, takeup] : {std::tuple{0.0, 3600.0, 0.128, 0.035},
                                              {20000.0, 9000.0, 0.035, 0.128},
                                              {-50.0, 100.0, 0.128, 0.035}}) {
        const auto radii = ReelPhysics::packRadii(at, length);
        EXPECT_NEAR(radii.supply, supply, 1e-4) << at;
        EXPECT_NEAR(radii.takeup, takeup, 1e-4) << at;
    }
}

} // namespace tw
