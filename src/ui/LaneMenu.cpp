#include "ui/LaneMenu.hpp"

#include "studio/Studio.hpp"

#include <QMenu>

namespace tw {

QMenu* makeClipMenu(Studio& studio, const Segment& clip, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    const double start = clip.timelineStart.value_or(0.0);
    const TimeRange range{start, start + clip.duration};
    const bool idle = !studio.recording() && !studio.busy();

    // Adds an item that acts on the clip's range.
    auto onClip = [&](const char* text, auto operation) {
        QAction* action = menu->addAction(QString::fromUtf8(text));
        action->setEnabled(idle);
        QObject::connect(action, &QAction::triggered, menu, [&studio, range, operation] {
            studio.selection = range;
            operation();
        });
    };
    onClip("Silenciar", [&studio] { studio.silenceSelection(true); });
    onClip("Restaurar sonido", [&studio] { studio.silenceSelection(false); });
    onClip("Eliminar", [&studio] { studio.deleteSelection(); });
    menu->addSeparator();
    onClip("Cortar", [&studio] {
        studio.copySelection();
        studio.deleteSelection();
    });
    onClip("Copiar", [&studio] { studio.copySelection(); });
    QAction* paste = menu->addAction(QString::fromUtf8("Pegar en el cabezal"));
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
