// Writes a range of a composition, heard through its audio mix, into an M4A file (AAC-LC in an
// MPEG-4 audio container): the same render graph as playback, offline and without taps, rendered
// and encoded on threads of the session's own while the main thread polls progress() and may
// cancel.
#pragma once

#include "audio/AudioMix.hpp"
#include "audio/Composition.hpp"
#include "audio/MediaTime.hpp"
#include "base/Result.hpp"

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace tw {

// Codes of the "Export" errors.
namespace ExportError {
inline constexpr int noSession = 1; // no session can be made for the composition
inline constexpr int failed = 2;    // the export ended failed without a more precise error
} // namespace ExportError

// The "Export" error of a code above, with its Spanish description.
Error exportError(int code);

class ExportSession {
public:
    enum class Status { waiting, exporting, completed, failed, cancelled };

    // The encoded format: 48 kHz AAC-LC, mono at 96 kb/s when every source is mono, else stereo
    // at 160 kb/s.
    static constexpr int sampleRate = 48000;
    static constexpr int monoBitRate = 96000;
    static constexpr int stereoBitRate = 160000;

    // Fails with the "Export" code 1 error when this FFmpeg has no AAC encoder or the composition
    // has nothing to play. The session keeps its own copies of both.
    static Result<std::unique_ptr<ExportSession>> create(Composition composition, AudioMix mix);
    // Cancels a running export and waits for its thread (unless called from that thread, from
    // the completion handler: then the thread simply ends after it).
    ~ExportSession();
    ExportSession(const ExportSession&) = delete;
    ExportSession& operator=(const ExportSession&) = delete;

    // Settings, made before exportAsynchronously(). Without a time range the whole composition
    // is exported; a range is limited to the composition, as the player would play it.
    void setOutputPath(std::filesystem::path path) { outputPath_ = std::move(path); }
    void setTimeRange(MediaTime start, MediaTime duration);
    void setTitle(std::string title) { title_ = std::move(title); }
    const std::filesystem::path& outputPath() const { return outputPath_; }
    // The channels the file will have: 1 when every source is mono, else 2.
    int channels() const { return channels_; }

    // Starts the export on the session's own thread; completion runs on that thread once the
    // status is final. Only the first call starts anything. A failed or cancelled export leaves
    // no file at the output path.
    void exportAsynchronously(std::function<void()> completion);
    // Asks the export to stop soon; it ends cancelled. Any thread.
    void cancelExport();

    // Any thread. progress() rises monotonically from 0 to 1 (1 once completed).
    float progress() const { return progress_.load(std::memory_order_relaxed); }
    Status status() const { return status_.load(std::memory_order_acquire); }
    // The failure of a failed export (always present then), else nothing.
    std::optional<Error> error() const;

private:
    ExportSession(Composition composition, AudioMix mix);
    // The export thread's whole job.
    void run(const std::function<void()>& completion);
    void finish(Status status, std::optional<Error> error);

    const Composition composition_;
    const AudioMix mix_;
    const int channels_;
    std::filesystem::path outputPath_;
    std::string title_;
    MediaTime start_;
    MediaTime duration_;

    std::atomic<Status> status_{Status::waiting};
    std::atomic<float> progress_{0};
    std::atomic<bool> cancelled_{false};
    mutable std::mutex errorMutex_;
    std::optional<Error> error_;
    std::thread thread_;
};

} // namespace tw
