// The one place where the interface's symbol names become icons: each name maps to a freedesktop
// theme icon, recoloured for the dark studio, with a painted glyph when the theme lacks it.
#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

#include <optional>
#include <vector>

namespace tw {

// Selects the icon theme the symbols come from (Adwaita); called once by the application.
void useStudioIconTheme();

// The freedesktop icon name for a symbol name, or nothing for a name this interface never uses.
std::optional<QString> themeIconName(const QString& symbol);
// Every symbol name the interface uses.
const std::vector<QString>& symbolNames();

// The symbol in the given colour: the theme's icon when it has one, else the painted glyph.
QIcon symbolIcon(const QString& symbol, const QColor& colour = QColor(225, 226, 230));
// The painted glyph alone, drawn at size (for a theme without the icon and for tests).
QPixmap paintedSymbol(const QString& symbol, const QColor& colour, int size);

} // namespace tw
