// One stretch of live playback from a start frame: a ring per track that the read-ahead thread
// fills and the render callback drains. Every seek starts a new run with empty rings, so the
// render callback never waits for old audio to be flushed: it simply plays the newest run.
#pragma once

#include "audio/SpscRing.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace tw {

struct PlaybackRun {
    // Allocates the rings; made on the main thread.
    PlaybackRun(std::uint64_t generation, std::int64_t startFrame, int tracks, int channels,
                std::int64_t ringFrames)
        : generation(generation)
        , startFrame(startFrame)
    {
        for (int i = 0; i < tracks; ++i)
            rings.push_back(std::make_unique<SpscRing>(channels, ringFrames));
    }

    const std::uint64_t generation; // grows with every seek and every new item
    const std::int64_t startFrame;
    std::vector<std::unique_ptr<SpscRing>> rings; // one per planned track, in plan order
    // Frames the render callback has played from this run (written by it alone).
    std::atomic<std::int64_t> consumed{0};
    // Set by the read-ahead once every ring holds enough to start without a gap.
    std::atomic<bool> ready{false};
};

} // namespace tw
