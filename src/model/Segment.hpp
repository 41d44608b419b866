// One voice clip: a window of a source file placed on the timeline.
#pragma once

#include "base/Uuid.hpp"
#include "model/SharedText.hpp"

#include <optional>
#include <string>

namespace tw {

struct Segment {
    Uuid id = Uuid::random();
    double start = 0;                    // offset inside the source file, seconds
    double duration = 0;                 // seconds
    SharedText file;                     // relative path; absent = the project's voiceFile
    std::optional<double> timelineStart; // absent = right after the previous stored segment
    std::optional<float> gain;           // linear; absent = 1

    bool operator==(const Segment&) const = default;
};

} // namespace tw
