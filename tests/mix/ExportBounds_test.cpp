#include "mix/ExportBounds.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using Peaks = std::vector<float>;
using Voices = std::map<std::string, Peaks>;

// Peak lists are 50 values a second: these build them from spans of seconds.
Peaks peaks(std::initializer_list<std::pair<double, float>> spans)
{
    Peaks list;
    for (auto [seconds, level] : spans)
        list.insert(list.end(), static_cast<std::size_t>(seconds * 50 + 0.5), level);
    return list;
}

Segment clip(const std::string& file, double start, double duration, double at,
             std::optional<float> gain = std::nullopt)
{
    Segment s;
    s.file = file;
    s.start = start;
    s.duration = duration;
    s.timelineStart = at;
    s.gain = gain;
    return s;
}

// Music with no fades at all: full volume from the first to the last sample of the fragment.
void withoutFades(PodcastProject& project)
{
    project.fadeIn = 0;
    project.fadeOut = 0;
}

} // namespace

TEST(ExportBoundsTest, aProjectWhoseOnlyClipIsMutedHasNothingAudible)
{
    PodcastProject project;
    project.segments = {clip("Media/voice-A.caf", 0, 4, 0, 0.0f)};
    const Voices voices{{"Media/voice-A.caf", peaks({{4, 0.5f}})}};
    EXPECT_FALSE(ExportBounds::audible(project, voices, {}, 0));

    project.segments[0].gain = 1.0f; // the same clip unmuted is heard
    const auto heard = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(heard);
    EXPECT_EQ(*heard, (TimeRange{0, 4}));

    project.voiceVolume = 0; // and silenced by the voice volume again
    EXPECT_FALSE(ExportBounds::audible(project, voices, {}, 0));
}

TEST(ExportBoundsTest, nothingIsAudibleWithoutPeaksForTheClipsFile)
{
    PodcastProject project;
    project.segments = {clip("Media/voice-A.caf", 0, 4, 0)};
    EXPECT_FALSE(
        ExportBounds::audible(project, {{"Media/voice-B.caf", peaks({{4, 0.5f}})}}, {}, 0));
    // A clip cut from beyond the end of its peaks covers none of them.
    project.segments = {clip("Media/voice-A.caf", 5, 2, 0)};
    EXPECT_FALSE(
        ExportBounds::audible(project, {{"Media/voice-A.caf", peaks({{4, 0.5f}})}}, {}, 0));
}

TEST(ExportBoundsTest, leadingSilenceIsCutToAMarginBeforeTheFirstPeakButNotBeforeTheClip)
{
    PodcastProject project;
    // The file: 1 s of noise that the clip leaves out, 2 s of silence, then 4 s of sound.
    const Voices voices{{"Media/voice-A.caf", peaks({{1, 0.3f}, {2, 0.0f}, {4, 0.5f}})}};
    // Cut from 1 s of the file and placed at 5 s: the sound begins 2 s into the clip.
    project.segments = {clip("Media/voice-A.caf", 1, 6, 5)};
    auto range = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->lower, 7 - 0.04);
    EXPECT_DOUBLE_EQ(range->upper, 11); // the clip's end is the project's end

    // Sound that begins 0.02 s into the clip: the margin stops at the clip's own start.
    const Voices early{{"Media/voice-A.caf", peaks({{0.02, 0.0f}, {4, 0.5f}})}};
    project.segments = {clip("Media/voice-A.caf", 0, 4, 5)};
    range = ExportBounds::audible(project, early, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->lower, 5);
}

TEST(ExportBoundsTest, trailingSilenceIsCutToAMarginAfterTheLastPeak)
{
    PodcastProject project;
    const Voices voices{{"Media/voice-A.caf", peaks({{3, 0.5f}, {3, 0.0f}})}};
    project.segments = {clip("Media/voice-A.caf", 0, 6, 1)};
    const auto range = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->lower, 1);
    EXPECT_DOUBLE_EQ(range->upper, 4.04);
}

TEST(ExportBoundsTest, peaksBelowTheAudibleLevelStaySilentUnlessGainLiftsThemAboveIt)
{
    PodcastProject project;
    // A loud clip first, then a clip whose file only whispers at 5e-7.
    const Voices voices{{"Media/loud.caf", peaks({{2, 0.5f}})},
                        {"Media/quiet.caf", peaks({{3, 5e-7f}})}};
    project.segments = {clip("Media/loud.caf", 0, 2, 0), clip("Media/quiet.caf", 0, 3, 4, 1.5f)};
    auto range = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->upper, 2.04) << "1.5 × 5e-7 is still below the audible level";

    project.segments[1].gain = 3.0f; // 1.5e-6: now heard to the end of the clip
    range = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->upper, 7);

    project.voiceVolume = 0.25f; // the voice volume counts in the product too
    range = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->upper, 2.04);
}

