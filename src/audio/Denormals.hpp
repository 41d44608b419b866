// Flush-to-zero and denormals-are-zero for the scope of an audio callback: a filter ringing out
// into near-silence would otherwise run many times slower on denormal floats.
#pragma once

#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#endif

namespace tw {

class ScopedDenormalsOff {
public:
    ScopedDenormalsOff()
    {
#if defined(__x86_64__) || defined(__i386__)
        saved_ = _mm_getcsr();
        _mm_setcsr(saved_ | flushToZero | denormalsAreZero);
#elif defined(__aarch64__)
        std::uint64_t fpcr = 0;
        asm volatile("mrs %0, fpcr" : "=r"(fpcr));
        saved_ = fpcr;
        asm volatile("msr fpcr, %0" : : "r"(fpcr | flushToZeroArm));
#endif
    }
    ~ScopedDenormalsOff()
    {
#if defined(__x86_64__) || defined(__i386__)
        _mm_setcsr(static_cast<unsigned>(saved_));
#elif defined(__aarch64__)
        asm volatile("msr fpcr, %0" : : "r"(saved_));
#endif
    }
    ScopedDenormalsOff(const ScopedDenormalsOff&) = delete;
    ScopedDenormalsOff& operator=(const ScopedDenormalsOff&) = delete;

    // Whether the current thread flushes denormals now (for tests).
    static bool active()
    {
#if defined(__x86_64__) || defined(__i386__)
        return (_mm_getcsr() & (flushToZero | denormalsAreZero)) ==
               (flushToZero | denormalsAreZero);
#elif defined(__aarch64__)
        std::uint64_t fpcr = 0;
        asm volatile("mrs %0, fpcr" : "=r"(fpcr));
        return (fpcr & flushToZeroArm) != 0;
#else
        return false;
#endif
    }

private:
    static constexpr unsigned flushToZero = 0x8000;             // MXCSR.FTZ
    static constexpr unsigned denormalsAreZero = 0x0040;        // MXCSR.DAZ
    static constexpr std::uint64_t flushToZeroArm = 1ull << 24; // FPCR.FZ
    std::uint64_t saved_ = 0;
};

} // namespace tw
