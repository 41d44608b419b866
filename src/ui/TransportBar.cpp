#include "ui/TransportBar.hpp"

#include "studio/Studio.hpp"
#include "ui/Icons.hpp"
#include "ui/TransportButtonStyle.hpp"
#include "ui/ViewFields.hpp"
#include "ui/WindowLook.hpp"

#include <QAction>
#include <QHBoxLayout>

namespace tw {

namespace {

enum Key { toStart, back5, stopKey, playKey, pauseKey, recordKey, forward5, toEnd };

const QColor recordRed(235, 60, 50);

const std::array<QString, 8> labels{
    QStringLiteral("Volver al inicio"),
    QStringLiteral("Retroceder 5 segundos"),
    QStringLiteral("Detener"),
    QStringLiteral("Reproducir"),
    QStringLiteral("Pausar"),
    QStringLiteral("Grabar"),
    QStringLiteral("Avanzar 5 segundos"),
    QStringLiteral("Ir al final"),
};

void setLabel(TransportButton& button, const QString& label)
{
    if (button.toolTip() == label)
        return;
    button.setToolTip(label);
    button.setAccessibleName(label);
}

} // namespace

const std::array<QString, 8>& TransportBar::symbols()
{
    static const std::array<QString, 8> names{
        QStringLiteral("backward.end.fill"), QStringLiteral("gobackward.5"),
        QStringLiteral("stop.fill"),         QStringLiteral("play.fill"),
        QStringLiteral("pause.fill"),        QStringLiteral("record.circle.fill"),
        QStringLiteral("goforward.5"),       QStringLiteral("forward.end.fill"),
    };
    return names;
}

TransportBar::TransportBar(Studio& studio, QWidget* parent) : QWidget(parent), studio_(studio)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
        const QColor colour = i == recordKey ? recordRed : look::primary;
        auto* button = new TransportButton(symbolIcon(symbols()[i], colour), labels[i], this);
        button->setIconSize(QSize(16, 16));
        button->setFixedSize(35, 34); // the 32 × 30 key plus its shadow
        layout->addWidget(button);
        buttons_[i] = button;
    }

    Studio* s = &studio_;
    connect(buttons_[toStart], &QAbstractButton::clicked, this, [s] { s->goToStart(); });
    connect(buttons_[back5], &QAbstractButton::clicked, this, [s] {
        if (!s->recording())
            s->skipBackward();
    });
    connect(buttons_[stopKey], &QAbstractButton::clicked, this, [s] { s->stop(); });
    connect(buttons_[playKey], &QAbstractButton::clicked, this, [s] {
        if (!s->playing())
            s->togglePlayback();
    });
    connect(buttons_[pauseKey], &QAbstractButton::clicked, this, [s] { s->pauseTransport(); });
    connect(buttons_[recordKey], &QAbstractButton::clicked, this, [s] {
        if (s->recording())
            s->stopRecording();
        else
            s->record();
    });
    connect(buttons_[forward5], &QAbstractButton::clicked, this, [s] {
        if (!s->recording())
            s->skipForward();
    });
    connect(buttons_[toEnd], &QAbstractButton::clicked, this, [s] { s->goToEnd(); });

    // Home, End, Left and Right anywhere in the window press the four jump keys: the same
    // actions with the reels' shuttle, refused when the key is disabled (click() does nothing).
    const std::pair<Key, Qt::Key> jumps[] = {{toStart, Qt::Key_Home},
                                             {back5, Qt::Key_Left},
                                             {forward5, Qt::Key_Right},
                                             {toEnd, Qt::Key_End}};
    for (const auto& [key, shortcut] : jumps) {
        auto* action = new QAction(labels[key], this);
        action->setShortcut(QKeySequence(shortcut));
        action->setShortcutContext(Qt::WindowShortcut);
        addAction(action);
        connect(action, &QAction::triggered, buttons_[key], &QAbstractButton::click);
    }

    refresh();
    refreshPlayColour();
    connect(&studio_, &Studio::fieldChanged, this, &TransportBar::fieldChanged);
}

TransportButton& TransportBar::button(const QString& symbol) const
{
    for (std::size_t i = 0; i < buttons_.size(); ++i)
        if (symbols()[i] == symbol)
            return *buttons_[i];
    return *buttons_[0];
}

void TransportBar::fieldChanged(StudioField field)
{
    switch (field) {
    case StudioField::playing:
        refreshPlayColour();
        refresh();
        break;
    case StudioField::recording:
    case StudioField::recordingPaused:
    case StudioField::pauseEngaged:
    case StudioField::busy:
    case StudioField::countdown:
        refresh();
        break;
    default:
        if (affectsDuration(field, studio_))
            refresh();
        break;
    }
}

void TransportBar::refresh()
{
    const bool recording = studio_.recording();
    const bool busy = studio_.busy();
    const bool counting = studio_.countdown().has_value();
    const bool blocked = recording || busy;

    buttons_[toStart]->setEnabled(!blocked);
    buttons_[back5]->setEnabled(!blocked);
    buttons_[stopKey]->setEnabled(!(busy && !counting));
    // The play rule reads the duration only when nothing else already disables the key.
    buttons_[playKey]->setEnabled(!blocked && studio_.duration() > 0);
    buttons_[pauseKey]->setEnabled(!busy);
    buttons_[recordKey]->setEnabled(!(busy && !recording));
    buttons_[forward5]->setEnabled(!blocked);
    buttons_[toEnd]->setEnabled(!blocked);

    setLabel(*buttons_[pauseKey], studio_.recordingPaused() ? QStringLiteral("Reanudar grabación")
                                                            : QStringLiteral("Pausar"));
    setLabel(*buttons_[recordKey],
             recording ? QStringLiteral("Detener grabación") : QStringLiteral("Grabar"));

    buttons_[playKey]->setActive(studio_.playing());
    buttons_[recordKey]->setActive(recording && !studio_.recordingPaused());
    buttons_[pauseKey]->setActive(studio_.recordingPaused() || studio_.pauseEngaged());
}

void TransportBar::refreshPlayColour()
{
    const bool playing = studio_.playing();
    if (playing == playDrawnPlaying_ && !buttons_[playKey]->icon().isNull())
        return;
    playDrawnPlaying_ = playing;
    buttons_[playKey]->setIcon(
        symbolIcon(symbols()[playKey], playing ? look::accent : look::primary));
}

} // namespace tw
