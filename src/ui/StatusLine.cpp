#include "ui/StatusLine.hpp"

#include "studio/Studio.hpp"
#include "ui/ClockText.hpp"
#include "ui/WindowLook.hpp"

#include <QDateTime>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QLocale>
#include <QProgressBar>
#include <QPushButton>

#include <algorithm>
#include <cmath>

namespace tw {

QString selectionText(const std::optional<TimeRange>& selection)
{
    if (!selection) {
        // The split key as this desktop names it ("Ctrl+T").
        const QString split = QKeySequence(Qt::CTRL | Qt::Key_T).toString(QKeySequence::NativeText);
        return QStringLiteral("Arrastra una cabecera para mover un clip · ") + split +
               QStringLiteral(" dividir · Arrastra la línea roja para escuchar desde otro punto");
    }
    return QStringLiteral("Selección: ") + QString::fromStdString(clockText(selection->lower)) +
           QStringLiteral(" – ") + QString::fromStdString(clockText(selection->upper));
}

QString savedText(const QString& title,
                  const std::optional<std::chrono::system_clock::time_point>& lastSaved)
{
    if (!lastSaved)
        return title + QStringLiteral(" · Sin guardar");
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(lastSaved->time_since_epoch());
    const QTime time = QDateTime::fromMSecsSinceEpoch(milliseconds.count()).time();
    return title + QStringLiteral(" · Guardado ") + QLocale().toString(time, QLocale::ShortFormat);
}

QString progressText(float progress)
{
    return QString::number(static_cast<int>(std::floor(progress * 100.0f))) + QStringLiteral(" %");
}

StatusLine::StatusLine(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , left_(new QLabel(this))
    , exportBox_(new QWidget(this))
    , progress_(new QProgressBar(exportBox_))
    , percentage_(new QLabel(exportBox_))
    , cancel_(new QPushButton(QStringLiteral("Cancelar"), exportBox_))
    , status_(new QLabel(this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(12, 2, 12, 4);
    layout->setSpacing(8);
    for (QLabel* label : {left_, status_, percentage_})
        makeCaption(*label);
    layout->addWidget(left_, 1);

    auto* right = new QWidget(this);
    right->setFixedWidth(statusWidth);
    auto* rightLayout = new QHBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    auto* exportLayout = new QHBoxLayout(exportBox_);
    exportLayout->setContentsMargins(0, 0, 0, 0);
    exportLayout->setSpacing(6);
    progress_->setRange(0, 1000);
    progress_->setTextVisible(false);
    progress_->setFixedWidth(90);
    progress_->setFixedHeight(8);
    cancel_->setFlat(true);
    cancel_->setCursor(Qt::PointingHandCursor);
    exportLayout->addStretch(1);
    exportLayout->addWidget(progress_);
    exportLayout->addWidget(percentage_);
    exportLayout->addWidget(cancel_);
    status_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    exportBox_->setParent(right);
    status_->setParent(right);
    rightLayout->addWidget(exportBox_);
    rightLayout->addWidget(status_);
    layout->addWidget(right);

    exportBox_->hide();
    showSelection();
    showStatus();
    connect(cancel_, &QPushButton::clicked, this, [this] { studio_.cancelExport(); });
    connect(&studio_, &Studio::fieldChanged, this, &StatusLine::fieldChanged);
}

void StatusLine::fieldChanged(StudioField field)
{
    switch (field) {
    case StudioField::selection:
        showSelection();
        break;
    case StudioField::exportProgress:
    case StudioField::busy:
    case StudioField::countdown:
    case StudioField::folder:
    case StudioField::lastSaved:
        showStatus();
        break;
    default:
        break;
    }
}

void StatusLine::showSelection()
{
    left_->setText(selectionText(studio_.selection()));
}

void StatusLine::showStatus()
{
    const std::optional<float>& progress = studio_.exportProgress();
    if (progress) {
        const int value = static_cast<int>(std::lround(std::clamp(*progress, 0.0f, 1.0f) * 1000));
        if (progress_->value() != value)
            progress_->setValue(value);
        percentage_->setText(progressText(*progress));
        if (!exportShown_) {
            exportShown_ = true;
            status_->hide();
            exportBox_->show();
        }
        return;
    }
    if (exportShown_) {
        exportShown_ = false;
        exportBox_->hide();
        status_->show();
    }
    if (studio_.busy() && !studio_.countdown())
        status_->setText(QStringLiteral("Preparando audio…"));
    else
        showTitle();
}

void StatusLine::showTitle()
{
    // A long title gives way in its middle, where the two ends that tell projects apart stay;
    // the save time is always shown whole.
    const QString title = QString::fromStdString(studio_.title());
    const QString saved = savedText(QString(), studio_.lastSaved());
    const QFontMetrics metrics = status_->fontMetrics();
    const QString shown =
        metrics.elidedText(title, Qt::ElideMiddle, statusWidth - metrics.horizontalAdvance(saved));
    status_->setText(shown + saved);
    status_->setToolTip(shown == title ? QString() : title);
}

} // namespace tw
