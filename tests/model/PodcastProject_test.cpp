#include "model/PodcastProject.hpp"

#include "model/TestClips.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <set>

namespace tw {

using test::clip;
using test::layout;
using test::legacyClip;
using test::projectWith;
using test::takeId;

namespace {

const double nan = std::numeric_limits<double>::quiet_NaN();
const double infinity = std::numeric_limits<double>::infinity();

struct Edit {
    std::vector<Segment> clips;
    std::function<void(PodcastProject&)> edit;
    std::string expected; // test::layout of the result; "=" for no change at all
};

void check(const std::vector<Edit>& edits)
{
    for (const Edit& e : edits) {
        const PodcastProject before = projectWith(e.clips);
        PodcastProject p = before;
        e.edit(p);
        const std::string described = layout(before) + " | " + e.expected;
        if (e.expected == "=") {
            EXPECT_EQ(p, before) << described;
            continue;
        }
        EXPECT_EQ(layout(p, e.clips), e.expected) << described;
        // Every edit stores resolved clips, whatever the document held, each clip once.
        EXPECT_TRUE(std::ranges::all_of(p.segments, [](auto& s) {
            return s.timelineStart.has_value();
        })) << described;
        std::set<Uuid> ids;
        for (const Segment& s : p.segments)
            ids.insert(s.id);
        EXPECT_EQ(ids.size(), p.segments.size()) << described;
    }
}

} // namespace

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

// Splits cut every clip holding the time but not within a millisecond of an end; a trim keeps the
// selection within the voice, moved to zero; a delete leaves a silent gap or closes it, pulling
// later clips left; silence mutes exactly the selection and restoring cuts nothing; a paste inserts
// exactly its duration as new clips and pushes the rest; a take in a gap moves nothing and one
// running into material pushes it just enough; a moved clip lands at the end of one it is dropped
// onto and pushes later ones. An empty project, an empty range or a time that is no number changes
// nothing.
TEST(TimelineEditing, eachEditGivesItsTimelineOfResolvedClipsEachStoredOnce)
{
    // Each edit as a function of the project, from its arguments.
    auto split = [](double at) { return [=](auto& p) { p.split(at); }; };
    auto trim = [](double a, double b) { return [=](auto& p) { p.trimVoice({a, b}); }; };
    auto deleting = [](double a, double b) { return [=](auto& p) { p.deleteVoice(a, b); }; };
    auto closing = [](double a, double b) {
        return [=](auto& p) { p.deleteVoiceClosingGap(a, b); };
    };
    auto silence = [](double a, double b, bool on) {
        return [=](auto& p) { p.silence({a, b}, on); };
    };
    auto paste = [](std::vector<Segment> clips, double duration, double at) {
        return [=](auto& p) { p.paste(clips, duration, at); };
    };
    auto take = [](const char* file, double duration, double at) {
        return [=](auto& p) { p.insertTake(file, duration, at, takeId); };
    };
    auto move = [](std::size_t i, double to) {
        return [=](auto& p) { p.moveClip(p.segments[i].id, to); };
    };
    const std::vector<Segment> two = {clip(0, 2), clip(5, 2, 3)};
    const std::vector<Segment> four = {clip(0, 1), clip(1, 1), clip(2, 1), clip(5, 1)};
    // A [0, 4) from source 10, B [6, 10), C [12, 14).
    const std::vector<Segment> three = {clip(0, 4, 10), clip(6, 4), clip(12, 2)};
    const std::vector<Segment> gap = {clip(0, 4), clip(10, 2)};
    const Segment copied = clip(0, 1, 30, "Media/paste-X.caf", 0.0f);
    check({
        {{clip(2, 3, 10, "a.caf", 0.0f)}, split(3), "2-3 +@10 a.caf g0, 3-5 +@11 a.caf g0"},
        {{clip(0, 4), clip(2, 4), clip(8, 1)},
         split(3),
         "0-3 +@0, 2-3 +@0, 3-4 +@3, 3-6 +@1, 8-9 c@0"},
        {{clip(2, 3)}, split(2.0011), "2-2.0011 +@0, 2.0011-5 +@0.0011"},
        {{clip(2, 3)}, split(2.001), "="},
        {{clip(2, 3)}, split(5), "="},
        // An older document's clips without positions or files are stored resolved.
        {{legacyClip(4), legacyClip(2, 4)},
         [](PodcastProject& p) {
             p.voiceFile = "voice.caf";
             p.split(5);
         },
         "0-4 a@0 voice.caf, 4-5 +@4 voice.caf, 5-6 +@5 voice.caf"},

        {{clip(0, 4, 7)}, trim(1, 2), "0-1 +@8"},
        {two, trim(-10, 100), "0-2 +@0, 5-7 +@3"},
        {two, trim(1, 6), "0-1 +@1, 4-5 +@3"},
        {two, trim(4, 2), "="},

        {{clip(0, 4, 10)}, deleting(1, 2), "0-1 +@10, 2-4 +@12"},
        {four, deleting(1, 2.5), "0-1 a@0, 2.5-3 +@0.5, 5-6 d@0"},
        {four, deleting(-5, 0.5), "0.5-1 +@0.5, 1-2 b@0, 2-3 c@0, 5-6 d@0"},
        {four, deleting(0, infinity), ""},
        {four, deleting(7, 9), "="},
        {three, closing(5, 8), "0-4 a@10, 5-7 +@2, 9-11 c@0"},  // from a gap into B
        {three, closing(2, 13), "0-2 +@10, 2-3 +@1"},           // from A into C
        {three, closing(4, 6), "0-4 a@10, 4-8 b@0, 10-12 c@0"}, // exactly a gap
        {three, closing(0, 6), "0-4 b@0, 6-8 c@0"},
        {three, closing(-3, 100), ""},
        {three, closing(14, 20), "="},

        {{clip(0, 4)}, silence(1, 2, true), "0-1 +@0, 1-2 +@1 g0, 2-4 +@2"},
        {{clip(0, 1), clip(1, 1, 1, "Media/voice-A.caf", 0.0f), clip(2, 2, 2)},
         silence(1, 2, false),
         "0-1 a@0, 1-2 b@1 g1, 2-4 c@2"},
        // A clip ending within a millisecond after the selection stays whole and sounding.
        {{clip(0, 1), clip(1, 1.0005)}, silence(0, 2, true), "0-1 a@0 g0, 1-2.0005 b@0"},
        {{clip(0, 4), clip(2, 4)},
         silence(3, 5, true),
         "0-3 +@0, 2-3 +@0, 3-4 +@3 g0, 3-5 +@1 g0, 5-6 +@3"},
        {{clip(0, 4)}, silence(nan, nan, true), "="},

        {{clip(0, 4, 10)},
         paste({copied}, 3, 2),
         "0-2 +@10, 2-3 +@30 Media/paste-X.caf g0, 5-7 +@12"},
        // Clips without a position go to the insertion point; one ending there stays.
        {{clip(0, 1)}, paste({legacyClip(1), clip(2, 1)}, 3, 1), "0-1 a@0, 1-2 +@0 -, 3-4 +@0"},
        // Each pasted clip is new, also when pasted into the project it was copied from.
        {{copied},
         paste({copied, copied}, 2, -5),
         "0-1 +@30 Media/paste-X.caf g0, 0-1 +@30 Media/paste-X.caf g0, "
         "2-3 a@30 Media/paste-X.caf g0"},
        {{clip(0, 4)}, paste({}, 3, 1), "="},
        {{clip(0, 4)}, paste({copied}, nan, 1), "="},
        {{clip(0, 4)}, paste({copied}, 1, nan), "="},

        {gap, take("t.caf", 2, 5), "0-4 a@0, 5-7 T@0 t.caf, 10-12 b@0"},
        {gap, take("t.caf", 2, 9), "0-4 a@0, 9-11 T@0 t.caf, 11-13 b@0"},
        {{clip(0, 4, 0, "a.caf")},
         take("b.caf", 1.5, 1),
         "0-1 +@0 a.caf, 1-2.5 T@0 b.caf, 2.5-5.5 +@1 a.caf"},
        {{clip(0, 4, 0, "a.caf")}, take("c.caf", 1, -3), "0-1 T@0 c.caf, 1-5 a@0 a.caf"},
        {gap, take("t.caf", 0, 1), "="},
        {gap, take("t.caf", 1, nan), "="},

        {{clip(1, 2), clip(4, 2), clip(6, 2), clip(20, 1)},
         move(2, 1.5),
         "1-3 a@0, 3-5 c@0, 5-7 b@0, 20-21 d@0"},
        // First among equal starts.
        {{clip(0, 1), clip(3, 1), clip(8, 1)}, move(2, 3), "0-1 a@0, 3-4 c@0, 4-5 b@0"},
        {{clip(2, 1), clip(5, 1)}, move(1, -4), "0-1 b@0, 2-3 a@0"},
        // Overlaps of older documents come apart.
        {{clip(0, 4), clip(2, 4), clip(3, 1)}, move(2, 3), "0-4 a@0, 4-8 b@0, 8-9 c@0"},
        {{clip(2, 1)}, [](PodcastProject& p) { p.moveClip(Uuid::random(), 0); }, "="},
        {{clip(2, 1)}, move(0, nan), "="},

        // An empty project: the edits that do not stop at an empty range or unknown clip.
        {{}, split(1), "="},
        {{}, silence(0, 5, true), "="},
    });
    // The first take, and only it, also becomes the project's voice file.
    PodcastProject p;
    p.insertTake("Media/voice-1.caf", 3, 0, Uuid::random());
    p.insertTake("Media/voice-2.caf", 3, 3, Uuid::random());
    EXPECT_EQ(p.voiceFile, "Media/voice-1.caf");
}

TEST(ChapterEditing, eachEditTouchesOnlyItsChapterAndKeepsTheTimeOrder)
{
    PodcastProject p;
    p.chapters = {
        {Uuid::random(), 0, "A"}, {Uuid::random(), 10, "Capítulo 4"}, {Uuid::random(), 20, "C"}};
    const Uuid a = p.chapters[0].id, b = p.chapters[1].id, c = p.chapters[2].id;
    using Markers = std::vector<std::pair<double, std::string>>;
    const struct {
        std::function<void(PodcastProject&)> edit;
        Markers expected; // (time, title) in stored order
    } cases[] = {
        // Three chapters make the next "Capítulo 4", which is taken: the first free number.
        {[](PodcastProject& d) { d.addChapter(15, Uuid::random()); },
         {{0, "A"}, {10, "Capítulo 4"}, {15, "Capítulo 5"}, {20, "C"}}},
        {[](PodcastProject& d) { d.addChapter(-4, Uuid::random()); },
         {{0, "A"}, {0, "Capítulo 5"}, {10, "Capítulo 4"}, {20, "C"}}},
        {[&](PodcastProject& d) { d.moveChapter(a, 25); },
         {{10, "Capítulo 4"}, {20, "C"}, {25, "A"}}},
        {[&](PodcastProject& d) { d.moveChapter(c, 10); },
         {{0, "A"}, {10, "Capítulo 4"}, {10, "C"}}},
        {[&](PodcastProject& d) { d.moveChapter(b, -3); },
         {{0, "A"}, {0, "Capítulo 4"}, {20, "C"}}},
        {[&](PodcastProject& d) { d.renameChapter(b, "Entrevista"); },
         {{0, "A"}, {10, "Entrevista"}, {20, "C"}}},
        {[&](PodcastProject& d) { d.removeChapter(a); }, {{10, "Capítulo 4"}, {20, "C"}}},
        {[&](PodcastProject& d) {
             d.addChapter(INFINITY, Uuid::random());
             d.addChapter(NAN, Uuid::random());
             d.moveChapter(b, NAN);
             d.moveChapter(Uuid::random(), 5);
             d.renameChapter(b, "");
             d.removeChapter(Uuid::random());
         },
         {{0, "A"}, {10, "Capítulo 4"}, {20, "C"}}},
    };
    for (const auto& test : cases) {
        PodcastProject edited = p;
        test.edit(edited);
        Markers markers;
        for (const Chapter& chapter : edited.chapters)
            markers.emplace_back(chapter.time, chapter.title);
        EXPECT_EQ(markers, test.expected);
        edited.chapters.clear();
        EXPECT_EQ(edited, PodcastProject{}) << "only the chapters change";
    }
}

} // namespace tw
