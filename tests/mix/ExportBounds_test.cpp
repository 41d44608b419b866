#include "mix/ExportBounds.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace tw {
namespace {

using test::clip;

using Peaks = std::vector<float>;
using Voices = std::map<std::string, Peaks>;
using Range = std::optional<TimeRange>;

// Peak lists are 50 values a second: these build them from spans of seconds.
Peaks peaks(std::initializer_list<std::pair<double, float>> spans)
{
    Peaks list;
    for (auto [seconds, level] : spans)
        list.insert(list.end(), static_cast<std::size_t>(seconds * 50 + 0.5), level);
    return list;
}

const Voices fourSeconds{{"Media/voice-A.caf", peaks({{4, 0.5f}})}};
const Voices tenSeconds{{"Media/voice-A.caf", peaks({{10, 0.5f}})}};
// 1 s of noise, 2 s of silence, then 4 s of sound.
const Voices lateSound{{"Media/voice-A.caf", peaks({{1, 0.3f}, {2, 0.0f}, {4, 0.5f}})}};
// A loud file and one that only whispers at 5e-7.
const Voices loudAndQuiet{{"Media/loud.caf", peaks({{2, 0.5f}})},
                          {"Media/quiet.caf", peaks({{3, 5e-7f}})}};

void music(PodcastProject& p, double offset, std::optional<double> fadeInEnd = std::nullopt)
{
    p.musicFile = "Media/music-A.m4a";
    p.musicOffset = offset;
    p.fadeInStart = 0;
    p.fadeInEnd = fadeInEnd;
}

const std::vector<Segment> twoClips = {clip(1, 3, 2), clip(6, 1)};
const std::vector<Segment> loudThenQuiet = {clip(0, 2, 0, "Media/loud.caf"),
                                            clip(4, 3, 0, "Media/quiet.caf", 1.5f)};

// What the export keeps, for the project `set` makes from `clips`: the audible part with a margin
// of 0.04 s each side, never before the first audible clip or music, never after the programme.
void expectRange(const char* what, Range expected, std::vector<Segment> clips, const Voices& voices,
                 const std::function<void(PodcastProject&)>& set = {}, const Peaks& music = {},
                 double musicDuration = 0)
{
    PodcastProject project;
    project.segments = std::move(clips);
    if (set)
        set(project);
    const Range range = ExportBounds::audible(project, voices, music, musicDuration);
    ASSERT_EQ(range.has_value(), expected.has_value()) << what;
    if (range) {
        EXPECT_NEAR(range->lower, expected->lower, 1e-9) << what;
        EXPECT_NEAR(range->upper, expected->upper, 1e-9) << what;
    }
}

TEST(ExportBoundsTest, theRangeIsTheAudiblePartWithAMarginWithinTheProgramme)
{
    const Range none;
    expectRange("the only clip muted", none, {clip(0, 4, 0, "Media/voice-A.caf", 0.0f)},
                fourSeconds);
    expectRange("the same clip heard", TimeRange{0, 4}, {clip(0, 4, 0, "Media/voice-A.caf", 1.0f)},
                fourSeconds);
    expectRange("the voice volume at 0", none, {clip(0, 4)}, fourSeconds,
                [](PodcastProject& p) { p.voiceVolume = 0; });
    expectRange("no peaks for the clip's file", none, {clip(0, 4, 0, "Media/voice-B.caf")},
                fourSeconds);
    expectRange("a clip cut from beyond its peaks", none, {clip(0, 2, 5)}, fourSeconds);
    expectRange("leading silence cut to a margin", TimeRange{7 - 0.04, 11}, {clip(5, 6, 1)},
                lateSound);
    expectRange("the margin stops at the clip's start", TimeRange{5, 9}, {clip(5, 4)},
                {{"Media/voice-A.caf", peaks({{0.02, 0.0f}, {4, 0.5f}})}});
    expectRange("sound only in the partial fiftieth at the clip's end", TimeRange{0.96, 1.01},
                {clip(0, 1.01)}, {{"Media/voice-A.caf", peaks({{1, 0.0f}, {0.02, 0.5f}})}});
    expectRange("trailing silence cut to a margin", TimeRange{1, 4.04}, {clip(1, 6)},
                {{"Media/voice-A.caf", peaks({{3, 0.5f}, {3, 0.0f}})}});
    expectRange("1.5 x 5e-7 is still below the audible level", TimeRange{0, 2.04}, loudThenQuiet,
                loudAndQuiet);
    expectRange("a gain of 3 lifts it above", TimeRange{0, 7}, loudThenQuiet, loudAndQuiet,
                [](PodcastProject& p) { p.segments[1].gain = 3.0f; });
    expectRange(
        "a fade-in from the music's start begins the export at its offset; the default "
        "fade-out ends with the music",
        TimeRange{3, 23}, {clip(10, 4)}, fourSeconds, [](PodcastProject& p) { music(p, 3, 5); },
        peaks({{20, 0.5f}}), 20);
    expectRange(
        "music silenced by its fades", TimeRange{2 + 1 - 0.04, 2 + 6 + 0.04}, {}, {},
        [](PodcastProject& p) {
            music(p, 2);
            p.musicLength = 10;
            p.fadeInStart = 1;
            p.fadeInEnd = 2;
            p.fadeOutStart = 4;
            p.fadeOutEnd = 6;
        },
        peaks({{12, 0.5f}}), 12);
    expectRange(
        "the voice at 0: the music's audible part alone (source 2.5-6 s plays at 3.5-7 s)",
        TimeRange{3.46, 7.04}, {clip(0, 10)}, tenSeconds,
        [](PodcastProject& p) {
            p.voiceVolume = 0;
            music(p, 2, 0);
            p.musicSourceStart = 1;
            p.musicLength = 8;
            p.fadeOut = 0;
        },
        peaks({{2.5, 0.0f}, {3.5, 0.4f}, {4, 0.0f}}), 10);
    expectRange("the end is the programme's end", TimeRange{1, 7}, twoClips, tenSeconds);
    expectRange(
        "music running past the voice ends the programme", TimeRange{1, 9}, twoClips, tenSeconds,
        [](PodcastProject& p) {
            music(p, 4, 0);
            p.fadeOut = 1;
        },
        peaks({{5, 0.5f}}), 5);
    expectRange("nothing at all: the peaks of no music file", none, {}, tenSeconds, {},
                peaks({{5, 0.5f}}), 5);
    expectRange("clips of the older layout follow each other from 0", TimeRange{0, 1.04},
                {test::legacyClip(2), test::legacyClip(2, 4)},
                {{"Media/voice-A.caf", peaks({{1, 0.5f}, {9, 0.0f}})}},
                [](PodcastProject& p) { p.voiceFile = "Media/voice-A.caf"; });
}

} // namespace
} // namespace tw
