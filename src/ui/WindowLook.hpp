// The dark studio look of the window's ordinary controls, given as a palette (a style sheet would
// route every paint of every child through the style sheet engine and cost a third of a full
// repaint), and the two text roles of the window: secondary text and captions. Every colour of
// text under 14 pixels keeps at least 4.5:1 against the surface it stands on.
#pragma once

#include <QColor>
#include <QPalette>

class QLabel;

namespace tw {

namespace look {
inline const QColor background(24, 25, 29);
inline const QColor primary(225, 226, 230);
inline const QColor secondary(150, 151, 158);
inline const QColor accent(88, 172, 255);
} // namespace look

// The palette of the window's content: dark surfaces, light text, blue highlight.
QPalette windowPalette(const QPalette& base);
// The look of the whole application: Qt's Fusion style with the window's palette, so that menus,
// pop-ups, tooltips, alerts and dialogs are as dark as the window, and combo boxes that shorten
// their text with "…" where it does not fit. Main thread; done once, later calls do nothing.
void applyStudioLook();
// Secondary colour for a caption such as "Zoom" or a clip count.
void makeSecondary(QLabel& label);
// Caption size (11 pixels) in the secondary colour: the status line's texts.
void makeCaption(QLabel& label);

} // namespace tw
