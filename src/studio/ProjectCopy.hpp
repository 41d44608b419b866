// A copy of a whole project folder in a new place, for "Guardar una copia…". Blocking; any
// thread.
#pragma once

#include "base/Result.hpp"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace tw {

// Copies every file of from's Media folder (takes and music the undo history may still name),
// the files of named (paths relative to from) that lie elsewhere in it, and writes document as
// the copy's project.json. The copy is made under a hidden name beside to and renamed to to once
// complete, so to appears whole or not at all; on failure nothing is left. to must not exist.
Result<void> copyProjectFolder(const std::filesystem::path& from, const std::filesystem::path& to,
                               const std::vector<std::string>& named, std::string_view document);

} // namespace tw
