// How a project is named to the user: its folder's name without the extension.
#pragma once

#include <filesystem>
#include <string>

namespace tw {

inline std::string projectTitle(std::filesystem::path folder)
{
    if (!folder.has_filename())
        folder = folder.parent_path(); // written with a trailing separator
    return folder.stem().string();
}

} // namespace tw
