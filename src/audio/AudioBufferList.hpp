// Float audio as the DSP, the taps and the analysers take it: a few buffers, each holding one or
// more channels laid out frame by frame (sample c of frame f at f * channels + c). One interleaved
// buffer and one buffer per channel are both lists. The list does not own the samples.
#pragma once

#include <array>
#include <vector>

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

// Owning storage for frames x channels of float audio, either interleaved or one buffer per
// channel; list() views it.
class AudioBufferStorage {
public:
    enum class Layout { interleaved, planar };

    AudioBufferStorage() = default;
    AudioBufferStorage(int channels, int frameCapacity, Layout layout = Layout::interleaved);

    int channels() const { return channels_; }
    int frameCapacity() const { return frameCapacity_; }
    Layout layout() const { return layout_; }
    // The samples of channel c in frame f.
    float& at(int frame, int channel);
    float at(int frame, int channel) const;
    AudioBufferList list();

private:
    int channels_ = 0;
    int frameCapacity_ = 0;
    Layout layout_ = Layout::interleaved;
    std::vector<float> samples_;
};

} // namespace tw
