#include "ui/DeckState.hpp"

#include "model/PodcastProject.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(DeckState, countdownWinsOverEverything)
{
    DeckTransport all{3, -1, true, false, true, true};
    EXPECT_EQ(deckStatus(all), "3");
    EXPECT_EQ(deckLamp(all), DeckLamp::yellow);
    all.shuttleDirection = 1;
    all.recordingPaused = true;
    EXPECT_EQ(deckStatus(all), "3");
    EXPECT_EQ(deckLamp(all), DeckLamp::yellow);
    EXPECT_EQ(deckAccessibleName(deckStatus(all)), "Grabadora de bobinas: 3");
}

TEST(DeckState, shuttlingWinsOverRecordingAndPlaying)
{
    DeckTransport rewinding{std::nullopt, -1, true, false, true, false};
    EXPECT_EQ(deckStatus(rewinding), "REW");
    EXPECT_EQ(deckLamp(rewinding), DeckLamp::grey);
    DeckTransport winding{std::nullopt, 2, false, false, true, true};
    EXPECT_EQ(deckStatus(winding), "FF");
    EXPECT_EQ(deckLamp(winding), DeckLamp::grey);
}

TEST(DeckState, recordingThenPlayingThenPauseOrStop)
{
    DeckTransport t;
    t.recording = true;
    t.playing = true;
    EXPECT_EQ(deckStatus(t), "REC");
    EXPECT_EQ(deckLamp(t), DeckLamp::red);
    t.recordingPaused = true;
    EXPECT_EQ(deckStatus(t), "PAUSA");
    EXPECT_EQ(deckLamp(t), DeckLamp::yellow);
    t = {};
    t.playing = true;
    t.pauseEngaged = true;
    EXPECT_EQ(deckStatus(t), "PLAY");
    EXPECT_EQ(deckLamp(t), DeckLamp::green);
    t.playing = false;
    EXPECT_EQ(deckStatus(t), "PAUSA");
    EXPECT_EQ(deckLamp(t), DeckLamp::yellow);
    t.pauseEngaged = false;
    EXPECT_EQ(deckStatus(t), "STOP");
    EXPECT_EQ(deckLamp(t), DeckLamp::grey);
    EXPECT_EQ(deckAccessibleName("STOP"), "Grabadora de bobinas: STOP");
}

namespace {

// Two clips of take.caf with a gap between them: [0, 2) from source 1 s, [5, 7) from source 10 s.
PodcastProject twoClipsWithAGap()
{
    PodcastProject project;
    project.voiceFile = "take.caf";
    Segment first;
    first.start = 1;
    first.duration = 2;
    first.timelineStart = 0;
    Segment second;
    second.start = 10;
    second.duration = 2;
    second.timelineStart = 5;
    project.segments = {first, second};
    project.voiceVolume = 0.5f;
    return project;
}

// 20 s of envelope at 50 values per second: value = index / 1000.
std::map<std::string, std::vector<float>> rampEnvelope()
{
    std::vector<float> peaks(1000);
    for (std::size_t i = 0; i < peaks.size(); ++i)
        peaks[i] = static_cast<float>(i) / 1000.0f;
    return {{"take.caf", peaks}};
}

} // namespace

TEST(DeckState, levelFollowsTheClipEnvelopeTimesVoiceVolumeAndIsSilentOverAGap)
{
    const PodcastProject project = twoClipsWithAGap();
    const auto envelopes = rampEnvelope();
    // 0.5 s into the first clip is 1.5 s into the source: index 75.
    EXPECT_FLOAT_EQ(deckLevel(false, true, 0.9f, 0.5, project, envelopes), 0.075f * 0.5f);
    // 1.01 s into the second clip is 11.01 s into the source: index 550.
    EXPECT_FLOAT_EQ(deckLevel(false, true, 0.9f, 6.01, project, envelopes), 0.55f * 0.5f);
    EXPECT_EQ(deckLevel(false, true, 0.9f, 3.5, project, envelopes), 0.0f);
    // Not playing: nothing; recording: the input meter whatever the timeline holds.
    EXPECT_EQ(deckLevel(false, false, 0.9f, 0.5, project, envelopes), 0.0f);
    EXPECT_EQ(deckLevel(true, true, 0.9f, 3.5, project, envelopes), 0.9f);
}

TEST(DeckState, levelIsCappedAndNeedsAnEnvelopeCoveringThePosition)
{
    PodcastProject project = twoClipsWithAGap();
    project.voiceVolume = 4.0f;
    const auto envelopes = rampEnvelope();
    EXPECT_EQ(deckLevel(false, true, 0, 6.5, project, envelopes), 1.0f);
    // An envelope shorter than the clip's source window.
    std::map<std::string, std::vector<float>> shortEnvelope{
        {"take.caf", std::vector<float>(100, 0.2f)}};
    EXPECT_EQ(deckLevel(false, true, 0, 6.5, project, shortEnvelope), 0.0f);
    EXPECT_FLOAT_EQ(deckLevel(false, true, 0, 0.5, project, shortEnvelope), 0.8f);
    // No envelope for the clip's file.
    project.segments[0].file = "other.caf";
    EXPECT_EQ(deckLevel(false, true, 0, 0.5, project, envelopes), 0.0f);
}

TEST(DeckState, deckNeedleSpansNinetyDegreesOverHalfScale)
{
    EXPECT_DOUBLE_EQ(deckNeedleRotation(0), -45);
    EXPECT_DOUBLE_EQ(deckNeedleRotation(0.25), 0);
    EXPECT_DOUBLE_EQ(deckNeedleRotation(0.5), 45);
    EXPECT_DOUBLE_EQ(deckNeedleRotation(0.9), 45);
}

TEST(DeckState, rewindingTurnsTheReelsEightTimesAsFastTheOtherWay)
{
    DeckTransport playing;
    playing.playing = true;
    DeckTransport rewinding = playing;
    rewinding.shuttleDirection = -1;
    const double dt = reelFrameDelta(10.05, 10.0);
    const double forward = reelDrawAngle(30, reelSpeedFactor(playing), dt, 85) - 30;
    const double backward = reelDrawAngle(30, reelSpeedFactor(rewinding), dt, 85) - 30;
    EXPECT_LT(forward, 0);
    EXPECT_NEAR(backward, -8 * forward, 1e-9);

    DeckTransport recording;
    recording.recording = true;
    EXPECT_EQ(reelSpeedFactor(recording), 1);
    recording.recordingPaused = true;
    EXPECT_EQ(reelSpeedFactor(recording), 0);
    EXPECT_EQ(reelSpeedFactor(DeckTransport{}), 0);
}

TEST(DeckState, aLongDrawingPauseMovesTheReelsAtMostTwoTenthsOfASecond)
{
    EXPECT_DOUBLE_EQ(reelFrameDelta(15.0, 10.0), 0.2);
    EXPECT_DOUBLE_EQ(reelFrameDelta(9.0, 10.0), 0.0);
    EXPECT_DOUBLE_EQ(reelDrawAngle(0, 1, reelFrameDelta(15.0, 10.0), 100), -20);
}

} // namespace tw
