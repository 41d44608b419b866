#include "ui/StudioPanel.hpp"
#include "ui/UiApplication.hpp"

#include <QLabel>

#include <gtest/gtest.h>

namespace tw {

TEST(StudioPanel, screwsSitSevenPointsInFromEachCorner)
{
    const auto screws = StudioPanel::screwCentres(QSizeF(200, 100));
    EXPECT_EQ(screws[0], QPointF(9, 9));
    EXPECT_EQ(screws[1], QPointF(191, 9));
    EXPECT_EQ(screws[2], QPointF(9, 91));
    EXPECT_EQ(screws[3], QPointF(191, 91));
}

TEST(StudioPanel, padsItsContentAndDrawsADarkPlate)
{
    testing::uiApplication();
    auto* label = new QLabel(QStringLiteral("ECUALIZADOR"));
    label->setStyleSheet("color: #d8d9de; font-weight: bold; letter-spacing: 1px;");
    label->setAlignment(Qt::AlignCenter);
    StudioPanel panel(label);
    panel.resize(260, 120);
    panel.show();
    QApplication::processEvents();
    EXPECT_EQ(panel.content(), label);
    EXPECT_EQ(label->geometry(), QRect(14, 14, 232, 92));

    const QImage image = testing::saveScreenshot(panel, "studio-panel");
    // Dark plate, a screw head brighter than the plate around it, transparent outside the corner.
    EXPECT_LT(testing::meanBrightness(image, QRect(30, 30, 10, 10)), 60);
    EXPECT_GT(qGray(image.pixel(9, 9)), testing::meanBrightness(image, QRect(20, 20, 4, 4)));
    EXPECT_EQ(qAlpha(testing::renderAlone(panel).pixel(0, 0)), 0);
}

} // namespace tw
