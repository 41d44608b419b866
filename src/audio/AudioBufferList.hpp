// Float audio as the DSP, the taps and the analysers take it: a few buffers, each holding one or
// more channels laid out frame by frame (sample c of frame f at f * channels + c). One interleaved
// buffer and one buffer per channel are both lists. The list does not own the samples.
#pragma once

#include <array>

namespace tw {

struct AudioBuffer {
    int channels = 0;
    float* data = nullptr;
};

struct AudioBufferList {
    static constexpr int maxBuffers = 16;

    std::array<AudioBuffer, maxBuffers> buffers{};
    int count = 0;

    // False when the list is full.
    bool add(AudioBuffer buffer);
    int totalChannels() const;

    static AudioBufferList interleaved(float* data, int channels);
    static AudioBufferList planar(float* const* channelData, int channels);
};

} // namespace tw
