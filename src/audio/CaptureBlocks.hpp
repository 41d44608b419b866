// Gathers the pieces a sound server hands over (a few frames to a few hundred, at its own
// rhythm) into blocks of the size the consumer asked for, so that it sees whole blocks: the
// disk's slack, the meters and the spectrum all count in blocks. Every input backend uses it.
#pragma once

#include "audio/AudioInput.hpp"

#include <cstdint>
#include <vector>

namespace tw {

class CaptureBlocks {
public:
    // While no capture runs: the shape of the blocks and who receives them. Allocates the one
    // block; forgets frames gathered before.
    void prepare(int channels, int blockFrames, AudioInput::CaptureCallback deliver);

    // Capture thread: appends interleaved frames and hands over each block as soon as it is
    // full. Never allocates, locks or waits.
    void push(const float* interleaved, int frames);
    // Hands over the frames gathered so far as one shorter block (at pause and stop), so none
    // is lost. Called where no push() can run at the same time.
    void flush();

    // Frames handed over since prepare().
    std::int64_t framesDelivered() const { return delivered_; }

private:
    void deliver(const float* samples, int frames);

    AudioInput::CaptureCallback deliver_;
    std::vector<float> block_;
    int channels_ = 0;
    int blockFrames_ = 0;
    int filled_ = 0;
    std::int64_t delivered_ = 0;
};

} // namespace tw
