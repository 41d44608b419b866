#include "ui/TapeDeck.hpp"
#include "ui/WindowStudio.hpp"

#include <gtest/gtest.h>

namespace tw {

// The deck's status and lamp follow the Studio, its reels animate (and it repaints) only while
// they turn, and it is rendered at rest, recording and rewinding for a person to look at.
TEST(TapeDeck, followsTheStudioAndAnimatesAndRepaintsOnlyWhileTheReelsTurn)
{
    testing::WindowStudio f;
    TapeDeck deck{f.studio, f.scheduler};
    f.studio.recording = true;
    EXPECT_EQ(deck.lamp(), DeckLamp::red);
    f.studio.recording = false;
    f.studio.pauseEngaged = true;
    EXPECT_EQ(deck.accessibleName(), "Grabadora de bobinas: PAUSA");
    f.studio.pauseEngaged = false;

    // Idle it paints nothing: the whole view's idle test covers the deck.
    EXPECT_FALSE(deck.animating());
    f.studio.playing = true;
    EXPECT_TRUE(deck.animating());
    f.studio.playing = false;
    EXPECT_FALSE(deck.animating());
    f.studio.recording = true;
    EXPECT_TRUE(deck.animating());
    f.studio.recordingPaused = true;
    EXPECT_FALSE(deck.animating());
    f.studio.recordingPaused = false;
    f.studio.recording = false;

    // A one-hour take: the duration the reels are computed for.
    f.studio.project.mutate([](PodcastProject& p) { p.segments = {testing::clipAt(0, 3600)}; });
    testing::saveScreenshot(deck, "deck-rest");
    f.studio.position = 2700;
    f.studio.reelAngle = 37;
    f.studio.rightReelAngle = 81;
    f.studio.recording = true;
    f.studio.meter = 0.42f;
    testing::saveScreenshot(deck, "deck-recording");
    f.studio.recording = false;
    f.studio.position = 1200;
    f.studio.shuttleDirection = -1;
    testing::saveScreenshot(deck, "deck-rewinding");
}

} // namespace tw
