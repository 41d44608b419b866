// The 0.1 s studio clock: the meters and the spectrum follow the sources being heard, and a take
// in progress is polled. Main thread (the Qt scheduler fires on the event loop).
#include "capture/SpectrumMonitor.hpp"
#include "studio/ReelPhysics.hpp"
#include "studio/Studio.hpp"

#include <algorithm>

namespace tw {

namespace {

float weightOf(const std::map<std::string, float>& weights, const std::string& source)
{
    auto found = weights.find(source);
    return found == weights.end() ? 0.0f : found->second;
}

// The music's fade gain at a timeline time: the fade-in ramps up from its start, the fade-out
// down to its end, and outside the fragment nothing plays.
float musicFadeGain(const PodcastProject& project, double musicDuration, double at)
{
    const MusicRange range = project.musicRange(musicDuration);
    const Fades fades = project.fades(range.duration);
    const double t = at - range.offset;
    if (!(t >= 0 && t < range.duration && t >= fades.inStart && t < fades.outEnd))
        return 0.0f;
    double gain = 1.0;
    if (t < fades.inEnd && fades.inStart < fades.inEnd)
        gain = (t - fades.inStart) / (fades.inEnd - fades.inStart);
    if (fades.outStart < t && fades.outStart < fades.outEnd)
        gain *= (fades.outEnd - t) / (fades.outEnd - fades.outStart);
    return static_cast<float>(gain);
}

} // namespace

std::map<std::string, float> Studio::heardWeights() const
{
    if (recording() && !recordingPaused())
        return {{"record", 1.0f}};
    if (!playing())
        return {};
    std::map<std::string, float> weights;
    const std::optional<Segment> clip = project->segment(position());
    weights["voice"] = clip ? clip->gain.value_or(1.0f) * project->voiceVolume : 0.0f;
    weights["music"] = project->musicVolume * musicFadeGain(project(), musicDuration(), position());
    return weights;
}

void Studio::turnReels()
{
    // A late tick moves the reels by at most one second's worth.
    const double now = scheduler_.now();
    const double dt = std::clamp(now - previousReelTick, 0.0, 1.0);
    previousReelTick = now;
    double factor = 0;
    if (shuttleDirection() != 0)
        factor = 8.0 * shuttleDirection();
    else if (playing() || (recording() && !recordingPaused()))
        factor = 1.0;
    if (factor == 0)
        return;
    const ReelPhysics::Speeds speeds = ReelPhysics::angularSpeeds(position(), duration());
    reelAngle -= factor * dt * speeds.supply;
    rightReelAngle -= factor * dt * speeds.takeup;
}

void Studio::tick()
{
    turnReels();

    const SpectrumMonitor& monitor = SpectrumMonitor::shared();
    const std::map<std::string, float> weights = heardWeights();

    const std::string inputSource = recording() ? "record" : "voice";
    std::vector<float> levels{monitor.level(inputSource) * weightOf(weights, inputSource),
                              monitor.level("music") * weightOf(weights, "music")};
    if (levels != vuLevels())
        vuLevels = std::move(levels);

    bool warning = false;
    if (recording() && !recordingPaused())
        warning = monitor.nearClip("record");
    else if (playing())
        warning = (weightOf(weights, "voice") > 0 && monitor.nearClip("voice")) ||
                  (weightOf(weights, "music") > 0 && monitor.nearClip("music"));
    if (warning != peakWarning())
        peakWarning = warning;

    const SpectrumBands bands = monitor.read(weights);
    if (!std::equal(bands.begin(), bands.end(), spectrumBars->begin(), spectrumBars->end()))
        spectrumBars = std::vector<float>(bands.begin(), bands.end());

    if (recording())
        pollRecorder();
}

} // namespace tw
