// The window's toolbar: new, open and save the project; then import music and export M4A (the
// export only when there is something to export). The shell adds it to its main window.
#pragma once

#include <QToolBar>

namespace tw {

class Studio;
enum class StudioField;

class MainToolbar final : public QToolBar {
    Q_OBJECT

public:
    explicit MainToolbar(Studio& studio, QWidget* parent = nullptr);

    QAction& newAction() const { return *new_; }
    QAction& openAction() const { return *open_; }
    QAction& saveAction() const { return *save_; }
    QAction& importAction() const { return *import_; }
    QAction& exportAction() const { return *export_; }

private:
    void fieldChanged(StudioField field);
    void refreshExport();

    Studio& studio_;
    QAction* new_;
    QAction* open_;
    QAction* save_;
    QAction* import_;
    QAction* export_;
};

} // namespace tw
