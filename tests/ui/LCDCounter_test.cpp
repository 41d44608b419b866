// The studio's read-outs: the transport clock's text, the LCD counter and the loudness meter.
#include "ui/ClockText.hpp"
#include "ui/LCDCounter.hpp"
#include "ui/LoudnessMeterView.hpp"
#include "ui/WindowStudio.hpp"

#include "studio/Studio.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(ClockText, hundredthsAreTruncatedFieldsRollOverAndNegativesShowZeroTheLCDCapsHoursAtNinetyNine)
{
    for (auto [seconds, clock, lcd] : {std::tuple{-3.0, "00:00:00.00", "00:00:00"},
                                       {-0.001, "00:00:00.00", "00:00:00"},
                                       {3725.456, "01:02:05.45", "01:02:05"},
                                       {0.999, "00:00:00.99", "00:00:00"},
                                       {59.995, "00:00:59.99", "00:00:59"},
                                       {60.0, "00:01:00.00", "00:01:00"},
                                       {3600.0, "01:00:00.00", "01:00:00"},
                                       {400000.0, "111:06:40.00", "99:06:40"}}) {
        EXPECT_EQ(clockText(seconds), clock) << seconds;
        EXPECT_EQ(lcdValue(seconds), lcd) << seconds;
    }
}

TEST(LCDCounter, eightsLightMoreThanOnes)
{
    testing::uiApplication();
    LCDCounter counter;
    counter.setSeconds(3725.456);
    testing::saveScreenshot(counter, "lcd-counter");
    // Lit segments are bright amber: all eights must light clearly more than all ones.
    counter.setSeconds(11 * 3600 + 11 * 60 + 11);
    const QImage ones = counter.grab().toImage();
    counter.setSeconds(88 * 3600 + 48 * 60 + 48); // "88:48:48": 8s and 4s
    const QImage eights = counter.grab().toImage();
    const QRect glass(10, 10, 160, 42);
    EXPECT_GT(testing::meanBrightness(eights, glass), testing::meanBrightness(ones, glass) + 8);
}

TEST(LoudnessMeterView, showsTheReadingToATenthAndRepaintsOnlyWhenItChanges)
{
    testing::WindowStudio fixture;
    LoudnessMeterView view(fixture.studio);
    EXPECT_EQ(view.shortTermText(), "—");
    testing::showAt(view, view.sizeHint());
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
