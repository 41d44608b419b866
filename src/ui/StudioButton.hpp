// The plain buttons of the window (control row, track headers, voice panel): a symbol and a title
// side by side, with a help text that doubles as the accessible name.
#pragma once

#include <QString>

class QToolButton;
class QWidget;

namespace tw {

// A button showing symbol and text (either may be empty for a text-only or icon-only button).
QToolButton* studioButton(const QString& symbol, const QString& text, const QString& help,
                          QWidget* parent);

// Enables widget only when the state differs, so that an unchanged rule never repaints.
void setEnabledIfChanged(QWidget& widget, bool enabled);

} // namespace tw
