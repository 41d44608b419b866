// Sample-rate conversion of a float stream with libswresample. The ratio is kept as an exact
// fraction, so every `outputPeriod()` output frames correspond to exactly `inputPeriod()` input
// frames and output k of a stream lies at input position k * inputPeriod / outputPeriod. A stream
// started on that grid with `historyFrames()` of input before the first output wanted gives the
// same samples as one started much earlier: this is what makes seeks sample-exact.
#pragma once

#include "base/Result.hpp"

#include <cstdint>
#include <memory>

struct SwrContext;

namespace tw {

class Resampler {
public:
    // Fails with an "Audio" error when libswresample refuses the conversion.
    static Result<std::unique_ptr<Resampler>> create(int inputRate, int outputRate, int channels);
    ~Resampler();
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;

    int inputRate() const { return inputRate_; }
    int outputRate() const { return outputRate_; }
    int channels() const { return channels_; }
    std::int64_t inputPeriod() const { return inputPeriod_; }
    std::int64_t outputPeriod() const { return outputPeriod_; }
    // Input frames ahead of an output whose value no longer depends on the stream's beginning.
    std::int64_t historyFrames() const;

    // Starts a new stream: output 0 of it lies at its input 0.
    Result<void> restart();
    // Converts: writes up to outputCapacity interleaved frames to out and returns how many. Input
    // that does not fit yet is kept for later calls (inputFrames may be 0 to drain it).
    int convert(const float* input, int inputFrames, float* out, int outputCapacity);

private:
    Resampler() = default;

    SwrContext* context_ = nullptr;
    int inputRate_ = 0;
    int outputRate_ = 0;
    int channels_ = 0;
    std::int64_t inputPeriod_ = 1;
    std::int64_t outputPeriod_ = 1;
};

} // namespace tw
