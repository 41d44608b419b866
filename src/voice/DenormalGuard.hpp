// Sets flush-to-zero and denormals-are-zero on the calling thread for a scope and restores the
// previous mode after. Filters fed with near-silence otherwise crawl through denormal numbers.
#pragma once

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#endif

namespace tw {

class DenormalGuard {
public:
#if defined(__SSE__) || defined(__x86_64__)
    DenormalGuard() : saved_(_mm_getcsr())
    {
        _mm_setcsr(saved_ | flushToZero | denormalsAreZero);
    }
    ~DenormalGuard()
    {
        _mm_setcsr(saved_);
    }
#else
    DenormalGuard() = default;
#endif
    DenormalGuard(const DenormalGuard&) = delete;
    DenormalGuard& operator=(const DenormalGuard&) = delete;

private:
#if defined(__SSE__) || defined(__x86_64__)
    static constexpr unsigned flushToZero = 0x8000;
    static constexpr unsigned denormalsAreZero = 0x0040;
    unsigned saved_;
#endif
};

} // namespace tw
