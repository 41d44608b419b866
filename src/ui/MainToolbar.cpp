#include "ui/MainToolbar.hpp"

#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/ViewFields.hpp"

namespace tw {

MainToolbar::MainToolbar(Studio& studio, QWidget* parent)
    : QToolBar(QStringLiteral("Proyecto"), parent)
    , studio_(studio)
{
    setObjectName(QStringLiteral("mainToolbar"));
    setMovable(false);
    setFloatable(false);
    setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    setIconSize(QSize(16, 16));

    new_ = addAction(symbolIcon("doc.badge.plus"), QStringLiteral("Nuevo proyecto"));
    open_ = addAction(symbolIcon("folder"), QStringLiteral("Abrir proyecto"));
    save_ = addAction(symbolIcon("square.and.arrow.down"), QStringLiteral("Guardar proyecto"));
    addSeparator();
    import_ = addAction(symbolIcon("music.note.list"), QStringLiteral("Importar música"));
    export_ = addAction(symbolIcon("square.and.arrow.up"), QStringLiteral("Exportar M4A"));

    connect(new_, &QAction::triggered, this, [this] { studio_.newProject(); });
    connect(open_, &QAction::triggered, this, [this] { studio_.open(); });
    connect(save_, &QAction::triggered, this, [this] { studio_.saveProject(); });
    connect(import_, &QAction::triggered, this, [this] { studio_.importMusic(); });
    connect(export_, &QAction::triggered, this, [this] { studio_.exportProject(); });

    refreshExport();
    connect(&studio_, &Studio::fieldChanged, this, &MainToolbar::fieldChanged);
}

void MainToolbar::fieldChanged(StudioField field)
{
    if (affectsDuration(field, studio_))
        refreshExport();
}

void MainToolbar::refreshExport()
{
    const bool enabled = studio_.duration() > 0;
    if (export_->isEnabled() != enabled)
        export_->setEnabled(enabled);
}

} // namespace tw
