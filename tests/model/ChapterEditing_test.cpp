#include "model/PodcastProject.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace tw {

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
