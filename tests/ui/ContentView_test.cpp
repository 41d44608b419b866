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

#include <QMessageBox>

#include <gtest/gtest.h>

namespace tw {

namespace {

using testing::clipAt;
using testing::WindowStudio;

// Counts the paint events every widget of the application receives.
class PaintCounter final : public QObject {
public:
    int paints = 0;
    QStringList painted;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            ++paints;
            painted << QString::fromLatin1(watched->metaObject()->className());
        }
        return false;
    }
};

struct Window : WindowStudio {
    ContentView view{studio, fixture.scheduler};
    Window()
    {
        view.resize(1280, 680);
        view.show();
        QCoreApplication::processEvents();
    }
    int top(QWidget& widget) { return widget.mapTo(&view, QPoint(0, 0)).y(); }
};

} // namespace

TEST(ContentView, regionsStandInTheirOrderWithTheInstrumentsAtTheirSizes)
{
    Window f;
    EXPECT_EQ(f.view.minimumSize().width(), 1280);
    EXPECT_EQ(f.view.deck().size(), QSize(350, 190));
    EXPECT_EQ(f.view.counter().size(), QSize(180, 62));
    // Instruments, voice panel, timeline, control row, status line: top to bottom.
    const int transportBottom = f.top(f.view.transport()) + f.view.transport().height();
    EXPECT_LE(f.top(f.view.deck()) + f.view.deck().height(), f.top(f.view.voicePanel()));
    EXPECT_LE(transportBottom, f.top(f.view.voicePanel()));
    EXPECT_LT(f.top(f.view.voicePanel()), f.top(f.view.timeline()));
    EXPECT_LT(f.top(f.view.timeline()), f.top(f.view.controls()));
    EXPECT_LT(f.top(f.view.controls()), f.top(f.view.status()));
    // Everything fits the smallest window.
    EXPECT_LE(f.top(f.view.status()) + f.view.status().height(), 680);
    for (QWidget* panel : {static_cast<QWidget*>(&f.view.meters()), &f.view.spectrumPanel(),
                           &f.view.equalizerPanel(), static_cast<QWidget*>(&f.view.transport())}) {
        const QRect area(panel->mapTo(&f.view, QPoint(0, 0)), panel->size());
        EXPECT_TRUE(QRect(0, 0, 1280, 680).contains(area));
    }
}

TEST(ContentView, counterFollowsThePlayHead)
{
    Window f;
    f.studio.position = 3725.9;
    EXPECT_EQ(f.view.counter().value(), "01:02:05");
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

    // The lanes show the clips: the timeline is brighter where the voice clips are drawn.
    const QRect voice(f.view.timeline().voiceLane().mapTo(&f.view, QPoint(0, 0)),
                      f.view.timeline().voiceLane().size());
    const QRect clipsArea(voice.left() + 10, voice.top() + 30, 300, voice.height() - 40);
    EXPECT_GT(testing::meanBrightness(programme, clipsArea),
              testing::meanBrightness(empty, clipsArea) + 5);
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
    EXPECT_GT(testing::meanBrightness(recording, take),
              testing::meanBrightness(programme, take) + 5);
    ASSERT_TRUE(f.finishTake());
}

TEST(ContentView, anOpenProjectLeftIdlePaintsNothingForTwoSeconds)
{
    Window f;
    f.openProgramme();
    // Let the window finish its first paints and any deferred layout.
    for (int i = 0; i < 5; ++i) {
        f.fixture.scheduler.advance(0.1);
        QCoreApplication::processEvents();
    }
    PaintCounter counter;
    qApp->installEventFilter(&counter);
    for (int tick = 0; tick < 20; ++tick) {
        f.fixture.scheduler.advance(0.1);
        QCoreApplication::processEvents();
    }
    qApp->removeEventFilter(&counter);
    EXPECT_EQ(counter.paints, 0) << counter.painted.join(", ").toStdString();

    // The counter proves it counts: a moved play head repaints the views that show it.
    qApp->installEventFilter(&counter);
    f.studio.position = 9.0;
    QCoreApplication::processEvents();
    qApp->removeEventFilter(&counter);
    EXPECT_GT(counter.paints, 0);
}

TEST(ContentView, theStudiosMessageAppearsInTheAlert)
{
    Window f;
    f.studio.message = std::string("No hay audio audible para exportar. Comprueba los clips y "
                                   "volúmenes.");
    ASSERT_TRUE(f.view.findChild<QMessageBox*>());
    QMessageBox* box = f.view.findChild<QMessageBox*>();
    EXPECT_EQ(box->windowTitle(), "Bobinet 2");
    box->accept();
    EXPECT_FALSE(f.studio.message());
}

} // namespace tw
