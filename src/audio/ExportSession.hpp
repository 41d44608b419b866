// Writes a range of a composition, heard through its audio mix, into an M4A file (AAC-LC in an
// MPEG-4 audio container) or an MP3 file, with its tags, cover and chapters: the same render graph
// as playback, offline and without taps, through the same master stage, rendered and encoded on
// threads of the session's own while the main thread polls progress() and may cancel. With a
// loudness target the mix is first rendered to a temporary file while its loudness is measured,
// then given the one gain that brings it to the target, limited and encoded; the encoded result is
// measured and, should the encoder have pushed its true peak over the ceiling or its loudness off
// the target, encoded again corrected.
#pragma once

#include "audio/AudioFileEncoder.hpp"
#include "audio/AudioMix.hpp"
#include "audio/Composition.hpp"
#include "audio/EncodedLevels.hpp"
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

class BlockSink;
class LoudnessMeter;

enum class ExportFormat { m4a, mp3 };

class ExportSession {
public:
    enum class Status { waiting, exporting, completed, failed, cancelled };

    // Encoded at 48 kHz, mono when every source is mono, else stereo (M4aEncoder and Mp3Encoder
    // say at which bit rates).
    static constexpr int sampleRate = AudioFileEncoder::sampleRate;

    // Fails with the "Export" code 1 error when this FFmpeg has no encoder for the format or the
    // composition has nothing to play. The session keeps its own copies of both.
    static Result<std::unique_ptr<ExportSession>> create(Composition composition, AudioMix mix,
                                                         ExportFormat format = ExportFormat::m4a);
    // Cancels a running export and waits for its thread (unless called from that thread, from
    // the completion handler: then the thread simply ends after it).
    ~ExportSession();
    ExportSession(const ExportSession&) = delete;
    ExportSession& operator=(const ExportSession&) = delete;

    // Settings, made before exportAsynchronously(). Without a time range the whole composition
    // is exported; a range is limited to the composition, as the player would play it.
    void setOutputPath(std::filesystem::path path) { outputPath_ = std::move(path); }
    void setTimeRange(MediaTime start, MediaTime duration);
    // What the file says about itself (the exported file only, not the trial encodings).
    void setMetadata(ExportMetadata metadata) { metadata_ = std::move(metadata); }
    // The integrated loudness the file must have, in LUFS (within 0.5 LU), with a true peak of
    // at most -1 dBTP once decoded; absent, the mix as it is, through the master stage.
    void setLoudnessTarget(std::optional<double> lufs) { target_ = lufs; }
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
    // A completed export's file as decoded: its integrated loudness and true peak.
    std::optional<Levels> levels() const;

    // The most a decoded export's true peak may be, in dBTP.
    static constexpr double peakLimitDb = -1.0;
    // How far a normalised export's loudness may be from its target, in LU.
    static constexpr double loudnessTolerance = 0.5;

private:
    // The encoding reaches this much of the progress; the rest is the encoder's flush and the
    // move of the index to the front of the file.
    static constexpr float encodeShare = 0.99f;
    // A normalised export's first render (faster than encoding) takes this much of it.
    static constexpr float firstPassShare = 0.3f;

    ExportSession(Composition composition, AudioMix mix, ExportFormat format);
    // The export thread's whole job.
    void run(const std::function<void()>& completion);
    void finish(Status status, std::optional<Error> error);
    // Producers of the export's audio (in its channels) for encode(), on a helper thread.
    using Producer = std::function<Result<void>(BlockSink&)>;
    // Encodes the `frames` frames `produce` makes into `path` and measures them (from frame
    // `measuredFrom` on; with `source`, also what went into the encoder); progress moves from
    // `from` to `to`. Absent when cancelled.
    Result<std::optional<Levels>> encode(const Producer& produce, const std::filesystem::path& path,
                                         std::int64_t frames, float from, float to,
                                         std::int64_t measuredFrom = 0,
                                         LoudnessMeter* source = nullptr);
    // The whole range at the target loudness (ExportNormalisation.cpp).
    Result<std::optional<Levels>> encodeNormalised(double target);
    Result<void> renderMix(BlockSink& sink, std::optional<double> ceilingDb) const;

    const Composition composition_;
    const AudioMix mix_;
    const int channels_;
    const ExportFormat format_;
    std::filesystem::path outputPath_;
    ExportMetadata metadata_;
    std::optional<double> target_;
    MediaTime start_;
    MediaTime duration_;
    MediaTime end_; // the range as the composition can play it
    bool createdFile_ = false;

    std::atomic<Status> status_{Status::waiting};
    std::atomic<float> progress_{0};
    std::atomic<bool> cancelled_{false};
    mutable std::mutex errorMutex_;
    std::optional<Error> error_;
    std::optional<Levels> levels_;
    std::thread thread_;
};

} // namespace tw
