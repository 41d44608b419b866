#include "ui/ChapterFlags.hpp"

#include "studio/Studio.hpp"
#include "ui/ViewFields.hpp"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {

const QColor flagColour(236, 166, 58);
// Pointer travel that makes a press a drag rather than a click.
constexpr double clickDistance = 3;

QFont titleFont(const QWidget& widget)
{
    QFont font = widget.font();
    font.setPixelSize(10);
    font.setBold(true);
    return font;
}

} // namespace

QMenu* makeChapterMenu(Studio& studio, const Chapter& chapter, std::function<void()> rename,
                       QWidget* parent)
{
    auto* menu = new QMenu(parent);
    const bool idle = studioIdle(studio);
    QAction* renameItem = menu->addAction(QStringLiteral("Renombrar capítulo"));
    renameItem->setEnabled(idle);
    QObject::connect(renameItem, &QAction::triggered, menu, std::move(rename));
    QAction* remove = menu->addAction(QStringLiteral("Eliminar capítulo"));
    remove->setEnabled(idle);
    QObject::connect(remove, &QAction::triggered, menu,
                     [&studio, id = chapter.id] { studio.removeChapter(id); });
    return menu;
}

ChapterFlag::ChapterFlag(Studio& studio, std::function<void(const Uuid&)> rename, QWidget* ruler)
    : QWidget(ruler)
    , studio_(studio)
    , rename_(std::move(rename))
{
    setToolTip(QStringLiteral("Arrastra para mover el capítulo; doble clic para renombrarlo"));
}

void ChapterFlag::showChapter(const Chapter& chapter, double zoom)
{
    chapter_ = chapter;
    zoom_ = zoom > 0 ? zoom : 1;
    const QFontMetrics metrics(titleFont(*this));
    const QString title = QString::fromStdString(chapter.title);
    const int width = std::min(metrics.horizontalAdvance(title), widestTitle) + 10;
    const int height = parentWidget() ? parentWidget()->height() : tabHeight;
    setFixedSize(width, height);
    setMask(QRegion(0, 0, poleWidth, height) + QRegion(0, 1, width, tabHeight));
    setCursor(studioIdle(studio_) ? Qt::OpenHandCursor : Qt::ArrowCursor);
    place(dragTime_.value_or(chapter.time));
    show();
    update();
}

void ChapterFlag::place(double time)
{
    move(static_cast<int>(std::lround(time * zoom_)), 0);
}

void ChapterFlag::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(QRect(0, 0, poleWidth, height()), flagColour);
    const QRect tab(0, 1, width(), tabHeight);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(flagColour);
    painter.drawRoundedRect(QRectF(tab).adjusted(0, 0, -0.5, 0), 3, 3);
    painter.setFont(titleFont(*this));
    painter.setPen(QColor(30, 24, 14));
    const QString title = painter.fontMetrics().elidedText(QString::fromStdString(chapter_.title),
                                                           Qt::ElideRight, widestTitle);
    painter.drawText(tab.adjusted(5, 0, 0, 0), Qt::AlignVCenter | Qt::AlignLeft, title);
}

void ChapterFlag::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !studioIdle(studio_))
        return;
    pressedAt_ = event->globalPosition().x();
    dragTime_.reset();
}

void ChapterFlag::mouseMoveEvent(QMouseEvent* event)
{
    if (!pressedAt_ || !studioIdle(studio_))
        return;
    const double travel = event->globalPosition().x() - *pressedAt_;
    if (!dragTime_ && std::abs(travel) <= clickDistance)
        return;
    setCursor(Qt::ClosedHandCursor);
    dragTime_ = std::clamp(chapter_.time + travel / zoom_, 0.0, std::max(studio_.duration(), 0.0));
    place(*dragTime_);
}

void ChapterFlag::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !pressedAt_)
        return;
    pressedAt_.reset();
    const std::optional<double> dropped = std::exchange(dragTime_, std::nullopt);
    setCursor(Qt::OpenHandCursor);
    // A gesture that began is finished: the Studio refuses the edit itself if it became busy.
    if (dropped) {
        place(chapter_.time); // until the document says where it is
        studio_.moveChapter(chapter_.id, *dropped);
    } else if (studioIdle(studio_)) {
        studio_.seek(chapter_.time);
    }
}

void ChapterFlag::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && studioIdle(studio_))
        rename_(chapter_.id);
}

void ChapterFlag::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = makeChapterMenu(
        studio_, chapter_, [rename = rename_, id = chapter_.id] { rename(id); }, this);
    menu->exec(event->globalPos());
    menu->deleteLater();
}

ChapterFlags::ChapterFlags(Studio& studio, QWidget& ruler)
    : QObject(&ruler)
    , studio_(studio)
    , ruler_(ruler)
    , editor_(new QLineEdit(&ruler))
{
    editor_->hide();
    editor_->setFixedHeight(ChapterFlag::tabHeight + 4);
    // Made before the editor and the flags, so it is also destroyed before them and its filter
    // never sees the editor's last focus change.
    editor_->installEventFilter(this);
    connect(editor_, &QLineEdit::returnPressed, this, [this] { finishRename(true); });
    connect(&studio_, &Studio::fieldChanged, this, &ChapterFlags::fieldChanged);
    sync();
}

void ChapterFlags::fieldChanged(StudioField field)
{
    if (field == StudioField::project || field == StudioField::zoom ||
        field == StudioField::recording || field == StudioField::busy)
        sync();
    if (renaming_ && !studioIdle(studio_))
        finishRename(false);
}

void ChapterFlags::sync()
{
    const std::vector<Chapter>& chapters = studio_.project->chapters;
    while (pool_.size() < chapters.size())
        pool_.push_back(new ChapterFlag(
            studio_, [this](const Uuid& id) { rename(id); }, &ruler_));
    for (std::size_t i = 0; i < pool_.size(); ++i) {
        if (i < chapters.size())
            pool_[i]->showChapter(chapters[i], studio_.zoom());
        else
            pool_[i]->hide();
    }
    editor_->raise();
}

std::vector<ChapterFlag*> ChapterFlags::flags() const
{
    const std::size_t shown = std::min(pool_.size(), studio_.project->chapters.size());
    return {pool_.begin(), pool_.begin() + static_cast<long>(shown)};
}

void ChapterFlags::rename(const Uuid& id)
{
    for (ChapterFlag* flag : flags()) {
        if (flag->chapter().id != id)
            continue;
        renaming_ = id;
        editor_->setText(QString::fromStdString(flag->chapter().title));
        editor_->setGeometry(flag->x(), 0, ChapterFlag::widestTitle + 40,
                             ChapterFlag::tabHeight + 4);
        editor_->selectAll();
        editor_->show();
        editor_->raise();
        editor_->setFocus();
        return;
    }
}

void ChapterFlags::finishRename(bool keep)
{
    // Taken first: hiding the field moves the focus away, which finishes the editing again.
    const std::optional<Uuid> id = std::exchange(renaming_, std::nullopt);
    if (!id)
        return;
    const std::string title = editor_->text().trimmed().toStdString();
    editor_->hide();
    if (keep)
        studio_.renameChapter(*id, title);
}

bool ChapterFlags::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != editor_ || !renaming_)
        return QObject::eventFilter(watched, event);
    if (event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        finishRename(false);
        return true;
    }
    // Clicking elsewhere keeps what was typed, as a text field does.
    if (event->type() == QEvent::FocusOut)
        finishRename(true);
    return QObject::eventFilter(watched, event);
}

} // namespace tw
