#include "ui/LoudnessMeterView.hpp"
#include "ui/UiApplication.hpp"

#include "studio/Studio.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

#include <QApplication>

namespace tw {

TEST(LoudnessMeterView, showsTheReadingToATenthAndRepaintsOnlyWhenItChanges)
{
    testing::uiApplication();
    testing::StudioFixture fixture;
    LoudnessMeterView view(fixture.studio);
    EXPECT_EQ(view.shortTermText(), "—");
    EXPECT_EQ(view.integratedText(), "—");
    view.resize(view.sizeHint());
    view.show();
    QApplication::processEvents();
    const int settled = view.paints();
    ASSERT_GE(settled, 1);

    fixture.studio.position = 3.0;
    fixture.studio.vuLevels = std::vector<float>{0.2f, 0.1f};
    fixture.scheduler.advance(0.5);
    QApplication::processEvents();
    EXPECT_EQ(view.paints(), settled) << "other fields and idle ticks draw nothing";

    fixture.studio.loudness = LoudnessReading{-16.04, -23.45};
    QApplication::processEvents();
    EXPECT_EQ(view.paints(), settled + 1);
    EXPECT_EQ(view.shortTermText(), "−16,0");
    EXPECT_EQ(view.integratedText(), "−23,5");
    fixture.studio.loudness = LoudnessReading{-0.04, -INFINITY};
    EXPECT_EQ(view.shortTermText(), "0,0");
    EXPECT_EQ(view.integratedText(), "—");
    fixture.studio.loudness = LoudnessReading{-9.0, -14.2};
    testing::saveScreenshot(view, "loudness-meter");
}

} // namespace tw
