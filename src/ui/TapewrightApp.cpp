#include "ui/TapewrightApp.hpp"

#include "audio/PulseDeviceCatalog.hpp"
#include "base/Scheduler.hpp"
#include "studio/QtScheduler.hpp"
#include "studio/QtSettingsStore.hpp"
#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/MainWindow.hpp"
#include "ui/QtStudioHost.hpp"

#include <QApplication>
#include <QCoreApplication>
#include <QFileDialog>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QTimer>
#include <QTranslator>

#include <utility>

namespace tw {

namespace {

// How often an open request held back by a file dialog looks again, in seconds.
constexpr double dialogRetry = 0.2;

} // namespace

struct TapewrightApp::DesktopServices {
    QtScheduler scheduler;
    QtStudioHost host;
    QtSettingsStore settings;
    PulseDeviceCatalog devices;

    StudioEnvironment environment()
    {
        return StudioEnvironment{scheduler,
                                 host,
                                 settings,
                                 devices,
                                 soundServerInputs(),
                                 {},
                                 [] { return soundServerOutput(); }};
    }
};

TapewrightApp::TapewrightApp() : services_(std::make_unique<DesktopServices>())
{
    start(services_->environment());
    services_->host.setParentWindow(window_.get());
}

TapewrightApp::TapewrightApp(const StudioEnvironment& environment)
{
    start(environment);
}

TapewrightApp::~TapewrightApp()
{
    if (heldRetry_)
        heldRetry_->cancel();
    // The window's views hold the Studio: they go first.
    window_.reset();
    studio_.reset();
}

QIcon TapewrightApp::applicationIcon()
{
    return QIcon(QStringLiteral(":/icons/tapewright.svg"));
}

bool TapewrightApp::useSpanishToolkitTexts()
{
    static QTranslator* installed = nullptr;
    if (installed)
        return true;
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (!translator->load(QStringLiteral("qtbase_es"),
                          QLibraryInfo::path(QLibraryInfo::TranslationsPath)) ||
        !QCoreApplication::installTranslator(translator.get()))
        return false;
    installed = translator.release();
    return true;
}

void TapewrightApp::start(const StudioEnvironment& environment)
{
    useStudioIconTheme();
    // Before the window: the welcome sheet takes its icon from the application.
    if (QGuiApplication::windowIcon().isNull())
        QGuiApplication::setWindowIcon(applicationIcon());
    scheduler_ = &environment.scheduler;
    studio_ = std::make_unique<Studio>(environment);
    window_ = std::make_unique<MainWindow>(*studio_, environment.scheduler);

    connect(studio_.get(), &Studio::fieldChanged, this, [this](StudioField field) {
        if (field == StudioField::busy)
            busyChanged();
    });
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            &TapewrightApp::finishBeforeQuit);
}

void TapewrightApp::busyChanged()
{
    if (studio_->busy())
        return;
    // Not inside the notification: the operation that cleared busy is still running and must
    // finish on its own project before another one is opened.
    QTimer::singleShot(0, this, [this] { studio_->drainPendingOpen(); });
}

void TapewrightApp::openRequested(const std::filesystem::path& path)
{
    if (qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
        heldRequest_ = path;
        if (!heldRetry_ || heldRetry_->cancelled())
            heldRetry_ = scheduler_->after(dialogRetry, [this] {
                heldRetry_.reset();
                if (std::optional<std::filesystem::path> held = std::exchange(heldRequest_, {}))
                    openRequested(*held);
            });
        return;
    }
    std::error_code error;
    std::filesystem::path folder = std::filesystem::absolute(path, error);
    if (error)
        folder = path;
    if (folder.filename() == "project.json" && std::filesystem::is_regular_file(folder, error))
        folder = folder.parent_path();
    studio_->openProject(folder);
    if (window_->isVisible()) {
        window_->raise();
        window_->activateWindow();
    }
}

void TapewrightApp::finishBeforeQuit()
{
    if (finished_)
        return;
    finished_ = true;
    const bool takeRunning = studio_->recording();
    if (takeRunning)
        studio_->stopRecording();
    studio_->save();
    studio_->flushSaves();
    if (takeRunning) {
        // The stopped take comes back to this thread as a queued hand-off that inserts the clip
        // and saves; let it land so the document holds the clip instead of a take to recover.
        QCoreApplication::sendPostedEvents();
        studio_->flushSaves();
    }
}

} // namespace tw
