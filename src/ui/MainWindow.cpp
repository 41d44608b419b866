#include "ui/MainWindow.hpp"

#include "studio/Studio.hpp"
#include "ui/AppMenus.hpp"
#include "ui/ContentView.hpp"
#include "ui/MainToolbar.hpp"
#include "ui/UnsavedChanges.hpp"
#include "ui/WelcomeView.hpp"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileInfo>
#include <QMenuBar>
#include <QMimeData>
#include <QTimer>

namespace tw {

namespace {

// The menu bar, its menus and the toolbar in the studio's dark metal, like the view under them.
// Set on the bars alone: a style sheet on the window would restyle every widget of the view
// (and slow each of its repaints).
const char* const menuLook = R"(
QMenuBar { background: rgb(32, 33, 38); color: rgb(225, 226, 230); }
QMenuBar::item { background: transparent; padding: 4px 10px; }
QMenuBar::item:selected { background: rgb(60, 61, 68); border-radius: 4px; }
QMenu { background: rgb(40, 41, 46); color: rgb(225, 226, 230);
        border: 1px solid rgba(255, 255, 255, 40); padding: 4px; }
QMenu::item { padding: 4px 24px 4px 16px; border-radius: 4px; }
QMenu::item:selected { background: rgb(58, 110, 160); }
QMenu::item:disabled { color: rgb(110, 111, 118); }
QMenu::separator { height: 1px; background: rgba(255, 255, 255, 30); margin: 4px 8px; }
)";
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
    setWindowTitle(QStringLiteral("Bobinet 2"));
    menuBar()->setStyleSheet(QString::fromUtf8(menuLook));
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
