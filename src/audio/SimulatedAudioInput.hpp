// An audio input for tests: it produces a given signal in pieces like a sound server's (of a
// chosen size, or of random sizes) on a thread of its own, as fast as the callback takes them or
// at the pace of real time, and gathers them into blocks exactly as the real input does. It can
// be told to disappear like an unplugged microphone and to fail the next resume.
#pragma once

#include "audio/AudioInput.hpp"
#include "audio/CaptureBlocks.hpp"

#include <chrono>
#include <condition_variable>
#include <optional>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace tw {

class SimulatedAudioInput : public AudioInput {
public:
    // The sample of one channel at a frame counted from the first delivered frame.
    using Signal = std::function<float(std::int64_t frame, int channel)>;
    enum class Pace { asFastAsPossible, realTime };

    struct Options {
        StreamFormat format{48000, 1, SampleType::float32, true};
        // The frames of each piece the simulated server hands over.
        int pieceFrames = 4096;
        Pace pace = Pace::asFastAsPossible;
        // Frames of signal in all; -1 for an endless one. The last piece may be shorter.
        std::int64_t length = -1;
        // Each piece 1 to pieceFrames frames long, at random (the same sizes on every run), as a
        // server hands them over while something plays.
        bool randomPieces = false;
    };

    SimulatedAudioInput(Options options, Signal signal);
    // Delivers these interleaved samples once (options.length is taken from them).
    SimulatedAudioInput(Options options, std::vector<float> interleaved);
    ~SimulatedAudioInput() override;

    void setCaptureCallback(CaptureCallback callback) override;
    void setConfigurationChangeHandler(ConfigurationChangeHandler handler) override;
    Result<StreamFormat> open(std::uint32_t sourceId, int blockFrames) override;
    Result<void> start() override;
    Result<void> setPaused(bool paused) override;
    void stop() override;
    bool isRunning() const override;
    StreamFormat format() const override;

    // The identifiers open() accepts besides 0 (the default source); any when never set.
    void setSources(std::vector<std::uint32_t> ids);
    // The next setPaused(false) fails with this error and the input stays paused.
    void failNextResume(Error error);
    // Like an unplugged device: delivery ends, isRunning() turns false, the source cannot be
    // opened again, and the configuration-change handler runs on the calling thread.
    void disappear();

    std::uint32_t openedSource() const;
    // Frames handed to the capture callback since open().
    std::int64_t framesDelivered() const;
    // Waits until at least `frames` were delivered, or the whole signal was (or the timeout
    // passed); returns the frames delivered.
    std::int64_t waitForFrames(std::int64_t frames,
                               std::chrono::milliseconds timeout = std::chrono::seconds(10));

private:
    using Clock = std::chrono::steady_clock;

    // Delivery thread.
    void deliver();
    // Delivery thread, with mutex_ held: hands over the partial block and waits until there is
    // more to deliver. False when the input quits.
    bool park(std::unique_lock<std::mutex>& lock);
    int nextPieceFrames();
    bool ended() const { return options_.length >= 0 && generated_ >= options_.length; }
    void joinDelivery();

    Options options_;
    Signal signal_;
    std::vector<float> piece_;
    CaptureBlocks blocks_;
    std::minstd_rand pieceSizes_;

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    CaptureCallback capture_;
    ConfigurationChangeHandler changeHandler_;
    std::optional<std::vector<std::uint32_t>> sources_;
    std::set<std::uint32_t> gone_;
    std::optional<Error> resumeFailure_;
    std::uint32_t openedSource_ = 0;
    bool opened_ = false;
    bool started_ = false;
    bool paused_ = false;
    bool quit_ = false;
    bool parked_ = false;
    std::int64_t generated_ = 0;
    std::int64_t delivered_ = 0;
    Clock::time_point paceOrigin_;
    std::thread thread_;
};

} // namespace tw
