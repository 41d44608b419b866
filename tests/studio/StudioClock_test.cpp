#include "studio/Studio.hpp"

#include "capture/SpectrumMonitor.hpp"
#include "studio/QtScheduler.hpp"
#include "studio/ReelPhysics.hpp"
#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::placedClip;
using testing::StudioFixture;

SpectrumBands flatBands(float value)
{
    SpectrumBands bands;
    bands.fill(value);
    return bands;
}

const std::vector<float> silentBars(24, 0.0f);

void expectSilent(const Studio& studio)
{
    EXPECT_EQ(studio.vuLevels(), (std::vector<float>{0, 0}));
    EXPECT_FALSE(studio.peakWarning());
    EXPECT_EQ(studio.spectrumBars(), silentBars);
}

// How far the supply reel turned over seconds of ticks.
double supplyTurn(StudioFixture& f, double seconds)
{
    const double before = f.studio.reelAngle;
    f.scheduler.advance(seconds);
    return f.studio.reelAngle - before;
}

// The reels follow the tape model and never jump after a late tick; the meters weigh voice and
// music by the clip and the fade under the head, and an idle studio says nothing; the scheduler
// the clock runs on keeps time order.
TEST(StudioClock, reelsFollowTheTapeAndMetersWeighTheClipAndFadeUnderTheHeadAndIdleSaysNothing)
{
    StudioFixture f;
    f.scheduler.advance(0.1);
    EXPECT_EQ(supplyTurn(f, 0.1), 0.0); // standing still

    f.studio.playing = true;
    const auto speeds = ReelPhysics::angularSpeeds(0, f.studio.duration());
    EXPECT_NEAR(supplyTurn(f, 0.1), -0.1 * speeds.supply, 1e-6); // forward turns the angle down

    // A tick three seconds late turns the reels by one second's worth at most.
    f.studio.previousReelTick = f.scheduler.now() - 3.0;
    const double before = f.studio.reelAngle;
    f.studio.tick();
    EXPECT_NEAR(f.studio.reelAngle - before, -speeds.supply, 1e-6);

    // Shuttling back at position 0 turns them the other way, eight times as fast.
    f.studio.playing = false;
    f.studio.shuttleDirection = -1;
    EXPECT_NEAR(supplyTurn(f, 0.1), 0.8 * speeds.supply, 1e-6);

    // A paused take does not turn them.
    f.studio.shuttleDirection = 0;
    f.studio.recording = true;
    f.studio.recordingPaused = true;
    EXPECT_EQ(supplyTurn(f, 0.1), 0.0);
    f.studio.recording = false;
    f.studio.recordingPaused = false;

    // The full supply turns slowly, the reels turn alike half way, and the packs stay on the reel.
    const auto start = ReelPhysics::angularSpeeds(0, 600);
    EXPECT_NEAR(start.supply, 85.0, 0.5);
    EXPECT_NEAR(start.takeup, 312.0, 0.5);
    // Half the tape wound, whatever the programme's length (which lengthens the tape).
    for (auto [at, length] : {std::pair{3600.0, 1800.0}, {5000.0, 10000.0}}) {
        const auto speeds = ReelPhysics::angularSpeeds(at, length);
        EXPECT_NEAR(speeds.supply, speeds.takeup, 1e-9) << at;
    }
    EXPECT_NEAR(ReelPhysics::woundShare(3600, 3600), 0.5, 1e-12);
    // Beyond the tape or before its start the packs stay within hub and full reel.
    for (auto [at, length, supply, takeup] : {std::tuple{0.0, 3600.0, 0.128, 0.035},
                                              {20000.0, 9000.0, 0.035, 0.128},
                                              {-50.0, 100.0, 0.128, 0.035}}) {
        const auto radii = ReelPhysics::packRadii(at, length);
        EXPECT_NEAR(radii.supply, supply, 1e-4) << at;
        EXPECT_NEAR(radii.takeup, takeup, 1e-4) << at;
    }

    f.studio.project.mutate([](PodcastProject& document) {
        document.segments = {placedClip(0, 2, "Media/voice-A.caf", 0.5f),
                             placedClip(4, 2, "Media/voice-A.caf")};
        document.voiceVolume = 0.8f;
    });
    f.studio.playing = true;
    f.studio.position = 3.0; // the gap
    SpectrumMonitor::shared().store("voice", flatBands(0.5f), 0.5f, true);
    f.studio.tick();
    expectSilent(f.studio);

    f.studio.position = 1.0; // a clip with gain 0.5
    f.studio.tick();
    EXPECT_FLOAT_EQ(f.studio.vuLevels()[0], 0.5f * 0.5f * 0.8f);
    EXPECT_TRUE(f.studio.peakWarning());
    // Bands of 0.5 weighted by 0.4, on the -70…0 dB display scale.
    EXPECT_NEAR(f.studio.spectrumBars()[0], (70 + 20 * std::log10(0.5 * 0.4)) / 70, 1e-5);

    f.studio.position = 5.0; // a clip without gain
    f.studio.tick();
    EXPECT_FLOAT_EQ(f.studio.vuLevels()[0], 0.5f * 0.8f);

    // The analysis goes stale after 0.4 s without news; the warning lasts a second.
    f.scheduler.advance(0.5);
    EXPECT_EQ(f.studio.vuLevels(), (std::vector<float>{0, 0}));
    EXPECT_TRUE(f.studio.peakWarning());
    f.scheduler.advance(0.6);
    EXPECT_FALSE(f.studio.peakWarning());

    // Stopped, the meters fall at the next tick and an idle studio notifies nothing more.
    SpectrumMonitor::shared().store("voice", flatBands(0.5f), 0.5f, true);
    f.scheduler.advance(0.1);
    ASSERT_TRUE(f.studio.peakWarning());
    f.studio.playing = false;
    f.scheduler.advance(0.1);
    expectSilent(f.studio);
    f.notifications.clear();
    f.scheduler.advance(10.0); // 100 ticks
    EXPECT_TRUE(f.notifications.empty());

    // The music, placed at 10 s, through its fades: halfway through the fade-in, between the
    // fades, halfway down the 10 s fade-out, and before it starts.
    f.studio.project.mutate([](PodcastProject& document) {
        document.musicFile = "Media/music-A.caf";
        document.musicOffset = 10.0;
        document.fadeInStart = 2.0;
        document.fadeInEnd = 6.0;
        document.musicVolume = 0.6f;
    });
    f.studio.musicDuration = 60.0;
    f.studio.playing = true;
    SpectrumMonitor::shared().store("music", flatBands(0.2f), 0.8f, false);
    for (auto [at, fade] : {std::pair{14.0, 0.5f}, {40.0, 1.0f}, {65.0, 0.5f}, {11.0, 0.0f}}) {
        f.studio.position = at;
        f.studio.tick();
        EXPECT_FLOAT_EQ(f.studio.vuLevels()[1], 0.8f * fade * 0.6f) << at;
    }

    // The clock's scheduler runs jobs on the event loop in time order, and never cancelled ones
    // nor those of a scheduler that is gone.
    QtScheduler scheduler;
    std::vector<int> order;
    scheduler.after(0.03, [&] { order.push_back(2); });
    scheduler.after(0.01, [&] { order.push_back(1); });
    TaskHandle cancelled = scheduler.after(0.02, [&] { order.push_back(99); });
    cancelled->cancel();
    int ticks = 0;
    TaskHandle repeating = scheduler.every(0.005, [&] { ++ticks; });
    EXPECT_TRUE(order.empty()); // nothing runs outside the event loop

    ASSERT_TRUE(testing::runEventsUntil([&] { return order.size() == 2 && ticks >= 3; }));
    EXPECT_EQ(order, (std::vector<int>{1, 2}));

    repeating->cancel();
    const int stoppedAt = ticks;
    const double cancelledAt = scheduler.now();
    testing::runEventsUntil([&] { return scheduler.now() - cancelledAt > 0.05; });
    EXPECT_EQ(ticks, stoppedAt);

    // Nor do the jobs of a scheduler that is gone.
    bool ran = false;
    std::make_unique<QtScheduler>()->after(0.0, [&] { ran = true; });
    testing::runEventsUntil([&] { return ran; }, 0.03);
    EXPECT_FALSE(ran);
}

} // namespace
} // namespace tw
