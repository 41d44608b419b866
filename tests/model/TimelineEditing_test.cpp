#include "model/PodcastProject.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <set>

namespace tw {

using test::clip;
using test::legacyClip;
using test::projectWith;
using test::spans;
using test::Spans;

namespace {

std::set<Uuid> idsOf(const std::vector<Segment>& clips)
{
    std::set<Uuid> ids;
    for (const Segment& s : clips)
        ids.insert(s.id);
    return ids;
}

bool isResolved(const PodcastProject& p)
{
    return std::all_of(p.segments.begin(), p.segments.end(),
                       [](const Segment& s) { return s.timelineStart.has_value(); });
}

const double nan = std::numeric_limits<double>::quiet_NaN();
const double infinity = std::numeric_limits<double>::infinity();

} // namespace

// split -----------------------------------------------------------------------------------------

TEST(TimelineEditing, splitCutsAClipIntoTwoNewPieces)
{
    Segment whole = clip(2, 3, 10, "a.caf");
    whole.gain = 0;
    PodcastProject p = projectWith({whole});
    p.split(3);
    ASSERT_EQ(p.segments.size(), 2u);
    const Segment& left = p.segments[0];
    const Segment& right = p.segments[1];
    EXPECT_EQ(spans(p), (Spans{{2, 3}, {3, 5}}));
    EXPECT_EQ(left.start, 10.0);
    EXPECT_EQ(right.start, 11.0);
    EXPECT_EQ(left.file, "a.caf");
    EXPECT_EQ(right.gain, 0.0f);
    EXPECT_NE(left.id, whole.id);
    EXPECT_NE(right.id, whole.id);
    EXPECT_NE(left.id, right.id);
}

TEST(TimelineEditing, splitLeavesAClipAloneWithinAMillisecondOfItsEnds)
{
    PodcastProject p = projectWith({clip(2, 3)});
    PodcastProject before = p;
    for (double at : {2.0005, 2.001, 4.999, 4.9995, 2.0, 5.0, 1.0, 7.0}) {
        p.split(at);
        EXPECT_EQ(p, before) << at;
    }
    p.split(2.0011);
    EXPECT_EQ(p.segments.size(), 2u);
}

TEST(TimelineEditing, splitCutsEveryClipHoldingTheTimeAndKeepsTheOthers)
{
    Segment a = clip(0, 4), b = clip(2, 4), c = clip(8, 1);
    PodcastProject p = projectWith({a, b, c});
    p.split(3);
    EXPECT_EQ(spans(p), (Spans{{0, 3}, {2, 3}, {3, 4}, {3, 6}, {8, 9}}));
    EXPECT_EQ(p.segments.size(), 5u);
    EXPECT_EQ(p.segments.back().id, c.id);
    EXPECT_FALSE(idsOf(p.segments).count(a.id));
    EXPECT_FALSE(idsOf(p.segments).count(b.id));
}

TEST(TimelineEditing, editingALegacyDocumentStoresResolvedClips)
{
    PodcastProject p;
    p.voiceFile = "voice.caf";
    Segment a = legacyClip(4), b = legacyClip(2, 4);
    p.segments = {a, b};
    p.split(5);
    ASSERT_TRUE(isResolved(p));
    EXPECT_EQ(spans(p), (Spans{{0, 4}, {4, 5}, {5, 6}}));
    EXPECT_EQ(p.segments[0].id, a.id);
    EXPECT_EQ(p.segments[0].file, "voice.caf");
    EXPECT_EQ(p.segments[2].start, 5.0);
    EXPECT_EQ(p.voiceFile, "voice.caf");
}

// trimVoice ------------------------------------------------------------------------------------

TEST(TimelineEditing, trimKeepsOnlyTheSelectionMovedToZero)
{
    Segment whole = clip(0, 4, 7);
    PodcastProject p = projectWith({whole});
    p.trimVoice({1, 2});
    ASSERT_EQ(p.segments.size(), 1u);
    EXPECT_EQ(spans(p), (Spans{{0, 1}}));
    EXPECT_EQ(p.segments[0].start, 8.0);
    EXPECT_NE(p.segments[0].id, whole.id);
}

TEST(TimelineEditing, trimClampsToTheVoiceAndKeepsGaps)
{
    PodcastProject p = projectWith({clip(0, 2), clip(5, 2, 3)});
    p.trimVoice({-10, 100});
    EXPECT_EQ(spans(p), (Spans{{0, 2}, {5, 7}}));
    p.trimVoice({1, 6});
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {4, 5}}));
    EXPECT_EQ(p.segments[1].start, 3.0);
    PodcastProject unchanged = p;
    p.trimVoice({3, 3});
    p.trimVoice({4, 2});
    p.trimVoice({5, 9}); // starts at the end of the voice
    EXPECT_EQ(p, unchanged);
}

