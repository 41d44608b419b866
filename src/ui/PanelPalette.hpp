// The colours the studio's panels, popovers and sheets share: light text on dark metal, a mint
// accent. Applied to a widget's own palette so its standard controls match the instruments.
#pragma once

#include <QFont>
#include <QPalette>

namespace tw {

QPalette panelPalette(QPalette base);
// A smaller, dimmer-looking font for notes under the main text.
QFont captionFont(QFont base);

} // namespace tw
