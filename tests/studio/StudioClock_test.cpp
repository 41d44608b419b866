#include "studio/Studio.hpp"

#include "capture/SpectrumMonitor.hpp"
#include "studio/ReelPhysics.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::StudioFixture;
using testing::TempFolder;

SpectrumBands flatBands(float value)
{
    SpectrumBands bands;
    bands.fill(value);
    return bands;
}

int totalNotifications(const StudioFixture& f)
{
    int total = 0;
    for (const auto& [field, count] : f.notifications)
        total += count;
    return total;
}

Segment clip(double at, double length, std::optional<float> gain = std::nullopt)
{
    Segment segment;
    segment.duration = length;
    segment.file = "Media/voice-A.caf";
    segment.timelineStart = at;
    segment.gain = gain;
    return segment;
}

TEST(StudioClock, aPausedTakeIsNotHeardAtTheNextTick)
{
    TempFolder temp;
    StudioFixture f;
    // Loud enough for the warning: 0.95 of full scale.
    f.inputSignal = [](std::int64_t frame, int) {
        return 0.95f * static_cast<float>(std::sin(2 * M_PI * 1000.0 * frame / 48000.0));
    };
    f.inputOptions.length = 48000;
    f.host.newProjectAnswers.push_back(temp / "p");
    f.studio.record();
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());

    // Time stands still while the written audio is polled: its analysis stays fresh.
    ASSERT_TRUE(f.waitUntil([&] {
        f.studio.tick();
        return f.studio.liveDuration == 1.0;
    }));
    f.studio.tick();
    EXPECT_GT(f.studio.vuLevels()[0], 0.5f);
    EXPECT_EQ(f.studio.vuLevels()[1], 0.0f);
    EXPECT_TRUE(f.studio.peakWarning());
    EXPECT_NE(f.studio.spectrumBars(), std::vector<float>(24, 0.0f));

    f.studio.pauseTransport();
    ASSERT_TRUE(f.studio.recordingPaused());
    f.studio.tick();
    EXPECT_EQ(f.studio.vuLevels(), (std::vector<float>{0, 0}));
    EXPECT_FALSE(f.studio.peakWarning());
    EXPECT_EQ(f.studio.spectrumBars(), std::vector<float>(24, 0.0f));
    f.studio.stop();
}

TEST(StudioClock, theVoiceIsWeightedByTheClipUnderTheHeadAndNothingInAGap)
{
    StudioFixture f;
    f.studio.project.mutate([](PodcastProject& document) {
        document.segments = {clip(0, 2, 0.5f), clip(4, 2)};
        document.voiceVolume = 0.8f;
    });
    SpectrumMonitor& monitor = SpectrumMonitor::shared();
    f.studio.playing = true;

    f.studio.position = 3.0; // the gap
    monitor.store("voice", flatBands(0.5f), 0.5f, true);
    f.studio.tick();
    EXPECT_EQ(f.studio.vuLevels(), (std::vector<float>{0, 0}));
    EXPECT_FALSE(f.studio.peakWarning());
    EXPECT_EQ(f.studio.spectrumBars(), std::vector<float>(24, 0.0f));

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
}

TEST(StudioClock, musicHalfwayThroughItsFadeInIsHeardAtHalfItsVolume)
{
    StudioFixture f;
    f.studio.project.mutate([](PodcastProject& document) {
        document.musicFile = "Media/music-A.caf";
        document.musicOffset = 10.0;
        document.fadeInStart = 2.0;
        document.fadeInEnd = 6.0;
        document.musicVolume = 0.6f;
    });
    f.studio.musicDuration = 60.0;
    f.studio.playing = true;
    SpectrumMonitor& monitor = SpectrumMonitor::shared();
    monitor.store("music", flatBands(0.2f), 0.8f, false);

    f.studio.position = 10.0 + 4.0; // inStart + half of the fade-in
    f.studio.tick();
    EXPECT_EQ(f.studio.vuLevels()[0], 0.0f); // no voice clip
    EXPECT_FLOAT_EQ(f.studio.vuLevels()[1], 0.8f * 0.5f * 0.6f);

    f.studio.position = 10.0 + 30.0; // between the fades
    f.studio.tick();
    EXPECT_FLOAT_EQ(f.studio.vuLevels()[1], 0.8f * 0.6f);

    f.studio.position = 10.0 + 55.0; // halfway down the 10 s fade-out
    f.studio.tick();
    EXPECT_FLOAT_EQ(f.studio.vuLevels()[1], 0.8f * 0.5f * 0.6f);

    f.studio.position = 10.0 + 1.0; // before the fade-in starts
    f.studio.tick();
    EXPECT_EQ(f.studio.vuLevels()[1], 0.0f);

    // Stopped: nothing is heard, whatever the store holds.
    f.studio.position = 10.0 + 30.0;
    f.studio.playing = false;
    f.studio.tick();
    EXPECT_EQ(f.studio.vuLevels(), (std::vector<float>{0, 0}));
}

TEST(StudioClock, anIdleStudioNotifiesNothingOnceTheMetersHaveFallen)
{
    StudioFixture f;
    f.studio.project.mutate([](PodcastProject& document) { document.segments = {clip(0, 5)}; });
    f.studio.position = 1.0;
    f.studio.playing = true;
    SpectrumMonitor::shared().store("voice", flatBands(0.3f), 0.3f, true);
    f.scheduler.advance(0.1);
    EXPECT_GT(f.studio.vuLevels()[0], 0.0f);
    EXPECT_TRUE(f.studio.peakWarning());

    f.studio.playing = false;
    f.scheduler.advance(0.1); // the meters fall
    EXPECT_EQ(f.studio.vuLevels(), (std::vector<float>{0, 0}));
    EXPECT_FALSE(f.studio.peakWarning());
    EXPECT_EQ(f.studio.spectrumBars(), std::vector<float>(24, 0.0f));

    f.notifications.clear();
    f.scheduler.advance(10.0); // 100 ticks
    EXPECT_EQ(totalNotifications(f), 0);
}

} // namespace
} // namespace tw

namespace tw {
namespace {

// How far the supply reel turned over one tick.
double supplyTurn(testing::StudioFixture& f, double seconds)
{
    const double before = f.studio.reelAngle;
    f.scheduler.advance(seconds);
    return f.studio.reelAngle - before;
}

TEST(StudioClock, reelsFollowTheTapeModelAndNeverJumpAfterALateTick)
{
    testing::StudioFixture f;
    f.scheduler.advance(0.1);
    EXPECT_EQ(supplyTurn(f, 0.1), 0.0); // standing still

    f.studio.playing = true;
    const auto speeds = ReelPhysics::angularSpeeds(0, f.studio.duration());
    EXPECT_NEAR(supplyTurn(f, 0.1), -0.1 * speeds.supply, 1e-6); // forward turns the angle down
    const double rightBefore = f.studio.rightReelAngle;
    f.studio.tick();
    EXPECT_DOUBLE_EQ(f.studio.rightReelAngle, rightBefore); // no time passed, no turn

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
}

} // namespace
} // namespace tw
