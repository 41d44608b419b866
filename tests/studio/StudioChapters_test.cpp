#include "studio/Studio.hpp"

#include "support/StudioFixture.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::StudioFixture;

// The chapters as saved on disk.
std::vector<Chapter> saved(StudioFixture& f)
{
    f.settle();
    return testing::readProject(f.folder).chapters;
}

TEST(StudioChapters, eachChapterEditIsOneSavedUndoStepAndAnEpisodeCoverIsCopiedOnlyWhenItIsAnImage)
{
    StudioFixture p;
    ASSERT_TRUE(p.openTone(12));
    Studio& studio = p.studio;
    studio.togglePlayback();
    ASSERT_TRUE(p.waitIdle());
    p.play(0.5);
    studio.addChapter();
    EXPECT_TRUE(studio.playing()) << "marking a chapter while listening";
    studio.pause();
    studio.seek(5);
    studio.addChapter();
    studio.addChapter(); // one is there already
    ASSERT_EQ(studio.project->chapters.size(), 2u);
    const Chapter second = studio.project->chapters[1];
    EXPECT_EQ(saved(p), studio.project->chapters);

    const std::size_t steps = studio.undoStack->size();
    studio.moveChapter(second.id, 40); // past the programme: at its end
    EXPECT_EQ(studio.project->chapters[1].time, 12.0);
    studio.renameChapter(second.id, "Entrevista");
    studio.busy = true;
    studio.removeChapter(second.id);
    studio.addChapter();
    studio.busy = false;
    EXPECT_EQ(studio.undoStack->size(), steps + 2);
    studio.removeChapter(second.id);
    EXPECT_EQ(saved(p).size(), 1u);
    studio.undo();
    studio.undo();
    EXPECT_EQ(studio.project->chapters[1].title, "Capítulo 2");

    // The episode's cover: refused when it is no image, copied into the project when it is.
    testfiles::makeImage(p.temp / "art.png");
    testing::writeFile(p.temp / "notes.txt", "\xFF\xD8\xFF but no frame");
    studio.setEpisodeDetails({"Episodio 1", "", "", std::nullopt}, p.temp / "notes.txt");
    EXPECT_EQ(studio.message(), "La portada debe ser una imagen JPEG o PNG: notes.txt");
    EXPECT_EQ(testing::countFiles(p.folder / "Media", "cover-"), 0);

    studio.setEpisodeDetails({"Episodio 1", "", "", std::nullopt}, p.temp / "art.png");
    const std::string cover = studio.project->episode.value().cover.value();
    EXPECT_EQ(testfiles::readBytes(p.folder / cover), testfiles::readBytes(p.temp / "art.png"));
    studio.setEpisodeDetails({"", "", "", std::nullopt});
    EXPECT_EQ(studio.project->episode, std::nullopt) << "nothing left to store";
}

} // namespace
} // namespace tw
