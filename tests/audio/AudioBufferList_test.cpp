#include "audio/AudioBufferList.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(AudioBufferList, interleavedAndPlanarListsViewTheSameFrames)
{
    AudioBufferStorage interleaved(3, 5);
    AudioBufferStorage planar(3, 5, AudioBufferStorage::Layout::planar);
    for (int f = 0; f < 5; ++f)
        for (int c = 0; c < 3; ++c)
            interleaved.at(f, c) = planar.at(f, c) = float(f * 10 + c);
    const AudioBufferList one = interleaved.list();
    ASSERT_EQ(one.count, 1);
    EXPECT_EQ(one.buffers[0].data[2 * 3 + 1], 21.0f); // frame 2, channel 1
    const AudioBufferList many = planar.list();
    ASSERT_EQ(many.count, 3);
    EXPECT_EQ(many.totalChannels(), one.totalChannels());
    for (int c = 0; c < 3; ++c)
        for (int f = 0; f < 5; ++f)
            EXPECT_EQ(many.buffers[c].data[f], interleaved.at(f, c));

    float left[4] = {1, 2, 3, 4};
    AudioBufferList full;
    for (int i = 0; i < AudioBufferList::maxBuffers; ++i)
        EXPECT_TRUE(full.add({1, left}));
    EXPECT_FALSE(full.add({1, left}));
    EXPECT_EQ(full.totalChannels(), AudioBufferList::maxBuffers);
}

} // namespace
} // namespace tw
