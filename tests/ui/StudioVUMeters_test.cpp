#include "ui/AnalogVU.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/UiApplication.hpp"

#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(StudioVUMeters, metersFollowTheStudioLevelsAndPeakWarning)
{
    testing::uiApplication();
    testing::StudioFixture fixture;
    StudioVUMeters meters(fixture.studio);
    EXPECT_EQ(meters.voice().label(), "VOZ");
    EXPECT_EQ(meters.music().label(), "MÚSICA");
    EXPECT_FALSE(meters.peak().lit());

    fixture.studio.vuLevels = std::vector<float>{0.125893f, 0.9f};
    EXPECT_FLOAT_EQ(meters.voice().level(), 0.125893f);
    EXPECT_FLOAT_EQ(meters.music().level(), 0.9f);
    fixture.studio.peakWarning = true;
    EXPECT_TRUE(meters.peak().lit());

    meters.setStyleSheet("background: #1c1d21;");
    meters.resize(360, 100);
    const QImage image = testing::saveScreenshot(meters, "vu-meters-peak");
    const QRect lamp = meters.peak().geometry();
    const QColor lens = image.pixelColor(lamp.center().x(), lamp.top() + 13);
    EXPECT_GT(lens.red(), 2 * lens.green());

    fixture.studio.peakWarning = false;
    EXPECT_FALSE(meters.peak().lit());
}

} // namespace tw
