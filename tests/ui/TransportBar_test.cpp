#include "ui/TransportBar.hpp"

#include "ui/MainToolbar.hpp"
#include "ui/TransportButtonStyle.hpp"
#include "ui/WindowStudio.hpp"

#include <QAction>

#include <gtest/gtest.h>

namespace tw {
namespace {

struct Bar : testing::WindowStudio {
    using WindowStudio::WindowStudio;
    TransportBar bar{studio};
    TransportButton& key(const char* symbol) { return bar.button(QString::fromLatin1(symbol)); }
    // Which keys are enabled, in their order on screen, as a string of 0s and 1s.
    std::string enabled()
    {
        std::string states;
        for (const QString& symbol : TransportBar::symbols())
            states += bar.button(symbol).isEnabled() ? '1' : '0';
        return states;
    }
    // Which of play, pause, record and stop are lit.
    std::string lit()
    {
        std::string states;
        for (const char* symbol : {"play.fill", "pause.fill", "record.circle.fill", "stop.fill"})
            states += key(symbol).active() ? '1' : '0';
        return states;
    }
};

TEST(TransportBar, keysFollowEmptyProjectBusyCountInAndTakeAndMoveThePlayHeadAndStartTheTake)
{
    Bar f;
    // To start, back, stop, play, pause, record, forward, to end.
    EXPECT_EQ(f.enabled(), "11101111"); // an empty project: nothing to play
    f.studio.project.mutate([](PodcastProject& p) { p.segments = {testing::clipAt(0, 8)}; });
    EXPECT_EQ(f.enabled(), "11111111");
    f.studio.busy = true; // a long operation without a count-in
    EXPECT_EQ(f.enabled(), "00000000");
    f.studio.busy = false;

    // The count-in: stop stays on so that it can be cancelled.
    f.studio.record();
    EXPECT_EQ(f.studio.countdown(), 3);
    EXPECT_TRUE(f.studio.busy());
    EXPECT_EQ(f.enabled(), "00100000");
    // The take: pause, stop and record (to stop it) stay on.
    f.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    EXPECT_EQ(f.enabled(), "00101100");
    EXPECT_EQ(f.key("record.circle.fill").toolTip(), "Detener grabación");
    // A take can always be stopped, also while something else is busy.
    f.studio.busy = true;
    EXPECT_EQ(f.enabled(), "00000100");
    f.studio.busy = false;

    ASSERT_TRUE(f.recordUntil(0.3));
    ASSERT_TRUE(f.finishTake());
    EXPECT_EQ(f.enabled(), "11111111");
    EXPECT_EQ(f.key("record.circle.fill").toolTip(), "Grabar");

    // The lit keys and the pause label follow the transport.
    EXPECT_EQ(f.lit(), "0000");
    const QImage idlePlay = f.key("play.fill").icon().pixmap(16, 16).toImage();
    f.studio.playing = true;
    EXPECT_EQ(f.lit(), "1000");
    // The play symbol changes colour while playing.
    EXPECT_NE(f.key("play.fill").icon().pixmap(16, 16).toImage(), idlePlay);
    f.studio.playing = false;
    EXPECT_EQ(f.key("play.fill").icon().pixmap(16, 16).toImage(), idlePlay);
    f.studio.pauseEngaged = true;
    EXPECT_EQ(f.lit(), "0100");
    f.studio.pauseEngaged = false;

    // The pause key pauses and resumes the take, saying so.
    f.studio.position = 0.0;
    ASSERT_TRUE(f.startTake());
    EXPECT_EQ(f.lit(), "0010");
    for (auto [paused, lit, label] :
         {std::tuple{true, "0100", "Reanudar grabación"}, {false, "0010", "Pausar"}}) {
        f.key("pause.fill").click();
        EXPECT_EQ(f.studio.recordingPaused(), paused);
        EXPECT_EQ(f.lit(), lit);
        EXPECT_EQ(f.key("pause.fill").toolTip(), label);
        EXPECT_EQ(f.key("pause.fill").accessibleName(), label);
    }

    // The record key stops the take (once it holds some audio, so that it is kept).
    ASSERT_TRUE(f.recordUntil(0.2));
    f.key("record.circle.fill").click();
    EXPECT_FALSE(f.studio.recording());
    ASSERT_TRUE(f.waitIdle());
    EXPECT_EQ(f.clips().size(), 3u);

    // The jump keys are pressed by Home, End, Left and Right in the window's own test.
    // The play key never pauses: it only starts when nothing plays.
    f.studio.playing = true;
    f.key("play.fill").click();
    EXPECT_TRUE(f.studio.playing());
    f.studio.playing = false;

    // Pause latches, stop returns to the start, record starts the count-in and stop cancels it
    // (what each does further is the Studio's).
    f.studio.position = 12.0;
    f.key("pause.fill").click();
    EXPECT_TRUE(f.studio.pauseEngaged());
    f.key("stop.fill").click();
    EXPECT_DOUBLE_EQ(f.studio.position(), 0.0);
    f.key("record.circle.fill").click();
    EXPECT_EQ(f.studio.countdown(), 3);
    f.key("stop.fill").click();
    EXPECT_FALSE(f.studio.countdown());

    // The toolbar's buttons call their operations; export needs a programme.
    f.studio.project.mutate([](PodcastProject& p) { p.segments.clear(); });
    MainToolbar bar{f.studio};
    bar.newAction().trigger();
    bar.openAction().trigger();
    bar.importAction().trigger();
    EXPECT_EQ(std::tuple(f.host.newProjectRequests, f.host.openRequests, f.host.audioFileRequests),
              std::tuple(1, 1, 1));
    std::filesystem::remove(f.folder / "project.json");
    bar.saveAction().trigger();
    f.settle();
    EXPECT_TRUE(std::filesystem::exists(f.folder / "project.json"));

    // Export needs something to export; music alone makes a programme once its length is known.
    EXPECT_FALSE(bar.exportAction().isEnabled());
    f.studio.project.mutate([](PodcastProject& p) { p.segments = {testing::clipAt(0, 3)}; });
    EXPECT_TRUE(bar.exportAction().isEnabled());
    f.studio.project.mutate([](PodcastProject& p) {
        p.segments.clear();
        p.musicFile = "Media/music-A.wav";
    });
    EXPECT_FALSE(bar.exportAction().isEnabled());
    f.studio.musicDuration = 42.0;
    EXPECT_TRUE(bar.exportAction().isEnabled());

    // A take being recorded counts as it grows.
    f.studio.musicDuration = 0.0;
    f.studio.project.mutate([](PodcastProject& p) { p.musicFile.reset(); });
    ASSERT_TRUE(f.startTake());
    ASSERT_TRUE(f.recordUntil(0.3));
    EXPECT_TRUE(bar.exportAction().isEnabled());
}

} // namespace
} // namespace tw
