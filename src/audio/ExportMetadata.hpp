// What an exported file says about itself besides its sound: the title, artist and album tags,
// the cover art and the chapters, in the terms of the file (seconds from its first sample).
#pragma once

#include "base/Result.hpp"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tw {

struct ExportChapter {
    double start = 0; // seconds from the start of the file
    double end = 0;   // where the next chapter begins, or the end of the file
    std::string title;
    bool operator==(const ExportChapter&) const = default;
};

struct CoverArt {
    enum class Kind { jpeg, png };
    Kind kind = Kind::jpeg;
    int width = 0; // pixels, as the image's header says
    int height = 0;
    std::string bytes; // the image file as it is

    bool operator==(const CoverArt&) const = default;
};

struct ExportMetadata {
    std::string title; // empty: no tag
    std::string artist;
    std::string album;
    std::optional<CoverArt> cover;
    std::vector<ExportChapter> chapters; // in time order, none of zero length
};

// Covers are a few hundred kilobytes; more than this is no cover a podcast app would load.
inline constexpr std::size_t maxCoverBytes = 16u * 1024u * 1024u;

// Reads an image for use as cover art: a JPEG or PNG (recognised by its first bytes, whatever the
// name says) whose header gives its size, of at most maxCoverBytes. Any thread.
Result<CoverArt> readCoverArt(const std::filesystem::path& path);

} // namespace tw
