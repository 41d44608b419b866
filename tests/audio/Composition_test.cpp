#include "audio/Composition.hpp"

#include "GraphSignals.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace tw {

using graphtest::seconds;

namespace {

// A source that is only described: a composition never opens its file.
AudioAsset described(const char* name, double length, int channels = 1)
{
    return AudioAsset{name, 48000, channels, static_cast<std::int64_t>(length * 48000)};
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

TEST(Composition, refusesRangesOutsideTheFileLeavesGapsAndInsertingSplitsAndMovesLaterMaterial)
{
    Composition composition;
    CompositionTrack* voice = composition.addTrack(1);
    ASSERT_NE(voice, nullptr);
    EXPECT_EQ(composition.addTrack(1), nullptr);
    // A range outside its file is refused, naming it; an empty one adds nothing.
    auto refused =
        voice->insertTimeRange(described("a.caf", 2), seconds(3), seconds(1), seconds(0));
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().description.find("a.caf"), std::string::npos);
    EXPECT_TRUE(voice->insertTimeRange(described("a.caf", 2), seconds(0), seconds(0), seconds(0)));
    EXPECT_TRUE(voice->segments().empty());
    ASSERT_TRUE(voice->insertTimeRange(described("a.caf", 10), seconds(1), seconds(2), seconds(0)));
    ASSERT_TRUE(
        voice->insertTimeRange(described("a.caf", 10), seconds(5), seconds(1), seconds(3.5)));
    ASSERT_TRUE(
        voice->insertTimeRange(described("b.caf", 10), seconds(0), seconds(1), seconds(4.5)));
    // Touching clips leave no gap.
    EXPECT_EQ(layout(*voice), (std::vector<std::string>{"a.caf 1, 0, 2", "- 0, 2, 1.5",
                                                        "a.caf 5, 3.5, 1", "b.caf 0, 4.5, 1"}));
    EXPECT_EQ(composition.duration(), seconds(5.5));
    EXPECT_TRUE(composition.allSourcesMono());

    CompositionTrack* music = composition.addTrack(2);
    ASSERT_TRUE(
        music->insertTimeRange(described("m.mp3", 60, 2), seconds(10), seconds(4), seconds(0)));
    EXPECT_FALSE(composition.allSourcesMono());
    ASSERT_TRUE(music->insertTimeRange(described("x.caf", 60), seconds(0), seconds(1), seconds(1)));
    music->insertEmptyTimeRange(seconds(0), seconds(3));
    EXPECT_EQ(layout(*music), (std::vector<std::string>{"- 0, 0, 3", "m.mp3 10, 3, 1",
                                                        "x.caf 0, 4, 1", "m.mp3 11, 5, 3"}));
    EXPECT_EQ(music->end(), seconds(8));
    EXPECT_EQ(composition.duration(), seconds(8));
    EXPECT_EQ(composition.track(1), voice); // earlier track pointers stay valid
}

} // namespace tw
