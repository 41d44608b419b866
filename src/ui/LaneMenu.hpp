// The context menus of the lanes. A voice clip's: silence, restore, delete, delete and close the
// gap, cut, copy, and paste at the play head; every item but the paste first selects the clip's
// range, then calls the Studio. The music lane's: remove the music. Main thread.
#pragma once

class QMenu;
class QWidget;

namespace tw {

class Studio;
struct Segment;

// A new menu (owned by parent) for clip as the lane shows it; items are enabled by the Studio's
// state at the time the menu is made.
QMenu* makeClipMenu(Studio& studio, const Segment& clip, QWidget* parent);
// The music lane's menu: "Quitar música", enabled while the project has music and the Studio is
// idle.
QMenu* makeMusicMenu(Studio& studio, QWidget* parent);

} // namespace tw
