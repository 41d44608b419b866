// A chapter marker: a place on the timeline that a listener's app can jump to, and its name.
#pragma once

#include "base/Uuid.hpp"

#include <string>

namespace tw {

struct Chapter {
    Uuid id = Uuid::random();
    double time = 0; // seconds on the timeline
    std::string title;

    bool operator==(const Chapter&) const = default;
};

} // namespace tw
