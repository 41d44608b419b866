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

} // namespace tw
