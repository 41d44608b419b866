#include "ui/PanelPalette.hpp"

namespace tw {

QPalette panelPalette(QPalette palette)
{
    palette.setColor(QPalette::Window, QColor(36, 37, 42));
    palette.setColor(QPalette::WindowText, QColor(214, 215, 220));
    palette.setColor(QPalette::Text, QColor(226, 227, 232));
    palette.setColor(QPalette::ButtonText, QColor(226, 227, 232));
    palette.setColor(QPalette::Button, QColor(62, 64, 70));
    palette.setColor(QPalette::Base, QColor(22, 23, 26));
    palette.setColor(QPalette::AlternateBase, QColor(30, 31, 35));
    palette.setColor(QPalette::Highlight, QColor(64, 180, 140));
    palette.setColor(QPalette::HighlightedText, QColor(12, 20, 16));
    palette.setColor(QPalette::Light, noteColour);
    palette.setColor(QPalette::Midlight, QColor(84, 86, 92));
    palette.setColor(QPalette::Mid, QColor(48, 49, 54));
    palette.setColor(QPalette::Dark, QColor(18, 18, 20));
    palette.setColor(QPalette::Shadow, QColor(0, 0, 0));
    palette.setColor(QPalette::PlaceholderText, QColor(120, 122, 128));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(110, 110, 116));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(110, 110, 116));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(110, 110, 116));
    return palette;
}

QFont captionFont(QFont font)
{
    font.setPixelSize(11);
    return font;
}

} // namespace tw