// deleteVoice ----------------------------------------------------------------------------------

TEST(TimelineEditing, deleteLeavesASilentGapAndMovesNothing)
{
    PodcastProject p = projectWith({clip(0, 4, 10)});
    p.deleteVoice(1, 2);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {2, 4}}));
    EXPECT_EQ(p.segments[1].start, 12.0);
    EXPECT_EQ(p.voiceDuration(), 4.0);
}

TEST(TimelineEditing, deleteKeepsUntouchedClipsAndRemovesCoveredOnes)
{
    Segment a = clip(0, 1), b = clip(1, 1), c = clip(2, 1), d = clip(5, 1);
    PodcastProject p = projectWith({a, b, c, d});
    p.deleteVoice(1, 2.5);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {2.5, 3}, {5, 6}}));
    EXPECT_EQ(p.segments[0].id, a.id); // ends exactly where the range starts
    EXPECT_EQ(p.segments.back().id, d.id);
    EXPECT_FALSE(idsOf(p.segments).count(b.id));
    EXPECT_FALSE(idsOf(p.segments).count(c.id));

    PodcastProject unchanged = p;
    p.deleteVoice(7, 9); // beyond the voice
    p.deleteVoice(3, 3);
    EXPECT_EQ(p, unchanged);
    p.deleteVoice(-5, 0.5);
    EXPECT_EQ(spans(p), (Spans{{0.5, 1}, {2.5, 3}, {5, 6}}));
    p.deleteVoice(0, infinity);
    EXPECT_TRUE(p.segments.empty());
}

TEST(TimelineEditing, deleteClosingTheGapPullsEveryLaterClipLeftByTheSelection)
{
    // A [0, 4) from source 10, B [6, 10), C [12, 14).
    Segment a = clip(0, 4, 10), b = clip(6, 4), c = clip(12, 2);
    struct Case {
        double from, to;
        Spans expected;
        double firstStart; // `start` of the first clip left
    };
    const Case cases[] = {
        {5, 8, {{0, 4}, {5, 7}, {9, 11}}, 10},     // from a gap into B: B's tail follows the gap
        {2, 13, {{0, 2}, {2, 3}}, 10},             // from A into C: C's last second joins A
        {4, 6, {{0, 4}, {4, 8}, {10, 12}}, 10},    // exactly a gap
        {0, 6, {{0, 4}, {6, 8}}, 0},               // the first clip and the gap after it
        {-3, 100, {}, 0},                          // everything, beyond both ends
        {14, 20, {{0, 4}, {6, 10}, {12, 14}}, 10}, // after the voice: nothing
        {3, 3, {{0, 4}, {6, 10}, {12, 14}}, 10},
    };
    for (const Case& test : cases) {
        PodcastProject p = projectWith({a, b, c});
        p.deleteVoiceClosingGap(test.from, test.to);
        EXPECT_EQ(spans(p), test.expected) << test.from << "…" << test.to;
        if (!p.segments.empty()) {
            EXPECT_EQ(p.segments.front().start, test.firstStart) << test.from;
        }
    }
    // Whole clips keep their identity when they move; a cut piece is new.
    PodcastProject p = projectWith({a, b, c});
    p.deleteVoiceClosingGap(5, 8);
    EXPECT_EQ(p.segments[0].id, a.id);
    EXPECT_NE(p.segments[1].id, b.id);
    EXPECT_EQ(p.segments[1].start, 2.0);
    EXPECT_EQ(p.segments[2].id, c.id);
}

// silence ---------------------------------------------------------------------------------------

