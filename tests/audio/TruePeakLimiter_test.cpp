#include "audio/TruePeakLimiter.hpp"

#include "support/Signals.hpp"
#include "support/SoundChecks.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <numbers>
#include <random>
#include <vector>

// Counts the allocations of this test program while `counting` is set.
namespace {
std::atomic<bool> counting{false};
std::atomic<int> allocations{0};
} // namespace

// The replacements pair malloc with free on purpose.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size)
{
    if (counting)
        ++allocations;
    if (void* p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
// The whole test program shares these, so the no-throw form (std::stable_sort's buffer) must
// pair with them too.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (counting)
        ++allocations;
    return std::malloc(size ? size : 1);
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept
{
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

namespace tw {
namespace {

// Stereo signals that test a true-peak limiter: peaks between samples well above the samples
// themselves, high frequencies, and short bursts after silence.
std::vector<float> signal(const std::string& kind, double rate, std::size_t frames, double gain)
{
    std::vector<float> out(2 * frames);
    for (std::size_t f = 0; f < frames; ++f) {
        const double t = static_cast<double>(f) / rate;
        double l = 0, r = 0;
        if (kind == "quarter-rate sine between samples") {
            l = std::sin(std::numbers::pi / 2 * static_cast<double>(f) + std::numbers::pi / 4);
            r = -l;
        } else if (kind == "high tones") {
            l = std::sin(2 * std::numbers::pi * 15000 * t);
            r = 0.7 * std::sin(2 * std::numbers::pi * 9000 * t) +
                0.3 * std::sin(2 * std::numbers::pi * 17000 * t);
        } else { // bursts of a low tone with clicks, every 0.3 s
            const double in = std::fmod(t, 0.3);
            l = r =
                in < 0.05 ? std::sin(2 * std::numbers::pi * 120 * t) + (in < 0.0005 ? 0.8 : 0) : 0;
        }
        // In and out over 5 ms, as a programme starts and ends, then as much silence as the
        // limiter holds back, so its output ends in silence too.
        const double edge =
            std::min({1.0, t / 0.005, (static_cast<double>(frames) / rate - 0.01 - t) / 0.005});
        out[2 * f] = static_cast<float>(gain * std::max(edge, 0.0) * l);
        out[2 * f + 1] = static_cast<float>(gain * std::max(edge, 0.0) * r);
    }
    return out;
}

// Runs the whole signal through a limiter in blocks of the given sizes (0: random sizes),
// counting the allocations made meanwhile.
std::vector<float> limit(TruePeakLimiter& limiter, std::vector<float> samples, int block)
{
    std::mt19937 random(3);
    std::uniform_int_distribution<int> size(1, 1500);
    const int frames = static_cast<int>(samples.size() / 2);
    counting = true;
    for (int done = 0; done < frames;) {
        const int count = std::min(block > 0 ? block : size(random), frames - done);
        limiter.process(samples.data() + 2 * done, count);
        done += count;
    }
    counting = false;
    return samples;
}

// Over the ceiling, the true peak is held at it at every rate and in blocks of any size, without
// allocating; under it, the output is the input delayed. (That it lets go after a peak is the
// render's master stage test.)
TEST(TruePeakLimiter, keepsTheTruePeakAtTheCeilingAndLeavesWhatIsUnderItUntouched)
{
    for (const double rate : {44100.0, 48000.0, 22050.0, 96000.0})
        for (const char* kind :
             {"quarter-rate sine between samples", "high tones", "clicking bursts"}) {
            SCOPED_TRACE(::testing::Message() << rate << " Hz, " << kind);
            const auto loud = signal(kind, rate, static_cast<std::size_t>(rate / 2), 2.5);
            ASSERT_GT(testing::referenceTruePeakDb(loud, 2), 6.0);
            TruePeakLimiter limiter(rate, 2);
            allocations = 0;
            const auto out = limit(limiter, loud, 0);
            EXPECT_EQ(allocations.load(), 0) << "the render thread never waits for memory";
            EXPECT_LE(testing::referenceTruePeakDb(out, 2), -1.0);
            EXPECT_LT(signals::peak(out, 0, static_cast<std::int64_t>(out.size() / 2)), 0.8913f);
            // Limited, not silenced: the loud parts still come close to the ceiling.
            EXPECT_GT(testing::referenceTruePeakDb(out, 2), -1.5);
            for (const int block : {1, 4096}) {
                TruePeakLimiter again(rate, 2);
                ASSERT_EQ(limit(again, loud, block), out) << "in blocks of " << block;
            }
            if (kind[0] == 'q' || rate == 22050 || rate == 96000)
                continue;
            // Scaled to a true peak 0.2 dB under the ceiling (the limiter keeps 0.1 dB for itself).
            auto quiet = loud;
            const double scale =
                std::pow(10.0, (-1.2 - testing::referenceTruePeakDb(loud, 2)) / 20);
            for (float& x : quiet)
                x = static_cast<float>(x * scale);
            TruePeakLimiter gentle(rate, 2);
            const auto same = limit(gentle, quiet, 0);
            const auto lag = static_cast<std::size_t>(2 * gentle.latency());
            for (std::size_t i = 0; i < same.size(); ++i)
                ASSERT_EQ(same[i], i < lag ? 0.0f : quiet[i - lag]) << "sample " << i;
            EXPECT_EQ(gentle.gain(), 1.0);
        }
}

} // namespace
} // namespace tw
