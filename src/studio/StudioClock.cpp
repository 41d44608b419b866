// The 0.1 s studio clock. Main thread (the Qt scheduler fires on the event loop).
#include "studio/Studio.hpp"

namespace tw {

void Studio::tick()
{
    // The reels, meters, spectrum and the recording poll are driven from here by the metering
    // work; the tick already keeps its time base so that the first reel step is never a jump.
    previousReelTick = scheduler_.now();
}

} // namespace tw
