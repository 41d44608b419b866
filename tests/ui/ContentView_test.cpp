#include "ui/ContentView.hpp"

#include "ui/ControlRow.hpp"
#include "ui/InputLevelBar.hpp"
#include "ui/LCDCounter.hpp"
#include "ui/StatusLine.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/TapeDeck.hpp"
#include "ui/TimelineView.hpp"
#include "ui/TransportBar.hpp"
#include "ui/TransportButtonStyle.hpp"
#include "ui/VoiceStudioPanel.hpp"
#include "ui/WaveTrack.hpp"
#include "ui/WindowStudio.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

using testing::meanBrightness;

struct Window : testing::WindowStudio {
    ContentView view{studio, scheduler};
    Window()
    {
        view.resize(1280, 680);
        view.show();
        QCoreApplication::processEvents();
    }
    QRect area(QWidget& widget) { return {widget.mapTo(&view, QPoint(0, 0)), widget.size()}; }
};

TEST(ContentView, regionsStandInTheirOrderAndFitTheSmallestWindow)
{
    Window f;
    EXPECT_EQ(f.view.minimumSize().width(), 1280);
    ContentView& v = f.view;
    // Instruments, voice panel, timeline, control row, status line: top to bottom.
    EXPECT_LT(f.area(v.deck()).bottom(), f.area(v.voicePanel()).top());
    EXPECT_LT(f.area(v.transport()).bottom(), f.area(v.voicePanel()).top());
    EXPECT_LT(f.area(v.voicePanel()).top(), f.area(v.timeline()).top());
    EXPECT_LT(f.area(v.timeline()).top(), f.area(v.controls()).top());
    EXPECT_LT(f.area(v.controls()).top(), f.area(v.status()).top());
    for (QWidget* region : std::initializer_list<QWidget*>{
             &v.meters(), &v.spectrumPanel(), &v.equalizerPanel(), &v.transport(), &v.status()})
        EXPECT_TRUE(QRect(0, 0, 1280, 680).contains(f.area(*region)))
            << region->metaObject()->className();
}

TEST(ContentView, rendersAnEmptyProjectAndAProgrammeWithClipsAndMusic)
{
    Window f;
    const QImage empty = testing::saveScreenshot(f.view, "ContentView-empty");
    EXPECT_EQ(empty.size(), QSize(1280, 680));

    f.openProgramme();
    f.studio.selection = TimeRange{3, 7};
    f.studio.position = 5.0;
    QCoreApplication::processEvents();
    const QImage programme = testing::saveScreenshot(f.view, "ContentView-programme");
    EXPECT_EQ(f.view.counter().value(), "00:00:05"); // the counter follows the play head

    // The lanes show the clips: the timeline is brighter where the voice clips are drawn.
    const QRect voice = f.area(f.view.timeline().voiceLane());
    const QRect clipsArea(voice.left() + 10, voice.top() + 30, 300, voice.height() - 40);
    EXPECT_GT(meanBrightness(programme, clipsArea), meanBrightness(empty, clipsArea) + 5);
    EXPECT_TRUE(f.view.transport().button("play.fill").isEnabled());

    // During a take after the programme: the growing take, the lit record key, the level bar.
    f.studio.selection = std::nullopt;
    f.studio.position = 21.0;
    ASSERT_TRUE(f.startTake());
    ASSERT_TRUE(f.recordUntil(1.5));
    QCoreApplication::processEvents();
    EXPECT_EQ(f.view.controls().levelBar().opacity(), 1.0);
    EXPECT_TRUE(f.view.transport().button("record.circle.fill").active());
    const QImage recording = testing::saveScreenshot(f.view, "ContentView-recording");
    const QRect take(voice.left() + static_cast<int>(21.5 * f.studio.zoom()), voice.top() + 30, 20,
                     voice.height() - 40);
    EXPECT_GT(meanBrightness(recording, take), meanBrightness(programme, take) + 5);
    ASSERT_TRUE(f.finishTake());
}

TEST(ContentView, anOpenProjectLeftIdlePaintsNothingForTwoSeconds)
{
    Window f;
    f.openProgramme();
    // Let the window finish its first paints and any deferred layout.
    for (int i = 0; i < 5; ++i) {
        f.scheduler.advance(0.1);
        QCoreApplication::processEvents();
    }
    testing::PaintRecorder counter;
    qApp->installEventFilter(&counter);
    for (int tick = 0; tick < 20; ++tick) {
        f.scheduler.advance(0.1);
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(counter.widgets.isEmpty()) << counter.widgets.join(", ").toStdString();

    // The counter proves it counts: a moved play head repaints the views that show it.
    f.studio.position = 9.0;
    QCoreApplication::processEvents();
    qApp->removeEventFilter(&counter);
    EXPECT_FALSE(counter.widgets.isEmpty());
}

} // namespace
} // namespace tw
