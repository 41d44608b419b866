// What a published episode says about itself: its title, who made it, the show it belongs to and
// its cover image. Every field is optional; the export falls back on the project's title.
#pragma once

#include <optional>
#include <string>

namespace tw {

struct EpisodeDetails {
    std::optional<std::string> title; // absent = the project's title
    std::optional<std::string> author;
    std::optional<std::string> show;
    std::optional<std::string> cover; // relative path of a JPEG or PNG inside the project

    bool operator==(const EpisodeDetails&) const = default;
};

} // namespace tw
