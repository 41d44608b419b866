#include "ui/WindowLook.hpp"

#include <QLabel>

namespace tw {

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
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, disabledText);
    palette.setColor(QPalette::Disabled, QPalette::Button, QColor(38, 39, 44));
    return palette;
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
