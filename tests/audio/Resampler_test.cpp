#include "audio/Resampler.hpp"

#include "GraphSignals.hpp"

#include <gtest/gtest.h>

namespace tw {

using namespace graphtest;

namespace {

// Feeds input from `start` in chunks of `chunk` frames and collects `frames` outputs.
std::vector<float> convert(Resampler& resampler, const std::vector<float>& input,
                           std::int64_t start, int chunk, int frames)
{
    const int channels = resampler.channels();
    std::vector<float> out(static_cast<std::size_t>(frames * channels));
    int got = 0;
    std::int64_t next = start;
    while (got < frames) {
        float* to = out.data() + got * channels;
        int produced = resampler.convert(nullptr, 0, to, frames - got);
        if (produced == 0) {
            const int count = static_cast<int>(std::min<std::int64_t>(
                chunk, static_cast<std::int64_t>(input.size()) / channels - next));
            produced = resampler.convert(input.data() + next * channels, count, to, frames - got);
            next += count;
        }
        got += produced;
    }
    return out;
}

} // namespace

// Where a resampled sound lands and at what pitch is checked where the renderer plays a 44.1 kHz
// source at 48 kHz and the other way round.
TEST(Resampler, aStreamStartedOnTheGridMatchesOneStartedMuchEarlier)
{
    const auto input = noise(1, 100000);
    auto early = Resampler::create(44100, 48000, 1);
    ASSERT_TRUE(early);
    const auto full = convert(*early.value(), input, 0, 1000, 90000);

    // Restarted at input 147 * 200 = output 160 * 200, with the stated history before the
    // outputs compared.
    auto again = Resampler::create(44100, 48000, 1);
    Resampler& resampler = *again.value();
    EXPECT_EQ(resampler.inputPeriod(), 147);
    EXPECT_EQ(resampler.outputPeriod(), 160);
    const std::int64_t periods = (resampler.historyFrames() + 146) / 147;
    const std::int64_t start = 200 - periods;
    const auto part = convert(resampler, input, start * 147, 777, 20000);
    const std::int64_t skip = periods * 160;
    for (std::int64_t k = skip; k < 20000; ++k)
        ASSERT_EQ(part[static_cast<std::size_t>(k)],
                  full[static_cast<std::size_t>(start * 160 + k)])
            << "output " << k;

    // restart() begins a new stream that behaves as a fresh one.
    ASSERT_TRUE(resampler.restart());
    const auto fresh = convert(resampler, input, 0, 333, 5000);
    EXPECT_TRUE(std::equal(fresh.begin(), fresh.end(), full.begin()));
}

} // namespace tw
