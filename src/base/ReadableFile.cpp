#include "base/ReadableFile.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tw {

namespace {

// What a name that is no regular file turned out to be, for the message.
const char* kindOf(mode_t mode)
{
    if (S_ISDIR(mode))
        return "una carpeta";
    if (S_ISFIFO(mode))
        return "una tubería (FIFO)";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "un dispositivo";
    if (S_ISSOCK(mode))
        return "un socket";
    return "un archivo especial";
}

std::string cannotRead(const std::filesystem::path& path)
{
    return "No se puede leer «" + path.filename().string() + "»";
}

Error notRegular(const std::filesystem::path& path, mode_t mode)
{
    return Error{ErrorDomain::system, EINVAL,
                 cannotRead(path) + ": es " + kindOf(mode) + ", no un archivo."};
}

} // namespace

Result<ReadableFile> ReadableFile::open(const std::filesystem::path& path)
{
    struct stat named {};
    if (::stat(path.c_str(), &named) != 0)
        return systemError(errno, cannotRead(path));
    if (!S_ISREG(named.st_mode))
        return notRegular(path, named.st_mode);
    // O_NONBLOCK: should a FIFO or a device take the name's place after the check, the open
    // returns at once instead of waiting for a writer; what was opened is checked below.
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return systemError(errno, cannotRead(path));
    struct stat opened {};
    if (::fstat(fd, &opened) != 0 || !S_ISREG(opened.st_mode)) {
        const int failure = errno;
        const mode_t mode = opened.st_mode;
        ::close(fd);
        return mode != 0 ? notRegular(path, mode) : systemError(failure, cannotRead(path));
    }
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags < 0 || ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
        const int failure = errno;
        ::close(fd);
        return systemError(failure, cannotRead(path));
    }
    return ReadableFile(fd, static_cast<std::int64_t>(opened.st_size));
}

ReadableFile::ReadableFile(ReadableFile&& other) noexcept : fd_(other.release()), size_(other.size_)
{
}

ReadableFile& ReadableFile::operator=(ReadableFile&& other) noexcept
{
    if (this != &other) {
        if (fd_ >= 0)
            ::close(fd_);
        size_ = other.size_;
        fd_ = other.release();
    }
    return *this;
}

ReadableFile::~ReadableFile()
{
    if (fd_ >= 0)
        ::close(fd_);
}

int ReadableFile::release()
{
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

Result<std::string> readWholeFile(const std::filesystem::path& path, std::size_t limit,
                                  const Error& tooLarge)
{
    Result<ReadableFile> file = ReadableFile::open(path);
    if (!file)
        return file.error();
    if (static_cast<std::uint64_t>(file.value().size()) > limit)
        return tooLarge;
    std::string content(static_cast<std::size_t>(file.value().size()), '\0');
    std::size_t used = 0;
    for (;;) {
        // One byte beyond the limit tells a file that grew too large from one that fits exactly.
        if (used == content.size())
            content.resize(std::min(limit + 1, std::max<std::size_t>(content.size() * 2, 4096)));
        const ssize_t got =
            ::read(file.value().descriptor(), content.data() + used, content.size() - used);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return systemError(errno, cannotRead(path));
        if (got == 0)
            break;
        used += static_cast<std::size_t>(got);
        if (used > limit)
            return tooLarge;
    }
    content.resize(used);
    return content;
}

} // namespace tw
