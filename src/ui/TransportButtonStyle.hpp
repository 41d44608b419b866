// The look of the transport buttons: a rounded key with a thin border and a soft shadow, lit
// when active, its content pushed down a point while pressed, faded when disabled.
#pragma once

#include <QAbstractButton>
#include <QColor>
#include <QIcon>

class QPainter;

namespace tw {

struct TransportButtonStyle {
    bool active = false;  // the lit state
    bool enabled = true;  // from the button's environment
    bool pressed = false; // held down right now
    bool hovered = false;

    static constexpr double cornerRadius = 8;
    static constexpr double pressedOffset = 1;
    static constexpr double disabledOpacity = 0.35;

    // How far the content moves down, and the opacity of the whole button.
    double contentOffset() const { return pressed ? pressedOffset : 0.0; }
    double opacity() const { return enabled ? 1.0 : disabledOpacity; }

    // Draws the key in bounds and the icon centred on it, tinted with glyph.
    void paint(QPainter& painter, QRectF bounds, const QIcon& icon, QSize iconSize) const;
};

// A transport key drawn with that look.
class TransportButton final : public QAbstractButton {
    Q_OBJECT

public:
    TransportButton(const QIcon& icon, const QString& help, QWidget* parent = nullptr);

    bool active() const { return active_; }
    void setActive(bool active);
    TransportButtonStyle style() const;

    QSize sizeHint() const override { return {44, 34}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    bool active_ = false;
    bool hovered_ = false;
};

} // namespace tw
