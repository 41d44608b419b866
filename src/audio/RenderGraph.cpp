#include "audio/RenderGraph.hpp"

namespace tw {

StreamFormat graphStreamFormat(int outputRate)
{
    return StreamFormat{static_cast<double>(outputRate), graphChannels, SampleType::float32, true};
}

std::vector<TrackPlan> planTracks(const Composition& composition, int outputRate)
{
    std::vector<TrackPlan> plans;
    for (const CompositionTrack& track : composition.tracks())
        plans.push_back(TrackPlan::make(track, outputRate));
    return plans;
}

std::shared_ptr<const MixSnapshot> MixSnapshot::make(const std::vector<TrackPlan>& plans,
                                                     const AudioMix& mix, int outputRate)
{
    auto snapshot = std::make_shared<MixSnapshot>();
    for (const TrackPlan& plan : plans) {
        MixTrack track;
        if (const InputParameters* parameters = mix.parameters(plan.trackID)) {
            track.curve = VolumeCurve(parameters->volume, outputRate);
            track.tap = parameters->tap;
        }
        snapshot->tracks.push_back(std::move(track));
    }
    return snapshot;
}

void TrackMixState::glideInto(const VolumeCurve& curve, int frames)
{
    const std::int64_t at = cursor.position();
    cursor = VolumeCursor(&curve);
    cursor.seek(at);
    glideFrom = lastGain;
    glideLeft = frames;
    glideLength = frames;
}

void mixTrackBlock(const MixTrack& track, TrackMixState& state, float* audio, float* out,
                   float* gains, int frames, std::int64_t firstFrame)
{
    if (frames <= 0)
        return;
    if (track.tap) {
        AudioBufferList list = AudioBufferList::interleaved(audio, graphChannels);
        track.tap->process(list, frames);
    }
    state.cursor.fillGains(gains, frames, firstFrame);
    if (state.glideLeft > 0) {
        const int count = std::min(frames, state.glideLeft);
        const int done = state.glideLength - state.glideLeft;
        for (int f = 0; f < count; ++f) {
            const float toNew = static_cast<float>(done + f + 1) / state.glideLength;
            gains[f] = state.glideFrom + (gains[f] - state.glideFrom) * toNew;
        }
        state.glideLeft -= count;
    }
    for (int f = 0; f < frames; ++f) {
        const float g = gains[f];
        out[2 * f] += audio[2 * f] * g;
        out[2 * f + 1] += audio[2 * f + 1] * g;
    }
    state.lastGain = gains[frames - 1];
}

} // namespace tw
