#include "model/JsonNumbers.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

namespace tw::json {

TEST(JsonNumbers, readsDoublesInEveryJsonForm)
{
    EXPECT_EQ(doubleValue("0"), 0.0);
    EXPECT_EQ(doubleValue("-12"), -12.0);
    EXPECT_EQ(doubleValue("0.35"), 0.35);
    EXPECT_EQ(doubleValue("1E2"), 100.0);
    EXPECT_EQ(doubleValue("1e+2"), 100.0);
    EXPECT_EQ(doubleValue("25e-1"), 2.5);
    EXPECT_EQ(doubleValue("12345678901234567890"), 12345678901234567890.0);
    EXPECT_EQ(doubleValue("1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_EQ(doubleValue("5e-324"), std::numeric_limits<double>::denorm_min());
}

TEST(JsonNumbers, refusesWhatDoesNotFitAndFlushesWhatIsTooSmall)
{
    EXPECT_EQ(doubleValue("1e999"), std::nullopt);
    EXPECT_EQ(doubleValue("-1e309"), std::nullopt);
    EXPECT_EQ(doubleValue("1000e306"), std::nullopt);
    EXPECT_EQ(floatValue("1e39"), std::nullopt);
    EXPECT_EQ(floatValue("-3.5e38"), std::nullopt);

    std::optional<double> tiny = doubleValue("-1e-400");
    ASSERT_TRUE(tiny);
    EXPECT_EQ(*tiny, 0.0);
    EXPECT_TRUE(std::signbit(*tiny));
    EXPECT_EQ(doubleValue("0.0000000000000000000000001e-300"), 0.0);
    // A long integer part with a very negative exponent is small, not large.
    EXPECT_EQ(doubleValue("123456e-999"), 0.0);
    EXPECT_EQ(floatValue("1e-60"), 0.0f);
}

TEST(JsonNumbers, floatFieldsReadTheNearestFloatDirectly)
{
    EXPECT_EQ(floatValue("0.35"), 0.35f);
    EXPECT_EQ(floatValue("0.33333334"), 1.0f / 3.0f);
    EXPECT_EQ(floatValue("3.4028235e38"), std::numeric_limits<float>::max());
    EXPECT_EQ(floatValue("1e-45"), std::numeric_limits<float>::denorm_min());
}

TEST(JsonNumbers, integersMayBeWrittenAsIntegralNumbers)
{
    EXPECT_EQ(integerValue("1"), 1);
    EXPECT_EQ(integerValue("-7"), -7);
    EXPECT_EQ(integerValue("1.0"), 1);
    EXPECT_EQ(integerValue("1e0"), 1);
    EXPECT_EQ(integerValue("2E1"), 20);
    EXPECT_EQ(integerValue("1.5"), std::nullopt);
    EXPECT_EQ(integerValue("99999999999999999999"), std::nullopt);
    EXPECT_EQ(integerValue("1e999"), std::nullopt);
    EXPECT_EQ(integerValue("1e19"), std::nullopt);
}

TEST(JsonNumbers, ignoreTheProcessLocale)
{
    // The desktop session may ask for a locale whose decimal separator is a comma.
    const char* previous = std::setlocale(LC_NUMERIC, nullptr);
    std::string saved = previous ? previous : "C";
    bool switched = std::setlocale(LC_NUMERIC, "es_ES.UTF-8") != nullptr ||
                    std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr;
    EXPECT_EQ(doubleValue("0.35"), 0.35);
    EXPECT_EQ(floatValue("1.5"), 1.5f);
    std::setlocale(LC_NUMERIC, saved.c_str());
    if (!switched)
        GTEST_SKIP() << "no comma-decimal locale installed";
}

} // namespace tw::json
