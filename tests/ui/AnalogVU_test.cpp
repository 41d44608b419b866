#include "ui/AnalogVU.hpp"
#include "ui/UiApplication.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace tw {

namespace {
// The linear level of a VU reading (0 VU = −18 dBFS).
double atVU(double vu)
{
    return std::pow(10.0, (vu - 18.0) / 20.0);
}
} // namespace

TEST(AnalogVU, theNeedleFollowsTheVUScaleBetweenItsStopsOnTheFacesGeometry)
{
    // Silence and below −30 VU rest at the left stop, +3 VU and above pin at the right; 0 VU
    // (−18 dBFS) stands 30 of the 33 VU up the scale, −3.6 VU on the eighth tick.
    for (auto [level, angle] : {std::pair{0.0, -52.0},
                                {-1.0, -52.0},
                                {atVU(-31), -52.0},
                                {atVU(-30), -52.0},
                                {atVU(-13.5), 0.0},
                                {0.125893, 30.0 / 33.0 * 104 - 52},
                                {atVU(-3.6), vuTickAngle(8)},
                                {atVU(3), 52.0},
                                {3.0, 52.0}})
        EXPECT_NEAR(vuNeedleAngle(level), angle, 1e-3) << level;
    for (auto [tick, angle] : {std::pair{0, -52.0}, {5, 0.0}, {10, 52.0}})
        EXPECT_NEAR(vuTickAngle(tick), angle, 1e-12);
    // Wide face: the height limits the radius; narrow face: the width does.
    const VUGeometry wide = vuGeometry(QSizeF(200, 80));
    EXPECT_EQ(wide.pivot, QPointF(100, 78));
    EXPECT_DOUBLE_EQ(wide.radius, 68);
    EXPECT_DOUBLE_EQ(vuGeometry(QSizeF(100, 90)).radius, 43);
}

TEST(AnalogVU, needleIsDrawnWhereTheLevelPutsIt)
{
    testing::uiApplication();
    AnalogVU meter(QStringLiteral("VOZ"));
    meter.resize(160, 96);
    // The dark needle crosses the left half of the face at rest and the right half when pinned.
    const QRect leftHalf(10, 40, 60, 40), rightHalf(90, 40, 60, 40);
    meter.setLevel(0);
    const QImage rest = meter.grab().toImage();
    meter.setLevel(1);
    const QImage pinned = meter.grab().toImage();
    EXPECT_LT(testing::meanBrightness(rest, leftHalf), testing::meanBrightness(pinned, leftHalf));
    EXPECT_LT(testing::meanBrightness(pinned, rightHalf), testing::meanBrightness(rest, rightHalf));
}

} // namespace tw
