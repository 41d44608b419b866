#include "studio/Studio.hpp"

#include "audio/Player.hpp"
#include "support/SoundChecks.hpp"
#include "support/StudioFixture.hpp"
#include "voice/LiveVoiceTap.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tw {
namespace {

using testing::placedClip;
using testing::StudioFixture;

// Opens, in f, a project of one clip of the given length whose file is not there (the play head
// needs no audio), with the missing file's message cleared.
void openWithoutAudio(StudioFixture& f, double length)
{
    PodcastProject document;
    document.segments = {placedClip(0, length, "Media/absent.wav")};
    f.open(document);
    f.studio.message = std::nullopt;
}

// Playback starts once, stops at the end of the programme or selection, pause holds its place; the
// loudness is of what is played, and a remix keeps the running voice tap. Seeks stay within the
// limits, save once and show their direction.
TEST(StudioTransport, playbackStopsAtTheEndPauseHoldsItsPlaceARemixKeepsTheVoiceTapAndSeeksStayIn)
{
    // The clock's last tick before the end comes within the stop's margin, 20 ms short of it.
    StudioFixture f;
    ASSERT_TRUE(f.openTone(4.02));
    // A pause or a stop while the start is prepared abandons it: no player, no output.
    for (void (Studio::*abandon)() : {&Studio::stop, &Studio::pause}) {
        f.studio.togglePlayback();
        (f.studio.*abandon)();
        ASSERT_TRUE(f.waitIdle());
        EXPECT_FALSE(f.studio.playing() || f.studio.player);
    }
    EXPECT_EQ(f.outputsMade, 0);
    f.studio.togglePlayback();
    EXPECT_TRUE(f.studio.busy());
    f.studio.togglePlayback(); // refused while the start is prepared
    ASSERT_TRUE(f.waitIdle());
    ASSERT_TRUE(f.studio.playing());
    EXPECT_EQ(f.outputsMade, 1);
    f.play(1.0);
    EXPECT_NEAR(f.studio.position(), 1.0, 0.051);

    f.studio.pause();
    EXPECT_TRUE(f.studio.pauseEngaged() && !f.studio.playing());
    const double paused = f.studio.position();
    f.play(0.5); // a late tick of the old start changes nothing
    EXPECT_EQ(f.studio.position(), paused);
    ASSERT_TRUE(f.startPlayback());
    EXPECT_FALSE(f.studio.pauseEngaged());
    EXPECT_EQ(f.studio.position(), paused);
    f.playUntilStopped(5);
    EXPECT_FALSE(f.studio.playing());
    EXPECT_TRUE(f.studio.pauseEngaged());
    EXPECT_GE(f.studio.position(), 4.02 - 0.03);
    EXPECT_LT(f.studio.position(), 4.02);
    // Playing from where the automatic stop left the head starts over.
    ASSERT_TRUE(f.startPlayback());
    EXPECT_EQ(f.studio.position(), 0.0);

    // Listening to a selection stops at its end, unless a seek during it clears that end.
    f.studio.selection = TimeRange{0.5, 1.5};
    f.studio.listenToSelection();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.studio.position(), 0.5);
    f.playUntilStopped(5);
    EXPECT_GE(f.studio.position(), 1.47);
    EXPECT_LT(f.studio.position(), 1.53);
    f.studio.listenToSelection();
    ASSERT_TRUE(f.waitIdle());
    f.studio.seek(1.2);
    EXPECT_FALSE(f.studio.previewEnd);
    f.studio.player->waitForReadAhead();
    f.play(0.4);
    EXPECT_TRUE(f.studio.playing());
    EXPECT_GT(f.studio.position(), 1.55);

    f.studio.stop();
    EXPECT_FALSE(f.studio.pauseEngaged());
    EXPECT_EQ(f.studio.position(), 0.0);

    // The loudness is of what is played since it started.
    for (int run = 0; run < 2; ++run) {
        ASSERT_TRUE(f.startPlayback());
        EXPECT_FALSE(f.studio.loudness()) << "a new playback measures anew";
        f.play(3.5);
        ASSERT_TRUE(f.studio.loudness());
        f.studio.pause();
        const int readings = f.count(StudioField::loudness);
        f.scheduler.advance(1.0);
        EXPECT_EQ(f.count(StudioField::loudness), readings);
        f.studio.seek(0);
    }

