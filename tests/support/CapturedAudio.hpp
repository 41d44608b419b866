// Collects what an audio input's capture thread delivers, for the input tests (a test may lock;
// the recorder does not).
#pragma once

#include "audio/AudioInput.hpp"
#include "audio/Denormals.hpp"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace tw::test {

struct Capture {
    std::mutex mutex;
    std::vector<float> samples;
    std::vector<int> sizes;
    std::atomic<std::int64_t> frames{0};
    std::atomic<int> badBuffers{0};
    std::thread::id thread;
    bool denormalsOff = false;
    int channels = 0;

    AudioInput::CaptureCallback callback()
    {
        return [this](const AudioBufferList& list, int count) {
            if (list.count != 1 || list.buffers[0].channels != channels || count <= 0)
                ++badBuffers;
            std::lock_guard lock(mutex);
            if (sizes.empty()) { // the stop hands over the last block on its own thread
                thread = std::this_thread::get_id();
                denormalsOff = ScopedDenormalsOff::active();
            }
            sizes.push_back(count);
            const float* data = list.buffers[0].data;
            samples.insert(samples.end(), data,
                           data + static_cast<std::ptrdiff_t>(count) * list.buffers[0].channels);
            frames += count;
        };
    }
};

} // namespace tw::test
