#include "ui/MainWindow.hpp"

#include "ui/AppMenus.hpp"
#include "ui/ContentView.hpp"
#include "ui/ControlRow.hpp"
#include "ui/LCDCounter.hpp"
#include "ui/MainToolbar.hpp"
#include "ui/MusicEditor.hpp"
#include "ui/StatusLine.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/TapeDeck.hpp"
#include "ui/TimelineRuler.hpp"
#include "ui/TimelineView.hpp"
#include "ui/TransportBar.hpp"
#include "ui/VoiceStudioPanel.hpp"
#include "ui/WaveTrack.hpp"
#include "ui/WelcomeView.hpp"
#include "ui/WindowStudio.hpp"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QComboBox>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QTest>
#include <QTimer>
#include <QToolTip>
#include <QWheelEvent>

#include <gtest/gtest.h>

namespace tw {
namespace {

// The window over a Studio on the fakes, not shown yet.
struct Window : testing::WindowStudio {
    MainWindow window{studio, scheduler};
};

// The window at a laptop's 1366 × 700, active, over a programme of two clips and a music bed.
struct ProgrammeWindow : Window {
    ProgrammeWindow()
    {
        studio.showWelcome = false;
        window.resize(1366, 700);
        testing::showActive(window);
        openProgramme();
    }
    TimelineView& timeline() const { return window.content().timeline(); }
    QScrollBar& bar() const { return *timeline().scrollArea().horizontalScrollBar(); }
    // The play head's x in the visible part of the timeline, and whether it is in sight.
    double playheadX() const { return studio.position() * studio.zoom() - bar().value(); }
    bool playheadShown() const
    {
        return playheadX() >= 0 && playheadX() < timeline().scrollArea().viewport()->width();
    }
    // point of widget in the window's coordinates.
    QPoint at(QWidget& widget, QPoint point) const { return widget.mapTo(&window, point); }
};

// A wheel turned over point of window, delivered to the widget there.
void turnWheel(QWidget& window, QPoint point, QPoint angle, Qt::KeyboardModifiers modifiers = {})
{
    QWidget* under = window.childAt(point);
    ASSERT_TRUE(under);
    QWheelEvent event(under->mapFrom(&window, QPointF(point)), window.mapToGlobal(QPointF(point)),
                      QPoint(), angle, Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
    QApplication::sendEvent(under, &event);
}

TEST(MainWindow, closingWhileTheProjectCannotBeSavedAsksFirst)
{
    Window f;
    const auto folder = testing::savedProject(f.temp / "Otro.podcastproject");
    ASSERT_TRUE(f.openAndWait(folder));
    f.settle(); // the opening's own save lands before the document becomes unwritable
    testing::showActive(f.window);
    std::filesystem::remove(folder / "project.json");
    std::filesystem::create_directories(folder / "project.json" / "x");
    f.host.newProjectAnswers = {f.temp / "Copia.podcastproject"};
    for (const QString answer : {"Cancelar", "Salir sin guardar", "Guardar una copia…", ""}) {
        // Answers the question the window asks; none is expected last (and one would stay).
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, [&] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()))
                for (QAbstractButton* button : box->buttons())
                    if (button->text() == (answer.isEmpty() ? QStringLiteral("Cancelar") : answer))
                        button->click();
        });
        poll.start(5);
        f.window.show();
        EXPECT_EQ(f.window.close(), answer == "Salir sin guardar" || answer.isEmpty())
            << answer.toStdString();
        ASSERT_TRUE(f.waitIdle());
    }
    EXPECT_EQ(f.studio.folder(), f.temp / "Copia.podcastproject");
}

