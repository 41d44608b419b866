#include "model/PodcastProject.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>

#include <random>

namespace tw {

using test::clip;
using test::legacyClip;
using test::projectWith;
using test::Spans;

TEST(PodcastProject, newProjectHasTheDocumentDefaults)
{
    PodcastProject p;
    EXPECT_EQ(p.version, 1);
    EXPECT_TRUE(p.segments.empty());
    EXPECT_FALSE(p.recordingPending);
    EXPECT_EQ(p.voiceVolume, 1.0f);
    EXPECT_EQ(p.musicVolume, 0.35f);
    EXPECT_EQ(p.fadeIn, 5.0);
    EXPECT_EQ(p.fadeOut, 10.0);
    EXPECT_EQ(p.voiceFile, std::nullopt);
    EXPECT_EQ(p.treatment, std::nullopt);
    EXPECT_EQ(p.fadeOutEnd, std::nullopt);
    EXPECT_NE(Segment{}.id, Segment{}.id);
}

TEST(PodcastProject, unpositionedClipsFollowThePreviousOneAndAPositionRestartsTheRun)
{
    PodcastProject p;
    p.voiceFile = "voice.caf";
    Segment a = legacyClip(4), b = legacyClip(2), c = legacyClip(1), d = legacyClip(1);
    c.timelineStart = 2;
    c.file = "Media/other.caf";
    p.segments = {a, b, c, d};
    std::vector<Segment> resolved = p.resolvedSegments();
    ASSERT_EQ(resolved.size(), 4u);
    EXPECT_EQ(resolved[0].id, a.id);
    EXPECT_EQ(resolved[1].id, c.id);
    EXPECT_EQ(resolved[2].id, d.id);
    EXPECT_EQ(resolved[3].id, b.id);
    EXPECT_EQ(test::spans(p), (Spans{{0, 4}, {2, 3}, {3, 4}, {4, 6}}));
    EXPECT_EQ(resolved[0].file, "voice.caf");
    EXPECT_EQ(resolved[1].file, "Media/other.caf");
    EXPECT_EQ(resolved[3].file, "voice.caf");
    // Reading resolves nothing in place.
    EXPECT_EQ(p.segments[1].timelineStart, std::nullopt);
}

TEST(PodcastProject, resolvingKeepsStoredOrderAmongEqualStartsAndLeavesFilesAbsentWithoutVoiceFile)
{
    Segment first = clip(5, 1, 0, std::nullopt);
    Segment second = clip(5, 2);
    Segment early = clip(1, 1);
    PodcastProject p = projectWith({first, second, early});
    std::vector<Segment> resolved = p.resolvedSegments();
    ASSERT_EQ(resolved.size(), 3u);
    EXPECT_EQ(resolved[0].id, early.id);
    EXPECT_EQ(resolved[1].id, first.id);
    EXPECT_EQ(resolved[2].id, second.id);
    EXPECT_EQ(resolved[1].file, std::nullopt);
    EXPECT_TRUE(PodcastProject{}.resolvedSegments().empty());
}

TEST(PodcastProject, segmentAtFindsTheFirstClipHoldingTheTime)
{
    Segment a = clip(0, 2), b = clip(2, 1), c = clip(5, 3), overlapping = clip(6, 4);
    PodcastProject p = projectWith({overlapping, c, b, a});
    EXPECT_EQ(p.segment(0)->id, a.id);
    EXPECT_EQ(p.segment(1.999)->id, a.id);
    EXPECT_EQ(p.segment(2)->id, b.id); // a clip's end belongs to the next clip
    EXPECT_EQ(p.segment(3), std::nullopt);
    EXPECT_EQ(p.segment(4.5), std::nullopt);
    EXPECT_EQ(p.segment(6.5)->id, c.id); // the earlier of two overlapping clips
    EXPECT_EQ(p.segment(8)->id, overlapping.id);
    EXPECT_EQ(p.segment(10), std::nullopt);
    EXPECT_EQ(p.segment(-0.5), std::nullopt);
    EXPECT_EQ(*p.segment(5.5)->timelineStart, 5.0);
    EXPECT_EQ(PodcastProject{}.segment(0), std::nullopt);
}

TEST(PodcastProject, segmentAtResolvesLegacyClips)
{
    PodcastProject p;
    p.voiceFile = "voice.caf";
    Segment a = legacyClip(4), b = legacyClip(2), c = legacyClip(1);
    c.timelineStart = 4; // starts together with b; b was stored first
    p.segments = {a, b, c};
    std::optional<Segment> found = p.segment(4.5);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->id, b.id);
    EXPECT_EQ(found->file, "voice.caf");
    EXPECT_EQ(found->timelineStart, 4.0);
}

