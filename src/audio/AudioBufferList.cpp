#include "audio/AudioBufferList.hpp"

namespace tw {

bool AudioBufferList::add(AudioBuffer buffer)
{
    if (count >= maxBuffers)
        return false;
    buffers[count++] = buffer;
    return true;
}

int AudioBufferList::totalChannels() const
{
    int total = 0;
    for (int i = 0; i < count; ++i)
        total += buffers[i].channels;
    return total;
}

AudioBufferList AudioBufferList::interleaved(float* data, int channels)
{
    AudioBufferList list;
    list.add({channels, data});
    return list;
}

AudioBufferList AudioBufferList::planar(float* const* channelData, int channels)
{
    AudioBufferList list;
    for (int c = 0; c < channels; ++c)
        list.add({1, channelData[c]});
    return list;
}

AudioBufferStorage::AudioBufferStorage(int channels, int frameCapacity, Layout layout)
    : channels_(channels)
    , frameCapacity_(frameCapacity)
    , layout_(layout)
    , samples_(static_cast<std::size_t>(channels) * frameCapacity, 0.0f)
{
}

float& AudioBufferStorage::at(int frame, int channel)
{
    std::size_t index = layout_ == Layout::interleaved
                            ? static_cast<std::size_t>(frame) * channels_ + channel
                            : static_cast<std::size_t>(channel) * frameCapacity_ + frame;
    return samples_[index];
}

float AudioBufferStorage::at(int frame, int channel) const
{
    return const_cast<AudioBufferStorage*>(this)->at(frame, channel);
}

AudioBufferList AudioBufferStorage::list()
{
    AudioBufferList list;
    if (layout_ == Layout::interleaved) {
        list.add({channels_, samples_.data()});
    } else {
        for (int c = 0; c < channels_ && c < AudioBufferList::maxBuffers; ++c)
            list.add({1, samples_.data() + static_cast<std::size_t>(c) * frameCapacity_});
    }
    return list;
}

} // namespace tw
