#include "mix/MixParameters.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using test::clip;

using Volumes = std::vector<std::pair<double, float>>; // seconds, volume heard then

void expectVolumes(const InputParameters& parameters, const Volumes& expected)
{
    for (const auto& [seconds, volume] : expected)
        EXPECT_FLOAT_EQ(parameters.volume.volumeAt(MediaTime::fromSeconds(seconds)), volume)
            << "at " << seconds << " s";
}

} // namespace

TEST(MixParametersTest, eachClipPlaysAtVoiceVolumeTimesItsGainFromItsFirstTickAndTheRestIsSilent)
{
    PodcastProject project;
    project.voiceVolume = 0.8f;
    project.segments = {clip(1, 2, 0, "Media/a.caf", 0.5f), clip(4, 1, 0, "Media/a.caf", 0.0f),
                        clip(5, 1, 0, "Media/a.caf"), clip(7, 1, 0, std::nullopt),
                        clip(11.2345678, 0.5, 0, "Media/a.caf")};
    auto parameters = voiceMixParameters(1, project, false);
    ASSERT_TRUE(parameters);
    EXPECT_EQ(parameters.value().tap, nullptr);
    // The muted clip touches the next one: 0 over all of it, then the next level at once. A clip
    // without a file keeps its automation: it depends on the timeline alone.
    const Volumes heard = {{0, 0},      {0.999, 0},  {1, 0.4f}, {2.999, 0.4f},  {3, 0},
                           {4, 0},      {4.9999, 0}, {5, 0.8f}, {5.9999, 0.8f}, {6.5, 0},
                           {7.5, 0.8f}, {8, 0},      {1000, 0}};
    expectVolumes(parameters.value(), heard);
    const std::int64_t first = std::llround(11.2345678 * 48000);
    const std::int64_t end = std::llround((11.2345678 + 0.5) * 48000);
    const VolumeAutomation& volume = parameters.value().volume;
    EXPECT_EQ(volume.volumeAt(MediaTime{first - 1}), 0.0f);
    EXPECT_EQ(volume.volumeAt(MediaTime{first}), 0.8f);
    EXPECT_EQ(volume.volumeAt(MediaTime{end - 1}), 0.8f);
    EXPECT_EQ(volume.volumeAt(MediaTime{end}), 0.0f);
    expectVolumes(voiceMixParameters(1, PodcastProject{}, false).value(), {{0, 0}, {10, 0}});
}

// The fades ramp from the music's offset on the timeline, with silence before the fade-in and
// after the fade-out; points without length switch at once; absent points use the older lengths.
static void expectFades(float volume, std::optional<double> inStart, std::optional<double> inEnd,
                        std::optional<double> outStart, std::optional<double> outEnd,
                        double duration, double offset, const Volumes& expected)
{
    PodcastProject project;
    project.musicVolume = volume;
    project.fadeInStart = inStart;
    project.fadeInEnd = inEnd;
    project.fadeOutStart = outStart;
    project.fadeOutEnd = outEnd;
    const InputParameters p = musicMixParameters(2, project, duration, offset);
    EXPECT_EQ(p.trackID, 2);
    EXPECT_EQ(p.tap, nullptr);
    expectVolumes(p, expected);
}

TEST(MixParametersTest, musicFadesRampFromTheOffsetAndHoldSilenceAroundThem)
{
    expectFades(0.3f, 0, 0, 10, 10, 10, 3,
                {{0, 0.3f}, {2.9, 0.3f}, {3, 0.3f}, {12.999, 0.3f}, {13, 0.3f}, {20, 0.3f}});
    expectFades(0.5f, 1, 3, 6, 8, 10, 2,
                {{0, 0}, {2.999, 0}, {3.5, 0.125f}, {5, 0.5f}, {8, 0.5f}, {9.5, 0.125f}, {10, 0}});
    expectFades(0.4f, 2, 2, 7, 7, 10, 1,
                {{0, 0}, {2.999, 0}, {3, 0.4f}, {7.999, 0.4f}, {8, 0}, {10, 0}});
    expectFades(0.35f, {}, {}, {}, {}, 30, 0,
                {{0, 0}, {2.5, 0.175f}, {12, 0.35f}, {25, 0.175f}, {30, 0}});
}

} // namespace tw
