#include "studio/ReelPhysics.hpp"
#include "ui/TapeDeck.hpp"
#include "ui/WindowStudio.hpp"

#include <QPaintEvent>

#include <gtest/gtest.h>

namespace tw {

namespace {

// A one-hour voice take: the duration the reels are computed for.
PodcastProject oneHourTake()
{
    PodcastProject project;
    project.voiceFile = "take.caf";
    project.segments = {testing::placedClip(0, 3600, "take.caf")};
    return project;
}

struct DeckFixture : testing::UiFirst, testing::StudioFixture {
    TapeDeck deck{studio, scheduler};
};

} // namespace

TEST(TapeDeck, statusAndLevelFollowTheStudio)
{
    DeckFixture f;
    f.studio.recording = true;
    EXPECT_EQ(f.deck.lamp(), DeckLamp::red);
    f.studio.recording = false;
    f.studio.pauseEngaged = true;
    EXPECT_EQ(f.deck.accessibleName(), "Grabadora de bobinas: PAUSA");

    // While playing, the level reads the clip's envelope.
    f.studio.project = oneHourTake();
    f.studio.project.mutate([](PodcastProject& p) { p.voiceVolume = 0.5f; });
    f.studio.voiceWaveforms =
        std::map<std::string, std::vector<float>>{{"take.caf", std::vector<float>(50 * 10, 0.6f)}};
    f.studio.position = 4.0;
    EXPECT_EQ(f.deck.level(), 0.0f);
    f.studio.playing = true;
    EXPECT_FLOAT_EQ(f.deck.level(), 0.3f);
}

TEST(TapeDeck, animatesAndRepaintsOnlyWhileTheReelsTurnAndRedrawsTheStatusOnATransportChange)
{
    DeckFixture f;
    f.deck.show();
    QApplication::processEvents();
    testing::PaintRecorder counter;
    f.deck.installEventFilter(&counter);
    f.scheduler.advance(2.0); // twenty idle clock ticks
    QApplication::processEvents();
    EXPECT_FALSE(f.deck.animating());
    EXPECT_TRUE(counter.regions.empty());

    f.studio.playing = true;
    EXPECT_TRUE(f.deck.animating());
    f.studio.playing = false;
    EXPECT_FALSE(f.deck.animating());
    f.studio.recording = true;
    EXPECT_TRUE(f.deck.animating());
    f.studio.recordingPaused = true;
    EXPECT_FALSE(f.deck.animating());
    f.studio.shuttleDirection = -1;
    EXPECT_TRUE(f.deck.animating());
    f.studio.shuttleDirection = 0;
    f.studio.recordingPaused = false;
    f.studio.recording = false;

    // A change of transport redraws the status word.
    f.studio.playing = true;
    QApplication::processEvents();
    counter.regions.clear();
    f.studio.playing = false;
    QApplication::processEvents();
    ASSERT_FALSE(counter.regions.empty());
    EXPECT_TRUE(counter.regions.back().intersects(QRect(350 - 104, 7, 86, 18)));
}

TEST(TapeDeck, reelsCarryOnFromTheLastTickWithTheTransportsSpeed)
{
    DeckFixture f;
    f.studio.project = oneHourTake();
    f.studio.reelAngle = 100;
    f.studio.rightReelAngle = -40;
    const double tick = f.scheduler.now() - 0.05;
    f.studio.previousReelTick = tick;
    // 0.05 s as the clock's own subtraction gives it back (its time may be large).
    const double since = f.scheduler.now() - tick;
    const auto speeds = ReelPhysics::angularSpeeds(0, 3600);
    // Standing still, playing, rewinding: the stored angles carried on by 0, 1 and −8 times the
    // tape's speed since the tick.
    for (auto [playing, shuttle, factor] :
         {std::tuple{false, 0, 0.0}, {true, 0, 1.0}, {true, -1, -8.0}}) {
        f.studio.playing = playing;
        f.studio.shuttleDirection = shuttle;
        const auto [left, right] = f.deck.reelAngles();
        EXPECT_NEAR(left, 100 - factor * since * speeds.supply, 1e-6) << factor;
        EXPECT_NEAR(right, -40 - factor * since * speeds.takeup, 1e-6) << factor;
    }
    // A stalled frame long after the last tick carries them on two tenths of a second at most.
    f.studio.shuttleDirection = 0;
    f.studio.previousReelTick = f.scheduler.now() - 3.0;
    EXPECT_NEAR(f.deck.reelAngles().first, 100 - 0.2 * speeds.supply, 1e-6);
}

TEST(TapeDeck, rendersAtRestRecordingAndRewinding)
{
    DeckFixture f;
    f.studio.project = oneHourTake();
    testing::saveScreenshot(f.deck, "deck-rest");

    f.studio.position = 2700;
    f.studio.reelAngle = 37;
    f.studio.rightReelAngle = 81;
    f.studio.recording = true;
    f.studio.meter = 0.42f;
    const QImage recording = testing::saveScreenshot(f.deck, "deck-recording");

    f.studio.recording = false;
    f.studio.position = 1200;
    f.studio.shuttleDirection = -1;
    testing::saveScreenshot(f.deck, "deck-rewinding");

    // While recording the status window glows red around its lamp.
    const QColor lamp = recording.pixelColor(350 - 104 + 11 + 2, 16 + 2);
    EXPECT_GT(lamp.red(), 2 * lamp.green());
}

} // namespace tw
