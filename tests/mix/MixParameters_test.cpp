#include "mix/MixParameters.hpp"

#include "voice/LiveVoiceTap.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

float volumeAt(const InputParameters& parameters, double seconds)
{
    return parameters.volume.volumeAt(MediaTime::fromSeconds(seconds));
}

Segment clip(std::optional<std::string> file, double duration, double at,
             std::optional<float> gain = std::nullopt)
{
    Segment s;
    s.file = std::move(file);
    s.duration = duration;
    s.timelineStart = at;
    s.gain = gain;
    return s;
}

const LiveVoiceTap* liveTap(const InputParameters& parameters)
{
    return dynamic_cast<const LiveVoiceTap*>(parameters.tap.get());
}

} // namespace

TEST(MixParametersTest, eachClipPlaysAtVoiceVolumeTimesItsGainAndEverythingElseIsSilent)
{
    PodcastProject project;
    project.voiceVolume = 0.8f;
    project.segments = {clip("Media/a.caf", 2, 1, 0.5f), clip("Media/a.caf", 1, 4, 0.0f),
                        clip("Media/a.caf", 1, 5), clip(std::nullopt, 1, 7)};
    auto parameters = voiceMixParameters(1, project, false);
    ASSERT_TRUE(parameters);
    const InputParameters& p = parameters.value();
    EXPECT_EQ(p.trackID, 1);
    EXPECT_EQ(p.tap, nullptr);

    EXPECT_EQ(volumeAt(p, 0), 0.0f);
    EXPECT_EQ(volumeAt(p, 0.999), 0.0f);
    for (double t : {1.0, 1.5, 2.999})
        EXPECT_FLOAT_EQ(volumeAt(p, t), 0.4f) << t;
    EXPECT_EQ(volumeAt(p, 3), 0.0f) << "silent from the clip's last tick on";
    // The muted clip touches the next one: 0 over all of it, then the next level at once.
    for (double t : {4.0, 4.5, 4.9999})
        EXPECT_EQ(volumeAt(p, t), 0.0f) << t;
    EXPECT_FLOAT_EQ(volumeAt(p, 5), 0.8f);
    EXPECT_FLOAT_EQ(volumeAt(p, 5.9999), 0.8f);
    EXPECT_EQ(volumeAt(p, 6.5), 0.0f);
    // A clip without a file keeps its automation: it depends on the timeline alone.
    EXPECT_FLOAT_EQ(volumeAt(p, 7.5), 0.8f);
    EXPECT_EQ(volumeAt(p, 8), 0.0f);
    EXPECT_EQ(volumeAt(p, 1000), 0.0f);
}

TEST(MixParametersTest, aProjectWithoutClipsGivesASilentVoiceTrack)
{
    auto parameters = voiceMixParameters(1, PodcastProject{}, false);
    ASSERT_TRUE(parameters);
    EXPECT_EQ(volumeAt(parameters.value(), 0), 0.0f);
    EXPECT_EQ(volumeAt(parameters.value(), 10), 0.0f);
}

TEST(MixParametersTest, clipsAtOddTimesSwitchOnTheNearestTick)
{
    PodcastProject project;
    project.segments = {clip("Media/a.caf", 0.5, 1.2345678)};
    auto parameters = voiceMixParameters(1, project, false);
    ASSERT_TRUE(parameters);
    const std::int64_t first = std::llround(1.2345678 * 48000);
    const std::int64_t end = std::llround((1.2345678 + 0.5) * 48000);
    const VolumeAutomation& volume = parameters.value().volume;
    EXPECT_EQ(volume.volumeAt(MediaTime{first - 1}), 0.0f);
    EXPECT_EQ(volume.volumeAt(MediaTime{first}), 1.0f);
    EXPECT_EQ(volume.volumeAt(MediaTime{end - 1}), 1.0f);
    EXPECT_EQ(volume.volumeAt(MediaTime{end}), 0.0f);
}

