// The master stage of the mix, after the tracks are summed, the same in playback and in export: a
// look-ahead limiter that keeps the true peak (the peak of the reconstructed waveform between
// samples, see TruePeakDetector) at or below its ceiling, so that no sample over full scale
// ever reaches the sound server, a resampler or an encoder. Below the ceiling it changes
// nothing: the output is the input, delayed by latency() frames.
//
// Render thread (or an offline render): process() never locks, allocates or waits; everything
// it needs is allocated when it is made.
#pragma once

#include "audio/TruePeakDetector.hpp"

#include <cstdint>
#include <vector>

namespace tw {

class TruePeakLimiter {
public:
    // The ceiling of the master stage, in dBTP.
    static constexpr double defaultCeilingDb = -1.0;

    // For interleaved audio of `channels` channels at `rate`. Allocates.
    TruePeakLimiter(double rate, int channels, double ceilingDb = defaultCeilingDb);

    // Limits frames of interleaved audio in place; the output lags the input by latency().
    void process(float* interleaved, int frames);
    // Silence in the delay line and a gain of 1, as when made (a new position to play from).
    void reset();

    // Frames between a frame going in and the same frame coming out.
    int latency() const { return latency_; }
    int channels() const { return channels_; }
    double ceilingDb() const { return ceilingDb_; }
    // The gain applied to the last frame out (1 when the limiter is not acting).
    double gain() const { return gain_; }

private:
    static constexpr int blockFrames = 256;
    static constexpr int hold = 8; // frames either side of a peak that share its gain

    void processBlock(float* interleaved, int frames);
    // One required gain in, the gain for the frame leaving the delay line out.
    double nextGain(double required);

    int channels_;
    double ceilingDb_;
    double ceiling_;
    int attack_;  // frames over which the gain falls to a peak's
    int window_;  // frames whose lowest required gain holds
    int latency_; // the detector's delay + hold + attack - 1
    double release_;

    TruePeakDetector detector_;
    std::vector<float> peaks_; // per frame of the block
    std::vector<float> delay_; // latency_ frames, interleaved, circular
    int delayAt_ = 0;

    // The lowest required gain of the last window_ frames: a monotonic queue of (frame, gain).
    std::vector<std::int64_t> minFrames_;
    std::vector<double> minGains_;
    int minHead_ = 0, minCount_ = 0;
    std::int64_t frame_ = 0;
    double envelope_ = 1; // follows the window's lowest gain down at once, back up slowly
    // The mean of the last attack_ envelope values: a running sum, and how many are below 1.
    std::vector<double> ramp_;
    int rampAt_ = 0;
    double rampSum_ = 0;
    int rampBelowOne_ = 0;
    double gain_ = 1;
};

} // namespace tw
