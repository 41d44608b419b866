#include "model/PodcastProject.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>

namespace tw {

using test::clip;
using test::layout;
using test::legacyClip;
using test::projectWith;

TEST(PodcastProject, unpositionedClipsFollowTheStoredOneBeforeThemAndEqualStartsKeepStoredOrder)
{
    PodcastProject p;
    p.voiceFile = "voice.caf";
    std::vector<Segment> clips = {legacyClip(4), legacyClip(2), clip(2, 1, 0, "Media/other.caf"),
                                  legacyClip(1), clip(4, 1, 0, std::nullopt)};
    p.segments = clips;
    EXPECT_EQ(layout(p, clips), "0-4 a@0 voice.caf, 2-3 c@0 Media/other.caf, 3-4 d@0 voice.caf, "
                                "4-6 b@0 voice.caf, 4-5 e@0 voice.caf");
    EXPECT_EQ(p.segments, clips); // reading resolves nothing in place
    EXPECT_EQ(p.voiceDuration(), 6.0);
    EXPECT_EQ(projectWith({clip(20, 1), clip(0, 2)}).voiceDuration(), 21.0);
}

TEST(PodcastProject, theClipAtATimeIsTheEarliestStartedOneHoldingIt)
{
    Segment a = clip(0, 2), b = clip(2, 1), c = clip(5, 3), overlapping = clip(6, 4);
    PodcastProject p = projectWith({overlapping, c, b, a});
    const std::pair<double, std::optional<Uuid>> cases[] = {
        {0, a.id}, {1.999, a.id}, {2, b.id}, // a clip's end belongs to the next clip
        {3, {}},   {4.5, {}},     {6.5, c.id}, {8, overlapping.id}, {10, {}}, {-0.5, {}},
    };
    for (const auto& [at, id] : cases) {
        std::optional<Segment> found = p.segment(at);
        EXPECT_EQ(found ? std::optional(found->id) : std::nullopt, id) << at;
    }
    EXPECT_EQ(*p.segment(5.5)->timelineStart, 5.0);
}

TEST(PodcastProject, voiceSourcesListEachVoiceFileOnceInTextOrder)
{
    PodcastProject p;
    p.voiceFile = "Media/voice-B.caf";
    p.pendingVoiceFile = "Media/voice-C.caf";
    p.musicFile = "Media/music-A.mp3";
    p.segments = {clip(0, 1, 0, "Media/voice-D.caf"), legacyClip(1),
                  clip(3, 1, 0, "Media/paste-Z.caf"), clip(5, 1, 0, "Media/voice-D.caf")};
    EXPECT_EQ(p.voiceSources(),
              (std::vector<std::string>{"Media/paste-Z.caf", "Media/voice-B.caf",
                                        "Media/voice-C.caf", "Media/voice-D.caf"}));
    EXPECT_TRUE(projectWith({legacyClip(1)}).voiceSources().empty());
}

TEST(PodcastProject, copiedClipsAreNewClipsPlacedRelativeToTheRangeStart)
{
    const Segment a = clip(0, 4, 10, "a.caf"), b = clip(6, 2, 1, "b.caf", 0.0f);
    const PodcastProject p = projectWith({a, b});
    const std::pair<TimeRange, std::string> cases[] = {
        {{3, 7}, "0-1 +@13 a.caf, 3-4 +@1 b.caf g0"},
        {{-1, 1}, "1-2 +@10 a.caf"}, // used as given: a start before 0 shifts the copies right
        {{4, 6}, ""},
        {{2, 2}, ""},
    };
    for (const auto& [range, expected] : cases)
        EXPECT_EQ(layout(projectWith(p.copiedClips(range)), {a, b}), expected) << range.lower;
}

TEST(PodcastProject, musicRangeClampsTheFragmentToTheSourceAndTheTimeline)
{
    const struct {
        std::optional<double> sourceStart, length, offset;
        MusicRange expected;
    } cases[] = {
        {{}, {}, {}, {0, 60, 0}}, {100, {}, {}, {60, 0, 0}}, {-5, {}, -3, {0, 60, 0}},
        {10, 20, 4, {10, 20, 4}}, {10, 80, 4, {10, 50, 4}},  {10, -1, 4, {10, 0, 4}},
    };
    for (const auto& c : cases) {
        PodcastProject p;
        p.musicSourceStart = c.sourceStart;
        p.musicLength = c.length;
        p.musicOffset = c.offset;
        EXPECT_EQ(p.musicRange(60), c.expected) << c.sourceStart.value_or(0);
    }
    EXPECT_EQ(PodcastProject{}.musicRange(0), (MusicRange{0, 0, 0}));
}

TEST(PodcastProject, fadesFallBackOnTheOlderLengthsAndStayInOrder)
{
    PodcastProject p; // fadeIn 5, fadeOut 10
    EXPECT_EQ(p.fades(4), (Fades{0, 2, 2, 4}));
    EXPECT_EQ(p.fades(60), (Fades{0, 5, 50, 60}));
    EXPECT_EQ(p.fades(0), (Fades{0, 0, 0, 0}));
    p.fadeInEnd = 40;
    EXPECT_EQ(p.fades(30), (Fades{0, 30, 30, 30}));
    p.fadeInStart = 1;
    p.fadeInEnd = 3;
    p.fadeOutStart = 20;
    p.fadeOutEnd = 25;
    EXPECT_EQ(p.fades(30), (Fades{1, 3, 20, 25}));
    p.fadeInStart = -4;
    p.fadeOutStart = 2; // before the fade-in ends
    p.fadeOutEnd = 99;
    EXPECT_EQ(p.fades(30), (Fades{0, 3, 3, 30}));
}

} // namespace tw
