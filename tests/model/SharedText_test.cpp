#include "model/SharedText.hpp"

#include "model/Segment.hpp"

#include <gtest/gtest.h>

#include <vector>

namespace tw {
namespace {

TEST(SharedText, copiesShareOneStringAndCompareLikeAnOptionalText)
{
    std::vector<Segment> clips(3);
    clips[0].file = std::string("Media/voice-A.caf");
    clips[1].file = std::optional<std::string>("Media/voice-B.caf");
    const std::vector<Segment> copy = clips;
    EXPECT_EQ(&*copy[0].file, &*clips[0].file) << "a copied clip allocates no text";
    EXPECT_EQ(copy, clips);

    // A new name for one copy leaves the other as it was.
    clips[0].file = std::string("Media/paste-A.caf");
    EXPECT_EQ(*copy[0].file, "Media/voice-A.caf");
    EXPECT_NE(copy, clips);

    // Equal texts from different strings are equal; absent equals only absent.
    EXPECT_EQ(clips[1].file, std::optional<std::string>("Media/voice-B.caf"));
    EXPECT_FALSE(clips[2].file == std::optional<std::string>(""));
    clips[1].file.reset();
    EXPECT_EQ(clips[1].file, clips[2].file);
}

} // namespace
} // namespace tw
