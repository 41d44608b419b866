#include "ui/TapeDeck.hpp"
#include "ui/WindowStudio.hpp"

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

TEST(TapeDeck, animatesAndRepaintsOnlyWhileTheReelsTurn)
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
    testing::saveScreenshot(f.deck, "deck-recording");

    f.studio.recording = false;
    f.studio.position = 1200;
    f.studio.shuttleDirection = -1;
    testing::saveScreenshot(f.deck, "deck-rewinding");
}

} // namespace tw
