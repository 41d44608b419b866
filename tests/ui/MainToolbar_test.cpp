#include "ui/MainToolbar.hpp"

#include "ui/WindowStudio.hpp"

#include <QAction>

#include <gtest/gtest.h>

namespace tw {

using testing::clipAt;

TEST(MainToolbar, fiveButtonsInTwoGroupsCallTheirOperationsAndExportNeedsAProgramme)
{
    testing::WindowStudio f;
    MainToolbar bar{f.studio};
    bar.newAction().trigger();
    EXPECT_EQ(f.host.newProjectRequests, 1);
    bar.openAction().trigger();
    EXPECT_EQ(f.host.openRequests, 1);
    bar.importAction().trigger();
    EXPECT_EQ(f.host.audioFileRequests, 1);

    // Saving writes the open project.
    bar.saveAction().trigger();
    f.settle();
    EXPECT_TRUE(std::filesystem::exists(f.folder / "project.json"));
    EXPECT_TRUE(f.studio.lastSaved());

    // Export needs something to export.
    EXPECT_FALSE(bar.exportAction().isEnabled());
    f.studio.project.mutate([](PodcastProject& p) { p.segments = {clipAt(0, 3)}; });
    EXPECT_TRUE(bar.exportAction().isEnabled());
    f.studio.project.mutate([](PodcastProject& p) { p.segments.clear(); });
    EXPECT_FALSE(bar.exportAction().isEnabled());

    // Music alone makes a programme once its length is known.
    f.studio.project.mutate([](PodcastProject& p) { p.musicFile = "Media/music-A.wav"; });
    EXPECT_FALSE(bar.exportAction().isEnabled());
    f.studio.musicDuration = 42.0;
    EXPECT_TRUE(bar.exportAction().isEnabled());

    // A take being recorded counts as it grows.
    f.studio.musicDuration = 0.0;
    f.studio.project.mutate([](PodcastProject& p) { p.musicFile.reset(); });
    ASSERT_TRUE(f.startTake());
    ASSERT_TRUE(f.recordUntil(0.3));
    EXPECT_TRUE(bar.exportAction().isEnabled());
    ASSERT_TRUE(f.finishTake());
    EXPECT_TRUE(bar.exportAction().isEnabled());
}

} // namespace tw
