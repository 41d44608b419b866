#include "ui/DeckState.hpp"

#include "model/PodcastProject.hpp"

#include <algorithm>
#include <cmath>

namespace tw {

std::string deckStatus(const DeckTransport& transport)
{
    if (transport.countdown)
        return std::to_string(*transport.countdown);
    if (transport.shuttleDirection < 0)
        return "REW";
    if (transport.shuttleDirection > 0)
        return "FF";
    if (transport.recording)
        return transport.recordingPaused ? "PAUSA" : "REC";
    if (transport.playing)
        return "PLAY";
    return transport.pauseEngaged ? "PAUSA" : "STOP";
}

DeckLamp deckLamp(const DeckTransport& transport)
{
    if (transport.countdown)
        return DeckLamp::yellow;
    const std::string status = deckStatus(transport);
    if (status == "REC")
        return DeckLamp::red;
    if (status == "PLAY")
        return DeckLamp::green;
    if (status == "PAUSA")
        return DeckLamp::yellow;
    return DeckLamp::grey;
}

std::string deckAccessibleName(const std::string& status)
{
    return "Grabadora de bobinas: " + status;
}

float deckLevel(bool recording, bool playing, float meter, double position,
                const PodcastProject& project,
                const std::map<std::string, std::vector<float>>& voiceWaveforms)
{
    if (recording)
        return meter;
    if (!playing)
        return 0.0f;
    const std::optional<Segment> clip = project.segment(position);
    if (!clip)
        return 0.0f;
    const SharedText source = clip->file ? clip->file : SharedText(project.voiceFile);
    if (!source)
        return 0.0f;
    const auto envelope = voiceWaveforms.find(*source);
    if (envelope == voiceWaveforms.end())
        return 0.0f;
    // The envelope holds 50 peaks per second of the source file.
    const double inSource = std::max(0.0, clip->start + position - clip->timelineStart.value_or(0));
    const auto index = static_cast<std::size_t>(std::floor(inSource * 50.0));
    if (index >= envelope->second.size())
        return 0.0f;
    return std::min(envelope->second[index] * project.voiceVolume, 1.0f);
}

double deckNeedleRotation(double level)
{
    return std::min(2.0 * level, 1.0) * 90.0 - 45.0;
}

double reelSpeedFactor(const DeckTransport& transport)
{
    if (transport.shuttleDirection != 0)
        return transport.shuttleDirection * 8.0;
    if (transport.playing || (transport.recording && !transport.recordingPaused))
        return 1.0;
    return 0.0;
}

double reelFrameDelta(double now, double previousReelTick)
{
    return std::clamp(now - previousReelTick, 0.0, 0.2);
}

double reelDrawAngle(double storedAngle, double factor, double frameDelta, double speed)
{
    return storedAngle - factor * frameDelta * speed;
}

} // namespace tw
