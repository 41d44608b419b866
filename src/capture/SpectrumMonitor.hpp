// The one shared store of the latest spectrum bands, RMS level and near-clip time per source
// ("record", "voice", "music"). Analysers write from their audio threads; the studio clock reads
// on the main thread. Results expire by time stamp: levels and bands after 0.4 s, clip after 1 s.
// Writers never wait: each source owns a fixed slot (up to maxSources, names up to
// maxNameLength bytes) guarded by a sequence counter; readers retry when a write overlaps.
#pragma once

#include "base/Clock.hpp"

#include <array>
#include <map>
#include <string>

namespace tw {

using SpectrumBands = std::array<float, 24>;

class SpectrumMonitor {
public:
    static constexpr int maxSources = 8;
    static constexpr int maxNameLength = 31;

    explicit SpectrumMonitor(const Clock& clock = SteadyClock::instance());
    ~SpectrumMonitor();
    SpectrumMonitor(const SpectrumMonitor&) = delete;
    SpectrumMonitor& operator=(const SpectrumMonitor&) = delete;
    static SpectrumMonitor& shared();

    // Time stamps come from this clock (tests pass their manual scheduler).
    void setClock(const Clock& clock);

    // Audio threads. Never waits, locks or allocates. A store for a ninth source, or one that
    // meets another writer of the same source mid-write, is dropped.
    void store(const std::string& source, const SpectrumBands& bands, float level, bool nearClip);

    float level(const std::string& source) const;
    bool nearClip(const std::string& source) const;
    // Weighted mix of the fresh bands on the -70…0 dB display scale (0…1 each).
    SpectrumBands read(const std::map<std::string, float>& weights) const;

private:
    struct Impl;
    Impl* impl_;
};

} // namespace tw
