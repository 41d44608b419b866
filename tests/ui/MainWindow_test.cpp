#include "ui/MainWindow.hpp"

#include "support/StudioFixture.hpp"
#include "support/TempProject.hpp"
#include "ui/AppMenus.hpp"
#include "ui/ContentView.hpp"
#include "ui/MainToolbar.hpp"
#include "ui/TapewrightApp.hpp"
#include "ui/UiApplication.hpp"
#include "ui/WelcomeView.hpp"
#include "ui/WindowStudio.hpp"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <QTimer>

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

TEST_F(MainWindowTest, isTheBobinetWindowWithMenusToolbarAndTheMainView)
{
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Bobinet 2"));
    showWindow();
    // The view has its full minimum under the menu bar and the toolbar, at the window's smallest.
    window->resize(window->minimumSizeHint());
    QCoreApplication::processEvents();
    EXPECT_EQ(window->content().size(), QSize(1280, 680));
    EXPECT_EQ(window->height(), 680 + window->menuBar()->height() + window->toolbar().height());
    window->resize(1000, 500);
    QCoreApplication::processEvents();
    EXPECT_GE(window->content().width(), 1280);
    EXPECT_GE(window->content().height(), 680);
    EXPECT_EQ(window->centralWidget(), &window->content());
    EXPECT_EQ(window->toolBarArea(&window->toolbar()), Qt::TopToolBarArea);
    QStringList titles;
    for (QAction* menu : window->menuBar()->actions())
        titles << menu->text();
    EXPECT_EQ(titles, (QStringList{"Archivo", "Edición", "Audio"}));
}

TEST_F(MainWindowTest, theWelcomeSheetFollowsShowWelcomeBothWays)
{
    ASSERT_TRUE(f.studio.showWelcome());
    showWindow();
    WelcomeView& sheet = window->welcome();
    ASSERT_TRUE(QTest::qWaitFor([&] { return sheet.isVisible(); }));
    EXPECT_EQ(sheet.parentWidget(), window.get());
    EXPECT_EQ(sheet.windowModality(), Qt::WindowModal);

    // Escape closes it like "Cerrar": the Studio hears it.
    QTest::keyClick(&sheet, Qt::Key_Escape);
    EXPECT_FALSE(sheet.isVisible());
    EXPECT_FALSE(f.studio.showWelcome());

    // Asked for again, it comes back; a project opened from anywhere closes it.
    f.studio.showWelcome = true;
    ASSERT_TRUE(QTest::qWaitFor([&] { return sheet.isVisible(); }));
    ASSERT_TRUE(f.openAndWait(savedProject("Entrevista.podcastproject")));
    EXPECT_FALSE(f.studio.showWelcome());
    EXPECT_FALSE(sheet.isVisible());
}

TEST_F(MainWindowTest, screenshotOfTheWholeWindowAtItsMinimumWithTheWelcomeSheet)
{
    f.settings.setValue("lastProject", savedProject("Mi podcast.podcastproject").string());
    showWindow();
    WelcomeView& sheet = window->welcome();
    ASSERT_TRUE(QTest::qWaitFor([&] { return sheet.isVisible(); }));
    ASSERT_EQ(window->content().size(), QSize(1280, 680));
    // Its layout takes in the recent project's button on the way through the event loop.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();

    // The sheet is a window of its own over the main one: compose the two as they are seen.
    QImage seen = window->grab().toImage().convertToFormat(QImage::Format_ARGB32);
    const QImage sheetImage = sheet.grab().toImage();
    const QPoint at = window->mapFromGlobal(sheet.mapToGlobal(QPoint(0, 0)));
    const QRect sheetArea(at, sheetImage.size());
    ASSERT_TRUE(QRect(QPoint(0, 0), seen.size()).contains(sheetArea))
        << at.x() << "," << at.y() << " " << sheetImage.width() << "×" << sheetImage.height();
    {
        QPainter painter(&seen);
        painter.fillRect(seen.rect(), QColor(0, 0, 0, 110));
        painter.drawImage(at, sheetImage);
    }
    QLabel shown;
    shown.setPixmap(QPixmap::fromImage(seen));
    shown.resize(seen.size());
    const QImage saved = testing::saveScreenshot(shown, QStringLiteral("MainWindow-welcome"));
    EXPECT_EQ(saved.size(), window->size());

    // The sheet offers the recent project and stands out from the dimmed window behind it.
    EXPECT_TRUE(sheet.continueButton().isVisible());
    EXPECT_EQ(sheet.recentName(), QStringLiteral("Mi podcast"));
    const QRect beside(0, sheetArea.top(), std::max(1, sheetArea.left() - 1), sheetArea.height());
    EXPECT_GT(
        std::abs(testing::meanBrightness(seen, sheetArea) - testing::meanBrightness(seen, beside)),
        3.0);
}

TEST_F(MainWindowTest, theMenusAreDarkLikeTheStudio)
{
    f.studio.showWelcome = false;
    showWindow();
    f.studio.selection = TimeRange{1, 2};
    QMenu& audio = window->menus().audioMenu();
    audio.popup(window->mapToGlobal(QPoint(150, 20)));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&audio));
    const QImage image = testing::saveScreenshot(audio, QStringLiteral("MainWindow-audio-menu"));
    EXPECT_LT(testing::meanBrightness(image, image.rect()), 90.0);
    audio.hide();
    const QImage bar = window->menuBar()->grab().toImage();
    EXPECT_LT(testing::meanBrightness(bar, bar.rect()), 90.0);
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
    MainWindow window(f.studio, f.fixture.scheduler);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    window.resize(window.minimumSizeHint());
    QCoreApplication::processEvents();
    const QImage empty = testing::saveScreenshot(window, QStringLiteral("MainWindow-empty"));

    // A programme playing: the reels turn, the counter and the meters follow the mix.
    f.openProgramme();
    f.studio.seek(3.0);
    f.studio.togglePlayback();
    ASSERT_TRUE(f.fixture.waitIdle());
    ASSERT_TRUE(f.studio.playing()) << f.studio.message().value_or("");
    f.fixture.play(1.5);
    QCoreApplication::processEvents();
    const QImage playing = testing::saveScreenshot(window, QStringLiteral("MainWindow-playing"));
    EXPECT_GT(f.studio.vuLevels()[0], 0.0f) << "the voice meter hears the clip";
    EXPECT_EQ(playing.size(), empty.size());

    // A take after the programme.
    f.studio.pause();
    f.studio.seek(21.0);
    ASSERT_TRUE(f.startTake());
    ASSERT_TRUE(f.recordUntil(1.5));
    QCoreApplication::processEvents();
    const QImage recording =
        testing::saveScreenshot(window, QStringLiteral("MainWindow-recording"));
    EXPECT_EQ(recording.size(), window.size());
    ASSERT_TRUE(f.finishTake());
}

} // namespace
} // namespace tw