TEST(TimelineEditing, silenceMutesExactlyTheSelectionAndRestoresIt)
{
    PodcastProject p = projectWith({clip(0, 4)});
    p.silence({1, 2}, true);
    ASSERT_EQ(p.segments.size(), 3u);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {1, 2}, {2, 4}}));
    EXPECT_EQ(p.segments[0].gain, std::nullopt);
    EXPECT_EQ(p.segments[1].gain, 0.0f);
    EXPECT_EQ(p.segments[2].gain, std::nullopt);
    Uuid middle = p.segments[1].id;
    p.silence({1, 2}, false);
    ASSERT_EQ(p.segments.size(), 3u);
    EXPECT_EQ(p.segments[1].gain, 1.0f);
    EXPECT_EQ(p.segments[1].id, middle); // nothing cut the second time
}

TEST(TimelineEditing, silenceLeavesAClipEndingJustAfterTheSelectionWhole)
{
    Segment tail = clip(1, 1.0005);
    PodcastProject p = projectWith({clip(0, 1), tail});
    p.silence({0, 2}, true);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {1, 1 + 1.0005}}));
    EXPECT_EQ(p.segments[0].gain, 0.0f);
    EXPECT_EQ(p.segments[1].gain, std::nullopt);
    EXPECT_EQ(p.segments[1].id, tail.id);
}

TEST(TimelineEditing, silenceAcrossOverlappingClipsCutsAndMutesEach)
{
    PodcastProject p = projectWith({clip(0, 4), clip(2, 4)});
    p.silence({3, 5}, true);
    EXPECT_EQ(spans(p), (Spans{{0, 3}, {2, 3}, {3, 4}, {3, 5}, {5, 6}}));
    std::vector<Segment> r = p.resolvedSegments();
    EXPECT_EQ(r[2].gain, 0.0f);
    EXPECT_EQ(r[3].gain, 0.0f);
    EXPECT_EQ(r[0].gain, std::nullopt);
    EXPECT_EQ(r[4].gain, std::nullopt);
}

// paste -----------------------------------------------------------------------------------------

TEST(TimelineEditing, pasteInsertsExactlyItsDurationAndPushesTheRest)
{
    Segment copied = clip(0, 1, 30, "Media/paste-X.caf");
    copied.gain = 0;
    PodcastProject p = projectWith({clip(0, 4, 10)});
    p.paste({copied}, 3, 2);
    EXPECT_EQ(spans(p), (Spans{{0, 2}, {2, 3}, {5, 7}}));
    EXPECT_EQ(p.voiceDuration(), 7.0);
    const Segment& pasted = p.segments[1];
    EXPECT_NE(pasted.id, copied.id);
    EXPECT_EQ(pasted.start, 30.0);
    EXPECT_EQ(pasted.file, "Media/paste-X.caf");
    EXPECT_EQ(pasted.gain, 0.0f);
    EXPECT_EQ(p.segments[2].start, 12.0);
}

TEST(TimelineEditing, pastePlacesClipsWithoutPositionAtTheInsertionPoint)
{
    Segment a = legacyClip(1), b = clip(2, 1);
    Segment kept = clip(0, 1);
    PodcastProject p = projectWith({kept});
    p.paste({a, b}, 3, 1);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {1, 2}, {3, 4}}));
    EXPECT_EQ(p.segments[0].id, kept.id); // ends where the paste starts: not moved, not cut
    // Pasting the same clips again gives new identifiers again.
    p.paste({a}, 1, -5);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {1, 2}, {2, 3}, {4, 5}}));
    EXPECT_EQ(idsOf(p.segments).size(), 4u);
}

TEST(TimelineEditing, pasteOfNothingChangesNothing)
{
    PodcastProject p = projectWith({clip(0, 4)});
    PodcastProject before = p;
    p.paste({}, 3, 1);
    p.paste({clip(0, 1)}, 0, 1);
    p.paste({clip(0, 1)}, -2, 1);
    p.paste({clip(0, 1)}, nan, 1);
    EXPECT_EQ(p, before);
}

// insertTake ------------------------------------------------------------------------------------

