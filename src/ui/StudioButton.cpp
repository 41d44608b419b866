#include "ui/StudioButton.hpp"

#include "ui/Icons.hpp"

#include <QToolButton>

namespace tw {

QToolButton* studioButton(const QString& symbol, const QString& text, const QString& help,
                          QWidget* parent)
{
    auto* button = new QToolButton(parent);
    if (!symbol.isEmpty())
        button->setIcon(symbolIcon(symbol));
    button->setIconSize(QSize(14, 14));
    button->setText(text);
    if (symbol.isEmpty())
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
    else if (text.isEmpty())
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    else
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setToolTip(help);
    button->setAccessibleName(text.isEmpty() ? help : text);
    button->setAutoRaise(false);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

void setEnabledIfChanged(QWidget& widget, bool enabled)
{
    if (widget.isEnabled() != enabled)
        widget.setEnabled(enabled);
}

} // namespace tw
