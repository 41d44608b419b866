#include "model/JsonNumbers.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>

namespace tw::json {

TEST(JsonNumbers, readsEveryJsonFormFlushesWhatIsTooSmallAndRefusesWhatDoesNotFit)
{
    const std::pair<const char*, std::optional<double>> doubles[] = {
        {"-12", -12.0},
        {"0.35", 0.35},
        {"1E2", 100.0},
        {"25e-1", 2.5},
        {"12345678901234567890", 12345678901234567890.0},
        {"1.7976931348623157e308", std::numeric_limits<double>::max()},
        {"5e-324", std::numeric_limits<double>::denorm_min()},
        {"0.0000000000000000000000001e-300", 0.0},
        {"123456e-999", 0.0}, // a long integer part with a very negative exponent is small
        {"1e999", std::nullopt},
        {"1000e306", std::nullopt},
    };
    for (const auto& [text, value] : doubles)
        EXPECT_EQ(doubleValue(text), value) << text;
    EXPECT_TRUE(std::signbit(doubleValue("-1e-400").value()));

    const std::pair<const char*, std::optional<float>> floats[] = {
        {"0.33333334", 1.0f / 3.0f},
        {"3.4028235e38", std::numeric_limits<float>::max()},
        {"1e-45", std::numeric_limits<float>::denorm_min()},
        {"1e-60", 0.0f},
        {"1e39", std::nullopt},
        {"-3.5e38", std::nullopt},
    };
    for (const auto& [text, value] : floats)
        EXPECT_EQ(floatValue(text), value) << text;

    const std::pair<const char*, std::optional<long long>> integers[] = {
        {"-7", -7},
        {"1.0", 1},
        {"2E1", 20},
        {"1.5", std::nullopt},
        {"1e19", std::nullopt},
        {"99999999999999999999", std::nullopt},
    };
    for (const auto& [text, value] : integers)
        EXPECT_EQ(integerValue(text), value) << text;
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