TEST(TimelineEditing, takeInAGapMovesNothingAndATakeRunningIntoMaterialPushesIt)
{
    Uuid takeId = Uuid::random();
    PodcastProject p = projectWith({clip(0, 4), clip(10, 2)});
    PodcastProject q = p;
    p.insertTake("Media/voice-T.caf", 2, 5, takeId);
    EXPECT_EQ(spans(p), (Spans{{0, 4}, {5, 7}, {10, 12}}));
    const Segment& take = p.segments[1];
    EXPECT_EQ(take.id, takeId);
    EXPECT_EQ(take.start, 0.0);
    EXPECT_EQ(take.file, "Media/voice-T.caf");
    EXPECT_EQ(take.gain, std::nullopt);

    q.insertTake("Media/voice-T.caf", 2, 9, takeId);
    EXPECT_EQ(spans(q), (Spans{{0, 4}, {9, 11}, {11, 13}}));
}

TEST(TimelineEditing, takeInsideAClipSplitsItAndPushesItsRest)
{
    Segment whole = clip(0, 4, 0, "a.caf");
    PodcastProject p = projectWith({whole});
    p.insertTake("b.caf", 1.5, 1, Uuid::random());
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {1, 2.5}, {2.5, 5.5}}));
    EXPECT_EQ(p.segments[2].start, 1.0);
    // At the very start, a clip starting there makes room.
    p.insertTake("c.caf", 1, -3, Uuid::random());
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {1, 2}, {2, 3.5}, {3.5, 6.5}}));
    EXPECT_EQ(p.segments[0].file, "c.caf");
}

TEST(TimelineEditing, firstTakeBecomesTheVoiceFile)
{
    PodcastProject p;
    p.insertTake("Media/voice-1.caf", 3, 0, Uuid::random());
    EXPECT_EQ(p.voiceFile, "Media/voice-1.caf");
    p.insertTake("Media/voice-2.caf", 3, 3, Uuid::random());
    EXPECT_EQ(p.voiceFile, "Media/voice-1.caf");
    EXPECT_EQ(spans(p), (Spans{{0, 3}, {3, 6}}));

    PodcastProject empty;
    empty.insertTake("Media/voice-1.caf", 0, 0, Uuid::random());
    empty.insertTake("Media/voice-1.caf", -1, 0, Uuid::random());
    EXPECT_EQ(empty, PodcastProject{});
}

// moveClip --------------------------------------------------------------------------------------

TEST(TimelineEditing, clipDroppedOntoAnotherLandsAtItsEndAndPushesLaterClips)
{
    Segment moving = clip(6, 2), occupied = clip(1, 2), later = clip(4, 2), far = clip(20, 1);
    PodcastProject p = projectWith({occupied, later, moving, far});
    p.moveClip(moving.id, 1.5);
    std::vector<Segment> r = p.resolvedSegments();
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(spans(p), (Spans{{1, 3}, {3, 5}, {5, 7}, {20, 21}}));
    EXPECT_EQ(r[1].id, moving.id);
    EXPECT_EQ(r[2].id, later.id);
    EXPECT_EQ(r[0].id, occupied.id);
    EXPECT_EQ(r[3].id, far.id);
}

TEST(TimelineEditing, movedClipGoesFirstAmongEqualStarts)
{
    Segment a = clip(0, 1), b = clip(3, 1), c = clip(8, 1);
    PodcastProject p = projectWith({a, b, c});
    p.moveClip(c.id, 3);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {3, 4}, {4, 5}}));
    EXPECT_EQ(p.segments[1].id, c.id);
    EXPECT_EQ(p.segments[2].id, b.id);
}

TEST(TimelineEditing, moveClampsAtZeroAndIgnoresUnknownClips)
{
    Segment a = clip(2, 1), b = clip(5, 1);
    PodcastProject p = projectWith({a, b});
    PodcastProject before = p;
    p.moveClip(Uuid::random(), 0);
    EXPECT_EQ(p, before);
    p.moveClip(b.id, -4);
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {2, 3}}));
    EXPECT_EQ(p.segments[0].id, b.id);
    EXPECT_EQ(p.segments[1].id, a.id); // identities are kept by a move
}

