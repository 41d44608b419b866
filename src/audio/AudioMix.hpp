// How each track of a composition is heard: its volume automation and an optional processing tap.
#pragma once

#include "audio/MediaTime.hpp"
#include "audio/ProcessingTap.hpp"

#include <memory>
#include <vector>

namespace tw {

// A volume set at one time, or a linear ramp over a range. Before the first event the volume is
// 1; after an event its (end) volume holds until the next one.
struct VolumeEvent {
    MediaTime start;
    MediaTime duration; // 0 for a set
    float startVolume = 1;
    float endVolume = 1;

    bool isRamp() const { return duration.ticks > 0; }
    bool operator==(const VolumeEvent&) const = default;
};

class VolumeAutomation {
public:
    void setVolume(float volume, MediaTime at);
    void setVolumeRamp(float startVolume, float endVolume, MediaTime start, MediaTime duration);

    // In time order; events at the same time keep the order they were given.
    const std::vector<VolumeEvent>& events() const { return events_; }
    // The volume heard at a time.
    float volumeAt(MediaTime time) const;

    bool operator==(const VolumeAutomation&) const = default;

private:
    void add(VolumeEvent event);
    std::vector<VolumeEvent> events_;
};

struct InputParameters {
    int trackID = 0;
    VolumeAutomation volume;
    std::shared_ptr<ProcessingTap> tap; // live playback only
};

struct AudioMix {
    std::vector<InputParameters> inputParameters;

    const InputParameters* parameters(int trackID) const;
};

} // namespace tw
