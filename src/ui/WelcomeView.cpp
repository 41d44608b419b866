#include "ui/WelcomeView.hpp"

#include "studio/ProjectTitle.hpp"
#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/PanelPalette.hpp"
#include "ui/Shading.hpp"

#include <QGuiApplication>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace tw {

namespace {

// The application icon when the desktop gives none: a small reel-to-reel deck.
QPixmap paintedApplicationIcon(int size, qreal scale)
{
    QPixmap pixmap(QSize(size, size) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF plate(2, 2, size - 4, size - 4);
    shadedRoundedRect(painter, plate, size * 0.22,
                      {{0, QColor(70, 72, 80)}, {1, QColor(30, 31, 36)}},
                      QPen(QColor(255, 255, 255, 50), 1));
    const double radius = size * 0.17;
    for (double x : {size * 0.31, size * 0.69}) {
        const QPointF centre(x, size * 0.42);
        painter.setPen(QPen(QColor(200, 202, 208), 1.5));
        painter.setBrush(QColor(88, 58, 38));
        painter.drawEllipse(centre, radius, radius);
        painter.setBrush(QColor(200, 202, 208));
        painter.drawEllipse(centre, radius * 0.28, radius * 0.28);
    }
    painter.setPen(QPen(QColor(110, 240, 200), 2, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(size * 0.25, size * 0.74), QPointF(size * 0.75, size * 0.74));
    return pixmap;
}

QPushButton* borderedButton(const QString& symbol, const QString& text, QWidget* parent)
{
    auto* button = new QPushButton(symbolIcon(symbol), text, parent);
    button->setFixedWidth(WelcomeView::buttonWidth);
    button->setMinimumHeight(32);
    button->setAutoDefault(false);
    return button;
}

} // namespace

WelcomeView::WelcomeView(Studio& studio, QWidget* parent)
    : QDialog(parent)
    , studio_(studio)
    , continue_(new QPushButton(this))
    , recentName_(new QLabel(continue_))
    , open_(borderedButton(QStringLiteral("folder"), QStringLiteral("Abrir un proyecto guardado…"),
                           this))
    , new_(borderedButton(QStringLiteral("plus.rectangle"),
                          QStringLiteral("Crear un proyecto nuevo"), this))
    , close_(new QPushButton(QStringLiteral("Cerrar"), this))
{
    setWindowTitle(QStringLiteral("Bobinet 2"));
    // A sheet: it blocks the window it stands over.
    setWindowModality(Qt::WindowModal);
    setPalette(panelPalette(palette()));
    setAutoFillBackground(true);

    auto* icon = new QLabel(this);
    const QIcon applicationIcon = QGuiApplication::windowIcon();
    icon->setPixmap(applicationIcon.isNull() ? paintedApplicationIcon(iconSize, devicePixelRatioF())
                                             : applicationIcon.pixmap(iconSize, iconSize));
    icon->setFixedSize(iconSize, iconSize);

    auto* title = new QLabel(QStringLiteral("Bobinet 2"), this);
    QFont titleFont = title->font();
    titleFont.setPixelSize(27);
    titleFont.setBold(true);
    title->setFont(titleFont);
    auto* question = new QLabel(QStringLiteral("¿Con qué proyecto quieres trabajar?"), this);

    // The prominent button holds two lines: the action and, in caption size, the project's name;
    // its green is deep enough for white caption text.
    continue_->setAccessibleName(QStringLiteral("Continuar el último proyecto"));
    continue_->setFixedWidth(buttonWidth);
    continue_->setMinimumHeight(48);
    continue_->setAutoDefault(false);
    continue_->setStyleSheet(QStringLiteral(
        "QPushButton { background: #1f7a5e; border: 1px solid #49c29d; border-radius: 7px; }"
        "QPushButton:hover { background: #23886a; }"
        "QPushButton:pressed { background: #1a6650; }"));
    auto* action = new QLabel(QStringLiteral("Continuar el último proyecto"), continue_);
    QFont callout = action->font();
    callout.setPixelSize(14);
    callout.setWeight(QFont::Medium);
    action->setFont(callout);
    recentName_->setFont(captionFont(recentName_->font()));
    for (QLabel* line : {action, recentName_}) {
        line->setAlignment(Qt::AlignCenter);
        line->setAttribute(Qt::WA_TransparentForMouseEvents);
        line->setStyleSheet(QStringLiteral("color: white; background: transparent;"));
    }
    auto* lines = new QVBoxLayout(continue_);
    lines->setContentsMargins(8, 6, 8, 6);
    lines->setSpacing(1);
    lines->addWidget(action);
    lines->addWidget(recentName_);

    auto* note = new QLabel(
        QStringLiteral("Tus grabaciones y proyectos se conservan en este equipo."), this);
    note->setFont(captionFont(note->font()));
    note->setForegroundRole(QPalette::Light);

    close_->setAutoDefault(false);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(padding, padding, padding, padding);
    layout->setSpacing(10);
    layout->addWidget(icon, 0, Qt::AlignHCenter);
    layout->addWidget(title, 0, Qt::AlignHCenter);
    layout->addWidget(question, 0, Qt::AlignHCenter);
    layout->addSpacing(8);
    layout->addWidget(continue_, 0, Qt::AlignHCenter);
    layout->addWidget(open_, 0, Qt::AlignHCenter);
    layout->addWidget(new_, 0, Qt::AlignHCenter);
    layout->addSpacing(4);
    layout->addWidget(note, 0, Qt::AlignHCenter);
    layout->addWidget(close_, 0, Qt::AlignHCenter);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    connect(continue_, &QPushButton::clicked, this, &WelcomeView::continueRecent);
    // Opening or creating closes the sheet through showWelcome; a cancelled dialog leaves it.
    connect(open_, &QPushButton::clicked, this, [this] { studio_.open(); });
    connect(new_, &QPushButton::clicked, this, [this] { studio_.newProject(); });
    connect(close_, &QPushButton::clicked, this, &WelcomeView::reject);
    connect(&studio_, &Studio::fieldChanged, this, &WelcomeView::fieldChanged);
    refresh();
}

QString WelcomeView::recentName() const
{
    return recentName_->text();
}

void WelcomeView::refresh()
{
    const std::optional<std::filesystem::path> recent = studio_.recentProjectURL();
    // A long name gives way in its middle, inside the button's margins.
    recentName_->setText(recent ? recentName_->fontMetrics().elidedText(
                                      QString::fromStdString(projectTitle(*recent)),
                                      Qt::ElideMiddle, buttonWidth - 16)
                                : QString());
    continue_->setVisible(recent.has_value());
}

void WelcomeView::continueRecent()
{
    // The folder may have gone since the sheet was drawn; then there is nothing to continue.
    const std::optional<std::filesystem::path> recent = studio_.recentProjectURL();
    if (!recent) {
        refresh();
        return;
    }
    studio_.openProject(*recent);
}

void WelcomeView::reject()
{
    QDialog::reject();
    if (studio_.showWelcome())
        studio_.showWelcome = false;
}

void WelcomeView::showEvent(QShowEvent* event)
{
    refresh();
    QDialog::showEvent(event);
}

void WelcomeView::fieldChanged(StudioField field)
{
    if (field != StudioField::showWelcome)
        return;
    if (studio_.showWelcome())
        refresh();
    else if (isVisible())
        accept();
}

} // namespace tw
