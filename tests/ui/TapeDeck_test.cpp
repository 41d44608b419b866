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

TEST(TapeDeck, statusFollowsTheStudio)
{
    DeckFixture f;
    f.studio.recording = true;
    EXPECT_EQ(f.deck.lamp(), DeckLamp::red);
    f.studio.recording = false;
    f.studio.pauseEngaged = true;
    EXPECT_EQ(f.deck.accessibleName(), "Grabadora de bobinas: PAUSA");
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
