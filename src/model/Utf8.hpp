// Well-formed UTF-8 as JSON text requires it (RFC 3629): no overlong forms, no surrogates,
// nothing above U+10FFFF.
#pragma once

#include <cstddef>
#include <string_view>

namespace tw::json {

// Length of the well-formed sequence that starts at `at` (1 to 4), or 0 when there is none.
inline std::size_t utf8SequenceLength(std::string_view text, std::size_t at)
{
    auto byte = [&](std::size_t i) -> unsigned {
        return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0u;
    };
    auto continuation = [&](std::size_t i, unsigned low = 0x80, unsigned high = 0xBF) {
        unsigned b = byte(i);
        return b >= low && b <= high;
    };
    unsigned lead = byte(0);
    if (at < text.size() && lead < 0x80)
        return 1;
    if (lead >= 0xC2 && lead <= 0xDF)
        return continuation(1) ? 2 : 0;
    if (lead == 0xE0)
        return continuation(1, 0xA0) && continuation(2) ? 3 : 0;
    if ((lead >= 0xE1 && lead <= 0xEC) || lead == 0xEE || lead == 0xEF)
        return continuation(1) && continuation(2) ? 3 : 0;
    if (lead == 0xED)
        return continuation(1, 0x80, 0x9F) && continuation(2) ? 3 : 0;
    if (lead == 0xF0)
        return continuation(1, 0x90) && continuation(2) && continuation(3) ? 4 : 0;
    if (lead >= 0xF1 && lead <= 0xF3)
        return continuation(1) && continuation(2) && continuation(3) ? 4 : 0;
    if (lead == 0xF4)
        return continuation(1, 0x80, 0x8F) && continuation(2) && continuation(3) ? 4 : 0;
    return 0;
}

} // namespace tw::json
