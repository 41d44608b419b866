#include "model/PodcastProject.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace tw {

namespace {

// The chapters as (time, title), in stored order.
std::vector<std::pair<double, std::string>> markers(const PodcastProject& p)
{
    std::vector<std::pair<double, std::string>> list;
    for (const Chapter& c : p.chapters)
        list.emplace_back(c.time, c.title);
    return list;
}

using Markers = std::vector<std::pair<double, std::string>>;

} // namespace

TEST(ChapterEditing, addedChaptersAreNumberedWithoutRepeatsAndKeptInTimeOrder)
{
    PodcastProject p;
    const Uuid a = Uuid::random(), b = Uuid::random(), c = Uuid::random();
    p.addChapter(30, a);
    p.addChapter(10, b);
    p.addChapter(-4, c);
    EXPECT_EQ(markers(p), (Markers{{0, "Capítulo 3"}, {10, "Capítulo 2"}, {30, "Capítulo 1"}}));
    p.removeChapter(b);
    // Two chapters: "Capítulo 3" is taken, so the next is 4.
    p.addChapter(20, Uuid::random());
    EXPECT_EQ(markers(p), (Markers{{0, "Capítulo 3"}, {20, "Capítulo 4"}, {30, "Capítulo 1"}}));
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
        {[&](PodcastProject& d) { d.moveChapter(a, 25); }, {{10, "B"}, {20, "C"}, {25, "A"}}},
        {[&](PodcastProject& d) { d.moveChapter(c, 10); }, {{0, "A"}, {10, "B"}, {10, "C"}}},
        {[&](PodcastProject& d) { d.moveChapter(b, -3); }, {{0, "A"}, {0, "B"}, {20, "C"}}},
        {[&](PodcastProject& d) { d.renameChapter(b, "Entrevista"); },
         {{0, "A"}, {10, "Entrevista"}, {20, "C"}}},
        {[&](PodcastProject& d) { d.removeChapter(a); }, {{10, "B"}, {20, "C"}}},
        {[&](PodcastProject& d) {
             d.moveChapter(b, NAN);
             d.moveChapter(Uuid::random(), 5);
             d.renameChapter(b, "");
             d.removeChapter(Uuid::random());
         },
         {{0, "A"}, {10, "B"}, {20, "C"}}},
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
