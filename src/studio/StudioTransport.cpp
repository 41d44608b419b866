// The transport operations other concerns rely on. Main thread. The player itself is attached by
// the playback work; until then there is no player to pause or remix.
#include "studio/Studio.hpp"

namespace tw {

void Studio::pause()
{
    previewEnd.reset();
    // A newer generation makes a start in preparation and any late clock tick abandon themselves.
    ++playbackGeneration;
    const bool wasPlaying = playing();
    playing = false;
    if (wasPlaying)
        pauseEngaged = true;
    save();
}

void Studio::updateMix()
{
    // Without a running player the only effect of a mix change is the saved document.
    save();
}

} // namespace tw
