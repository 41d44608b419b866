// Reading and atomically replacing project.json. Plain POSIX calls and no shared state, so the
// writer queue, a test's forked child and anything else may call them from any thread.
#pragma once

#include "base/Result.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace tw {

// Writes bytes to a temporary file beside file, flushes it to disk, renames it over file and
// flushes the folder: a reader, or the next start after a crash, sees the old or the new content,
// never a mix. On failure the temporary file is removed and file keeps its old content.
Result<void> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes);

// project.json inside a project folder.
std::filesystem::path projectFilePath(const std::filesystem::path& folder);
Result<void> writeProjectFile(const std::filesystem::path& folder, std::string_view bytes);
Result<std::string> readProjectFile(const std::filesystem::path& folder);

} // namespace tw
