#include "ui/StudioVUMeters.hpp"

#include "studio/Studio.hpp"
#include "ui/AnalogVU.hpp"
#include "ui/Shading.hpp"

#include <QHBoxLayout>
#include <QPainter>

namespace tw {

PeakLamp::PeakLamp(QWidget* parent) : QWidget(parent)
{
    setFixedSize(sizeHint());
    setAccessibleName(QStringLiteral("PEAK"));
    setToolTip(QStringLiteral("Señal de una pista cerca del máximo: −1 dBFS o más."));
}

void PeakLamp::setLit(bool lit)
{
    if (lit == lit_)
        return;
    lit_ = lit;
    update();
}

void PeakLamp::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPointF centre(width() / 2.0, 13);
    // Chrome bezel, then the lens: glowing red when lit, a dark ruby when not.
    QLinearGradient bezel(centre - QPointF(0, 9), centre + QPointF(0, 9));
    bezel.setColorAt(0, QColor(150, 150, 155));
    bezel.setColorAt(1, QColor(40, 40, 44));
    painter.setPen(Qt::NoPen);
    painter.setBrush(bezel);
    painter.drawEllipse(centre, 9, 9);
    if (lit_)
        litDisc(painter, centre, 14, {0, 0}, 14,
                {{0, QColor(255, 60, 40, 140)}, {1, QColor(255, 60, 40, 0)}}, Qt::NoPen);
    litDisc(painter, centre, 7, {-2, -2}, 8,
            {{0, lit_ ? QColor(255, 190, 170) : QColor(110, 30, 30)},
             {0.5, lit_ ? QColor(245, 40, 30) : QColor(70, 12, 12)},
             {1, lit_ ? QColor(170, 10, 10) : QColor(35, 5, 5)}},
            Qt::NoPen);

    painter.setFont(engravedFont(font(), 8, 0.8));
    painter.setPen(lit_ ? QColor(255, 120, 100) : QColor(150, 150, 155));
    painter.drawText(QRectF(0, 25, width(), 12), Qt::AlignCenter, QStringLiteral("PEAK"));
}

StudioVUMeters::StudioVUMeters(Studio& studio, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
    , voice_(new AnalogVU(QStringLiteral("VOZ"), this))
    , music_(new AnalogVU(QStringLiteral("MÚSICA"), this))
    , peak_(new PeakLamp(this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    layout->addWidget(voice_, 1);
    layout->addWidget(peak_, 0, Qt::AlignVCenter);
    layout->addWidget(music_, 1);
    readLevels();
    peak_->setLit(studio_.peakWarning());
    connect(&studio_, &Studio::fieldChanged, this, &StudioVUMeters::fieldChanged);
}

void StudioVUMeters::fieldChanged(StudioField field)
{
    if (field == StudioField::vuLevels)
        readLevels();
    else if (field == StudioField::peakWarning)
        peak_->setLit(studio_.peakWarning());
}

void StudioVUMeters::readLevels()
{
    const std::vector<float>& levels = studio_.vuLevels();
    voice_->setLevel(levels.size() > 0 ? levels[0] : 0.0f);
    music_->setLevel(levels.size() > 1 ? levels[1] : 0.0f);
}

} // namespace tw
