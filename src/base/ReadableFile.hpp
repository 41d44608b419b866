// The one way the program opens a file for reading: only a regular file (or a symbolic link to
// one) is opened, and the open itself never waits. A FIFO, a device, a socket or a folder given
// as a project, a take or a music file is refused with a Spanish error instead of blocking a
// thread forever or feeding it endless bytes. Any thread.
#pragma once

#include "base/Result.hpp"

#include <cstdint>
#include <filesystem>
#include <string>

namespace tw {

class ReadableFile {
public:
    // Checks what path names before opening it, opens it without blocking, and checks again what
    // was opened (the name may have been replaced in between).
    static Result<ReadableFile> open(const std::filesystem::path& path);

    ReadableFile(ReadableFile&& other) noexcept;
    ReadableFile& operator=(ReadableFile&& other) noexcept;
    ~ReadableFile();

    // A blocking descriptor (close-on-exec) of the opened file, at offset 0.
    int descriptor() const { return fd_; }
    // The size when it was opened.
    std::int64_t size() const { return size_; }
    // Gives the descriptor to the caller, who closes it from now on.
    int release();

private:
    ReadableFile(int fd, std::int64_t size) : fd_(fd), size_(size) {}

    int fd_ = -1;
    std::int64_t size_ = 0;
};

// The whole content of path, refused with tooLarge before anything is read when it holds more
// than limit bytes (and when it grows past limit while it is being read).
Result<std::string> readWholeFile(const std::filesystem::path& path, std::size_t limit,
                                  const Error& tooLarge);

} // namespace tw
