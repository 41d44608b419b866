// The transport operations other concerns rely on, and the pause and stop keys. Main thread. The
// player itself is attached by the playback work; until then there is no player to pause, remix
// or seek.
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

void Studio::pauseTransport()
{
    if (recording()) {
        toggleRecordingPause();
        return;
    }
    pause();
    pauseEngaged = true;
}

void Studio::stop()
{
    if (countdown()) {
        // The countdown ends as a cancellation: nothing has been written yet.
        if (recordTask)
            recordTask->cancel();
        endRecordTask();
        return;
    }
    if (recording()) {
        stopRecording();
        return;
    }
    pause();
    pauseEngaged = false;
    // Back to the start; without a player the play head is all there is to move.
    position = 0.0;
    scheduleSave();
}

} // namespace tw
