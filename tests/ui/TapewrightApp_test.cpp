#include "ui/TapewrightApp.hpp"

#include "ui/AppMenus.hpp"
#include "ui/MainWindow.hpp"
#include "ui/TerminationSignals.hpp"
#include "ui/WindowStudio.hpp"

#include <QAction>
#include <QFileDialog>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <csignal>

namespace tw {
namespace {

using testing::readProject;

TEST(TapewrightApp, quittingDuringATakeStopsItSavesWaitsForTheWriterAndSalirSavesTheLatestView)
{
    testing::AppFixture f;
    const auto folder = f.newProject();
    ASSERT_TRUE(f.startTake());
    ASSERT_TRUE(f.recordUntil(0.5));
    EXPECT_TRUE(readProject(folder).recordingPending);

    std::vector<StudioField> order;
    const QMetaObject::Connection listening = QObject::connect(
        &f.studio, &Studio::fieldChanged, [&order](StudioField field) { order.push_back(field); });
    // The desktop's quit.
    QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();

    QObject::disconnect(listening);
    EXPECT_FALSE(f.studio.recording());
    // The take stopped before anything was saved.
    const auto stopped = std::find(order.begin(), order.end(), StudioField::recording);
    const auto saved = std::find(order.begin(), order.end(), StudioField::project);
    ASSERT_NE(stopped, order.end());
    ASSERT_NE(saved, order.end());
    EXPECT_LT(stopped - order.begin(), saved - order.begin());

    // On disk already, without running the loop again: the take as a clip, the play head after it.
    const PodcastProject onDisk = readProject(folder);
    EXPECT_FALSE(onDisk.recordingPending);
    EXPECT_FALSE(onDisk.pendingVoiceFile);
    ASSERT_EQ(onDisk.resolvedSegments().size(), 1u);
    EXPECT_GE(onDisk.voiceDuration(), 0.5);
    ASSERT_TRUE(onDisk.playhead);
    EXPECT_DOUBLE_EQ(*onDisk.playhead, f.studio.position());

    // "Salir" closes the window, and quitting saves the play head and zoom moved just before.
    f.studio.showWelcome = false;
    f.app.window().show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&f.app.window()));
    f.studio.zoom = 120.0;
    f.studio.position = 7.5; // their debounced save never came
    QTimer::singleShot(0, [&f] { f.app.window().menus().quit().trigger(); });
    // A quit that never comes fails the test instead of hanging it.
    QTimer giveUp;
    giveUp.setSingleShot(true);
    QObject::connect(&giveUp, &QTimer::timeout, [] { QCoreApplication::exit(1); });
    giveUp.start(10000);
    EXPECT_EQ(QCoreApplication::exec(), 0);
    giveUp.stop();
    EXPECT_FALSE(f.app.window().isVisible());
    EXPECT_EQ(readProject(folder).playhead, 7.5);
    EXPECT_EQ(readProject(folder).timelineZoom, 120.0);
}

TEST(TapewrightApp, anOpenRequestWaitsForBusyAndDialogsAndTakesTheDocumentOrARelativePath)
{
    testing::AppFixture f;
    const auto first = f.newProject();
    const auto second = testing::savedProject(f.temp / "Segundo.podcastproject");
    const auto third = testing::savedProject(f.temp / "Tercero.podcastproject");

    f.studio.record(); // the count-in is busy
    ASSERT_TRUE(f.studio.busy());
    f.app.openRequested(second);
    f.app.openRequested(third / "project.json"); // only the last request counts
    f.scheduler.advance(1.0);
    QCoreApplication::processEvents();
    EXPECT_EQ(f.studio.folder(), first);
    f.studio.stop(); // cancels the count-in: busy clears
    EXPECT_FALSE(f.studio.busy());
    EXPECT_EQ(f.studio.folder(), first); // not inside the notification
    ASSERT_TRUE(f.waitUntil([&] { return f.studio.folder() == third && !f.studio.busy(); }));
    EXPECT_FLOAT_EQ(f.studio.project->musicVolume, 0.5f);
    QCoreApplication::processEvents();
    EXPECT_EQ(f.studio.folder(), third);

    // A later launch's request arrives while a dialog runs its own event loop.
    QFileDialog dialog(&f.app.window());
    QTimer::singleShot(0, [&] {
        f.app.openRequested(second);
        f.scheduler.advance(1.0);
        QCoreApplication::processEvents();
        EXPECT_EQ(f.studio.folder(), third) << "held while the dialog is up";
        dialog.reject();
    });
    dialog.exec();
    f.scheduler.advance(0.2); // closed: the next look opens it
    ASSERT_TRUE(f.waitUntil([&] { return f.studio.folder() == second && !f.studio.busy(); }));

    // A path relative to where the launch was made.
    const auto previous = std::filesystem::current_path();
    std::filesystem::current_path(f.temp.path());
    f.app.openRequested("Tercero.podcastproject");
    std::filesystem::current_path(previous);
    ASSERT_TRUE(f.waitUntil([&] { return f.studio.folder() == third && !f.studio.busy(); }));
}

TEST(TapewrightApp, theDesktopServicesMakeAWorkingStudioAndWindowInSpanish)
{
    testing::uiApplication();
    // Sound server, Qt timers and dialogs, QSettings: whatever this machine has (no sound server
    // gives an empty device list, never a failure).
    auto app = std::make_unique<TapewrightApp>();
    EXPECT_FALSE(app->studio().message());
    // The studio clock runs on real timers now: the reels' tick time moves on.
    const double before = app->studio().previousReelTick;
    ASSERT_TRUE(QTest::qWaitFor([&] { return app->studio().previousReelTick > before; }, 2000));
    app.reset();

    // Qt's own texts too.
    ASSERT_TRUE(TapewrightApp::useSpanishToolkitTexts());
    EXPECT_EQ(QKeySequence(Qt::Key_Space).toString(QKeySequence::NativeText),
              QStringLiteral("Espacio"));
    EXPECT_EQ(QCoreApplication::translate("QFileDialog", "&Open"), QStringLiteral("&Abrir"));
}

// Without the handler each of these signals would end the test program itself.
TEST(TerminationSignals, eachStopSignalQuitsTheEventLoopInsteadOfKillingTheProcess)
{
    testing::uiApplication();
    TerminationSignals handler;
    std::vector<int> received;
    QObject::connect(&handler, &TerminationSignals::received,
                     [&received](int signalNumber) { received.push_back(signalNumber); });
    bool quitAnnounced = false;
    const QMetaObject::Connection announced =
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit,
                         [&quitAnnounced] { quitAnnounced = true; });
    for (int signalNumber : {SIGTERM, SIGINT, SIGHUP}) {
        quitAnnounced = false;
        QTimer::singleShot(0, [signalNumber] { std::raise(signalNumber); });
        EXPECT_EQ(QCoreApplication::exec(), 0);
        EXPECT_TRUE(quitAnnounced);
    }
    QObject::disconnect(announced);
    EXPECT_EQ(received, (std::vector<int>{SIGTERM, SIGINT, SIGHUP}));
}

} // namespace
} // namespace tw
