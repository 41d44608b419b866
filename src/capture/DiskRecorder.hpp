// Captures one input to a CAF file on disk while producing what the studio shows live: the input
// peak, the growing peak envelope (50 per second), the recorded duration and the "record"
// spectrum. Three threads meet here: the capture thread only copies each 4096-frame buffer into
// one of 32 preallocated slots (some 2.7 s at 48 kHz) and wakes the writer; the
// "Tapewright.disk-writer" queue writes, analyses and builds the envelope; the main thread polls
// status(). When the disk falls 32 buffers behind, the capture thread drops the buffer and reports
// a failure instead of waiting.
#pragma once

#include "audio/AudioInput.hpp"
#include "audio/CafWriter.hpp"
#include "base/Result.hpp"
#include "base/SerialQueue.hpp"
#include "capture/SpectrumAnalyzer.hpp"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <semaphore>
#include <vector>

namespace tw {

class DiskRecorder {
public:
    using InputFactory = std::function<std::unique_ptr<AudioInput>()>;
    using WriterFactory = std::function<Result<std::unique_ptr<CafWriter>>(
        const std::filesystem::path&, double sampleRate, int channels)>;
    // Any thread: the input of a running capture reported a configuration change. The argument
    // identifies the input (compare it in captureWasInterrupted on the main thread).
    using ConfigurationChangeHandler = std::function<void(const void* input)>;

    static constexpr int slotCount = 32;
    // The buffer size asked of the input: the disk's slack, the input peak, the levels and the
    // spectrum are all taken over buffers of this size.
    static constexpr int bufferFrames = 4096;

    struct Status {
        float peak = 0;
        std::optional<Error> error;
        std::vector<float> peaks;
        double duration = 0;
    };

    // Each start makes a new input through the factory; the writer factory defaults to
    // CafWriter::create.
    explicit DiskRecorder(InputFactory makeInput, WriterFactory makeWriter = {},
                          SpectrumMonitor& monitor = SpectrumMonitor::shared());
    ~DiskRecorder();

    DiskRecorder(const DiskRecorder&) = delete;
    DiskRecorder& operator=(const DiskRecorder&) = delete;

    void setConfigurationChangeHandler(ConfigurationChangeHandler handler);

    // Main thread. device: a catalog identifier, absent for the system's default input.
    Result<void> start(const std::filesystem::path& url, std::optional<std::uint32_t> device);
    // Ends the capture, waits for every queued buffer to be written, flushes the last envelope
    // bucket and closes the file. Blocks: call it off the main thread. Safe when idle.
    void stop();
    // Main thread: takes the envelope values computed since the last call.
    Status status();
    // Does nothing when idle; resuming can fail with the input's error.
    Result<void> setPaused(bool paused);
    // True only when a capture runs on `input`, it is not paused and the input stopped running.
    bool captureWasInterrupted(const void* input, bool paused) const;

    double sampleRate() const;
    const SpectrumAnalyzer& spectrum() const { return spectrum_; }

private:
    struct Slot {
        std::vector<float> samples;
        int frames = 0;
    };

    // Capture thread.
    void capture(const AudioBufferList& list, int frames);
    // Writer queue: drains the slots until stop.
    void pump();
    void writeSlot(Slot& slot);

    InputFactory makeInput_;
    WriterFactory makeWriter_;
    SpectrumAnalyzer spectrum_;
    ConfigurationChangeHandler changeHandler_;

    std::unique_ptr<AudioInput> input_;
    std::unique_ptr<CafWriter> file_;
    int channels_ = 0;

    mutable std::mutex
        lock_; // failure_, pendingPeaks_, framesWritten_, sampleRate_, file_ on close
    std::optional<Error> failure_;
    std::vector<float> pendingPeaks_;
    std::vector<float> spare_;
    std::int64_t framesWritten_ = 0;
    double sampleRate_ = 48000.0;

    // Capture thread to writer: slots are filled and freed in the same order.
    std::vector<Slot> slots_;
    std::counting_semaphore<slotCount> freeSlots_{slotCount};
    std::counting_semaphore<slotCount + 1> filledSlots_{0};
    std::atomic<std::uint64_t> produced_ = 0;
    std::uint64_t consumed_ = 0; // writer queue only
    std::atomic<bool> stopping_ = false;
    std::atomic<bool> dropped_ = false;
    std::atomic<float> peak_ = 0;

    // Envelope state, writer queue only.
    float runningMax_ = 0;
    int bucketCount_ = 0;
    int framesPerPeak_ = 960;
    bool capturing_ = false; // main thread / finalizer

    SerialQueue writer_{"Tapewright.disk-writer"};
};

} // namespace tw
