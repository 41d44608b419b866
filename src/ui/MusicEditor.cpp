#include "ui/MusicEditor.hpp"

#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/PanelPalette.hpp"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMouseEvent>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace tw {

namespace {

// The document field each row edits, in row order.
constexpr std::array<std::optional<double> PodcastProject::*, MusicEditor::rowCount> rowKeys = {
    &PodcastProject::musicSourceStart, &PodcastProject::musicLength, &PodcastProject::musicOffset,
    &PodcastProject::fadeInStart,      &PodcastProject::fadeInEnd,   &PodcastProject::fadeOutStart,
    &PodcastProject::fadeOutEnd};

// The latest a fragment may be placed: one day into the programme.
constexpr double latestOffset = 86400;

// Writes the fades back as present values in the order fades() enforces for the fragment's
// current length, so the stored points can never cross.
void normaliseFades(PodcastProject& project, double musicDuration)
{
    const Fades fades = project.fades(project.musicRange(musicDuration).duration);
    project.fadeInStart = fades.inStart;
    project.fadeInEnd = fades.inEnd;
    project.fadeOutStart = fades.outStart;
    project.fadeOutEnd = fades.outEnd;
}

QLabel* caption(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setFont(captionFont(label->font()));
    label->setForegroundRole(QPalette::Light);
    label->setWordWrap(true);
    return label;
}

} // namespace

const std::array<const char*, MusicEditor::rowCount> MusicEditor::rowLabels = {
    "Inicio en el archivo", "Duración del fragmento", "Posición en el podcast",
    "Fade in · comienza",   "Fade in · termina",      "Fade out · comienza",
    "Fade out · termina"};

MusicEditor::MusicEditor(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , done_(new QPushButton(QStringLiteral("Listo"), this))
{
    setPalette(panelPalette(palette()));
    setAutoFillBackground(true);

    auto* icon = new QLabel(this);
    icon->setPixmap(symbolIcon(QStringLiteral("music.note")).pixmap(16, 16));
    auto* title = new QLabel(QStringLiteral("Editar música"), this);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    auto* heading = new QHBoxLayout;
    heading->setSpacing(6);
    heading->addWidget(icon);
    heading->addWidget(title, 1);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(6);
    for (int row = 0; row < rowCount; ++row) {
        const QString label = QString::fromUtf8(rowLabels[std::size_t(row)]);
        auto* field = new QLineEdit(this);
        field->setFixedWidth(fieldWidth);
        field->setAlignment(Qt::AlignRight);
        // The visible label is beside the field; the field itself carries it for assistive tools.
        field->setAccessibleName(label);
        fields_[std::size_t(row)] = field;
        grid->addWidget(new QLabel(label, this), row, 0);
        grid->addWidget(field, row, 1);
        connect(field, &QLineEdit::textEdited, this, [this, row] { textEdited(row); });
        connect(field, &QLineEdit::editingFinished, this, [this, row] { editingFinished(row); });
    }

    connect(done_, &QPushButton::clicked, this, &MusicEditor::finish);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(10);
    layout->addLayout(heading);
    layout->addWidget(caption(
        QStringLiteral("Todos los valores están en segundos. El audio original se conserva."),
        this));
    layout->addLayout(grid);
    layout->addWidget(caption(QStringLiteral("Los fades se miden desde el comienzo del fragmento "
                                             "musical. Los controles mantienen su orden para "
                                             "evitar cruces."),
                              this));
    layout->addWidget(done_, 0, Qt::AlignRight);
    setFixedWidth(330);

    showValues();
    connect(&studio_, &Studio::fieldChanged, this, &MusicEditor::fieldChanged);
}

MusicEditor::~MusicEditor()
{
    // QWidget's destructor takes the focus from a field, and the field then reports its editing
    // as finished: by then this editor is gone, and text typed but never committed must stay out
    // of the project.
    for (QLineEdit* field : fields_)
        field->disconnect(this);
}

double MusicEditor::fallback(int row) const
{
    const PodcastProject& project = studio_.project();
    const MusicRange range = project.musicRange(studio_.musicDuration());
    const Fades fades = project.fades(range.duration);
    switch (row) {
    case 0:
        return range.start;
    case 1:
        return range.duration;
    case 2:
        return range.offset;
    case 3:
        return fades.inStart;
    case 4:
        return fades.inEnd;
    case 5:
        return fades.outStart;
    default:
        return fades.outEnd;
    }
}

double MusicEditor::maximum(int row) const
{
    const double musicDuration = studio_.musicDuration();
    const MusicRange range = studio_.project().musicRange(musicDuration);
    switch (row) {
    case 0:
        return musicDuration;
    case 1:
        return std::max(musicDuration - range.start, 0.0);
    case 2:
        return latestOffset;
    default:
        return range.duration;
    }
}

QString MusicEditor::formatSeconds(double seconds)
{
    const QLocale locale;
    QString text = locale.toString(seconds, 'f', 2);
    // Decimal style: no trailing zeros, and no separator when nothing follows it.
    const QString point = locale.decimalPoint();
    if (text.contains(point)) {
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
        if (text.endsWith(point))
            text.chop(point.size());
    }
    if (text == locale.negativeSign() + QLatin1Char('0'))
        text = QStringLiteral("0");
    return text;
}

double MusicEditor::parseSeconds(const QString& text)
{
    bool ok = false;
    const QString trimmed = text.trimmed();
    double value = QLocale().toDouble(trimmed, &ok);
    // A decimal point typed under a decimal-comma locale is still understood.
    if (!ok)
        value = QLocale::c().toDouble(trimmed, &ok);
    return ok ? value : std::numeric_limits<double>::quiet_NaN();
}

void MusicEditor::fieldChanged(StudioField field)
{
    if (field == StudioField::project || field == StudioField::musicDuration)
        showValues();
}

void MusicEditor::showValues()
{
    const PodcastProject& project = studio_.project();
    for (int row = 0; row < rowCount; ++row) {
        QLineEdit* field = fields_[std::size_t(row)];
        // Text the user is typing stays until it is committed.
        if (field->isModified())
            continue;
        const std::optional<double>& stored = project.*rowKeys[std::size_t(row)];
        field->setText(formatSeconds(stored ? *stored : fallback(row)));
    }
}

void MusicEditor::textEdited(int row)
{
    // Editing begins with the first change typed: that is the undo step of this edit. A field
    // that is only visited changes nothing and so records nothing.
    if (editingRow_ == row)
        return;
    if (editingRow_ >= 0)
        editingFinished(editingRow_);
    studio_.checkpoint();
    editingRow_ = row;
}

void MusicEditor::editingFinished(int row)
{
    if (fields_[std::size_t(row)]->isModified())
        commit(row);
    if (editingRow_ == row) {
        editingRow_ = -1;
        studio_.save();
    }
}

void MusicEditor::commitPendingEdit()
{
    for (int row = 0; row < rowCount; ++row)
        if (fields_[std::size_t(row)]->isModified())
            editingFinished(row);
}

void MusicEditor::commit(int row)
{
    QLineEdit* field = fields_[std::size_t(row)];
    double value = parseSeconds(field->text());
    if (!std::isfinite(value))
        value = fallback(row);
    value = std::max(std::min(value, maximum(row)), 0.0);
    field->setModified(false);

    const double musicDuration = studio_.musicDuration();
    auto key = rowKeys[std::size_t(row)];
    studio_.project.mutate([&](PodcastProject& project) {
        project.*key = value;
        normaliseFades(project, musicDuration);
    });
    studio_.pause();
    studio_.save();
}

void MusicEditor::finish()
{
    commitPendingEdit();
    studio_.changed();
    studio_.showMusicEditor = false;
    emit finished();
}

void MusicEditor::keyPressEvent(QKeyEvent* event)
{
    // Return is the default action wherever it is pressed; a field has already committed its
    // text when the key reaches here.
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        event->accept();
        finish();
        return;
    }
    QWidget::keyPressEvent(event);
}

