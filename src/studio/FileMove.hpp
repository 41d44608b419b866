// Putting a finished file at its destination, replacing what was there only once the new file is
// whole there.
#pragma once

#include "base/Result.hpp"

#include <filesystem>

namespace tw {

// Moves from to to, replacing an existing file. Across file systems the file is first copied
// next to the destination under a hidden name and then renamed over it, so the destination is
// never partial. Fails with the system's description; from is left where it was on failure.
Result<void> moveIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace tw
