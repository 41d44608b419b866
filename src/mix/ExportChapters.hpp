// The project's chapter markers as the exported file carries them: measured from the start of the
// exported range, a chapter before it moved to that start, one at or after its end left out, and
// each ending where the next begins (the last at the end of the range). Of chapters that would
// begin at the same instant only the last is kept, since the others would last no time at all.
#pragma once

#include "audio/ExportMetadata.hpp"
#include "model/PodcastProject.hpp"

#include <vector>

namespace tw {

std::vector<ExportChapter> exportChapters(const std::vector<Chapter>& chapters, TimeRange range);

} // namespace tw
