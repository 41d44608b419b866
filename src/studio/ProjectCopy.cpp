#include "studio/ProjectCopy.hpp"

#include "studio/FileMove.hpp"
#include "studio/ProjectWriter.hpp"
#include "studio/StaleTemporaries.hpp"

#include <cerrno>
#include <cstdio>

namespace tw {

namespace {

Result<void> copyInto(const std::filesystem::path& from, const std::filesystem::path& copy,
                      const std::vector<std::string>& named, std::string_view document)
{
    std::error_code error;
    std::filesystem::create_directories(copy / "Media", error);
    if (error)
        return systemError(error.value());
    const std::filesystem::path media = from / "Media";
    if (std::filesystem::is_directory(media, error)) {
        for (auto entry = std::filesystem::recursive_directory_iterator(media, error);
             !error && entry != std::filesystem::recursive_directory_iterator();
             entry.increment(error)) {
            const std::filesystem::path target = copy / entry->path().lexically_relative(from);
            std::error_code kind; // a dangling link or a FIFO is no media to copy
            if (entry->is_directory(kind))
                std::filesystem::create_directories(target, error);
            else if (entry->is_regular_file(kind))
                if (Result<void> copied = copyFile(entry->path(), target); !copied)
                    return copied;
        }
        if (error)
            return systemError(error.value());
    }
    for (const std::string& name : named) {
        const std::filesystem::path target = copy / name;
        if (std::filesystem::exists(target, error) || !std::filesystem::exists(from / name, error))
            continue; // copied with Media, or missing in the original as well
        std::filesystem::create_directories(target.parent_path(), error);
        if (Result<void> copied = copyFile(from / name, target); !copied)
            return copied;
    }
    return writeProjectFile(copy, document);
}

} // namespace

Result<void> copyProjectFolder(const std::filesystem::path& from, const std::filesystem::path& to,
                               const std::vector<std::string>& named, std::string_view document)
{
    const std::filesystem::path staging = stagingPath(to);
    Result<void> copied = copyInto(from, staging, named, document);
    std::error_code error;
    if (copied && std::filesystem::exists(to, error))
        copied = systemError(EEXIST);
    if (copied && std::rename(staging.c_str(), to.c_str()) != 0)
        copied = systemError(errno);
    if (!copied)
        std::filesystem::remove_all(staging, error);
    return copied;
}

} // namespace tw