TEST(TimelineEditing, moveSeparatesOverlapsOfOlderDocuments)
{
    Segment a = clip(0, 4), b = clip(2, 4), c = clip(3, 1);
    PodcastProject p = projectWith({a, b, c});
    p.moveClip(c.id, 3);
    EXPECT_EQ(spans(p), (Spans{{0, 4}, {4, 8}, {8, 9}}));
    EXPECT_EQ(p.resolvedSegments()[1].id, b.id);
}

TEST(TimelineEditing, afterAnyMoveNoClipsOverlapAndNoneWasPulledLeft)
{
    std::mt19937 random(1234);
    std::uniform_real_distribution<double> time(-5, 80);
    for (int round = 0; round < 3000; ++round) {
        PodcastProject p = test::randomProject(random);
        if (p.segments.empty())
            continue;
        std::map<Uuid, double> startBefore;
        for (const Segment& s : p.resolvedSegments())
            startBefore[s.id] = *s.timelineStart;
        Uuid moved = p.segments[random() % p.segments.size()].id;
        double to = time(random);
        p.moveClip(moved, to);
        ASSERT_TRUE(isResolved(p));
        std::vector<Segment> r = p.resolvedSegments();
        ASSERT_EQ(r.size(), startBefore.size());
        for (std::size_t i = 0; i < r.size(); ++i) {
            if (i > 0) {
                ASSERT_LE(*r[i - 1].timelineStart + r[i - 1].duration, *r[i].timelineStart);
            }
            double earliest = r[i].id == moved ? std::max(to, 0.0) : startBefore[r[i].id];
            ASSERT_GE(*r[i].timelineStart, earliest);
        }
    }
}

// Everything at once ---------------------------------------------------------------------------

TEST(TimelineEditing, everyOperationOnAnEmptyProjectLeavesItEmpty)
{
    PodcastProject p;
    p.split(1);
    p.trimVoice({0, 5});
    p.deleteVoice(0, 5);
    p.deleteVoiceClosingGap(0, 5);
    p.silence({0, 5}, true);
    p.silence({0, 5}, false);
    p.paste({}, 1, 0);
    p.moveClip(Uuid::random(), 3);
    EXPECT_EQ(p, PodcastProject{});
    EXPECT_EQ(p.voiceDuration(), 0.0);
    EXPECT_EQ(p.segment(0), std::nullopt);
    EXPECT_TRUE(p.copiedClips({0, 10}).empty());
}

TEST(TimelineEditing, editsThatWouldStoreNumbersTheFileCannotHoldChangeNothing)
{
    Segment a = clip(0, 4);
    PodcastProject p = projectWith({a, clip(6, 1)});
    PodcastProject before = p;
    p.split(nan);
    EXPECT_EQ(p, before);
    p.trimVoice({nan, 2});
    EXPECT_EQ(p, before);
    p.deleteVoice(1, nan);
    p.deleteVoiceClosingGap(nan, 2);
    EXPECT_EQ(p, before);
    p.silence({nan, nan}, true);
    EXPECT_EQ(p, before);
    p.paste({clip(0, 1)}, 1, nan);
    EXPECT_EQ(p, before);
    p.paste({clip(0, 1)}, infinity, 1);
    EXPECT_EQ(p, before);
    p.insertTake("x.caf", 1, nan, Uuid::random());
    EXPECT_EQ(p, before);
    p.insertTake("x.caf", infinity, 1, Uuid::random());
    EXPECT_EQ(p, before);
    p.moveClip(a.id, nan);
    EXPECT_EQ(p, before);
    p.moveClip(a.id, infinity);
    EXPECT_EQ(p, before);
}

TEST(TimelineEditing, unchangedClipsKeepTheirIdentityThroughEdits)
{
    Segment a = clip(0, 1), b = clip(10, 1);
    PodcastProject p = projectWith({a, b});
    p.split(5);
    p.silence({4, 6}, true);
    p.deleteVoice(2, 3);
    EXPECT_EQ(idsOf(p.segments), (std::set<Uuid>{a.id, b.id}));
    p.paste({clip(0, 1)}, 1, 5);
    EXPECT_TRUE(idsOf(p.segments).count(a.id));
    EXPECT_TRUE(idsOf(p.segments).count(b.id));
    EXPECT_EQ(spans(p), (Spans{{0, 1}, {5, 6}, {11, 12}}));
}

} // namespace tw
