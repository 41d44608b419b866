#include "audio/AudioMix.hpp"

#include <algorithm>

namespace tw {

void VolumeAutomation::setVolume(float volume, MediaTime at)
{
    add(VolumeEvent{at, {}, volume, volume});
}

void VolumeAutomation::setVolumeRamp(float startVolume, float endVolume, MediaTime start,
                                     MediaTime duration)
{
    if (duration.ticks <= 0) {
        setVolume(endVolume, start);
        return;
    }
    add(VolumeEvent{start, duration, startVolume, endVolume});
}

void VolumeAutomation::add(VolumeEvent event)
{
    auto later = std::upper_bound(events_.begin(), events_.end(), event.start,
                                  [](MediaTime t, const VolumeEvent& e) { return t < e.start; });
    events_.insert(later, event);
}

float VolumeAutomation::volumeAt(MediaTime time) const
{
    auto after = std::upper_bound(events_.begin(), events_.end(), time,
                                  [](MediaTime t, const VolumeEvent& e) { return t < e.start; });
    if (after == events_.begin())
        return 1.0f;
    const VolumeEvent& e = *(after - 1);
    if (e.isRamp() && time < e.start + e.duration) {
        double f =
            static_cast<double>((time - e.start).ticks) / static_cast<double>(e.duration.ticks);
        return static_cast<float>(e.startVolume + (e.endVolume - e.startVolume) * f);
    }
    return e.endVolume;
}

const InputParameters* AudioMix::parameters(int trackID) const
{
    for (const auto& p : inputParameters)
        if (p.trackID == trackID)
            return &p;
    return nullptr;
}

} // namespace tw
