#include "audio/Composition.hpp"

#include <gtest/gtest.h>

#include <sstream>

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

// Each segment as "file from, at, for" in seconds, "-" for the file of a gap.
std::vector<std::string> layout(const CompositionTrack& track)
{
    std::vector<std::string> out;
    for (const auto& segment : track.segments()) {
        std::ostringstream text;
        text << (segment.source ? segment.source->file.string() : "-") << " "
             << segment.sourceStart.seconds() << ", " << segment.targetStart.seconds() << ", "
             << segment.duration.seconds();
        out.push_back(text.str());
    }
    return out;
}

} // namespace

TEST(Composition, appendingPastTheEndLeavesAGapAndInsertingBeforeItSplitsAndMovesLaterMaterial)
{
    Composition composition;
    CompositionTrack* voice = composition.addTrack(1);
    ASSERT_NE(voice, nullptr);
    EXPECT_EQ(composition.addTrack(1), nullptr);
    ASSERT_TRUE(voice->insertTimeRange(asset("a.caf", 10), s(1), s(2), s(0)));
    ASSERT_TRUE(voice->insertTimeRange(asset("a.caf", 10), s(5), s(1), s(3.5)));
    ASSERT_TRUE(voice->insertTimeRange(asset("b.caf", 10), s(0), s(1), s(4.5)));
    // Touching clips leave no gap.
    EXPECT_EQ(layout(*voice), (std::vector<std::string>{"a.caf 1, 0, 2", "- 0, 2, 1.5",
                                                        "a.caf 5, 3.5, 1", "b.caf 0, 4.5, 1"}));
    EXPECT_EQ(composition.duration(), s(5.5));

    CompositionTrack* music = composition.addTrack(2);
    ASSERT_TRUE(music->insertTimeRange(asset("m.mp3", 60), s(10), s(4), s(0)));
    ASSERT_TRUE(music->insertTimeRange(asset("x.caf", 60), s(0), s(1), s(1)));
    music->insertEmptyTimeRange(s(0), s(3));
    EXPECT_EQ(layout(*music), (std::vector<std::string>{"- 0, 0, 3", "m.mp3 10, 3, 1",
                                                        "x.caf 0, 4, 1", "m.mp3 11, 5, 3"}));
    EXPECT_EQ(music->end(), s(8));
    EXPECT_EQ(composition.duration(), s(8));
    EXPECT_EQ(composition.track(1), voice); // earlier track pointers stay valid
}

TEST(Composition, refusesRangesOutsideTheFileAndTracksMonoSources)
{
    Composition composition;
    CompositionTrack* voice = composition.addTrack(1);
    auto refused = voice->insertTimeRange(asset("a.caf", 2), s(3), s(1), s(0));
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().description.find("a.caf"), std::string::npos);
    EXPECT_TRUE(voice->insertTimeRange(asset("a.caf", 2), s(0), s(0), s(0)));
    EXPECT_TRUE(voice->segments().empty());
    ASSERT_TRUE(voice->insertTimeRange(asset("a.caf", 2), s(0), s(1), s(0)));
    EXPECT_TRUE(composition.allSourcesMono());
    ASSERT_TRUE(composition.addTrack(2)->insertTimeRange(asset("m.flac", 20, 2), s(0), s(5), s(0)));
    EXPECT_FALSE(composition.allSourcesMono());
}
