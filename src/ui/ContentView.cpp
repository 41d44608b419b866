#include "ui/ContentView.hpp"

#include "studio/Studio.hpp"
#include "ui/ControlRow.hpp"
#include "ui/EqualizerPanel.hpp"
#include "ui/LCDCounter.hpp"
#include "ui/LoudnessMeterView.hpp"
#include "ui/MessageAlert.hpp"
#include "ui/SpectrumView.hpp"
#include "ui/StatusLine.hpp"
#include "ui/StudioPanel.hpp"
#include "ui/StudioVUMeters.hpp"
#include "ui/TapeDeck.hpp"
#include "ui/TimelineView.hpp"
#include "ui/TransportBar.hpp"
#include "ui/VoiceStudioPanel.hpp"
#include "ui/WindowLook.hpp"

#include <QFrame>
#include <QHBoxLayout>
#include <QVBoxLayout>

namespace tw {

namespace {

QFrame* divider(QWidget* parent)
{
    auto* line = new QFrame(parent);
    line->setFixedHeight(1);
    QPalette palette = line->palette();
    palette.setColor(QPalette::Window, QColor(42, 43, 48));
    line->setPalette(palette);
    line->setAutoFillBackground(true);
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
    setPalette(windowPalette(palette()));
    setAutoFillBackground(true);
    setMinimumWidth(minimumWidth);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(instrumentArea(clock));
    layout->addWidget(divider(this));
    voicePanel_ = new VoiceStudioPanel(studio_, this);
    layout->addWidget(voicePanel_);
    layout->addWidget(divider(this));
    timeline_ = new TimelineView(studio_, this);
    layout->addWidget(timeline_, 1);
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
    loudness_ = new LoudnessMeterView(studio_, area);
    loudness_->setFixedSize(loudness_->sizeHint());
    // The loudness readout shares the counter's row: beside the VU meters it would widen the
    // window past a laptop's screen.
    auto* readouts = new QHBoxLayout;
    readouts->setSpacing(8);
    readouts->addStretch(1);
    readouts->addWidget(counter_);
    readouts->addWidget(loudness_);
    readouts->addStretch(1);
    middle->addLayout(readouts);
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
