#include "capture/SpectrumMonitor.hpp"

#include "base/ManualScheduler.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

namespace tw {
namespace {

SpectrumBands filled(float value)
{
    SpectrumBands bands;
    bands.fill(value);
    return bands;
}

TEST(SpectrumMonitor, levelsBandsAndClipWarningsExpireByTheirAge)
{
    ManualScheduler clock;
    SpectrumMonitor monitor(clock);
    EXPECT_EQ(monitor.level("record"), 0.0f);
    EXPECT_FALSE(monitor.nearClip("record"));

    monitor.store("record", filled(0.5f), 0.3f, true);
    EXPECT_EQ(monitor.level("record"), 0.3f);
    EXPECT_TRUE(monitor.nearClip("record"));
    clock.advance(0.39);
    EXPECT_EQ(monitor.level("record"), 0.3f);
    EXPECT_GT(monitor.read({{"record", 1.0f}})[0], 0.0f);
    clock.advance(0.11); // 0.5 s old
    EXPECT_EQ(monitor.level("record"), 0.0f);
    EXPECT_EQ(monitor.read({{"record", 1.0f}}), SpectrumBands{});
    clock.advance(0.4); // 0.9 s since the clip
    EXPECT_TRUE(monitor.nearClip("record"));
    // A later quiet result does not clear the earlier clip.
    monitor.store("record", filled(0.1f), 0.2f, false);
    EXPECT_TRUE(monitor.nearClip("record"));
    EXPECT_EQ(monitor.level("record"), 0.2f);
    clock.advance(0.1); // 1.0 s since the clip
    EXPECT_FALSE(monitor.nearClip("record"));
    EXPECT_EQ(monitor.level("record"), 0.2f);
    EXPECT_EQ(monitor.level("voice"), 0.0f);

    // Another clock takes over the time stamps.
    ManualScheduler later(5000.0);
    monitor.setClock(later);
    monitor.store("music", filled(0.5f), 0.7f, true);
    EXPECT_EQ(monitor.level("music"), 0.7f);
    later.advance(0.45);
    EXPECT_EQ(monitor.level("music"), 0.0f);
    EXPECT_TRUE(monitor.nearClip("music"));
}

TEST(SpectrumMonitor, readMixesFreshWeightedSourcesOnTheDecibelScale)
{
    ManualScheduler clock;
    SpectrumMonitor monitor(clock);
    EXPECT_EQ(monitor.read({}), SpectrumBands{});

    SpectrumBands bands{};
    bands[0] = 1.0f;   // 0 dB -> 1
    bands[1] = 0.001f; // -60 dB -> 10/70
    bands[2] = 1e-7f;  // below the floor -> 0
    bands[3] = 3.0f;   // above 0 dB -> 1
    bands[4] = 0.1f;   // -20 dB -> 50/70
    monitor.store("voice", bands, 0.1f, false);
    monitor.store("music", bands, 0.1f, false);

    EXPECT_EQ(monitor.read({{"voice", 0.0f}, {"music", 0.0f}}), SpectrumBands{});
    EXPECT_EQ(monitor.read({{"nobody", 1.0f}}), SpectrumBands{});
    const SpectrumBands one = monitor.read({{"voice", 1.0f}});
    const float expected[6] = {1.0f, 10.0f / 70.0f, 0.0f, 1.0f, 50.0f / 70.0f, 0.0f};
    for (int i = 0; i < 6; ++i)
        EXPECT_NEAR(one[i], expected[i], 1e-5f) << i;

    // Two equal sources of weight 1 read 6 dB higher than one.
    const SpectrumBands two = monitor.read({{"voice", 1.0f}, {"music", 1.0f}});
    const float sixDecibels = 20.0f * std::log10(2.0f) / 70.0f;
    EXPECT_NEAR(two[1] - one[1], sixDecibels, 1e-5f);
    EXPECT_NEAR(two[4] - one[4], sixDecibels, 1e-5f);
    clock.advance(0.41);
    monitor.store("music", bands, 0.1f, false);
    // The stale voice no longer counts.
    EXPECT_EQ(monitor.read({{"voice", 1.0f}}), SpectrumBands{});
    EXPECT_EQ(monitor.read({{"voice", 1.0f}, {"music", 1.0f}}), one);
}

TEST(SpectrumMonitor, ninthSourceAndOverlongNamesAreDroppedWithoutHarm)
{
    ManualScheduler clock;
    SpectrumMonitor monitor(clock);
    for (int i = 0; i < SpectrumMonitor::maxSources; ++i)
        monitor.store("source" + std::to_string(i), filled(0.5f), 0.1f * (i + 1), false);
    monitor.store("ninth", filled(0.5f), 0.5f, true);
    EXPECT_EQ(monitor.level("ninth"), 0.0f);
    EXPECT_FALSE(monitor.nearClip("ninth"));
    for (int i = 0; i < SpectrumMonitor::maxSources; ++i)
        EXPECT_FLOAT_EQ(monitor.level("source" + std::to_string(i)), 0.1f * (i + 1));
    // A name that is too long is left out; one that is a prefix of another is another source.
    SpectrumMonitor fresh(clock);
    const std::string longName(SpectrumMonitor::maxNameLength + 1, 'x');
    fresh.store(longName, filled(0.5f), 0.5f, false);
    fresh.store("voice", filled(0.5f), 0.25f, false);
    EXPECT_EQ(fresh.level(longName), 0.0f);
    EXPECT_EQ(fresh.level("voic") + fresh.level("voice2"), 0.0f);
    EXPECT_EQ(fresh.level("voice"), 0.25f);
}

// Writers publish bands that are all equal to one value and a level equal to it; a reader that
// ever sees bands that differ from each other, or from the level, saw a torn result.
TEST(SpectrumMonitor, concurrentWritersNeverTearWhatReadersSee)
{
    ManualScheduler clock;
    SpectrumMonitor monitor(clock);
    std::atomic<bool> stop{false};
    std::vector<std::thread> writers;
    for (const char* source : {"record", "voice", "music"}) {
        writers.emplace_back([&monitor, &stop, source] {
            float value = 0.001f;
            while (!stop.load(std::memory_order_relaxed)) {
                monitor.store(source, filled(value), value, value > 0.5f);
                value = value >= 0.9f ? 0.001f : value * 1.01f;
            }
        });
    }
    std::atomic<long> torn{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 2; ++r) {
        readers.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                const std::string source = i % 2 ? "voice" : "record";
                const SpectrumBands bands = monitor.read({{source, 1.0f}});
                for (float band : bands)
                    if (band != bands[0])
                        ++torn;
                const float level = monitor.level(source);
                if (level != 0.0f && (level < 0.001f || level > 0.92f))
                    ++torn;
            }
        });
    }
    for (auto& reader : readers)
        reader.join();
    stop = true;
    for (auto& writer : writers)
        writer.join();
    EXPECT_EQ(torn.load(), 0);
    // Each source ended up in one slot of its own.
    EXPECT_GT(monitor.level("music"), 0.0f);
    EXPECT_GT(monitor.level("record"), 0.0f);
}

} // namespace
} // namespace tw