TEST(MixParametersTest, liveVoiceCarriesATapWithTheProjectsTreatmentOrTheNeutralOne)
{
    PodcastProject project;
    project.segments = {clip("Media/a.caf", 1, 0)};
    auto neutral = voiceMixParameters(1, project, true);
    ASSERT_TRUE(neutral);
    const LiveVoiceTap* tap = liveTap(neutral.value());
    ASSERT_NE(tap, nullptr);
    EXPECT_EQ(tap->source(), "voice");
    EXPECT_EQ(tap->treatment(), VoiceTreatment{});

    VoiceTreatment treatment;
    treatment.enhance = true;
    treatment.preset = Preset::femaleRadio;
    treatment.eqBands = std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    project.treatment = treatment;
    auto treated = voiceMixParameters(1, project, true);
    ASSERT_TRUE(treated);
    tap = liveTap(treated.value());
    ASSERT_NE(tap, nullptr);
    EXPECT_EQ(tap->source(), "voice");
    EXPECT_EQ(tap->treatment(), treatment);
    // The automation is the same in both modes.
    EXPECT_EQ(treated.value().volume, neutral.value().volume);

    auto exported = voiceMixParameters(1, project, false);
    ASSERT_TRUE(exported);
    EXPECT_EQ(exported.value().tap, nullptr);
}

TEST(MixParametersTest, musicWithoutFadesPlaysAtMusicVolumeFromTimeZero)
{
    PodcastProject project;
    project.musicVolume = 0.3f;
    project.fadeInStart = 0;
    project.fadeInEnd = 0;
    project.fadeOutStart = 10;
    project.fadeOutEnd = 10;
    const InputParameters p = musicMixParameters(2, project, 10, 3);
    EXPECT_EQ(p.trackID, 2);
    EXPECT_EQ(p.tap, nullptr);
    for (double t : {0.0, 2.9, 3.0, 8.0, 12.999, 13.0, 20.0})
        EXPECT_FLOAT_EQ(volumeAt(p, t), 0.3f) << t;
}

TEST(MixParametersTest, musicFadesRampFromTheOffsetAndHoldSilenceAroundThem)
{
    PodcastProject project;
    project.musicVolume = 0.5f;
    project.fadeInStart = 1;
    project.fadeInEnd = 3;
    project.fadeOutStart = 6;
    project.fadeOutEnd = 8;
    const InputParameters p = musicMixParameters(2, project, 10, 2);
    EXPECT_EQ(volumeAt(p, 0), 0.0f);
    EXPECT_EQ(volumeAt(p, 2.999), 0.0f) << "silent until the fade-in starts at 2 + 1";
    EXPECT_FLOAT_EQ(volumeAt(p, 3.5), 0.125f);
    EXPECT_FLOAT_EQ(volumeAt(p, 4), 0.25f);
    EXPECT_FLOAT_EQ(volumeAt(p, 5), 0.5f);
    EXPECT_FLOAT_EQ(volumeAt(p, 7.9), 0.5f);
    EXPECT_FLOAT_EQ(volumeAt(p, 8), 0.5f);
    EXPECT_FLOAT_EQ(volumeAt(p, 9.5), 0.125f);
    EXPECT_EQ(volumeAt(p, 10), 0.0f);
    EXPECT_EQ(volumeAt(p, 11.5), 0.0f) << "the fade-out ended before the music did";
}

TEST(MixParametersTest, fadePointsWithoutLengthSwitchTheMusicOnAndOffAtOnce)
{
    PodcastProject project;
    project.musicVolume = 0.4f;
    project.fadeInStart = 2;
    project.fadeInEnd = 2;
    project.fadeOutStart = 7;
    project.fadeOutEnd = 7;
    const InputParameters p = musicMixParameters(2, project, 10, 1);
    EXPECT_EQ(volumeAt(p, 0), 0.0f);
    EXPECT_EQ(volumeAt(p, 2.999), 0.0f);
    EXPECT_FLOAT_EQ(volumeAt(p, 3), 0.4f);
    EXPECT_FLOAT_EQ(volumeAt(p, 7.999), 0.4f);
    EXPECT_EQ(volumeAt(p, 8), 0.0f);
    EXPECT_EQ(volumeAt(p, 10), 0.0f);
}

TEST(MixParametersTest, theOlderFadeLengthsFadeFromTheStartAndToTheEnd)
{
    PodcastProject project; // fadeIn 5, fadeOut 10, musicVolume 0.35
    const InputParameters p = musicMixParameters(2, project, 30, 0);
    EXPECT_EQ(volumeAt(p, 0), 0.0f);
    EXPECT_FLOAT_EQ(volumeAt(p, 2.5), 0.175f);
    EXPECT_FLOAT_EQ(volumeAt(p, 12), 0.35f);
    EXPECT_FLOAT_EQ(volumeAt(p, 25), 0.175f);
    EXPECT_EQ(volumeAt(p, 30), 0.0f);
}

} // namespace tw
