#include "ui/MainWindow.hpp"

#include "studio/Studio.hpp"
#include "ui/AppMenus.hpp"
#include "ui/ContentView.hpp"
#include "ui/MainToolbar.hpp"
#include "ui/UnsavedChanges.hpp"
#include "ui/WelcomeView.hpp"
#include "ui/WindowLook.hpp"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QMenuBar>
#include <QMimeData>
#include <QTimer>

namespace tw {

namespace {

// The toolbar in the studio's dark metal, like the view under it. Set on the bar alone: a style
// sheet on the window would restyle every widget of the view (and slow each of its repaints).
const char* const toolbarLook = R"(
QToolBar { background: rgb(32, 33, 38); border: none; border-bottom: 1px solid rgba(255, 255, 255, 22);
           spacing: 4px; padding: 3px 8px; }
QToolBar QToolButton { color: rgb(225, 226, 230); background: transparent; border: 1px solid transparent;
                       border-radius: 6px; padding: 3px 8px; }
QToolBar QToolButton:hover { background: rgb(52, 53, 60); border-color: rgba(255, 255, 255, 30); }
QToolBar QToolButton:pressed { background: rgb(36, 37, 42); }
QToolBar QToolButton:disabled { color: rgb(110, 111, 118); }
QToolBar::separator { background: rgba(255, 255, 255, 30); width: 1px; margin: 4px 6px; }
)";

} // namespace

MainWindow::MainWindow(Studio& studio, const Clock& clock, QWidget* parent)
    : QMainWindow(parent)
    , studio_(studio)
    , content_(new ContentView(studio, clock, this))
    , toolbar_(new MainToolbar(studio, this))
    , menus_(new AppMenus(studio, *menuBar(), [this] { close(); }))
    , welcome_(new WelcomeView(studio, this))
{
    // Menus, pop-ups, tooltips, alerts and dialogs share the window's dark look.
    applyStudioLook();
    setWindowTitle(QStringLiteral("Bobinet 2"));
    toolbar_->setStyleSheet(QString::fromUtf8(toolbarLook));
    setCentralWidget(content_);
    addToolBar(Qt::TopToolBarArea, toolbar_);
    // The layout's minimum is the view's plus the bars above it; the window opens at it.
    resize(minimumSizeHint());
    setAcceptDrops(true);
    // A sheet: it belongs to this window and blocks it, not the whole application.
    welcome_->setWindowModality(Qt::WindowModal);

    connect(&studio_, &Studio::fieldChanged, this, &MainWindow::fieldChanged);
}

MainWindow::~MainWindow() = default;

void MainWindow::fieldChanged(StudioField field)
{
    // The sheet closes itself when showWelcome turns false; opening it is the window's part.
    if (field == StudioField::showWelcome)
        followShowWelcome();
}

void MainWindow::followShowWelcome()
{
    if (studio_.showWelcome() && isVisible() && !welcome_->isVisible())
        welcome_->open();
}

void MainWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    // After the window is placed, so the sheet opens over it rather than where it was.
    QTimer::singleShot(0, this, &MainWindow::followShowWelcome);
}

std::optional<QString> MainWindow::droppedFolder(const QList<QUrl>& urls)
{
    for (const QUrl& url : urls)
        if (url.isLocalFile() && QFileInfo(url.toLocalFile()).isDir())
            return url.toLocalFile();
    return std::nullopt;
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls() && droppedFolder(event->mimeData()->urls()))
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event)
{
    const std::optional<QString> folder = droppedFolder(event->mimeData()->urls());
    if (!folder)
        return;
    event->acceptProposedAction();
    studio_.openProject(std::filesystem::path(folder->toStdString()));
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    if (!mayCloseProject(studio_, this)) {
        event->ignore();
        return;
    }
    QMainWindow::closeEvent(event);
}

} // namespace tw
