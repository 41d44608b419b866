#include "ui/ClockText.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(ClockText, hundredthsAreTruncatedFieldsRollOverHoursAreNotCappedAndNegativesShowZero)
{
    for (auto [seconds, shown] : {std::pair{-3.0, "00:00:00.00"},
                                  {-0.001, "00:00:00.00"},
                                  {3725.456, "01:02:05.45"},
                                  {0.999, "00:00:00.99"},
                                  {59.995, "00:00:59.99"},
                                  {60.0, "00:01:00.00"},
                                  {3600.0, "01:00:00.00"},
                                  {400000.0, "111:06:40.00"}})
        EXPECT_EQ(clockText(seconds), shown) << seconds;
}

} // namespace tw
