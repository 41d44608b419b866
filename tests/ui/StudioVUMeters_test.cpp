// The drawn hardware: the VU meters and their peak lamp, the panel plate and the transport keys.
#include "ui/AnalogVU.hpp"
#include "ui/Icons.hpp"
#include "ui/StudioPanel.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/TransportButtonStyle.hpp"
#include "ui/WindowStudio.hpp"

#include <QLabel>

#include <gtest/gtest.h>

#include <cmath>

namespace tw {

TEST(StudioVUMeters, needlesFollowTheVUScaleAndTheStudioLevelsAndThePeakLampItsWarning)
{
    // The linear level of a VU reading (0 VU = −18 dBFS).
    const auto atVU = [](double vu) { return std::pow(10.0, (vu - 18.0) / 20.0); };
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

    testing::WindowStudio fixture;
    StudioVUMeters meters(fixture.studio);
    EXPECT_FALSE(meters.peak().lit());
    meters.setStyleSheet("background: #1c1d21;");
    meters.resize(360, 100);

    // The dark needle crosses the left half of the face at rest and the right half when pinned.
    AnalogVU& voice = meters.voice();
    voice.resize(160, 96);
    const QRect leftHalf(10, 40, 60, 40), rightHalf(90, 40, 60, 40);
    fixture.studio.vuLevels = std::vector<float>{0.0f, 0.0f};
    const QImage rest = voice.grab().toImage();
    fixture.studio.vuLevels = std::vector<float>{1.0f, 0.9f};
    const QImage pinned = voice.grab().toImage();
    EXPECT_LT(testing::meanBrightness(rest, leftHalf), testing::meanBrightness(pinned, leftHalf));
    EXPECT_LT(testing::meanBrightness(pinned, rightHalf), testing::meanBrightness(rest, rightHalf));
    EXPECT_FLOAT_EQ(meters.music().level(), 0.9f);

    fixture.studio.vuLevels = std::vector<float>{0.125893f, 0.9f};
    fixture.studio.peakWarning = true;
    EXPECT_TRUE(meters.peak().lit());
    const QImage image = testing::saveScreenshot(meters, "vu-meters-peak");
    const QRect lamp = meters.peak().geometry();
    const QColor lens = image.pixelColor(lamp.center().x(), lamp.top() + 13);
    EXPECT_GT(lens.red(), 2 * lens.green());
    fixture.studio.peakWarning = false;
    EXPECT_FALSE(meters.peak().lit());
}

TEST(StudioPanel, padsItsContentAndDrawsADarkPlateWithScrewsInItsCorners)
{
    testing::uiApplication();
    auto* label = new QLabel(QStringLiteral("ECUALIZADOR"));
    StudioPanel panel(label);
    testing::showAt(panel, {260, 120});
    EXPECT_EQ(label->geometry(), QRect(14, 14, 232, 92));

    const QImage image = testing::saveScreenshot(panel, "studio-panel");
    // Dark plate, a screw head seven points in from each corner brighter than the plate around
    // it, transparent outside the corner.
    const double plate = testing::meanBrightness(image, QRect(30, 30, 10, 10));
    EXPECT_LT(plate, 60);
    for (QPoint screw : {QPoint(9, 9), QPoint(250, 9), QPoint(9, 110), QPoint(250, 110)})
        EXPECT_GT(qGray(image.pixel(screw)), plate + 10) << screw.x() << "," << screw.y();
    EXPECT_EQ(qAlpha(testing::renderAlone(panel).pixel(0, 0)), 0);
}

TEST(TransportButtonStyle, activeKeysAreLitPressedOnesDropAPointAndDisabledOnesFade)
{
    testing::uiApplication();
    TransportButton button(symbolIcon("play.fill"), QStringLiteral("Reproducir"));
    button.resize(44, 34);
    const QRect keyFace(6, 4, 32, 6); // above the glyph
    const double normal = testing::meanBrightness(button.grab().toImage(), keyFace);
    button.setActive(true);
    EXPECT_GT(testing::meanBrightness(button.grab().toImage(), keyFace), normal + 15);
    button.setActive(false);
    // The key at 0.35 over its own faded shadow.
    button.setEnabled(false);
    const int faded = qAlpha(testing::renderAlone(button).pixel(22, 6));
    EXPECT_GE(faded, 255 * 0.35 - 1);
    EXPECT_LT(faded, 255 * 0.5);
    button.setEnabled(true);
    EXPECT_EQ(qAlpha(testing::renderAlone(button).pixel(22, 6)), 255);
    EXPECT_EQ(button.style().contentOffset(), 0);
    button.setDown(true);
    EXPECT_EQ(button.style().contentOffset(), 1);
}

} // namespace tw
