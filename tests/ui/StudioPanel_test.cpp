#include "ui/StudioPanel.hpp"
#include "ui/UiApplication.hpp"

#include <QLabel>

#include <gtest/gtest.h>

namespace tw {

TEST(StudioPanel, padsItsContentAndDrawsADarkPlateWithScrewsInItsCorners)
{
    testing::uiApplication();
    auto* label = new QLabel(QStringLiteral("ECUALIZADOR"));
    StudioPanel panel(label);
    panel.resize(260, 120);
    panel.show();
    QApplication::processEvents();
    EXPECT_EQ(panel.content(), label);
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

} // namespace tw
