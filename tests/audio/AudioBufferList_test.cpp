#include "audio/AudioBufferList.hpp"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(AudioBufferList, interleavedAndPlanarListsDescribeTheSameFrames)
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
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(many.buffers[c].channels, 1);
        for (int f = 0; f < 5; ++f)
            EXPECT_EQ(many.buffers[c].data[f], interleaved.at(f, c));
    }
    EXPECT_EQ(static_cast<const AudioBufferStorage&>(planar).at(4, 2), 42.0f);
}

TEST(AudioBufferList, viewsForeignSamplesAndStopsAtSixteenBuffers)
{
    float left[4] = {1, 2, 3, 4};
    float right[4] = {5, 6, 7, 8};
    float* planes[] = {left, right};
    AudioBufferList list = AudioBufferList::planar(planes, 2);
    EXPECT_EQ(list.count, 2);
    list.buffers[1].data[3] = -1; // a view, not a copy
    EXPECT_EQ(right[3], -1.0f);
    AudioBufferList stereo = AudioBufferList::interleaved(left, 2);
    EXPECT_EQ(stereo.count, 1);
    EXPECT_EQ(stereo.totalChannels(), 2);

    AudioBufferList full;
    for (int i = 0; i < AudioBufferList::maxBuffers; ++i)
        EXPECT_TRUE(full.add({1, left}));
    EXPECT_FALSE(full.add({1, left}));
    EXPECT_EQ(full.count, AudioBufferList::maxBuffers);
    EXPECT_EQ(full.totalChannels(), AudioBufferList::maxBuffers);
}

} // namespace
} // namespace tw