MusicEditorPopover::MusicEditorPopover(Studio& studio, QWidget* anchor)
    : QFrame(anchor, Qt::Popup)
    , studio_(studio)
    , anchor_(anchor)
    , editor_(new MusicEditor(studio, this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setFrameShape(QFrame::StyledPanel);
    setPalette(panelPalette(palette()));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->addWidget(editor_);
    connect(&studio_, &Studio::fieldChanged, this, [this](StudioField field) {
        if (field == StudioField::showMusicEditor && !studio_.showMusicEditor())
            close();
    });
}

MusicEditorPopover::~MusicEditorPopover()
{
    // A popover still open when its window goes is hidden by QWidget's destructor, after this
    // object is gone: the editor and the flag handler go first, so neither runs half-destroyed.
    disconnect(&studio_, nullptr, this, nullptr);
    delete std::exchange(editor_, nullptr);
}

MusicEditorPopover* MusicEditorPopover::open(Studio& studio, QWidget* anchor)
{
    auto* popover = new MusicEditorPopover(studio, anchor);
    popover->adjustSize();
    QPoint place = anchor->mapToGlobal(QPoint(0, anchor->height() + 4));
    if (const QScreen* screen = anchor->screen()) {
        const QRect room = screen->availableGeometry();
        place.setX(std::clamp(place.x(), room.left(),
                              std::max(room.left(), room.right() - popover->width())));
        // Above the anchor when there is no room below it.
        if (place.y() + popover->height() > room.bottom())
            place.setY(anchor->mapToGlobal(QPoint(0, 0)).y() - popover->height() - 4);
    }
    popover->move(place);
    popover->show();
    return popover;
}

void MusicEditorPopover::mousePressEvent(QMouseEvent* event)
{
    // A click on the anchor closes the popover and must not reach the anchor afterwards: the
    // anchor toggles the editor, and would open it again at once.
    const QPoint global = event->globalPosition().toPoint();
    if (anchor_ && !rect().contains(event->position().toPoint()) &&
        anchor_->rect().contains(anchor_->mapFromGlobal(global)))
        setAttribute(Qt::WA_NoMouseReplay);
    QFrame::mousePressEvent(event);
}

void MusicEditorPopover::hideEvent(QHideEvent* event)
{
    if (editor_)
        editor_->commitPendingEdit();
    if (studio_.showMusicEditor())
        studio_.showMusicEditor = false;
    QFrame::hideEvent(event);
}

} // namespace tw
