#include "studio/Studio.hpp"

#include "audio/Player.hpp"
#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "voice/LiveVoiceTap.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tw {
namespace {

using testing::makeTone;
using testing::placedClip;
using testing::StudioFixture;
using testing::TempFolder;
using testing::writeProject;

// A project of one tone clip of the given length at 0, opened with its peaks loaded.
struct PlayableProject {
    TempFolder temp;
    std::filesystem::path folder = temp / "Show.podcastproject";
    StudioFixture f;

    explicit PlayableProject(double length = 2.0)
    {
        makeTone(folder / "Media" / "voice-1.wav", length, 440);
        PodcastProject document;
        document.segments = {placedClip(0, length, "Media/voice-1.wav")};
        writeProject(folder, document);
        EXPECT_TRUE(f.openAndWait(folder));
    }

    // Starts playback and waits until the player runs.
    void start()
    {
        f.studio.togglePlayback();
        ASSERT_TRUE(f.waitIdle());
        ASSERT_TRUE(f.studio.playing()) << f.studio.message().value_or("");
    }
    // Plays until playback stops by itself (at most limit seconds).
    void playUntilStopped(double limit)
    {
        for (double played = 0; played < limit && f.studio.playing(); played += 0.05)
            f.play(0.05);
    }
    // The loudest sample the output pulled, after skipping the first seconds of it.
    float peakRendered(double skipping = 0) const
    {
        const std::vector<float> rendered = f.lastOutput->rendered();
        const auto from = std::min(rendered.size(), static_cast<std::size_t>(skipping * 48000 * 2));
        float peak = 0;
        for (std::size_t i = from; i < rendered.size(); ++i)
            peak = std::max(peak, std::fabs(rendered[i]));
        return peak;
    }
};

// Opens, in f, a project of one clip of the given length whose file is not there (the play head
// needs no audio), with the missing file's message cleared.
void openWithoutAudio(StudioFixture& f, const TempFolder& temp, const std::string& name,
                      double length)
{
    PodcastProject document;
    document.segments = {placedClip(0, length, "Media/absent.wav")};
    writeProject(temp / name, document);
    f.studio.openProject(temp / name);
    f.waitIdle();
    f.studio.message = std::nullopt;
}

TEST(StudioTransport, playbackFollowsThePlayerAndStopsByItselfAtTheEnd)
{
    // The clock's last tick before the end comes within the stop's margin, 20 ms short of it.
    PlayableProject p(2.02);
    p.f.studio.togglePlayback();
    EXPECT_TRUE(p.f.studio.busy());
    p.f.studio.togglePlayback(); // refused while the start is prepared
    ASSERT_TRUE(p.f.waitIdle());
    ASSERT_TRUE(p.f.studio.playing());
    EXPECT_FALSE(p.f.studio.pauseEngaged());
    EXPECT_EQ(p.f.outputsMade, 1);

    p.f.play(1.0);
    EXPECT_NEAR(p.f.studio.position(), 1.0, 0.051);
    EXPECT_NEAR(p.peakRendered(), 0.5f, 0.02f) << "the tone is heard at its level";

    p.playUntilStopped(5);
    EXPECT_FALSE(p.f.studio.playing());
    EXPECT_TRUE(p.f.studio.pauseEngaged());
    EXPECT_GE(p.f.studio.position(), 2.02 - 0.03);
    EXPECT_LT(p.f.studio.position(), 2.02);

    // Playing from where the automatic stop left the head starts over.
    p.start();
    EXPECT_EQ(p.f.studio.position(), 0.0);
}

TEST(StudioTransport, aPauseOrStopDuringThePreparationAbandonsTheStart)
{
    PlayableProject p;
    p.f.studio.togglePlayback();
    p.f.studio.stop();
    ASSERT_TRUE(p.f.waitIdle());
    EXPECT_FALSE(p.f.studio.playing());
    EXPECT_FALSE(p.f.studio.player) << "no player was started";
    EXPECT_EQ(p.f.outputsMade, 0);

    p.f.studio.togglePlayback();
    p.f.studio.pause();
    ASSERT_TRUE(p.f.waitIdle());
    EXPECT_FALSE(p.f.studio.playing());
    EXPECT_FALSE(p.f.studio.player);
}

TEST(StudioTransport, pauseKeepsTheHeardTimeAndStopReturnsToTheStart)
{
    PlayableProject p(4.0);
    p.f.studio.seek(1.0);
    p.start();
    EXPECT_EQ(p.f.studio.position(), 1.0);
    p.f.play(0.5);
    p.f.studio.pause();
    EXPECT_FALSE(p.f.studio.playing());
    EXPECT_TRUE(p.f.studio.pauseEngaged());
    EXPECT_NEAR(p.f.studio.position(), 1.5, 0.051);

    // A late tick of the old start changes nothing.
    const double paused = p.f.studio.position();
    p.f.play(0.5);
    EXPECT_EQ(p.f.studio.position(), paused);

    p.f.studio.stop();
    EXPECT_FALSE(p.f.studio.pauseEngaged());
    EXPECT_EQ(p.f.studio.position(), 0.0);

    p.f.studio.pauseTransport(); // latches also when nothing plays
    EXPECT_TRUE(p.f.studio.pauseEngaged());
}

TEST(StudioTransport, listeningToASelectionPlaysItAndStopsAtItsEnd)
{
    PlayableProject p(14.0);
    p.f.studio.selection = TimeRange{10, 12};
    p.f.studio.listenToSelection();
    ASSERT_TRUE(p.f.waitIdle());
    ASSERT_TRUE(p.f.studio.playing());
    EXPECT_EQ(p.f.studio.position(), 10.0);
    p.playUntilStopped(5);
    EXPECT_GE(p.f.studio.position(), 11.97);
    EXPECT_LT(p.f.studio.position(), 12.03);
    EXPECT_FALSE(p.f.studio.previewEnd);

    // A seek during it clears the selection end: playback runs on past it.
    p.f.studio.listenToSelection();
    ASSERT_TRUE(p.f.waitIdle());
    p.f.studio.seek(11.5);
    EXPECT_FALSE(p.f.studio.previewEnd);
    p.f.studio.player->waitForReadAhead();
    p.f.play(1.0);
    EXPECT_TRUE(p.f.studio.playing());
    EXPECT_GT(p.f.studio.position(), 12.1);
}

TEST(StudioTransport, seeksStayWithinTheLimitsAndSaveOnceAfterTheLast)
{
    TempFolder temp;
    StudioFixture f;
    openWithoutAudio(f, temp, "Long.podcastproject", 100);

    f.studio.seek(-5);
    EXPECT_EQ(f.studio.position(), 0.0);
    f.studio.seek(500);
    EXPECT_EQ(f.studio.position(), 160.0);
    f.studio.seek(500); // the play head's own 30 s allowance
    EXPECT_EQ(f.studio.position(), 190.0);
    f.studio.seek(std::nan(""));
    EXPECT_EQ(f.studio.position(), 0.0);

    f.settle();
    const int saves = f.count(StudioField::lastSaved);
    for (int i = 0; i < 5; ++i) {
        f.studio.seek(10 + i);
        f.scheduler.advance(0.1);
    }
    f.settle();
    EXPECT_EQ(f.count(StudioField::lastSaved), saves);
    f.scheduler.advance(0.29);
    f.settle();
    EXPECT_EQ(f.count(StudioField::lastSaved), saves);
    f.scheduler.advance(0.02);
    f.settle();
    EXPECT_EQ(f.count(StudioField::lastSaved), saves + 1);

    StudioFixture small;
    openWithoutAudio(small, temp, "Short.podcastproject", 10);
    small.studio.seek(500);
    EXPECT_EQ(small.studio.position(), 120.0);
}

TEST(StudioTransport, shuttleJumpsShowTheirDirectionAndTheJumpsBackAndForthWaitForTheTake)
{
    TempFolder temp;
    StudioFixture f;
    openWithoutAudio(f, temp, "Long.podcastproject", 100);

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
}

TEST(StudioTransport, volumeAndTreatmentChangesKeepTheRunningVoiceTapWhichTakesTheNewTreatment)
{
    PlayableProject p(4.0);
    p.start();
    p.f.play(0.3);
    const auto voiceTap = [&] { return p.f.studio.player->currentAudioMix().parameters(1)->tap; };
    const std::shared_ptr<ProcessingTap> first = voiceTap();
    ASSERT_TRUE(first);

    p.f.studio.project.mutate([](PodcastProject& document) { document.voiceVolume = 0.5f; });
    p.f.studio.updateMix();
    EXPECT_TRUE(p.f.studio.playing()) << "a remix never stops playback";
    EXPECT_EQ(voiceTap(), first);
    EXPECT_FLOAT_EQ(p.f.studio.player->currentAudioMix().parameters(1)->volume.volumeAt(
                        MediaTime::fromSeconds(1)),
                    0.5f);

    p.f.lastOutput->clearRendered();
    p.f.play(0.5);
    EXPECT_NEAR(p.peakRendered(0.1), 0.25f, 0.02f) << "the new volume is heard after its glide";

    VoiceTreatment treated;
    treated.enhance = true;
    treated.reduceNoise = true;
    p.f.studio.project.mutate([&](PodcastProject& document) { document.treatment = treated; });
    p.f.studio.updateMix();
    EXPECT_EQ(voiceTap(), first) << "its filters and dynamics carry on into the new treatment";
    EXPECT_EQ(std::dynamic_pointer_cast<LiveVoiceTap>(first)->treatment(), treated);
    EXPECT_EQ(p.f.studio.appliedTreatment, treated);
    EXPECT_TRUE(p.f.studio.playing());
}

TEST(StudioTransport, theLoudnessMeterMeasuresWhatIsPlayedSincePlaybackStartedAndIdleSaysNothing)
{
    PlayableProject p(4.0);
    // The mono take is heard on both sides: 3 dB over the file as the ffmpeg tool measures it.
    const double heard =
        testfiles::ebur128WithFfmpeg(p.folder / "Media" / "voice-1.wav").integrated + 3.01;
    for (int run = 0; run < 2; ++run) {
        p.start();
        EXPECT_FALSE(p.f.studio.loudness()) << "a new playback measures anew";
        p.f.play(3.5);
        ASSERT_TRUE(p.f.studio.loudness());
        EXPECT_NEAR(p.f.studio.loudness()->shortTerm, heard, 0.2);
        EXPECT_NEAR(p.f.studio.loudness()->integrated, heard, 0.2);
        p.f.studio.pause();
        const int readings = p.f.count(StudioField::loudness);
        p.f.scheduler.advance(1.0);
        EXPECT_EQ(p.f.count(StudioField::loudness), readings);
        p.f.studio.seek(0);
    }
}

TEST(StudioTransport, aMissingFileLeavesPlaybackStoppedWithItsDescription)
{
    TempFolder temp;
    StudioFixture f;
    openWithoutAudio(f, temp, "Broken.podcastproject", 3);

    f.studio.togglePlayback();
    ASSERT_TRUE(f.waitIdle());
    EXPECT_FALSE(f.studio.playing());
    ASSERT_TRUE(f.studio.message());
    EXPECT_NE(f.studio.message()->find("absent.wav"), std::string::npos) << *f.studio.message();
}

} // namespace
} // namespace tw
