#include "model/PodcastProject.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace tw {

namespace {

// The chapters as "title@time", in stored order.
std::vector<std::string> markers(const PodcastProject& p)
{
    std::vector<std::string> list;
    for (const Chapter& c : p.chapters) {
        char time[32];
        std::snprintf(time, sizeof time, "%g", c.time);
        list.push_back(c.title + "@" + time);
    }
    return list;
}

using Markers = std::vector<std::string>;

} // namespace

TEST(ChapterEditing, addedChaptersAreNumberedWithoutRepeatsAndKeptInTimeOrder)
{
    PodcastProject p;
    const Uuid a = Uuid::random(), b = Uuid::random(), c = Uuid::random();
    p.addChapter(30, a);
    p.addChapter(10, b);
    p.addChapter(-4, c);
    EXPECT_EQ(markers(p), (Markers{"Capítulo 3@0", "Capítulo 2@10", "Capítulo 1@30"}));
    p.removeChapter(b);
    // Two chapters: "Capítulo 3" is taken, so the next is 4.
    p.addChapter(20, Uuid::random());
    EXPECT_EQ(markers(p), (Markers{"Capítulo 3@0", "Capítulo 4@20", "Capítulo 1@30"}));
    p.addChapter(INFINITY, Uuid::random());
    p.addChapter(NAN, Uuid::random());
    EXPECT_EQ(p.chapters.size(), 3u);
}

TEST(ChapterEditing, movesRenamesAndRemovalsTouchOnlyTheirChapter)
{
    PodcastProject p;
    p.chapters = {{Uuid::random(), 0, "A"}, {Uuid::random(), 10, "B"}, {Uuid::random(), 20, "C"}};
    const Uuid a = p.chapters[0].id, b = p.chapters[1].id, c = p.chapters[2].id;
    const struct {
        std::function<void(PodcastProject&)> edit;
        Markers expected;
    } cases[] = {
        {[&](PodcastProject& d) { d.moveChapter(a, 25); }, {"B@10", "C@20", "A@25"}},
        {[&](PodcastProject& d) { d.moveChapter(c, 10); }, {"A@0", "B@10", "C@10"}},
        {[&](PodcastProject& d) { d.moveChapter(b, -3); }, {"A@0", "B@0", "C@20"}},
        {[&](PodcastProject& d) { d.moveChapter(b, NAN); }, {"A@0", "B@10", "C@20"}},
        {[&](PodcastProject& d) { d.moveChapter(Uuid::random(), 5); }, {"A@0", "B@10", "C@20"}},
        {[&](PodcastProject& d) { d.renameChapter(b, "Entrevista"); },
         {"A@0", "Entrevista@10", "C@20"}},
        {[&](PodcastProject& d) { d.renameChapter(b, ""); }, {"A@0", "B@10", "C@20"}},
        {[&](PodcastProject& d) { d.removeChapter(a); }, {"B@10", "C@20"}},
        {[&](PodcastProject& d) { d.removeChapter(Uuid::random()); }, {"A@0", "B@10", "C@20"}},
    };
    for (const auto& test : cases) {
        PodcastProject edited = p;
        test.edit(edited);
        EXPECT_EQ(markers(edited), test.expected);
        edited.chapters.clear();
        EXPECT_EQ(edited, PodcastProject{}) << "only the chapters change";
    }
}

} // namespace tw
