#include "ui/MainWindow.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "ui/AppMenus.hpp"
#include "ui/ContentView.hpp"
#include "ui/ControlRow.hpp"
#include "ui/LCDCounter.hpp"
#include "ui/LaneMenu.hpp"
#include "ui/MainToolbar.hpp"
#include "ui/MusicEditor.hpp"
#include "ui/StatusLine.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/TapeDeck.hpp"
#include "ui/TapewrightApp.hpp"
#include "ui/TimelineRuler.hpp"
#include "ui/TimelineView.hpp"
#include "ui/TransportBar.hpp"
#include "ui/VoiceStudioPanel.hpp"
#include "ui/WaveTrack.hpp"
#include "ui/WelcomeView.hpp"
#include "ui/WindowStudio.hpp"

#include <QAbstractItemView>
#include <QAction>
#include <QComboBox>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
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

using testing::StudioFixture;
using testing::TempFolder;

class MainWindowTest : public ::testing::Test {
protected:
    QApplication& application = testing::uiApplication();
    StudioFixture f;
    TempFolder temp;
    std::unique_ptr<MainWindow> window;

    MainWindowTest()
    {
        if (QGuiApplication::windowIcon().isNull())
            QGuiApplication::setWindowIcon(TapewrightApp::applicationIcon());
        window = std::make_unique<MainWindow>(f.studio, f.scheduler);
    }
    ~MainWindowTest() override { window.reset(); }

    void showWindow()
    {
        window->show();
        window->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    std::filesystem::path savedProject(const std::string& name)
    {
        const auto folder = temp / name;
        testing::writeProject(folder, PodcastProject{});
        return folder;
    }
};

// The window at a laptop's 1366 × 700, active, over a programme of two clips and a music bed.
struct ProgrammeWindow : testing::WindowStudio {
    MainWindow window{studio, scheduler};
    ProgrammeWindow()
    {
        studio.showWelcome = false;
        window.resize(1366, 700);
        window.show();
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
        openProgramme();
        QCoreApplication::processEvents();
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

TEST_F(MainWindowTest, atItsSmallestTheWindowFitsALaptopScreenAndShowsTheWelcomeSheet)
{
    f.settings.setValue("lastProject", savedProject("Mi podcast.podcastproject").string());
    showWindow();
    WelcomeView& sheet = window->welcome();
    ASSERT_TRUE(QTest::qWaitFor([&] { return sheet.isVisible(); }));
    // At its smallest the view has its full minimum under the menu bar and the toolbar, which a
    // 1366 × 768 screen holds with a title bar and a desktop panel.
    window->resize(window->minimumSizeHint());
    QCoreApplication::processEvents();
    const QSize smallest =
        window->content().minimumSizeHint().expandedTo(window->content().minimumSize());
    ASSERT_EQ(window->content().size(), smallest);
    EXPECT_EQ(window->height(),
              smallest.height() + window->menuBar()->height() + window->toolbar().height());
    EXPECT_LE(window->height(), 700);
    EXPECT_LE(window->width(), 1366);
    // The sheet offers the recent project.
    EXPECT_TRUE(sheet.continueButton().isVisible());
    EXPECT_EQ(sheet.recentName(), QStringLiteral("Mi podcast"));
}

TEST_F(MainWindowTest, aProjectFolderDroppedOnTheWindowOpens)
{
    showWindow();
    const auto folder = savedProject("Soltado.podcastproject");
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString((temp / "nada.txt").string())),
                  QUrl::fromLocalFile(QString::fromStdString(folder.string()))});
    EXPECT_EQ(MainWindow::droppedFolder(data.urls()), QString::fromStdString(folder.string()));
    EXPECT_FALSE(MainWindow::droppedFolder({QUrl(QStringLiteral("https://example.org/x"))}));

    QDragEnterEvent enter(QPoint(600, 300), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window.get(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(600, 300), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window.get(), &drop);
    ASSERT_TRUE(f.waitUntil([&] { return f.studio.folder() == folder && !f.studio.busy(); }));
}

TEST_F(MainWindowTest, closingWhileTheProjectCannotBeSavedAsksFirst)
{
    const auto folder = savedProject("Programa.podcastproject");
    ASSERT_TRUE(f.openAndWait(folder));
    f.settle(); // the opening's own save lands before the document becomes unwritable
    showWindow();
    std::filesystem::remove(folder / "project.json");
    std::filesystem::create_directories(folder / "project.json" / "x");
    f.host.newProjectAnswers = {temp / "Copia.podcastproject"};
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
        window->show();
        EXPECT_EQ(window->close(), answer == "Salir sin guardar" || answer.isEmpty())
            << answer.toStdString();
        ASSERT_TRUE(f.waitIdle());
    }
    EXPECT_EQ(f.studio.folder(), temp / "Copia.podcastproject");
}

