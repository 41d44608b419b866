#include "studio/ProjectLock.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>
#include <sstream>
#include <string>

namespace tw {

namespace {

struct Owner {
    long pid = 0;
    std::string host;
    unsigned long long folder = 0; // the locked folder's inode
};

std::string thisHost()
{
    char name[256] = {};
    ::gethostname(name, sizeof name - 1);
    return name;
}

// The lock file's lines: the process id, the host name, the folder's inode.
std::optional<Owner> readOwner(int fd)
{
    char text[320] = {};
    const ssize_t got = ::pread(fd, text, sizeof text - 1, 0);
    if (got <= 0)
        return std::nullopt;
    std::istringstream lines(std::string(text, static_cast<std::size_t>(got)));
    Owner owner;
    std::string pid, folder;
    std::getline(lines, pid);
    std::getline(lines, owner.host);
    std::getline(lines, folder);
    try {
        owner.pid = std::stol(pid);
        owner.folder = std::stoull(folder);
    } catch (const std::exception&) {
        return std::nullopt;
    }
    return owner;
}

bool runsOnThisHost(long pid)
{
    return pid > 0 && (::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM);
}

Error openElsewhere(const std::optional<Owner>& owner)
{
    std::string text = "El proyecto ya está abierto en otra ventana de Bobinet 2";
    if (owner)
        text += " (proceso " + std::to_string(owner->pid) + " en «" + owner->host + "»)";
    return Error{ErrorDomain::project, 4, text + ". Ciérralo allí para abrirlo aquí."};
}

bool sameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

} // namespace

std::filesystem::path ProjectLock::fileIn(const std::filesystem::path& folder)
{
    return folder / ".tapewright-lock";
}

ProjectLock::ProjectLock(std::filesystem::path file, int fd, dev_t device, ino_t inode)
    : file_(std::move(file))
    , fd_(fd)
    , device_(device)
    , inode_(inode)
{
}

Result<std::unique_ptr<ProjectLock>> ProjectLock::acquire(const std::filesystem::path& folder)
{
    struct stat place {};
    if (::stat(folder.c_str(), &place) != 0)
        return systemError(errno);
    const std::filesystem::path file = fileIn(folder);
    const std::string host = thisHost();
    // A holder that releases between our open and our lock has removed the file we opened: the
    // lock is then taken again on the new file.
    for (int attempt = 0; attempt < 8; ++attempt) {
        const int fd =
            ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
        if (fd < 0) {
            if (errno == EROFS || errno == EACCES || errno == EPERM)
                return std::unique_ptr<ProjectLock>(
                    new ProjectLock(file, -1, place.st_dev, place.st_ino));
            return systemError(errno, "No se pudo bloquear el proyecto");
        }
        struct stat opened {};
        if (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode)) {
            ::close(fd);
            return systemError(EINVAL, "No se pudo bloquear el proyecto");
        }
        const bool locked = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
        const int lockFailure = errno;
        std::optional<Owner> owner = readOwner(fd);
        // A lock file copied along with the folder (a backup, a copy on a memory stick) names
        // another folder: it locks nothing.
        if (owner && owner->folder != static_cast<unsigned long long>(place.st_ino))
            owner.reset();
        // Without file locks (some network file systems) a live owner on this host still counts.
        const bool heldHere =
            !locked && (lockFailure == EWOULDBLOCK || (owner && runsOnThisHost(owner->pid)));
        // A lock of another machine cannot be checked from here, so it is respected.
        if (heldHere || (owner && owner->host != host)) {
            ::close(fd);
            return openElsewhere(owner);
        }
        struct stat named {};
        if (::stat(file.c_str(), &named) != 0 || !sameFile(named, opened)) {
            ::close(fd);
            continue;
        }
        const std::string text =
            std::to_string(::getpid()) + "\n" + host + "\n" + std::to_string(place.st_ino) + "\n";
        if (::ftruncate(fd, 0) != 0 ||
            ::pwrite(fd, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
            const int failure = errno;
            ::close(fd);
            return systemError(failure, "No se pudo bloquear el proyecto");
        }
        return std::unique_ptr<ProjectLock>(new ProjectLock(file, fd, place.st_dev, place.st_ino));
    }
    return openElsewhere(std::nullopt);
}

ProjectLock::~ProjectLock()
{
    if (fd_ < 0)
        return;
    // Removed while still locked, so nobody can take the lock of a file that is going away.
    ::unlink(file_.c_str());
    ::close(fd_);
}

bool ProjectLock::covers(const std::filesystem::path& folder) const
{
    struct stat place {};
    return ::stat(folder.c_str(), &place) == 0 && place.st_dev == device_ && place.st_ino == inode_;
}

Result<void> moveProjectLock(std::shared_ptr<ProjectLock>& held,
                             const std::filesystem::path& folder)
{
    if (held && held->covers(folder))
        return {};
    Result<std::unique_ptr<ProjectLock>> taken = ProjectLock::acquire(folder);
    if (!taken)
        return taken.error();
    held = std::move(taken).value();
    return {};
}

} // namespace tw
