#include "studio/FileMove.hpp"

#include "base/Uuid.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace tw {

namespace {

// Copies from into a new file at to and syncs it. Fails with errno's description.
Result<void> copyWhole(const std::filesystem::path& from, const std::filesystem::path& to)
{
    const int in = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return systemError(errno);
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (out < 0) {
        const int failure = errno;
        ::close(in);
        return systemError(failure);
    }
    char buffer[1 << 16];
    int failure = 0;
    for (;;) {
        const ssize_t got = ::read(in, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            failure = got < 0 ? errno : 0;
            break;
        }
        for (ssize_t written = 0; written < got && failure == 0;) {
            const ssize_t put = ::write(out, buffer + written, static_cast<size_t>(got - written));
            if (put < 0 && errno != EINTR)
                failure = errno;
            else if (put > 0)
                written += put;
        }
        if (failure != 0)
            break;
    }
    if (failure == 0 && ::fsync(out) != 0)
        failure = errno;
    if (::close(out) != 0 && failure == 0)
        failure = errno;
    ::close(in);
    if (failure != 0)
        return systemError(failure);
    return {};
}

} // namespace

Result<void> moveIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (::rename(from.c_str(), to.c_str()) == 0)
        return {};
    if (errno != EXDEV)
        return systemError(errno);
    // A hidden name beside the target (appended piece by piece: GCC 12 at -O3 warns falsely
    // about "." + std::string).
    std::string name = ".";
    name.append(to.filename().string()).append(".").append(Uuid::random().text());
    const std::filesystem::path staging = to.parent_path() / name;
    if (Result<void> copied = copyWhole(from, staging); !copied) {
        ::unlink(staging.c_str());
        return copied;
    }
    if (::rename(staging.c_str(), to.c_str()) != 0) {
        const int failure = errno;
        ::unlink(staging.c_str());
        return systemError(failure);
    }
    ::unlink(from.c_str());
    return {};
}

} // namespace tw