TEST(MainWindow, opensOnTheWelcomeSheetFitsALaptopAndIsShownEmptyPlayingAndRecording)
{
    Window f;
    MainWindow& window = f.window;
    f.settings.setValue("lastProject",
                        testing::savedProject(f.temp / "Mi podcast.podcastproject").string());
    testing::showActive(f.window);
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.welcome().isVisible(); }));
    EXPECT_EQ(window.welcome().recentName(), QStringLiteral("Mi podcast"));
    f.studio.showWelcome = false;
    testing::showActive(f.window);

    // Ctrl+N reaches the menu item, not a toolbar twin: the dialog is asked exactly once.
    QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(f.host.newProjectRequests, 1);

    // A project folder dropped on the window opens; other files dropped with it are passed over.
    const auto dropped = testing::savedProject(f.temp / "Soltado.podcastproject");
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString((f.temp / "nada.txt").string())),
                  QUrl::fromLocalFile(QString::fromStdString(dropped.string()))});
    QDragEnterEvent enter(QPoint(600, 300), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(600, 300), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);
    ASSERT_TRUE(f.waitUntil([&] { return f.studio.folder() == dropped && !f.studio.busy(); }));

    // At its smallest the view has its full minimum under the menu bar and the toolbar, which a
    // 1366 × 768 screen holds with a title bar and a desktop panel.
    window.resize(window.minimumSizeHint());
    QCoreApplication::processEvents();
    const QSize smallest =
        window.content().minimumSizeHint().expandedTo(window.content().minimumSize());
    ASSERT_EQ(window.content().size(), smallest);
    EXPECT_EQ(window.height(),
              smallest.height() + window.menuBar()->height() + window.toolbar().height());
    EXPECT_TRUE(window.height() <= 700 && window.width() <= 1366);
    window.resize(1366, 700);
    QCoreApplication::processEvents();
    testing::saveScreenshot(window, QStringLiteral("MainWindow-empty"));

    // On a laptop's 1366 × 700 every region is whole; the spare height is the voice lane's, so
    // the control row follows the timeline without a gap.
    ContentView& view = window.content();
    const auto area = [&](QWidget& region) {
        return QRect(region.mapTo(&window, QPoint()), region.size());
    };
    for (QWidget* region : std::initializer_list<QWidget*>{
             &view.deck(), &view.counter(), &view.meters(), &view.spectrumPanel(),
             &view.equalizerPanel(), &view.transport(), &view.voicePanel(), &view.timeline(),
             &view.controls(), &view.status()})
        EXPECT_TRUE(area(view).contains(area(*region)) && region->isVisible())
            << region->metaObject()->className();
    EXPECT_LE(view.controls().y() - view.timeline().geometry().bottom(), 2);

    // A programme playing: the lanes show its clips, the counter and the meters follow the mix.
    f.openProgramme();
    f.studio.seek(3.0);
    ASSERT_TRUE(f.startPlayback()) << f.studio.message().value_or("");
    f.play(1.5);
    QCoreApplication::processEvents();
    testing::saveScreenshot(window, QStringLiteral("MainWindow-playing"));

    // A take after the programme: the growing take, the lit record key, the level bar.
    f.studio.pause();
    f.studio.seek(21.0);
    ASSERT_TRUE(f.startTake());
    ASSERT_TRUE(f.recordUntil(1.5));
    QCoreApplication::processEvents();
    testing::saveScreenshot(window, QStringLiteral("MainWindow-recording"));
    ASSERT_TRUE(f.finishTake());
}