TEST_F(MainWindowTest, theSingleKeysWorkOverTheWholeWindow)
{
    f.studio.showWelcome = false;
    showWindow();
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    f.host.newProjectAnswers.push_back(temp / "Programa.podcastproject");
    ASSERT_TRUE(f.studio.newProject());

    // Wherever the focus is among the window's buttons, R is the record key.
    QList<QPushButton*> buttons = window->content().findChildren<QPushButton*>();
    ASSERT_FALSE(buttons.isEmpty());
    QWidget* target = buttons.first();
    target->setFocus();
    QTest::keyClick(target, Qt::Key_R);
    EXPECT_EQ(f.studio.countdown(), 3);
    QTest::keyClick(window.get(), Qt::Key_R);
    EXPECT_FALSE(f.studio.countdown());
    EXPECT_FALSE(f.studio.busy());

    // Ctrl+N reaches the menu item, not a toolbar twin: the dialog is asked exactly once.
    const int asked = f.host.newProjectRequests;
    QTest::keyClick(window.get(), Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(f.host.newProjectRequests, asked + 1);
}

TEST(MainWindowStates, screenshotsOfTheWholeWindowEmptyPlayingAndRecording)
{
    testing::WindowStudio f;
    f.studio.showWelcome = false;
    MainWindow window(f.studio, f.scheduler);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    window.resize(1366, 700);
    QCoreApplication::processEvents();
    const QImage empty = testing::saveScreenshot(window, QStringLiteral("MainWindow-empty"));

    // On a laptop's 1366 × 700 every region is whole, top to bottom: instruments, voice panel,
    // timeline, control row, status line. The spare height is the voice lane's, so the control
    // row follows the timeline without a gap.
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
    for (QWidget* upper : std::initializer_list<QWidget*>{&view.deck(), &view.transport()})
        EXPECT_LT(area(*upper).bottom(), area(view.voicePanel()).top());
    EXPECT_LT(area(view.voicePanel()).bottom(), area(view.timeline()).top());
    EXPECT_LE(view.controls().y() - view.timeline().geometry().bottom(), 2);
    EXPECT_EQ(view.timeline().voiceLane().height(), WaveTrack::laneHeight(WaveTrack::Kind::voice) +
                                                        700 - window.minimumSizeHint().height());

    // A programme playing: the lanes show its clips, the counter and the meters follow the mix.
    f.openProgramme();
    f.studio.seek(3.0);
    ASSERT_TRUE(f.startPlayback()) << f.studio.message().value_or("");
    f.play(1.5);
    QCoreApplication::processEvents();
    const QImage playing = testing::saveScreenshot(window, QStringLiteral("MainWindow-playing"));
    const QRect voice = area(view.timeline().voiceLane());
    const QRect clips(voice.left() + 10, voice.top() + 30, 300, voice.height() - 40);
    EXPECT_GT(testing::meanBrightness(playing, clips), testing::meanBrightness(empty, clips) + 5);

    // A take after the programme: the growing take, the lit record key, the level bar.
    f.studio.pause();
    f.studio.seek(21.0);
    ASSERT_TRUE(f.startTake());
    ASSERT_TRUE(f.recordUntil(1.5));
    QCoreApplication::processEvents();
    const QImage recording =
        testing::saveScreenshot(window, QStringLiteral("MainWindow-recording"));
    const QRect take(voice.left() + int(21.5 * f.studio.zoom()), voice.top() + 30, 20,
                     voice.height() - 40);
    EXPECT_GT(testing::meanBrightness(recording, take), testing::meanBrightness(playing, take) + 5);
    ASSERT_TRUE(f.finishTake());
}

TEST(MainWindowStates, theWheelTheZoomAndTheKeysGetAroundTheTimeline)
{
    ProgrammeWindow f;
    QScrollBar& bar = f.bar();
    ASSERT_EQ(bar.value(), 0);
    // Either wheel, over the lanes or the ruler, moves along time.
    turnWheel(f.window, f.at(f.timeline().voiceLane(), {300, 60}), {0, -120});
    EXPECT_EQ(bar.value(), TimelineView::wheelStep);
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
    ASSERT_TRUE(f.studio.playing());
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
}

// Every menu, pop-up, tooltip, alert and dialog is dark, shown for a person to look at: the
// window's, its music editor and its welcome sheet.
TEST(MainWindowStates, popUpsAreDark)
{
    ProgrammeWindow f;
    f.settings.setValue("lastProject", f.folder.string());
    f.studio.selectedClip = f.studio.project->resolvedSegments().front().id;
    QCoreApplication::processEvents();
    auto expectDark = [](const char* name, QWidget* shown) {
        ASSERT_TRUE(shown) << name;
        const QImage image = testing::saveScreenshot(*shown, QStringLiteral("Dark-") + name);
        EXPECT_LT(testing::meanBrightness(image, image.rect()), 90.0) << name;
        shown->hide();
    };
    MainWindow& window = f.window;
    f.studio.selection = TimeRange{1, 2};
    const QPoint near = window.mapToGlobal(QPoint(300, 300));
    window.menus().audioMenu().popup(near);
    expectDark("audio-menu", &window.menus().audioMenu());
    std::unique_ptr<QMenu> clipMenu(makeClipMenu(f.studio, testing::clipAt(0, 4), &window));
    clipMenu->popup(near);
    expectDark("clip-menu", clipMenu.get());
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
