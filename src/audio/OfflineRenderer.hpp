// Renders a composition with its audio mix as fast as the machine goes, through the same graph
// the player plays (decoding, resampling, taps, volume automation): for export and for checking
// what playback must sound like. Blocking; runs on the caller's thread.
#pragma once

#include "audio/AudioMix.hpp"
#include "audio/Composition.hpp"
#include "audio/MediaTime.hpp"
#include "audio/TruePeakLimiter.hpp"
#include "base/Result.hpp"

#include <functional>
#include <optional>
#include <vector>

namespace tw {

struct OfflineRenderOptions {
    int sampleRate = 48000;
    // Run the mix's taps. They are prepared for this render and unprepared after it, so they
    // must not be attached to a running player at the same time.
    bool runTaps = true;
    // The master stage after the tracks are summed (the true-peak limiter at this ceiling, in
    // dBTP), as playback hears it; absent, the plain sum.
    std::optional<double> ceilingDb = TruePeakLimiter::defaultCeilingDb;
};

// Receives each rendered block (interleaved stereo); returning false stops the render early.
using OfflineSink = std::function<bool(const float* stereo, int frames)>;

// Renders [start, start + duration) of the composition, frame round(t * rate) first. Fails when a
// source cannot be opened or read, with that error's description.
Result<void> renderOffline(const Composition& composition, const AudioMix& mix, MediaTime start,
                           MediaTime duration, const OfflineRenderOptions& options,
                           const OfflineSink& sink);

// The same into one buffer of interleaved stereo frames.
Result<std::vector<float>> renderOfflineToBuffer(const Composition& composition,
                                                 const AudioMix& mix, MediaTime start,
                                                 MediaTime duration,
                                                 const OfflineRenderOptions& options = {});

} // namespace tw
