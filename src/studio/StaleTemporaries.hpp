// The names the program gives files it is still writing, and the removal of those a killed
// process left behind. Only names of exactly these patterns are ever removed. Any thread.
#pragma once

#include <filesystem>

namespace tw {

// Where a file is written before it is renamed to final: a hidden name beside it that ends in a
// new UUID.
std::filesystem::path stagingPath(const std::filesystem::path& final);

// Removes, in a project folder and its Media folder, the temporaries of the document writer
// (".project.json.XXXXXX") and of the media copies (stagingPath) that a crash left there. Call it
// only while no writer of this program works in that folder.
void removeStaleTemporaries(const std::filesystem::path& projectFolder);

// A new temporary export file in the system's temporary folder, named after this process.
std::filesystem::path exportTemporaryPath();
// Removes the temporary export files there of processes that no longer run.
void removeStaleExportTemporaries();

} // namespace tw
