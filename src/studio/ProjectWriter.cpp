#include "studio/ProjectWriter.hpp"

#include "base/ReadableFile.hpp"
#include "model/ProjectJson.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tw {

namespace {

// Writes everything, retrying interrupted and short writes. Returns 0 or an errno value.
int writeAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

// The rename is only durable once the folder's entry is on disk. Some file systems cannot sync a
// folder (EINVAL); the file content itself is already synced then, so that is not a failure.
int syncFolder(const std::filesystem::path& folder)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return errno;
    int status = 0;
    if (::fsync(fd) != 0 && errno != EINVAL)
        status = errno;
    ::close(fd);
    return status;
}

} // namespace

Result<void> writeFileAtomically(const std::filesystem::path& file, std::string_view bytes)
{
    std::filesystem::path folder = file.parent_path();
    if (folder.empty())
        folder = ".";
    // A hidden name in the same folder, so the rename never crosses file systems.
    // (Appended piece by piece: GCC 12 at -O3 warns falsely about "." + std::string.)
    std::string name = ".";
    name.append(file.filename().string()).append(".XXXXXX");
    std::string temporary = (folder / name).string();
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return systemError(errno);

    int status = ::fchmod(fd, 0644) == 0 ? 0 : errno;
    if (status == 0)
        status = writeAll(fd, bytes);
    if (status == 0 && ::fsync(fd) != 0)
        status = errno;
    if (::close(fd) != 0 && status == 0)
        status = errno;
    if (status == 0 && ::rename(temporary.c_str(), file.c_str()) != 0)
        status = errno;
    if (status != 0) {
        ::unlink(temporary.c_str());
        return systemError(status);
    }
    if (const int folderStatus = syncFolder(folder); folderStatus != 0)
        return systemError(folderStatus);
    return {};
}

std::filesystem::path projectFilePath(const std::filesystem::path& folder)
{
    return folder / "project.json";
}

Result<void> writeProjectFile(const std::filesystem::path& folder, std::string_view bytes)
{
    return writeFileAtomically(projectFilePath(folder), bytes);
}

Result<std::string> readProjectFile(const std::filesystem::path& folder)
{
    // The size is checked before anything is read: a link to /dev/zero or a huge file is refused
    // at once instead of filling the memory.
    return readWholeFile(projectFilePath(folder), maxDocumentBytes, documentTooLargeError());
}

} // namespace tw
