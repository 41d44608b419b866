// Who has a project folder open: a lock file in the folder naming the owner's process, host and
// the folder itself, held with an exclusive file lock for as long as the project is open, so that
// two studios (two sessions, two windows) never write over each other's document. A lock whose
// owner died is taken over: the system drops a dead process's file lock, and a process id of this
// host that no longer runs gives the lock away where file locks are not supported. Any thread.
#pragma once

#include "base/Result.hpp"

#include <sys/types.h>

#include <filesystem>
#include <memory>

namespace tw {

class ProjectLock {
public:
    // Takes the folder's lock. Fails, with the Spanish "open elsewhere" message, while another
    // studio holds it. A folder where no lock file can be made (read-only) is not locked: nobody
    // can write there either.
    static Result<std::unique_ptr<ProjectLock>> acquire(const std::filesystem::path& folder);
    // Releases the lock and removes its file.
    ~ProjectLock();
    ProjectLock(const ProjectLock&) = delete;
    ProjectLock& operator=(const ProjectLock&) = delete;

    // The same folder as the locked one, under whatever name.
    bool covers(const std::filesystem::path& folder) const;

    // The lock file inside a project folder.
    static std::filesystem::path fileIn(const std::filesystem::path& folder);

private:
    ProjectLock(std::filesystem::path file, int fd, dev_t device, ino_t inode);

    std::filesystem::path file_;
    int fd_ = -1; // -1: nothing locked (read-only folder)
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

// Keeps held when it already covers folder; otherwise takes folder's lock and then gives up the
// one held before. On failure held is left as it was.
Result<void> moveProjectLock(std::shared_ptr<ProjectLock>& held,
                             const std::filesystem::path& folder);

} // namespace tw
