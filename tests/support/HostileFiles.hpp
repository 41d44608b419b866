// Names that are no regular files, put where a document, a take or a music file belongs, and a
// watchdog that gives whoever still blocks on such a FIFO after a while an end of file: code that
// regresses then fails its test instead of hanging the suite.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tw::testing {

struct SpecialFile {
    std::string kind;    // "fifo", "zero" (a link to /dev/zero) or "folder"
    std::string message; // what the refusal says it is
};

inline const std::vector<SpecialFile>& specialFiles()
{
    static const std::vector<SpecialFile> kinds = {
        {"fifo", "es una tubería (FIFO), no un archivo."},
        {"zero", "es un dispositivo, no un archivo."},
        {"folder", "es una carpeta, no un archivo."}};
    return kinds;
}

inline void makeSpecialFile(const std::filesystem::path& path, const std::string& kind)
{
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::remove_all(path);
    if (kind == "fifo")
        ::mkfifo(path.c_str(), 0644);
    else if (kind == "zero")
        std::filesystem::create_symlink("/dev/zero", path);
    else
        std::filesystem::create_directory(path);
}

class FifoWatchdog {
public:
    explicit FifoWatchdog(std::vector<std::filesystem::path> fifos)
        : thread_([this, fifos = std::move(fifos)] {
            std::unique_lock lock(mutex_);
            for (auto patience = std::chrono::seconds(5);
                 !wake_.wait_for(lock, patience, [this] { return done_; });
                 patience = std::chrono::seconds(0)) {
                fired_ = true;
                // A writer's open and close give a blocked reader its open and an end of file.
                for (const auto& fifo : fifos)
                    if (const int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK); fd >= 0)
                        ::close(fd);
                wake_.wait_for(lock, std::chrono::milliseconds(10));
            }
        })
    {
    }
    ~FifoWatchdog() { dismiss(); }

    // Stops watching; true when nothing blocked long enough to need the watchdog.
    bool dismiss()
    {
        {
            std::lock_guard lock(mutex_);
            done_ = true;
        }
        wake_.notify_all();
        if (thread_.joinable())
            thread_.join();
        return !fired_;
    }

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    bool fired_ = false;
    std::thread thread_;
};

} // namespace tw::testing
