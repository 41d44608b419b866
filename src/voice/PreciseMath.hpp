// Square root, minimum, maximum, natural logarithm and exponential of two doubles at once, for the
// compressor's detector: inline, branch-free and vectorised so a block of them pipelines. Relative
// error below 1e-14 for normal positive inputs (log) and results between 2^-1000 and 2^1000 (exp),
// which is all the detector feeds them.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>
#else
#include <cmath>
#endif

namespace tw::precise {

using Pair = double __attribute__((vector_size(16)));
using PairBits = long long __attribute__((vector_size(16)));

inline Pair min(Pair a, Pair b)
{
    return a < b ? a : b;
}

inline Pair max(Pair a, Pair b)
{
    return a > b ? a : b;
}

inline Pair min(Pair a, double b)
{
    return min(a, Pair{b, b});
}

inline Pair max(Pair a, double b)
{
    return max(a, Pair{b, b});
}

// Correctly rounded, like std::sqrt.
inline Pair sqrt(Pair x)
{
#if defined(__SSE2__)
    return reinterpret_cast<Pair>(_mm_sqrt_pd(reinterpret_cast<__m128d>(x)));
#else
    return Pair{std::sqrt(x[0]), std::sqrt(x[1])};
#endif
}

inline Pair log(Pair x)
{
    constexpr double ln2 = 0.69314718055994530942;
    constexpr double sqrt2 = 1.41421356237309504880;
    constexpr double twoTo52 = 4503599627370496.0;
    const PairBits bits = reinterpret_cast<PairBits>(x);
    // The biased exponent read as a double through the 2^52 trick (exact, no conversion).
    const PairBits exponentBits = (bits >> 52) & 0x7ff;
    Pair exponent = reinterpret_cast<Pair>(exponentBits | 0x4330000000000000LL) - twoTo52 - 1023.0;
    // Mantissa in [1, 2), folded into [sqrt(1/2), sqrt(2)) so the series below converges fast.
    Pair m = reinterpret_cast<Pair>((bits & 0x000fffffffffffffLL) | 0x3ff0000000000000LL);
    const PairBits high = m > sqrt2;
    const Pair halved = m * 0.5;
    m = reinterpret_cast<Pair>((reinterpret_cast<PairBits>(halved) & high) |
                               (reinterpret_cast<PairBits>(m) & ~high));
    exponent += reinterpret_cast<Pair>(reinterpret_cast<PairBits>(Pair{1.0, 1.0}) & high);
    // ln m = 2·atanh(s) with s = (m − 1)/(m + 1), |s| < 0.1716; terms to s^13 leave < 1e-12.
    const Pair s = (m - 1.0) / (m + 1.0);
    const Pair s2 = s * s;
    const Pair s4 = s2 * s2;
    const Pair s8 = s4 * s4;
    // Two halves of the series evaluated side by side to shorten the dependency chain.
    const Pair low = 1.0 + s2 * (1.0 / 3) + s4 * (1.0 / 5 + s2 * (1.0 / 7));
    const Pair upper = 1.0 / 9 + s2 * (1.0 / 11) + s4 * (1.0 / 13);
    return exponent * ln2 + 2.0 * s * (low + s8 * upper);
}

inline Pair exp(Pair y)
{
    constexpr double log2e = 1.44269504088896340736;
    constexpr double ln2High = 6.93147180369123816490e-01; // ln 2 split so n·ln2High is exact
    constexpr double ln2Low = 1.90821492927058770002e-10;
    // 1.5·2^52: adding it rounds to an integer and leaves that integer in the low bits.
    constexpr double shifter = 6755399441055744.0;
    const Pair shifted = y * log2e + shifter;
    const Pair n = shifted - shifter;
    const PairBits whole = reinterpret_cast<PairBits>(shifted) - 0x4338000000000000LL;
    const Pair r = (y - n * ln2High) - n * ln2Low; // |r| ≤ ln2/2
    // Taylor series to r^10/10!: below 1e-12 relative on that interval, in interleaved parts.
    const Pair r2 = r * r;
    const Pair r4 = r2 * r2;
    const Pair r8 = r4 * r4;
    const Pair p0 = (1.0 + r) + r2 * (1.0 / 2 + r * (1.0 / 6));
    const Pair p1 = (1.0 / 24 + r * (1.0 / 120)) + r2 * (1.0 / 720 + r * (1.0 / 5040));
    const Pair p2 = (1.0 / 40320 + r * (1.0 / 362880)) + r2 * (1.0 / 3628800);
    const Pair p = p0 + r4 * p1 + r8 * p2;
    const Pair scale = reinterpret_cast<Pair>((whole + 1023) << 52);
    return p * scale;
}

} // namespace tw::precise
