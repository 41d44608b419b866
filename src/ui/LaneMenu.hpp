// The context menu of a voice clip: silence, restore, delete, delete and close the gap, cut,
// copy, and paste at the play head. Every item but the paste first selects the clip's range, then
// calls the Studio. Main thread.
#pragma once

class QMenu;
class QWidget;

namespace tw {

class Studio;
struct Segment;

// A new menu (owned by parent) for clip as the lane shows it; items are enabled by the Studio's
// state at the time the menu is made.
QMenu* makeClipMenu(Studio& studio, const Segment& clip, QWidget* parent);

} // namespace tw
