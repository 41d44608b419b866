#include "ui/LCDCounter.hpp"
#include "ui/UiApplication.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(LCDCounter, valueCapsHoursAtNinetyNineWhileMinutesAndSecondsRun)
{
    EXPECT_EQ(lcdValue(400000), "99:06:40");
    EXPECT_EQ(lcdValue(-12), "00:00:00");
    EXPECT_EQ(lcdValue(59.99), "00:00:59");
    EXPECT_EQ(lcdValue(3725.9), "01:02:05");
}

TEST(LCDCounter, showsThePositionAndLightsMoreForEightsThanOnes)
{
    testing::uiApplication();
    LCDCounter counter;
    counter.setSeconds(3725.456);
    EXPECT_EQ(counter.value(), "01:02:05");
    testing::saveScreenshot(counter, "lcd-counter");

    // Lit segments are bright amber: all eights must light clearly more than all ones.
    counter.setSeconds(0);
    counter.setSeconds(11 * 3600 + 11 * 60 + 11);
    const QImage ones = counter.grab().toImage();
    counter.setSeconds(88 * 3600 + 48 * 60 + 48); // "88:48:48": 8s and 4s
    const QImage eights = counter.grab().toImage();
    const QRect glass(10, 10, 160, 42);
    EXPECT_GT(testing::meanBrightness(eights, glass), testing::meanBrightness(ones, glass) + 8);
}

} // namespace tw
