// Putting a finished file at its destination, replacing what was there only once the new file is
// whole there.
#pragma once

#include "base/Result.hpp"

#include <filesystem>

namespace tw {

// Copies from into a new file at to (which must not exist yet) and syncs it. Fails with the
// system's description.
Result<void> copyFile(const std::filesystem::path& from, const std::filesystem::path& to);

// Copies from to to under a hidden name beside to and renames it there when whole, so that to
// never holds a partial copy, not even after a crash. Nothing is left behind on failure.
Result<void> copyIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to);

// Moves from to to, replacing an existing file. Across file systems the file is first copied
// next to the destination under a hidden name and then renamed over it, so the destination is
// never partial. Fails with the system's description; from is left where it was on failure.
Result<void> moveIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace tw