// Then every menu, pop-up, tooltip, alert and dialog is dark, shown for a person to look at: the
// window's, its music editor and its welcome sheet.
TEST(MainWindow, theWheelTheZoomAndTheKeysGetAroundTheTimelineAndPopUpsAreDark)
{
    ProgrammeWindow f;
    QScrollBar& bar = f.bar();
    ASSERT_EQ(bar.value(), 0);
    // Either wheel, over the lanes or the ruler, moves along time.
    turnWheel(f.window, f.at(f.timeline().voiceLane(), {300, 60}), {0, -120});
    turnWheel(f.window, f.at(f.timeline().ruler(), {300, 10}), {-240, 0});
    EXPECT_EQ(bar.value(), 3 * TimelineView::wheelStep);

    // Ctrl+wheel zooms in around the pointer: the second under it stays under it.
    const double second = (bar.value() + 500) / 30.0;
    turnWheel(f.window, f.at(f.timeline().musicLane(), {bar.value() + 500, 80}), {0, 120},
              Qt::ControlModifier);
    EXPECT_EQ(f.studio.zoom(), 38.0);
    EXPECT_NEAR(second * 38 - bar.value(), 500, 1);

    // The zoom slider keeps the play head where it stands on screen.
    f.studio.seek(14.0);
    const double playheadX = f.playheadX();
    ASSERT_TRUE(f.playheadShown());
    QTest::keyClick(&f.window.content().controls().zoomSlider(), Qt::Key_PageUp);
    EXPECT_GT(f.studio.zoom(), 38.0);
    EXPECT_NEAR(f.playheadX(), playheadX, 1);

    // Home and End go to the ends, Left and Right 5 s, with the reels' shuttle; the view follows.
    struct Jump {
        Qt::Key key;
        double position;
        int shuttle;
    };
    for (const Jump& jump : {Jump{Qt::Key_End, 32, 1}, Jump{Qt::Key_Left, 27, -1},
                             Jump{Qt::Key_Right, 32, 1}, Jump{Qt::Key_Home, 0, -1}}) {
        QTest::keyClick(&f.window, jump.key);
        EXPECT_DOUBLE_EQ(f.studio.position(), jump.position) << jump.key;
        EXPECT_EQ(f.studio.shuttleDirection(), jump.shuttle) << jump.key;
        EXPECT_TRUE(f.playheadShown()) << jump.key;
    }
    f.studio.busy = true; // refused like the transport keys
    QTest::keyClick(&f.window, Qt::Key_End);
    EXPECT_DOUBLE_EQ(f.studio.position(), 0);
    f.studio.busy = false;

    // Playback turns the page when the play head runs off the right edge.
    f.studio.zoom = 300.0;
    f.studio.seek(1.0);
    f.studio.togglePlayback();
    ASSERT_TRUE(f.waitIdle());
    f.play(4.5);
    EXPECT_GT(bar.value(), 0);
    EXPECT_TRUE(f.playheadShown()) << f.studio.position();
    f.studio.pause();

    // A project opened again shows its play head where it was left.
    f.studio.seek(28.0);
    f.studio.save();
    f.settle();
    bar.setValue(0);
    ASSERT_TRUE(f.openAndWait(f.folder));
    QCoreApplication::processEvents();
    EXPECT_DOUBLE_EQ(f.studio.position(), 28.0);
    EXPECT_TRUE(f.playheadShown());

    f.studio.selectedClip = f.studio.project->resolvedSegments().front().id;
    f.studio.selection = TimeRange{1, 2};
    QCoreApplication::processEvents();
    auto expectDark = [](const char* name, QWidget* shown) {
        ASSERT_TRUE(shown) << name;
        const QImage image = testing::saveScreenshot(*shown, QStringLiteral("Dark-") + name);
        EXPECT_LT(testing::meanBrightness(image, image.rect()), 90.0) << name;
        shown->hide();
    };
    MainWindow& window = f.window;
    const QPoint near = window.mapToGlobal(QPoint(300, 300));
    window.menus().audioMenu().popup(near);
    expectDark("audio-menu", &window.menus().audioMenu());
    QComboBox& picker = window.content().controls().inputPicker();
    picker.showPopup();
    expectDark("input-popup", picker.view()->window());
    QToolTip::showText(near, QStringLiteral("Actualizar entradas"), &window);
    expectDark("tooltip", window.findChild<QLabel*>(QStringLiteral("qtooltip_label")));
    f.studio.message = std::string("No se pudo guardar el proyecto: disco lleno");
    expectDark("alert", window.findChild<QMessageBox*>());
    f.studio.message = std::nullopt;
    f.studio.showMusicEditor = true;
    expectDark("music-editor", window.findChild<MusicEditorPopover*>());
    f.studio.showMusicEditor = false;
    f.studio.showWelcome = true;
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.welcome().isVisible(); }));
    expectDark("welcome", &window.welcome());
}

} // namespace
} // namespace tw
