// Analyses the buffers of one audio source (1024-point DFT of the first channel into 24 log
// bands, RMS of the first channel, peak over all channels) and publishes the result to a
// SpectrumMonitor under its source key. Used from one thread at a time; allocates nothing per
// buffer.
#pragma once

#include "audio/AudioBufferList.hpp"
#include "capture/SpectrumMonitor.hpp"

#include <memory>
#include <string>

namespace tw {

class SpectrumAnalyzer {
public:
    explicit SpectrumAnalyzer(std::string source,
                              SpectrumMonitor& monitor = SpectrumMonitor::shared());
    ~SpectrumAnalyzer();

    const std::string& source() const { return source_; }
    double rate() const { return rate_; }
    void setRate(double rate) { rate_ = rate; }

    void process(const AudioBufferList& list, int frames);

private:
    struct Work;
    std::string source_;
    SpectrumMonitor& monitor_;
    double rate_ = 48000.0;
    std::unique_ptr<Work> work_;
};

} // namespace tw
