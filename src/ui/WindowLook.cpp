#include "ui/WindowLook.hpp"

#include <QApplication>
#include <QLabel>
#include <QPainter>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOptionComboBox>
#include <QToolTip>

namespace tw {

namespace {

// Fusion, but a closed combo box too narrow for its entry ends it with "…" instead of cutting it.
class StudioStyle final : public QProxyStyle {
public:
    StudioStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override
    {
        const auto* combo = qstyleoption_cast<const QStyleOptionComboBox*>(option);
        if (element != CE_ComboBoxLabel || !combo || combo->editable) {
            QProxyStyle::drawControl(element, option, painter, widget);
            return;
        }
        QRect field = subControlRect(CC_ComboBox, combo, SC_ComboBoxEditField, widget);
        if (!combo->currentIcon.isNull())
            field.setLeft(field.left() + combo->iconSize.width() + 4);
        QStyleOptionComboBox shown = *combo;
        // The base style draws the text one pixel in from each side of the field.
        shown.currentText =
            combo->fontMetrics.elidedText(combo->currentText, Qt::ElideRight, field.width() - 2);
        QProxyStyle::drawControl(element, &shown, painter, widget);
    }
};

} // namespace

QPalette windowPalette(const QPalette& base)
{
    QPalette palette = base;
    const QColor button(48, 49, 55);
    const QColor field(36, 37, 42);
    const QColor disabledText(110, 111, 118);
    palette.setColor(QPalette::Window, look::background);
    palette.setColor(QPalette::WindowText, look::primary);
    palette.setColor(QPalette::Base, field);
    palette.setColor(QPalette::AlternateBase, button);
    palette.setColor(QPalette::Text, look::primary);
    palette.setColor(QPalette::Button, button);
    palette.setColor(QPalette::ButtonText, look::primary);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::Light, QColor(70, 71, 78));
    palette.setColor(QPalette::Midlight, QColor(58, 59, 66));
    palette.setColor(QPalette::Mid, QColor(40, 41, 46));
    palette.setColor(QPalette::Dark, QColor(18, 18, 21));
    palette.setColor(QPalette::Shadow, Qt::black);
    palette.setColor(QPalette::Highlight, look::accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, QColor(40, 41, 46));
    palette.setColor(QPalette::ToolTipText, look::primary);
    palette.setColor(QPalette::PlaceholderText, look::secondary);
    palette.setColor(QPalette::Link, look::accent);
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabledText);
    palette.setColor(QPalette::Disabled, QPalette::Button, QColor(38, 39, 44));
    return palette;
}

void applyStudioLook()
{
    if (dynamic_cast<StudioStyle*>(QApplication::style()))
        return;
    // The style first: setting one puts the palette back to the style's own.
    QApplication::setStyle(new StudioStyle);
    const QPalette palette = windowPalette(QApplication::style()->standardPalette());
    QApplication::setPalette(palette);
    QToolTip::setPalette(palette);
}

void makeSecondary(QLabel& label)
{
    QPalette palette = label.palette();
    palette.setColor(QPalette::WindowText, look::secondary);
    label.setPalette(palette);
}

void makeCaption(QLabel& label)
{
    makeSecondary(label);
    QFont font = label.font();
    font.setPixelSize(11);
    label.setFont(font);
}

} // namespace tw
