// The welcome sheet: which project to work on. It offers the last saved project (when it still
// exists), opening a saved one, or creating a new one, and stays until a project is opened or
// the user closes it. Bound to the Studio's showWelcome both ways.
#pragma once

#include <QDialog>

#include <filesystem>

class QLabel;
class QPushButton;

namespace tw {

class Studio;
enum class StudioField;

class WelcomeView final : public QDialog {
    Q_OBJECT

public:
    static constexpr int padding = 36;
    static constexpr int iconSize = 82;
    static constexpr int buttonWidth = 320;

    explicit WelcomeView(Studio& studio, QWidget* parent = nullptr);

    // "Continuar el último proyecto": shown only while there is a recent project.
    QPushButton& continueButton() const { return *continue_; }
    QPushButton& openButton() const { return *open_; }
    QPushButton& newButton() const { return *new_; }
    QPushButton& closeButton() const { return *close_; }
    // The recent project's name as shown under the continue button.
    QString recentName() const;

    // Reads the recent project again (it changes with every save elsewhere).
    void refresh();

public slots:
    // "Cerrar", Escape and the window's close button: the user stays in the main window.
    void reject() override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fieldChanged(StudioField field);
    void continueRecent();

    Studio& studio_;
    QPushButton* continue_;
    QLabel* recentName_;
    QPushButton* open_;
    QPushButton* new_;
    QPushButton* close_;
};

} // namespace tw
