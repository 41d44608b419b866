#include "model/JsonNumbers.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

namespace tw::json {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// from_chars reports both overflow and underflow as out of range; they differ by the decimal
// position of the first significant digit (value = 0.d… × 10^magnitude).
bool isTooSmall(std::string_view text)
{
    std::size_t i = (!text.empty() && text[0] == '-') ? 1 : 0;
    long long integerDigits = 0;
    long long leadingFractionZeros = 0;
    bool significant = false;
    for (; i < text.size() && isDigit(text[i]); ++i) {
        if (significant || text[i] != '0') {
            significant = true;
            ++integerDigits;
        }
    }
    if (i < text.size() && text[i] == '.') {
        for (++i; i < text.size() && isDigit(text[i]); ++i) {
            if (significant)
                continue;
            if (text[i] == '0')
                ++leadingFractionZeros;
            else
                significant = true;
        }
    }
    long long exponent = 0;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        bool negative = i < text.size() && text[i] == '-';
        if (i < text.size() && (text[i] == '-' || text[i] == '+'))
            ++i;
        for (; i < text.size() && isDigit(text[i]); ++i)
            exponent = std::min(exponent * 10 + (text[i] - '0'), 1'000'000'000'000LL);
        if (negative)
            exponent = -exponent;
    }
    long long magnitude = (integerDigits > 0 ? integerDigits : -leadingFractionZeros) + exponent;
    return magnitude <= 0;
}

template <class T> std::optional<T> parse(std::string_view text)
{
    T value{};
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc{} && end == text.data() + text.size() && std::isfinite(value))
        return value;
    if (error == std::errc::result_out_of_range && isTooSmall(text))
        return text.front() == '-' ? -T(0) : T(0);
    return std::nullopt;
}

} // namespace

std::optional<double> doubleValue(std::string_view text)
{
    return parse<double>(text);
}

std::optional<float> floatValue(std::string_view text)
{
    return parse<float>(text);
}

std::optional<long long> integerValue(std::string_view text)
{
    bool plainInteger = text.find_first_of(".eE") == std::string_view::npos;
    if (plainInteger) {
        long long value = 0;
        auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error == std::errc{} && end == text.data() + text.size())
            return value;
        return std::nullopt;
    }
    std::optional<double> value = doubleValue(text);
    // Only values that a long long holds exactly; 2^63 itself does not fit.
    if (!value || std::trunc(*value) != *value || std::fabs(*value) >= 9.2e18)
        return std::nullopt;
    return static_cast<long long>(*value);
}

} // namespace tw::json
