// The alert that shows the Studio's one-line message: titled "Bobinet 2", one button "Aceptar";
// pressing it, or dismissing the alert any other way, clears the message.
#pragma once

#include <QMessageBox>
#include <QObject>
#include <QPointer>

class QWidget;

namespace tw {

class Studio;

class MessageAlert final : public QObject {
    Q_OBJECT

public:
    // window is the alert's parent (the main window or its content).
    MessageAlert(Studio& studio, QWidget* window);

    // The alert while it is shown, else null.
    QMessageBox* box() const { return box_; }

private:
    void showMessage();

    Studio& studio_;
    QWidget* window_;
    QPointer<QMessageBox> box_;
};

} // namespace tw
