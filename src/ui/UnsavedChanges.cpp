#include "ui/UnsavedChanges.hpp"

#include "studio/Studio.hpp"

#include <QMessageBox>
#include <QPushButton>

namespace tw {

bool mayCloseProject(Studio& studio, QWidget* parent)
{
    if (!studio.folder() || studio.saveAndWait())
        return true;
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Bobinet 2"),
                    QStringLiteral("Los cambios de «%1» no se pueden guardar en su carpeta.")
                        .arg(QString::fromStdString(studio.title())),
                    QMessageBox::NoButton, parent);
    box.setInformativeText(QStringLiteral("Si sales ahora, se perderán."));
    QPushButton* copy =
        box.addButton(QStringLiteral("Guardar una copia…"), QMessageBox::AcceptRole);
    QPushButton* leave =
        box.addButton(QStringLiteral("Salir sin guardar"), QMessageBox::DestructiveRole);
    QPushButton* stay = box.addButton(QStringLiteral("Cancelar"), QMessageBox::RejectRole);
    box.setDefaultButton(copy);
    box.setEscapeButton(stay);
    box.exec();
    if (box.clickedButton() == copy)
        studio.saveCopy();
    return box.clickedButton() == leave;
}

} // namespace tw
