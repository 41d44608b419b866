#include "audio/CaptureBlocks.hpp"

#include <algorithm>
#include <cstring>

namespace tw {

void CaptureBlocks::prepare(int channels, int blockFrames, AudioInput::CaptureCallback deliver)
{
    deliver_ = std::move(deliver);
    channels_ = std::max(channels, 1);
    blockFrames_ = std::max(blockFrames, 1);
    block_.assign(static_cast<std::size_t>(blockFrames_) * channels_, 0.0f);
    filled_ = 0;
    delivered_ = 0;
}

void CaptureBlocks::push(const float* interleaved, int frames)
{
    const auto frameSamples = static_cast<std::size_t>(channels_);
    while (frames > 0) {
        // A whole block straight from the server's memory needs no copy.
        if (filled_ == 0 && frames >= blockFrames_) {
            deliver(interleaved, blockFrames_);
            interleaved += blockFrames_ * frameSamples;
            frames -= blockFrames_;
            continue;
        }
        const int taken = std::min(frames, blockFrames_ - filled_);
        std::memcpy(block_.data() + filled_ * frameSamples, interleaved,
                    taken * frameSamples * sizeof(float));
        filled_ += taken;
        interleaved += taken * frameSamples;
        frames -= taken;
        if (filled_ == blockFrames_)
            flush();
    }
}

void CaptureBlocks::flush()
{
    if (filled_ == 0)
        return;
    const int frames = filled_;
    filled_ = 0;
    deliver(block_.data(), frames);
}

void CaptureBlocks::deliver(const float* samples, int frames)
{
    delivered_ += frames;
    if (deliver_)
        deliver_(AudioBufferList::interleaved(const_cast<float*>(samples), channels_), frames);
}

} // namespace tw
