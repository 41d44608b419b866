#include "audio/Composition.hpp"

#include <gtest/gtest.h>

using namespace tw;

namespace {

AudioAsset asset(const char* name, double seconds, int channels = 1)
{
    return AudioAsset{name, 48000, channels, static_cast<std::int64_t>(seconds * 48000)};
}

MediaTime s(double seconds)
{
    return MediaTime::fromSeconds(seconds);
}

} // namespace

TEST(Composition, appendingPastTheEndLeavesAnEmptyRangeForTheGap)
{
    Composition composition;
    CompositionTrack* voice = composition.addTrack(1);
    ASSERT_NE(voice, nullptr);
    EXPECT_EQ(composition.addTrack(1), nullptr);
    ASSERT_TRUE(voice->insertTimeRange(asset("a.caf", 10), s(1), s(2), s(0)));
    ASSERT_TRUE(voice->insertTimeRange(asset("a.caf", 10), s(5), s(1), s(3.5)));
    ASSERT_TRUE(voice->insertTimeRange(asset("b.caf", 10), s(0), s(1), s(4.5)));
    const auto& seg = voice->segments();
    ASSERT_EQ(seg.size(), 4u);
    EXPECT_FALSE(seg[1].source);
    EXPECT_EQ(seg[1].targetStart, s(2));
    EXPECT_EQ(seg[1].duration, s(1.5));
    EXPECT_EQ(seg[2].sourceStart, s(5));
    EXPECT_EQ(seg[3].targetStart, s(4.5)); // touching clips leave no gap
    EXPECT_EQ(voice->end(), s(5.5));
    EXPECT_EQ(composition.duration(), s(5.5));
}

TEST(Composition, insertingBeforeTheEndSplitsAndMovesLaterMaterial)
{
    Composition composition;
    CompositionTrack* track = composition.addTrack(2);
    ASSERT_TRUE(track->insertTimeRange(asset("m.mp3", 60), s(10), s(4), s(0)));
    ASSERT_TRUE(track->insertTimeRange(asset("x.caf", 60), s(0), s(1), s(1)));
    const auto& seg = track->segments();
    ASSERT_EQ(seg.size(), 3u);
    EXPECT_EQ(seg[0].duration, s(1));
    EXPECT_EQ(seg[1].source->file, "x.caf");
    EXPECT_EQ(seg[2].sourceStart, s(11));
    EXPECT_EQ(seg[2].targetStart, s(2));
    EXPECT_EQ(seg[2].duration, s(3));
    track->insertEmptyTimeRange(s(0), s(3));
    EXPECT_EQ(track->segments().front().duration, s(3));
    EXPECT_EQ(track->end(), s(8));
}

TEST(Composition, refusesRangesOutsideTheFileAndTracksMonoSources)
{
    Composition composition;
    CompositionTrack* voice = composition.addTrack(1);
    auto refused = voice->insertTimeRange(asset("a.caf", 2), s(3), s(1), s(0));
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().description.find("a.caf"), std::string::npos);
    EXPECT_TRUE(voice->segments().empty());
    EXPECT_TRUE(voice->insertTimeRange(asset("a.caf", 2), s(0), s(0), s(0)));
    EXPECT_TRUE(voice->segments().empty());
    ASSERT_TRUE(voice->insertTimeRange(asset("a.caf", 2), s(0), s(1), s(0)));
    EXPECT_TRUE(composition.allSourcesMono());
    CompositionTrack* music = composition.addTrack(2);
    EXPECT_EQ(composition.track(1), voice); // earlier track pointers stay valid
    ASSERT_TRUE(music->insertTimeRange(asset("m.flac", 20, 2), s(0), s(5), s(0)));
    EXPECT_FALSE(composition.allSourcesMono());
}