TEST(ExportBoundsTest, aMusicFadeInFromItsStartMakesTheExportBeginAtTheMusicOffset)
{
    PodcastProject project;
    project.musicFile = "Media/music-A.m4a";
    project.musicOffset = 3;
    project.fadeInStart = 0;
    project.fadeInEnd = 5;
    project.segments = {clip("Media/voice-A.caf", 0, 4, 10)};
    const Voices voices{{"Media/voice-A.caf", peaks({{4, 0.5f}})}};
    const auto range = ExportBounds::audible(project, voices, peaks({{20, 0.5f}}), 20);
    ASSERT_TRUE(range);
    EXPECT_EQ(range->lower, 3.0);
    // The default 10 s fade-out ends with the music at 23 s, the project's end; the last peak's
    // centre is still inside the fade.
    EXPECT_DOUBLE_EQ(range->upper, 23);
}

TEST(ExportBoundsTest, musicSilencedByItsFadesIsCutFromTheRange)
{
    PodcastProject project;
    project.musicFile = "Media/music-A.m4a";
    project.musicOffset = 2;
    project.musicLength = 10;
    // Heard from 1 s of the fragment (a fade-in from 1 s), gone after 6 s (a fade-out ending
    // there).
    project.fadeInStart = 1;
    project.fadeInEnd = 2;
    project.fadeOutStart = 4;
    project.fadeOutEnd = 6;
    const auto range = ExportBounds::audible(project, {}, peaks({{12, 0.5f}}), 12);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->lower, 2 + 1 - 0.04);
    EXPECT_DOUBLE_EQ(range->upper, 2 + 6 + 0.04);
}

TEST(ExportBoundsTest, withTheVoiceAtVolumeZeroTheRangeIsTheMusicsAudiblePartAlone)
{
    PodcastProject project;
    project.voiceVolume = 0;
    project.segments = {clip("Media/voice-A.caf", 0, 20, 0)};
    const Voices voices{{"Media/voice-A.caf", peaks({{20, 0.5f}})}};
    project.musicFile = "Media/music-A.m4a";
    project.musicOffset = 2;
    project.musicSourceStart = 1;
    project.musicLength = 8;
    withoutFades(project);
    // The music file: 2.5 s silent, sound up to 6 s, then silent to its end at 10 s.
    const Peaks music = peaks({{2.5, 0.0f}, {3.5, 0.4f}, {4, 0.0f}});
    const auto range = ExportBounds::audible(project, voices, music, 10);
    ASSERT_TRUE(range);
    // Source [2.5, 6) of the file plays at [3.5, 7) of the timeline.
    EXPECT_DOUBLE_EQ(range->lower, 3.5 - 0.04);
    EXPECT_DOUBLE_EQ(range->upper, 7 + 0.04);

    project.musicVolume = 0; // and with the music down too, nothing is left
    EXPECT_FALSE(ExportBounds::audible(project, voices, music, 10));
}

TEST(ExportBoundsTest, theEndIsClampedToTheProjectsEnd)
{
    PodcastProject project;
    const Voices voices{{"Media/voice-A.caf", peaks({{10, 0.5f}})}};
    project.segments = {clip("Media/voice-A.caf", 2, 3, 1), clip("Media/voice-A.caf", 0, 1, 6)};
    auto range = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->lower, 1);
    EXPECT_DOUBLE_EQ(range->upper, 7);

    // Music running past the voice: the project ends with the music. Its fade-out still sounds in
    // its last peak, and the margin stops at the end.
    project.musicFile = "Media/music-A.m4a";
    project.musicOffset = 4;
    project.fadeIn = 0;
    project.fadeOut = 1;
    range = ExportBounds::audible(project, voices, peaks({{5, 0.5f}}), 5);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->lower, 1);
    EXPECT_DOUBLE_EQ(range->upper, 9);

    // Without a music file its peaks are not heard.
    project.musicFile.reset();
    range = ExportBounds::audible(project, voices, peaks({{5, 0.5f}}), 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->upper, 7);
    project.segments.clear();
    EXPECT_FALSE(ExportBounds::audible(project, voices, peaks({{5, 0.5f}}), 5));
}

TEST(ExportBoundsTest, clipsOfTheOlderLayoutFollowEachOtherFromZero)
{
    PodcastProject project;
    project.voiceFile = "Media/voice-A.caf";
    Segment first, second;
    first.start = 0;
    first.duration = 2;
    second.start = 4;
    second.duration = 2;
    project.segments = {first, second};
    // The file is silent from 1 s on: the second clip (at 2 s on the timeline) says nothing.
    const Voices voices{{"Media/voice-A.caf", peaks({{1, 0.5f}, {9, 0.0f}})}};
    const auto range = ExportBounds::audible(project, voices, {}, 0);
    ASSERT_TRUE(range);
    EXPECT_DOUBLE_EQ(range->lower, 0);
    EXPECT_DOUBLE_EQ(range->upper, 1.04);
}

} // namespace tw