    // A volume or treatment change keeps the running voice tap, which takes the new treatment.
    ASSERT_TRUE(f.startPlayback());
    f.play(0.3);
    const auto voiceTap = [&] { return f.studio.player->currentAudioMix().parameters(1)->tap; };
    const std::shared_ptr<ProcessingTap> first = voiceTap();
    ASSERT_TRUE(first);

    f.studio.project.mutate([](PodcastProject& document) { document.voiceVolume = 0.5f; });
    f.studio.updateMix();
    EXPECT_TRUE(f.studio.playing()) << "a remix never stops playback";
    EXPECT_EQ(voiceTap(), first);

    f.lastOutput->clearRendered();
    f.play(0.5);
    // The new volume is heard after its glide (0.1 s of stereo frames), and a jump of the gain
    // would step further than the loudest part of the sine ever does.
    const std::vector<float> rendered = f.lastOutput->rendered();
    ASSERT_GT(rendered.size(), 9600u);
    EXPECT_NEAR(
        std::fabs(*std::max_element(rendered.begin() + 9600, rendered.end(),
                                    [](float a, float b) { return std::fabs(a) < std::fabs(b); })),
        0.25f, 0.02f);
    EXPECT_LT(testing::largestStep(rendered, 0, rendered.size(), 2),
              testing::toneStep(0.5, 440, 48000) * 1.1);

    VoiceTreatment treated;
    treated.enhance = true;
    treated.reduceNoise = true;
    f.studio.project.mutate([&](PodcastProject& document) { document.treatment = treated; });
    f.studio.updateMix();
    EXPECT_EQ(voiceTap(), first) << "its filters and dynamics carry on into the new treatment";
    EXPECT_EQ(std::dynamic_pointer_cast<LiveVoiceTap>(first)->treatment(), treated);
    f.studio.stop();
    f.studio.pauseTransport(); // latches also when nothing plays
    EXPECT_TRUE(f.studio.pauseEngaged());

    // A missing file stops nothing; seeks stay within the limits, save once and show their
    // direction.
    openWithoutAudio(f, 100);
    // A missing file leaves playback stopped, with its description.
    f.studio.togglePlayback();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_FALSE(f.studio.playing());
    EXPECT_NE(f.studio.message().value_or("").find("absent.wav"), std::string::npos);

    // Seeks stay within the programme plus a margin, and then the play head's own 30 s allowance.
    for (auto [to, at] : {std::pair{-5.0, 0.0}, {500.0, 160.0}, {500.0, 190.0}, {NAN, 0.0}}) {
        f.studio.seek(to);
        EXPECT_EQ(f.studio.position(), at) << to;
    }

    const int saves = f.savesAfter(0);
    for (int i = 0; i < 5; ++i) {
        f.studio.seek(10 + i);
        f.scheduler.advance(0.1);
    }
    EXPECT_EQ(f.savesAfter(0.29), saves);
    EXPECT_EQ(f.savesAfter(0.02), saves + 1);

    // Jumps show their direction on the reels; while recording only the jump to the end works.
    f.studio.seek(50);
    f.studio.skipForward();
    EXPECT_EQ(f.studio.position(), 55.0);
    EXPECT_EQ(f.studio.shuttleDirection(), 1);
    f.scheduler.advance(0.3);
    f.studio.skipBackward();
    EXPECT_EQ(f.studio.position(), 50.0);
    EXPECT_EQ(f.studio.shuttleDirection(), -1);
    f.scheduler.advance(0.64);
    EXPECT_EQ(f.studio.shuttleDirection(), -1);
    f.scheduler.advance(0.02);
    EXPECT_EQ(f.studio.shuttleDirection(), 0);

    f.studio.goToEnd();
    EXPECT_EQ(f.studio.position(), 100.0);
    f.studio.goToStart();
    EXPECT_EQ(f.studio.position(), 0.0);

    f.studio.recording = true;
    f.studio.seek(20);
    f.studio.skipForward();
    f.studio.skipBackward();
    EXPECT_EQ(f.studio.position(), 20.0);
    f.studio.goToEnd();
    EXPECT_EQ(f.studio.position(), 100.0);
    f.studio.recording = false;

    openWithoutAudio(f, 10);
    f.studio.seek(500);
    EXPECT_EQ(f.studio.position(), 120.0);
}

} // namespace
} // namespace tw
