#include "mix/ExportChapters.hpp"

#include <algorithm>

namespace tw {

std::vector<ExportChapter> exportChapters(const std::vector<Chapter>& chapters, TimeRange range)
{
    std::vector<Chapter> sorted = chapters;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Chapter& a, const Chapter& b) { return a.time < b.time; });
    const double length = range.upper - range.lower;
    std::vector<ExportChapter> exported;
    for (const Chapter& chapter : sorted) {
        if (chapter.time >= range.upper)
            break;
        const double start = std::max(chapter.time - range.lower, 0.0);
        if (!exported.empty() && exported.back().start == start)
            exported.pop_back();
        if (!exported.empty())
            exported.back().end = start;
        exported.push_back({start, length, chapter.title});
    }
    return exported;
}

} // namespace tw
