#include "ui/TransportBar.hpp"

#include "ui/TransportButtonStyle.hpp"
#include "ui/WindowStudio.hpp"

#include <gtest/gtest.h>

#include <map>

namespace tw {

namespace {

using testing::clipAt;
using testing::WindowStudio;

struct Bar : WindowStudio {
    using WindowStudio::WindowStudio;
    TransportBar bar{studio};
    TransportButton& key(const char* symbol) { return bar.button(QString::fromLatin1(symbol)); }
    // Which keys are enabled, by symbol.
    std::map<QString, bool> enabled()
    {
        std::map<QString, bool> states;
        for (const QString& symbol : TransportBar::symbols())
            states[symbol] = bar.button(symbol).isEnabled();
        return states;
    }
};

std::map<QString, bool> expect(bool toStart, bool back, bool stop, bool play, bool pause,
                               bool record, bool forward, bool toEnd)
{
    const auto& s = TransportBar::symbols();
    return {{s[0], toStart}, {s[1], back},   {s[2], stop},    {s[3], play},
            {s[4], pause},   {s[5], record}, {s[6], forward}, {s[7], toEnd}};
}

} // namespace

TEST(TransportBar, keysInOrderWithTheirLabels)
{
    Bar f;
    const std::vector<QString> labels{
        "Volver al inicio", "Retroceder 5 segundos", "Detener",    "Reproducir", "Pausar",
        "Grabar",           "Avanzar 5 segundos",    "Ir al final"};
    for (std::size_t i = 0; i < labels.size(); ++i) {
        TransportButton& key = f.bar.button(TransportBar::symbols()[i]);
        EXPECT_EQ(key.toolTip(), labels[i]);
        EXPECT_EQ(key.accessibleName(), labels[i]);
    }
    // Left to right on screen as listed.
    f.bar.adjustSize();
    for (std::size_t i = 1; i < labels.size(); ++i)
        EXPECT_GT(f.bar.button(TransportBar::symbols()[i]).x(),
                  f.bar.button(TransportBar::symbols()[i - 1]).x());
}

TEST(TransportBar, enablingFollowsEmptyProjectBusyCountInAndTake)
{
    Bar f;
    // Empty project: nothing to play.
    EXPECT_EQ(f.enabled(), expect(true, true, true, false, true, true, true, true));

    f.studio.project.mutate([](PodcastProject& p) { p.segments = {clipAt(0, 8)}; });
    EXPECT_EQ(f.enabled(), expect(true, true, true, true, true, true, true, true));

    // A long operation (no count-in): every key is off.
    f.studio.busy = true;
    EXPECT_EQ(f.enabled(), expect(false, false, false, false, false, false, false, false));
    f.studio.busy = false;

    // The count-in: busy with a countdown; stop stays on so that it can be cancelled.
    f.startCountIn();
    EXPECT_TRUE(f.studio.busy());
    EXPECT_EQ(f.enabled(), expect(false, false, true, false, false, false, false, false));

    // The take: pause, stop and record (to stop it) stay on.
    f.fixture.scheduler.advance(3.0);
    ASSERT_TRUE(f.studio.recording());
    EXPECT_EQ(f.enabled(), expect(false, false, true, false, true, true, false, false));
    EXPECT_EQ(f.key("record.circle.fill").toolTip(), "Detener grabación");
    // A take can always be stopped, also while something else is busy.
    f.studio.busy = true;
    EXPECT_TRUE(f.key("record.circle.fill").isEnabled());
    EXPECT_FALSE(f.key("pause.fill").isEnabled());
    f.studio.busy = false;

    ASSERT_TRUE(f.recordUntil(0.3));
    ASSERT_TRUE(f.finishTake());
    EXPECT_EQ(f.enabled(), expect(true, true, true, true, true, true, true, true));
    EXPECT_EQ(f.key("record.circle.fill").toolTip(), "Grabar");
}

TEST(TransportBar, litKeysAndThePauseLabelFollowTheTransport)
{
    Bar f({clipAt(0, 8)});
    auto lit = [&] {
        return std::vector<bool>{f.key("play.fill").active(), f.key("pause.fill").active(),
                                 f.key("record.circle.fill").active(), f.key("stop.fill").active()};
    };
    EXPECT_EQ(lit(), (std::vector<bool>{false, false, false, false}));
    const QImage idlePlay = f.key("play.fill").icon().pixmap(16, 16).toImage();
    f.studio.playing = true;
    EXPECT_EQ(lit(), (std::vector<bool>{true, false, false, false}));
    // The play symbol changes colour while playing.
    EXPECT_NE(f.key("play.fill").icon().pixmap(16, 16).toImage(), idlePlay);
    f.studio.playing = false;
    EXPECT_EQ(f.key("play.fill").icon().pixmap(16, 16).toImage(), idlePlay);

    f.studio.pauseEngaged = true;
    EXPECT_EQ(lit(), (std::vector<bool>{false, true, false, false}));
    f.studio.pauseEngaged = false;

    ASSERT_TRUE(f.startTake());
    EXPECT_EQ(lit(), (std::vector<bool>{false, false, true, false}));
    EXPECT_EQ(f.key("pause.fill").toolTip(), "Pausar");
    f.key("pause.fill").click(); // the pause key pauses the take
    EXPECT_TRUE(f.studio.recordingPaused());
    EXPECT_EQ(lit(), (std::vector<bool>{false, true, false, false}));
    EXPECT_EQ(f.key("pause.fill").toolTip(), "Reanudar grabación");
    EXPECT_EQ(f.key("pause.fill").accessibleName(), "Reanudar grabación");
    f.key("pause.fill").click();
    EXPECT_FALSE(f.studio.recordingPaused());
    EXPECT_EQ(lit(), (std::vector<bool>{false, false, true, false}));

    // The record key stops the take (once it holds some audio, so that it is kept).
    ASSERT_TRUE(f.recordUntil(0.2));
    f.key("record.circle.fill").click();
    EXPECT_FALSE(f.studio.recording());
    ASSERT_TRUE(f.fixture.waitIdle());
    EXPECT_EQ(f.studio.project->resolvedSegments().size(), 2u);
}

TEST(TransportBar, clicksMoveThePlayHeadAndStartTheTake)
{
    Bar f({clipAt(0, 40)});
    f.studio.position = 20.0;
    f.key("gobackward.5").click();
    EXPECT_DOUBLE_EQ(f.studio.position(), 15.0);
    f.key("goforward.5").click();
    f.key("goforward.5").click();
    EXPECT_DOUBLE_EQ(f.studio.position(), 25.0);
    f.key("forward.end.fill").click();
    EXPECT_DOUBLE_EQ(f.studio.position(), 40.0);
    EXPECT_EQ(f.studio.shuttleDirection(), 1); // the reels wind forward
    f.key("backward.end.fill").click();
    EXPECT_DOUBLE_EQ(f.studio.position(), 0.0);
    EXPECT_EQ(f.studio.shuttleDirection(), -1);
    f.fixture.scheduler.advance(0.7);
    EXPECT_EQ(f.studio.shuttleDirection(), 0);

    // The play key never pauses: it only starts when nothing plays.
    f.studio.playing = true;
    f.key("play.fill").click();
    EXPECT_TRUE(f.studio.playing());
    f.studio.playing = false;

    // The stop key releases a latched pause and returns to the start.
    f.studio.position = 12.0;
    f.key("pause.fill").click();
    EXPECT_TRUE(f.studio.pauseEngaged());
    f.key("stop.fill").click();
    EXPECT_FALSE(f.studio.pauseEngaged());
    EXPECT_DOUBLE_EQ(f.studio.position(), 0.0);

    // The record key starts the count-in; stop during it cancels the take.
    f.key("record.circle.fill").click();
    EXPECT_EQ(f.studio.countdown(), 3);
    f.key("stop.fill").click();
    EXPECT_FALSE(f.studio.countdown());
    f.fixture.scheduler.advance(5.0);
    EXPECT_FALSE(f.studio.recording());

    // Disabled keys do nothing while busy.
    f.studio.busy = true;
    f.studio.position = 10.0;
    f.key("backward.end.fill").click();
    f.key("goforward.5").click();
    EXPECT_DOUBLE_EQ(f.studio.position(), 10.0);
    f.studio.busy = false;
}

} // namespace tw
