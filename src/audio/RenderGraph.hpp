// The render graph shared by live playback and offline renders: a composition's tracks laid out
// in output frames, the audio mix compiled for them (a volume curve and an optional tap per
// track), and the mixing step that runs a block of one track's audio through its tap and adds
// it under its volume to the output.
#pragma once

#include "audio/AudioMix.hpp"
#include "audio/Composition.hpp"
#include "audio/ProcessingTap.hpp"
#include "audio/RenderGraphTrack.hpp"
#include "audio/VolumeCurve.hpp"

#include <memory>
#include <vector>

namespace tw {

// Frames the graph processes at a time (the taps are prepared for this many).
inline constexpr int graphBlockFrames = 4096;

// The format every tap of a graph is prepared with: float32 stereo at the output rate.
StreamFormat graphStreamFormat(int outputRate);

// The tracks of a composition, in the composition's order.
std::vector<TrackPlan> planTracks(const Composition& composition, int outputRate);

struct MixTrack {
    VolumeCurve curve;
    std::shared_ptr<ProcessingTap> tap;
};

// How each planned track is heard, in the plans' order. Immutable once made: the player
// publishes a new one to change the mix. A track the mix does not mention plays at volume 1
// without a tap.
struct MixSnapshot {
    std::vector<MixTrack> tracks;

    static std::shared_ptr<const MixSnapshot> make(const std::vector<TrackPlan>& plans,
                                                   const AudioMix& mix, int outputRate);
};

// What the mixing step keeps between blocks of one track: where its volume curve is, the gain
// last applied, and a short glide from that gain when a new curve comes in mid-play.
struct TrackMixState {
    VolumeCursor cursor;
    float lastGain = 0;
    float glideFrom = 0;
    int glideLeft = 0;
    int glideLength = 0;

    // Moves smoothly from the gain heard now to the new curve over frames frames.
    void glideInto(const VolumeCurve& curve, int frames);
};

// Render thread (or an offline render): runs `audio` (interleaved stereo, frames <=
// graphBlockFrames) through the track's tap, then adds it times its volume into `out`. `gains`
// is scratch space for graphBlockFrames floats. Never allocates, locks or waits.
void mixTrackBlock(const MixTrack& track, TrackMixState& state, float* audio, float* out,
                   float* gains, int frames, std::int64_t firstFrame);

} // namespace tw
