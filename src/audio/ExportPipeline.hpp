// Rendered audio on its way from a producer thread to the export thread's encoder, through a
// fixed ring of interleaved blocks, so that rendering and encoding run side by side on two cores.
#pragma once

#include "base/Result.hpp"

#include <atomic>
#include <functional>

namespace tw {

class BlockQueue;

// What a producer hands its audio to: each push fills the next free block of the queue.
class BlockSink {
public:
    BlockSink(BlockQueue& queue, int channels, const std::atomic<bool>& cancelled)
        : queue_(queue)
        , channels_(channels)
        , cancelled_(cancelled)
    {
    }
    int channels() const { return channels_; }
    // False when the export no longer wants audio (cancelled, failed or done).
    bool push(const float* interleaved, int frames);

private:
    BlockQueue& queue_;
    int channels_;
    const std::atomic<bool>& cancelled_;
};

// Runs `produce` on a helper thread (denormals off) and `consume` on this one for each block it
// makes, in order; a failure of either, or a cancel, stops both.
Result<void> runPipeline(int channels, const std::atomic<bool>& cancelled,
                         const std::function<Result<void>(BlockSink&)>& produce,
                         const std::function<Result<void>(const float*, int)>& consume);

} // namespace tw
