#include "ui/LaneMenu.hpp"

#include "studio/Studio.hpp"

#include <QKeySequence>
#include <QMenu>

namespace tw {

QMenu* makeClipMenu(Studio& studio, const Segment& clip, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    const double start = clip.timelineStart.value_or(0.0);
    const TimeRange range{start, start + clip.duration};
    const bool idle = !studio.recording() && !studio.busy();

    // Shows the key that does the same on the selection from anywhere in the window (the
    // window's own item hears it; here it is only written beside the item).
    auto showKey = [](QAction* action, const QKeySequence& key) {
        action->setShortcut(key);
        action->setShortcutContext(Qt::WidgetShortcut);
    };
    // Adds an item that acts on the clip's range.
    auto onClip = [&](const char* text, auto operation, const QKeySequence& key = {}) {
        QAction* action = menu->addAction(QString::fromUtf8(text));
        showKey(action, key);
        action->setEnabled(idle);
        QObject::connect(action, &QAction::triggered, menu, [&studio, range, operation] {
            studio.selection = range;
            operation();
        });
    };
    onClip("Silenciar", [&studio] { studio.silenceSelection(true); });
    onClip("Restaurar sonido", [&studio] { studio.silenceSelection(false); });
    onClip(
        "Eliminar", [&studio] { studio.deleteSelection(); }, QKeySequence(Qt::Key_Delete));
    onClip(
        "Eliminar y cerrar hueco", [&studio] { studio.deleteSelectionClosingGap(); },
        QKeySequence(Qt::SHIFT | Qt::Key_Delete));
    menu->addSeparator();
    onClip("Cortar", [&studio] {
        studio.copySelection();
        studio.deleteSelection();
    });
    onClip(
        "Copiar", [&studio] { studio.copySelection(); }, QKeySequence(Qt::CTRL | Qt::Key_C));
    QAction* paste = menu->addAction(QString::fromUtf8("Pegar en el cabezal"));
    showKey(paste, QKeySequence(Qt::CTRL | Qt::Key_V));
    paste->setEnabled(idle && studio.canPaste());
    QObject::connect(paste, &QAction::triggered, menu, [&studio] { studio.pasteClips(); });
    return menu;
}

QMenu* makeMusicMenu(Studio& studio, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    QAction* remove = menu->addAction(QString::fromUtf8("Quitar música"));
    remove->setEnabled(!studio.recording() && !studio.busy() && studio.project->musicFile);
    QObject::connect(remove, &QAction::triggered, menu, [&studio] { studio.removeMusic(); });
    return menu;
}

} // namespace tw
