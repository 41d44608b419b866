#include "studio/FileMove.hpp"

#include "base/ReadableFile.hpp"
#include "studio/StaleTemporaries.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tw {

Result<void> copyFile(const std::filesystem::path& from, const std::filesystem::path& to)
{
    Result<ReadableFile> source = ReadableFile::open(from);
    if (!source)
        return source.error();
    const int in = source.value().descriptor();
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (out < 0)
        return systemError(errno);
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
    if (failure != 0)
        return systemError(failure);
    return {};
}

Result<void> copyIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to)
{
    const std::filesystem::path staging = stagingPath(to);
    Result<void> copied = copyFile(from, staging);
    if (copied && ::rename(staging.c_str(), to.c_str()) != 0)
        copied = systemError(errno);
    if (!copied)
        ::unlink(staging.c_str());
    return copied;
}

Result<void> moveIntoPlace(const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (::rename(from.c_str(), to.c_str()) == 0)
        return {};
    if (errno != EXDEV)
        return systemError(errno);
    Result<void> copied = copyIntoPlace(from, to);
    if (copied)
        ::unlink(from.c_str());
    return copied;
}

} // namespace tw
