// The colours the studio's panels, popovers and sheets share: light text on dark metal, a mint
// accent. Applied to a widget's own palette so its standard controls match the instruments.
// Notes and captions take the Light role: dimmer than the text, still 4.5:1 on the panels.
#pragma once

#include <QFont>
#include <QPalette>

namespace tw {

// The colour of notes, captions and marks on the panels.
inline const QColor noteColour(160, 161, 168);

QPalette panelPalette(QPalette base);
// A smaller, dimmer-looking font for notes under the main text.
QFont captionFont(QFont base);

} // namespace tw
