#include "ui/ClockText.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(ClockText, negativeTimesShowZero)
{
    EXPECT_EQ(clockText(-3), "00:00:00.00");
    EXPECT_EQ(clockText(-0.001), "00:00:00.00");
}

TEST(ClockText, hundredthsAreTruncatedNotRounded)
{
    EXPECT_EQ(clockText(3725.456), "01:02:05.45");
    EXPECT_EQ(clockText(0.999), "00:00:00.99");
    EXPECT_EQ(clockText(59.995), "00:00:59.99");
}

TEST(ClockText, fieldsRollOverAndHoursAreNotCapped)
{
    EXPECT_EQ(clockText(60), "00:01:00.00");
    EXPECT_EQ(clockText(3600), "01:00:00.00");
    EXPECT_EQ(clockText(400000), "111:06:40.00");
}

} // namespace tw