TEST(PodcastProject, voiceDurationIsTheLatestClipEnd)
{
    EXPECT_EQ(PodcastProject{}.voiceDuration(), 0.0);
    EXPECT_EQ(projectWith({clip(0, 10), clip(2, 1)}).voiceDuration(), 10.0);
    EXPECT_EQ(projectWith({clip(20, 1), clip(0, 2)}).voiceDuration(), 21.0);
    PodcastProject legacy = projectWith({legacyClip(4), legacyClip(2.5)});
    legacy.musicFile = "music.mp3";
    legacy.musicOffset = 100;
    EXPECT_EQ(legacy.voiceDuration(), 6.5);
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
    EXPECT_TRUE(PodcastProject{}.voiceSources().empty());
    PodcastProject noVoiceFile = projectWith({legacyClip(1)});
    EXPECT_TRUE(noVoiceFile.voiceSources().empty());
}

TEST(PodcastProject, copiedClipsAreNewClipsPlacedRelativeToTheRangeStart)
{
    Segment a = clip(0, 4, 10, "a.caf"), b = clip(6, 2, 1, "b.caf");
    b.gain = 0;
    PodcastProject p = projectWith({a, b});
    std::vector<Segment> copied = p.copiedClips({3, 7});
    ASSERT_EQ(copied.size(), 2u);
    EXPECT_EQ(copied[0].start, 13.0);
    EXPECT_EQ(copied[0].duration, 1.0);
    EXPECT_EQ(copied[0].timelineStart, 0.0);
    EXPECT_EQ(copied[0].file, "a.caf");
    EXPECT_EQ(copied[1].start, 1.0);
    EXPECT_EQ(copied[1].duration, 1.0);
    EXPECT_EQ(copied[1].timelineStart, 3.0);
    EXPECT_EQ(copied[1].gain, 0.0f);
    EXPECT_NE(copied[0].id, a.id);
    EXPECT_NE(copied[1].id, b.id);
    EXPECT_EQ(p, projectWith({a, b})); // nothing changed

    // The range is used as given: a start before 0 shifts the copies right.
    std::vector<Segment> early = p.copiedClips({-1, 1});
    ASSERT_EQ(early.size(), 1u);
    EXPECT_EQ(early[0].timelineStart, 1.0);
    EXPECT_EQ(early[0].duration, 1.0);
    EXPECT_TRUE(p.copiedClips({4, 6}).empty()); // only the gap
    EXPECT_TRUE(p.copiedClips({2, 2}).empty());
    EXPECT_TRUE(PodcastProject{}.copiedClips({0, 10}).empty());
}

TEST(PodcastProject, musicRangeClampsTheFragmentToTheSource)
{
    PodcastProject p;
    EXPECT_EQ(p.musicRange(60), (MusicRange{0, 60, 0}));
    p.musicSourceStart = 100;
    EXPECT_EQ(p.musicRange(60), (MusicRange{60, 0, 0}));
    p.musicSourceStart = -5;
    p.musicOffset = -3;
    EXPECT_EQ(p.musicRange(60), (MusicRange{0, 60, 0}));
    p.musicSourceStart = 10;
    p.musicLength = 20;
    p.musicOffset = 4;
    EXPECT_EQ(p.musicRange(60), (MusicRange{10, 20, 4}));
    p.musicLength = 80;
    EXPECT_EQ(p.musicRange(60), (MusicRange{10, 50, 4}));
    p.musicLength = -1;
    EXPECT_EQ(p.musicRange(60), (MusicRange{10, 0, 4}));
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

    PodcastProject explicitPoints;
    explicitPoints.fadeInStart = 1;
    explicitPoints.fadeInEnd = 3;
    explicitPoints.fadeOutStart = 20;
    explicitPoints.fadeOutEnd = 25;
    EXPECT_EQ(explicitPoints.fades(30), (Fades{1, 3, 20, 25}));
    explicitPoints.fadeInStart = -4;
    explicitPoints.fadeOutStart = 2; // before the fade-in ends
    explicitPoints.fadeOutEnd = 99;
    EXPECT_EQ(explicitPoints.fades(30), (Fades{0, 3, 3, 30}));

    std::mt19937 random(3);
    std::uniform_real_distribution<double> any(-50, 150);
    for (int i = 0; i < 2000; ++i) {
        PodcastProject q;
        q.fadeIn = any(random);
        q.fadeOut = any(random);
        for (std::optional<double>* field :
             {&q.fadeInStart, &q.fadeInEnd, &q.fadeOutStart, &q.fadeOutEnd})
            if (random() % 2)
                *field = any(random);
        double d = std::abs(any(random));
        Fades f = q.fades(d);
        ASSERT_LE(0, f.inStart);
        ASSERT_LE(f.inStart, f.inEnd);
        ASSERT_LE(f.inEnd, f.outStart);
        ASSERT_LE(f.outStart, f.outEnd);
        ASSERT_LE(f.outEnd, d);
    }
}

} // namespace tw
