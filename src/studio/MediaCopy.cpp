#include "studio/MediaCopy.hpp"

#include "base/Uuid.hpp"
#include "studio/FileMove.hpp"

#include <map>
#include <system_error>

namespace tw {

namespace {

std::filesystem::path standardised(const std::filesystem::path& folder)
{
    std::error_code error;
    std::filesystem::path path = std::filesystem::absolute(folder, error).lexically_normal();
    if (!path.has_filename() && path.has_parent_path() && path != path.root_path())
        path = path.parent_path(); // drop a trailing separator
    return path;
}

} // namespace

bool sameFolder(const std::filesystem::path& a, const std::filesystem::path& b)
{
    return standardised(a) == standardised(b);
}

std::string freshMediaName(const std::string& prefix, const std::filesystem::path& source)
{
    std::string name = "Media/" + prefix + "-" + Uuid::random().text();
    const std::string extension = source.extension().string(); // with its dot, or empty
    return name + extension;
}

Result<void> copyIntoProject(const std::filesystem::path& source,
                             const std::filesystem::path& projectFolder, const std::string& name)
{
    std::error_code error;
    std::filesystem::create_directories(projectFolder / "Media", error);
    if (error)
        return systemError(error.value());
    // Never a partial file under a name the document may come to hold.
    return copyIntoPlace(source, projectFolder / name);
}

Result<std::vector<Segment>> preparePastedClips(std::vector<Segment> clips,
                                                const std::filesystem::path& sourceFolder,
                                                const std::filesystem::path& targetFolder)
{
    if (sameFolder(sourceFolder, targetFolder))
        return clips;
    std::error_code error;
    std::filesystem::create_directories(targetFolder / "Media", error);
    if (error)
        return systemError(error.value());
    std::map<std::string, std::string> copies; // source name → its copy in this paste
    for (Segment& clip : clips) {
        if (!clip.file)
            continue;
        auto copy = copies.find(*clip.file);
        if (copy == copies.end()) {
            const std::string name = freshMediaName("paste", *clip.file);
            if (Result<void> copied =
                    copyIntoProject(sourceFolder / *clip.file, targetFolder, name);
                !copied)
                return copied.error();
            copy = copies.emplace(*clip.file, name).first;
        }
        clip.file = copy->second;
    }
    return clips;
}

} // namespace tw
