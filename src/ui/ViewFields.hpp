// Which published fields of the Studio a view must look at again for the derived values it
// shows, so that views recompute (and repaint) only when something they depend on was assigned.
#pragma once

namespace tw {

class Studio;
enum class StudioField;

// True when field may have changed the Studio's duration(): the document, the music length, a
// trim preview, the recording flag, or the play head of a running take (the take grows with it).
bool affectsDuration(StudioField field, const Studio& studio);

// The guard of the editing controls: neither a take nor a long operation under way.
bool studioIdle(const Studio& studio);

} // namespace tw
