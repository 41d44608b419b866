#include "ui/ContentView.hpp"

#include "studio/Studio.hpp"
#include "ui/ControlRow.hpp"
#include "ui/EqualizerPanel.hpp"
#include "ui/LCDCounter.hpp"
#include "ui/MessageAlert.hpp"
#include "ui/SpectrumView.hpp"
#include "ui/StatusLine.hpp"
#include "ui/StudioPanel.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/TapeDeck.hpp"
#include "ui/TimelineView.hpp"
#include "ui/TransportBar.hpp"
#include "ui/VoiceStudioPanel.hpp"

#include <QFrame>
#include <QHBoxLayout>
#include <QVBoxLayout>

namespace tw {

namespace {

const char* const studioLook = R"(
tw--ContentView { background: rgb(24, 25, 29); }
QLabel { color: rgb(225, 226, 230); }
QLabel#secondary, QLabel#caption { color: rgb(150, 151, 158); }
QLabel#caption { font-size: 11px; }
QCheckBox { color: rgb(225, 226, 230); }
QToolButton, QPushButton {
    color: rgb(225, 226, 230); background: rgb(48, 49, 55);
    border: 1px solid rgba(255, 255, 255, 30); border-radius: 6px; padding: 3px 8px;
}
QToolButton:hover, QPushButton:hover { background: rgb(60, 61, 68); }
QToolButton:pressed, QPushButton:pressed { background: rgb(36, 37, 42); }
QToolButton:disabled, QPushButton:disabled { color: rgb(110, 111, 118); background: rgb(38, 39, 44); }
QComboBox {
    color: rgb(225, 226, 230); background: rgb(48, 49, 55);
    border: 1px solid rgba(255, 255, 255, 30); border-radius: 6px; padding: 2px 4px;
}
QComboBox QAbstractItemView { color: rgb(225, 226, 230); background: rgb(40, 41, 46); }
QScrollArea, QScrollArea > QWidget > QWidget { background: rgb(26, 27, 31); }
QProgressBar { background: rgb(18, 18, 21); border: 1px solid rgba(255, 255, 255, 40);
               border-radius: 3px; }
QProgressBar::chunk { background: rgb(88, 172, 255); border-radius: 2px; }
QFrame#divider { background: rgba(255, 255, 255, 22); border: none; }
QScrollBar:horizontal { background: rgb(26, 27, 31); height: 12px; margin: 0; }
QScrollBar::handle:horizontal { background: rgb(72, 73, 80); border-radius: 4px; min-width: 30px;
                                margin: 2px; }
QScrollBar::add-line:horizontal, QScrollBar::sub-line:horizontal { width: 0; }
QScrollBar::add-page:horizontal, QScrollBar::sub-page:horizontal { background: none; }
)";

QFrame* divider(QWidget* parent)
{
    auto* line = new QFrame(parent);
    line->setObjectName(QStringLiteral("divider"));
    line->setFixedHeight(1);
    return line;
}

QWidget* framed(QWidget* content, QSize size, QWidget* parent)
{
    auto* panel = new StudioPanel(content, parent);
    panel->setFixedSize(size);
    return panel;
}

} // namespace

ContentView::ContentView(Studio& studio, const Clock& clock, QWidget* parent)
    : QWidget(parent)
    , studio_(studio)
{
    setAttribute(Qt::WA_StyledBackground);
    setStyleSheet(QString::fromUtf8(studioLook));
    setMinimumSize(minimumWidth, minimumHeight);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(instrumentArea(clock));
    layout->addWidget(divider(this));
    voicePanel_ = new VoiceStudioPanel(studio_, this);
    layout->addWidget(voicePanel_);
    layout->addWidget(divider(this));
    timeline_ = new TimelineView(studio_, this);
    layout->addWidget(timeline_);
    layout->addStretch(1);
    layout->addWidget(divider(this));
    controls_ = new ControlRow(studio_, this);
    layout->addWidget(controls_);
    layout->addWidget(divider(this));
    status_ = new StatusLine(studio_, this);
    layout->addWidget(status_);

    alert_ = new MessageAlert(studio_, this);

    counter_->setSeconds(studio_.position());
    connect(&studio_, &Studio::fieldChanged, this, [this](StudioField field) {
        if (field == StudioField::position)
            counter_->setSeconds(studio_.position());
    });
}

QWidget* ContentView::instrumentArea(const Clock& clock)
{
    auto* area = new QWidget(this);
    auto* row = new QHBoxLayout(area);
    row->setContentsMargins(12, 8, 12, 8);
    row->setSpacing(12);

    deck_ = new TapeDeck(studio_, clock, area);
    deck_->setFixedSize(350, 190);
    row->addWidget(deck_, 0, Qt::AlignTop);

    auto* middle = new QVBoxLayout;
    middle->setSpacing(6);
    counter_ = new LCDCounter(area);
    counter_->setFixedSize(180, 62);
    middle->addWidget(counter_, 0, Qt::AlignHCenter);
    meters_ = new StudioVUMeters(studio_, area);
    meters_->setFixedHeight(84);
    middle->addWidget(meters_);
    transport_ = new TransportBar(studio_, area);
    middle->addWidget(transport_, 0, Qt::AlignHCenter);
    row->addLayout(middle);

    spectrum_ = framed(new SpectrumView(studio_), QSize(220, 190), area);
    equalizer_ = framed(new EqualizerPanel(studio_), QSize(320, 190), area);
    row->addWidget(spectrum_, 0, Qt::AlignTop);
    row->addWidget(equalizer_, 0, Qt::AlignTop);
    row->addStretch(1);
    return area;
}

} // namespace tw
