// Copying audio into a project's Media folder under fresh names: the files of pasted clips and
// imported music. Any thread; the paste runs it in the background.
#pragma once

#include "base/Result.hpp"
#include "model/Segment.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace tw {

// Both folders name the same location once made absolute and rid of "." and ".." components.
bool sameFolder(const std::filesystem::path& a, const std::filesystem::path& b);

// "Media/<prefix>-<UUID>.<extension of source>", relative to a project folder.
std::string freshMediaName(const std::string& prefix, const std::filesystem::path& source);

// Creates Media (and the folder itself) if needed and byte-copies source there under name.
Result<void> copyIntoProject(const std::filesystem::path& source,
                             const std::filesystem::path& projectFolder, const std::string& name);

// The clips as they must be pasted into target: unchanged when they come from the same folder;
// otherwise every distinct source file is copied once as a "paste" file and the clips refer to
// the copies. The first failure ends the work; files copied before it stay.
Result<std::vector<Segment>> preparePastedClips(std::vector<Segment> clips,
                                                const std::filesystem::path& sourceFolder,
                                                const std::filesystem::path& targetFolder);

} // namespace tw
