// The one window of the program, titled "Bobinet 2": the menus, the project toolbar and the main
// view, with the welcome sheet over it while the Studio asks for it. A project folder dropped on
// the window is opened. The view keeps its own minimum, small enough that the window with its
// menu bar and toolbar fits a 1366 × 768 screen; the window never squeezes the view below it.
// Main thread.
#pragma once

#include <QMainWindow>
#include <QUrl>

#include <optional>

namespace tw {

class AppMenus;
class Clock;
class ContentView;
class MainToolbar;
class Studio;
class WelcomeView;
enum class StudioField;

class MainWindow final : public QMainWindow {
    Q_OBJECT

public:
    // clock is the Studio's own time base (the deck's reels follow it).
    MainWindow(Studio& studio, const Clock& clock, QWidget* parent = nullptr);
    ~MainWindow() override;

    AppMenus& menus() const { return *menus_; }
    MainToolbar& toolbar() const { return *toolbar_; }
    ContentView& content() const { return *content_; }
    WelcomeView& welcome() const { return *welcome_; }

    // The folder a drop of these URLs would open: the first local folder among them.
    static std::optional<QString> droppedFolder(const QList<QUrl>& urls);

protected:
    void showEvent(QShowEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    // Asks first while the project's changes cannot be saved in its folder.
    void closeEvent(QCloseEvent* event) override;

private:
    void fieldChanged(StudioField field);
    // Shows the welcome sheet when the Studio asks for it and the window is on screen.
    void followShowWelcome();

    Studio& studio_;
    ContentView* content_;
    MainToolbar* toolbar_;
    AppMenus* menus_;
    WelcomeView* welcome_;
};

} // namespace tw
