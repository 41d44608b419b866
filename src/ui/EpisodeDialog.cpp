#include "ui/EpisodeDialog.hpp"

#include "audio/ExportMetadata.hpp"
#include "studio/Studio.hpp"
#include "ui/PanelPalette.hpp"

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QImageReader>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace tw {

namespace {

std::optional<QString> imageFromFileDialog(QWidget* parent)
{
    QFileDialog dialog(parent, QStringLiteral("Elegir portada"));
    dialog.setPalette(panelPalette(dialog.palette()));
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setNameFilter(QStringLiteral("Imágenes JPEG o PNG (*.jpg *.jpeg *.png)"));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return dialog.selectedFiles().constFirst();
}

std::string text(const QLineEdit& field)
{
    return field.text().trimmed().toStdString();
}

} // namespace

EpisodeDialog::EpisodeDialog(Studio& studio, QWidget* parent)
    : QDialog(parent)
    , chooseImage([this] { return imageFromFileDialog(this); })
    , studio_(studio)
    , title_(new QLineEdit(QString::fromStdString(studio.episodeTitle()), this))
    , author_(new QLineEdit(this))
    , show_(new QLineEdit(this))
    , thumbnail_(new QLabel(this))
    , choose_(new QPushButton(QStringLiteral("Elegir imagen…"), this))
    , remove_(new QPushButton(QStringLiteral("Quitar imagen"), this))
{
    setWindowTitle(QStringLiteral("Detalles del episodio"));
    setPalette(panelPalette(palette()));
    const std::optional<EpisodeDetails>& episode = studio.project->episode;
    if (episode) {
        author_->setText(QString::fromStdString(episode->author.value_or("")));
        show_->setText(QString::fromStdString(episode->show.value_or("")));
        storedCover_ = episode->cover;
    }

    thumbnail_->setFixedSize(thumbnailSize, thumbnailSize);
    thumbnail_->setAlignment(Qt::AlignCenter);
    thumbnail_->setWordWrap(true);
    thumbnail_->setFrameShape(QFrame::StyledPanel);
    auto* coverButtons = new QVBoxLayout;
    coverButtons->addWidget(choose_);
    coverButtons->addWidget(remove_);
    coverButtons->addStretch(1);
    auto* cover = new QHBoxLayout;
    cover->addWidget(thumbnail_);
    cover->addLayout(coverButtons);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Título"), title_);
    form->addRow(QStringLiteral("Autor"), author_);
    form->addRow(QStringLiteral("Programa"), show_);
    form->addRow(QStringLiteral("Portada"), cover);
    title_->setMinimumWidth(280);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("Aceptar"));
    buttons->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("Cancelar"));
    connect(buttons, &QDialogButtonBox::accepted, this, &EpisodeDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &EpisodeDialog::reject);
    connect(choose_, &QPushButton::clicked, this, &EpisodeDialog::chooseCover);
    connect(remove_, &QPushButton::clicked, this, &EpisodeDialog::removeCover);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);

    const std::optional<std::filesystem::path> folder = studio.folder();
    showCover(storedCover_ && folder
                  ? std::optional(QString::fromStdString((*folder / *storedCover_).string()))
                  : std::nullopt);
}

void EpisodeDialog::chooseCover()
{
    const std::optional<QString> chosen = chooseImage();
    if (!chosen)
        return;
    if (Result<CoverArt> cover = readCoverArt(chosen->toStdString()); !cover) {
        thumbnail_->setPixmap({});
        thumbnail_->setText(QString::fromStdString(cover.error().description));
        return;
    }
    newCover_ = chosen;
    showCover(chosen);
}

void EpisodeDialog::removeCover()
{
    newCover_.reset();
    storedCover_.reset();
    showCover(std::nullopt);
}

void EpisodeDialog::showCover(const std::optional<QString>& path)
{
    remove_->setEnabled(path.has_value());
    QImageReader reader(path.value_or(QString()));
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (path && size.isValid())
        reader.setScaledSize(
            size.scaled(thumbnailSize - 4, thumbnailSize - 4, Qt::KeepAspectRatio));
    const QImage image = path ? reader.read() : QImage();
    if (image.isNull()) {
        thumbnail_->setPixmap({});
        thumbnail_->setText(path ? QStringLiteral("No se puede mostrar la imagen")
                                 : QStringLiteral("Sin portada"));
        return;
    }
    thumbnail_->setText({});
    thumbnail_->setPixmap(QPixmap::fromImage(image));
}

void EpisodeDialog::accept()
{
    EpisodeDetails details;
    details.title = text(*title_);
    details.author = text(*author_);
    details.show = text(*show_);
    details.cover = storedCover_;
    std::optional<std::filesystem::path> cover;
    if (newCover_)
        cover = std::filesystem::path(newCover_->toStdString());
    // Closed first: a new project folder or a refused cover opens its own dialog over the window.
    Studio& studio = studio_; // the dialog may be gone once closed
    QDialog::accept();
    studio.setEpisodeDetails(std::move(details), cover);
}

EpisodeDialog* showEpisodeDialog(Studio& studio, QWidget* parent)
{
    auto* dialog = new EpisodeDialog(studio, parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->open();
    return dialog;
}

} // namespace tw
