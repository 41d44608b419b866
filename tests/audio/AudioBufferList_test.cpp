#include "audio/AudioBufferList.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(AudioBufferList, interleavedAndPlanarListsDescribeTheSameFramesAndViewTheirSamples)
{
    AudioBufferStorage interleaved(3, 5);
    AudioBufferStorage planar(3, 5, AudioBufferStorage::Layout::planar);
    for (int f = 0; f < 5; ++f) {
        for (int c = 0; c < 3; ++c) {
            interleaved.at(f, c) = float(f * 10 + c);
            planar.at(f, c) = float(f * 10 + c);
        }
    }
    const AudioBufferList one = interleaved.list();
    ASSERT_EQ(one.count, 1);
    EXPECT_EQ(one.totalChannels(), 3);
    EXPECT_EQ(one.buffers[0].data[2 * 3 + 1], 21.0f); // frame 2, channel 1
    const AudioBufferList many = planar.list();
    ASSERT_EQ(many.count, 3);
    EXPECT_EQ(many.totalChannels(), 3);
    for (int c = 0; c < 3; ++c)
        for (int f = 0; f < 5; ++f)
            EXPECT_EQ(many.buffers[c].data[f], interleaved.at(f, c));

    float left[4] = {1, 2, 3, 4};
    float* planes[] = {left, left};
    AudioBufferList list = AudioBufferList::planar(planes, 2);
    list.buffers[1].data[3] = -1; // a view, not a copy
    EXPECT_EQ(left[3], -1.0f);
    EXPECT_EQ(AudioBufferList::interleaved(left, 2).totalChannels(), 2);
    AudioBufferList full;
    for (int i = 0; i < AudioBufferList::maxBuffers; ++i)
        EXPECT_TRUE(full.add({1, left}));
    EXPECT_FALSE(full.add({1, left}));
    EXPECT_EQ(full.totalChannels(), AudioBufferList::maxBuffers);
}

} // namespace
} // namespace tw
