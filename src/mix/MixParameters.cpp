#include "mix/MixParameters.hpp"

#include "voice/LiveVoiceTap.hpp"

namespace tw {

namespace {

// A ramp over [from, to] in media time; both ends are rounded on their own so that the ramp ends
// exactly where an event set at `to` takes over.
void ramp(VolumeAutomation& automation, float startVolume, float endVolume, double from, double to)
{
    const MediaTime start = MediaTime::fromSeconds(from);
    automation.setVolumeRamp(startVolume, endVolume, start, MediaTime::fromSeconds(to) - start);
}

} // namespace

Result<InputParameters> voiceMixParameters(int trackID, const PodcastProject& project, bool live)
{
    InputParameters parameters;
    parameters.trackID = trackID;
    parameters.volume.setVolume(0, {});
    // Clips without a file count too: the automation follows the timeline, not what was placed.
    for (const Segment& clip : project.resolvedSegments()) {
        const double t0 = clip.timelineStart.value_or(0);
        const double t1 = t0 + clip.duration;
        const float v = project.voiceVolume * clip.gain.value_or(1.0f);
        ramp(parameters.volume, v, v, t0, t1);
        parameters.volume.setVolume(0, MediaTime::fromSeconds(t1));
    }
    if (live) {
        auto tap = liveVoiceTap(project.treatment.value_or(VoiceTreatment{}), "voice");
        if (!tap)
            return tap.error();
        parameters.tap = std::move(tap).value();
    }
    return parameters;
}

InputParameters musicMixParameters(int trackID, const PodcastProject& project, double duration,
                                   double offset)
{
    InputParameters parameters;
    parameters.trackID = trackID;
    const Fades f = project.fades(duration);
    const float v = project.musicVolume;
    VolumeAutomation& volume = parameters.volume;

    volume.setVolume(f.inEnd > 0 ? 0.0f : v, {});
    if (f.inStart < f.inEnd)
        ramp(volume, 0, v, offset + f.inStart, offset + f.inEnd);
    else
        volume.setVolume(v, MediaTime::fromSeconds(offset + f.inEnd));
    if (f.outStart < f.outEnd)
        ramp(volume, v, 0, offset + f.outStart, offset + f.outEnd);
    else if (f.outEnd < duration)
        volume.setVolume(0, MediaTime::fromSeconds(offset + f.outEnd));
    return parameters;
}

} // namespace tw
