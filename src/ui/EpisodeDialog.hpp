// "Detalles del episodio": the episode's title (the project's title until another is typed), its
// author, the show's name and a cover image chosen from a file, checked at once and shown as a
// thumbnail. "Aceptar" hands everything to the Studio in one step (the cover is copied into the
// project then); "Cancelar" changes nothing. Main thread.
#pragma once

#include <QDialog>

#include <functional>
#include <optional>
#include <string>

class QLabel;
class QLineEdit;
class QPushButton;

namespace tw {

class Studio;

class EpisodeDialog final : public QDialog {
    Q_OBJECT

public:
    static constexpr int thumbnailSize = 96;

    explicit EpisodeDialog(Studio& studio, QWidget* parent = nullptr);

    QLineEdit& titleField() const { return *title_; }
    QLineEdit& authorField() const { return *author_; }
    QLabel& thumbnail() const { return *thumbnail_; }
    QPushButton& chooseButton() const { return *choose_; }
    QPushButton& removeButton() const { return *remove_; }

    // Asks for the cover image file; a file dialog unless replaced (tests script it).
    std::function<std::optional<QString>()> chooseImage;

    void accept() override;

private:
    void chooseCover();
    void removeCover();
    // Shows the image at path as the thumbnail, or why it cannot be the cover.
    void showCover(const std::optional<QString>& path);

    Studio& studio_;
    QLineEdit* title_;
    QLineEdit* author_;
    QLineEdit* show_;
    QLabel* thumbnail_;
    QPushButton* choose_;
    QPushButton* remove_;
    std::optional<std::string> storedCover_; // the project's cover, until removed or replaced
    std::optional<QString> newCover_;        // a checked image file to copy in
};

// Opens the dialog over parent (window-modal); it deletes itself when closed.
EpisodeDialog* showEpisodeDialog(Studio& studio, QWidget* parent);

} // namespace tw
