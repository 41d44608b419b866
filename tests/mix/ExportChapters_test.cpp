#include "mix/ExportChapters.hpp"

#include <gtest/gtest.h>

namespace tw {

TEST(ExportChapters, chaptersShiftWithTheRangeEndAtTheNextAndStayInsideTheFile)
{
    using Marks = std::vector<std::pair<double, std::string>>;
    using Expected = std::vector<ExportChapter>;
    const struct {
        const char* name;
        TimeRange range;
        Marks chapters;
        Expected expected;
    } cases[] = {
        {"none", {0, 60}, {}, {}},
        {"from the start", {0, 60}, {{0, "A"}, {20, "B"}}, {{0, 20, "A"}, {20, 60, "B"}}},
        {"shifted by the range", {5, 65}, {{10, "A"}, {30, "B"}}, {{5, 25, "A"}, {25, 60, "B"}}},
        {"before the start moves to it",
         {5, 65},
         {{2, "A"}, {30, "B"}},
         {{0, 25, "A"}, {25, 60, "B"}}},
        {"only the last before the start stays",
         {5, 65},
         {{1, "A"}, {2, "B"}, {5, "C"}},
         {{0, 60, "C"}}},
        {"at or after the end left out",
         {0, 60},
         {{10, "A"}, {60, "B"}, {70, "C"}},
         {{10, 60, "A"}}},
        {"stored out of order", {0, 60}, {{40, "B"}, {10, "A"}}, {{10, 40, "A"}, {40, 60, "B"}}},
        {"equal times keep the later", {0, 60}, {{10, "A"}, {10, "B"}}, {{10, 60, "B"}}},
    };
    for (const auto& c : cases) {
        std::vector<Chapter> chapters;
        for (const auto& [time, title] : c.chapters)
            chapters.push_back({Uuid::random(), time, title});
        EXPECT_EQ(exportChapters(chapters, c.range), c.expected) << c.name;
    }
}

} // namespace tw
