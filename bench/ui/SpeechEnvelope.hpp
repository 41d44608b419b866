// A speech-like peak envelope for the interface benchmarks: deterministic noise under a slow
// syllable swell, one value per 1/50 s.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

namespace tw::benchdata {

inline std::vector<float> speechEnvelope(std::size_t count, std::uint32_t seed)
{
    std::vector<float> values(count);
    std::uint32_t state = seed * 2654435761u + 1;
    for (std::size_t i = 0; i < count; ++i) {
        state = state * 1664525u + 1013904223u;
        const float noise = static_cast<float>(state >> 8) / static_cast<float>(1u << 24);
        const float swell = 0.5f + 0.5f * std::sin(static_cast<float>(i) * 0.3f);
        values[i] = 0.05f + 0.6f * swell * noise;
    }
    return values;
}

} // namespace tw::benchdata
