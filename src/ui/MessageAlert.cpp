#include "ui/MessageAlert.hpp"

#include "studio/Studio.hpp"

#include <QMessageBox>
#include <QPushButton>

namespace tw {

MessageAlert::MessageAlert(Studio& studio, QWidget* window)
    : QObject(window)
    , studio_(studio)
    , window_(window)
{
    showMessage();
    connect(&studio_, &Studio::fieldChanged, this, [this](StudioField field) {
        if (field == StudioField::message)
            showMessage();
    });
}

void MessageAlert::showMessage()
{
    const std::optional<std::string>& message = studio_.message();
    if (!message) {
        if (box_) {
            QMessageBox* box = box_;
            box_ = nullptr;
            box->close();
            box->deleteLater();
        }
        return;
    }
    const QString text = QString::fromStdString(*message);
    if (box_) {
        // A newer message replaces the one on screen.
        box_->setText(text);
        return;
    }
    auto* box = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("Bobinet 2"), text,
                                QMessageBox::NoButton, window_);
    box->addButton(QStringLiteral("Aceptar"), QMessageBox::AcceptRole);
    box->setWindowModality(Qt::WindowModal);
    box_ = box;
    connect(box, &QMessageBox::finished, this, [this, box] {
        if (box_ != box)
            return; // closed because the message was cleared elsewhere
        box_ = nullptr;
        box->deleteLater();
        studio_.message = std::nullopt;
    });
    box->open();
}

} // namespace tw
