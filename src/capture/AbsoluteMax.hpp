// The largest absolute value of a run of samples, shared by the envelope and the analyser.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tw {

// Eight running maxima let the compiler keep several comparisons in flight; the result is the
// same as one running maximum.
inline float absoluteMax(const float* samples, std::size_t count)
{
    float m[8] = {};
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        for (int k = 0; k < 8; ++k)
            m[k] = std::max(m[k], std::fabs(samples[i + k]));
    }
    float result = 0.0f;
    for (float v : m)
        result = std::max(result, v);
    for (; i < count; ++i)
        result = std::max(result, std::fabs(samples[i]));
    return result;
}

} // namespace tw
