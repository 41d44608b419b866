// The application: the one Studio of the process, made with the desktop's services (the sound
// server, Qt's timers and dialogs, QSettings), and its window. It routes open requests from the
// desktop, opens a request that came while the Studio was busy once it is free, and puts the last
// state on disk before the process ends. Main thread.
#pragma once

#include "base/Scheduler.hpp"

#include <QIcon>
#include <QObject>

#include <filesystem>
#include <memory>
#include <optional>

namespace tw {

class MainWindow;
class Studio;
struct StudioEnvironment;

class TapewrightApp final : public QObject {
    Q_OBJECT

public:
    // The desktop's services. Needs a QApplication.
    TapewrightApp();
    // Given services (tests); they must outlive the application object.
    explicit TapewrightApp(const StudioEnvironment& environment);
    ~TapewrightApp() override;

    Studio& studio() const { return *studio_; }
    MainWindow& window() const { return *window_; }

    // A project folder the desktop (or a later launch) asks to open. A relative path is taken
    // from the working folder; the project's document stands for its folder. While one of the
    // Studio's file dialogs is up, the request waits for it to close: the operation that asked
    // is still running inside the dialog's own event loop.
    void openRequested(const std::filesystem::path& path);

    // The end of the process: a running take is stopped, the project saved and every queued
    // write waited for, in that order; a stopped take is then inserted and written too, so the
    // next open finds a clip rather than a take to recover. Runs once, from aboutToQuit.
    void finishBeforeQuit();

    // The application's icon (a reel-to-reel deck), for the windows and the welcome sheet.
    static QIcon applicationIcon();
    // Qt's own texts (file dialog buttons, key names shown in the menus) in Spanish like the rest
    // of the interface, whatever the desktop's language. False when the translations are missing.
    static bool useSpanishToolkitTexts();

private:
    struct DesktopServices;
    void start(const StudioEnvironment& environment);
    void busyChanged();

    std::unique_ptr<DesktopServices> services_;
    std::unique_ptr<Studio> studio_;
    std::unique_ptr<MainWindow> window_;
    bool finished_ = false;
    Scheduler* scheduler_ = nullptr;
    // The newest request held back by an open file dialog, and its retry.
    std::optional<std::filesystem::path> heldRequest_;
    TaskHandle heldRetry_;
};

} // namespace tw
