// Loudness and true peak as podcast platforms and broadcasters measure them (ITU-R BS.1770-4 with
// EBU R128 gating), by libebur128: the integrated loudness of a whole programme, the short-term
// loudness of its last 3 seconds, and its true peak. Not for the render thread (it allocates).
#pragma once

#include <ebur128.h>

#include <cstddef>

namespace tw {

class LoudnessMeter {
public:
    // What to measure; the fewer, the faster.
    enum Measure { integrated = 1, shortTerm = 2, truePeak = 4 };

    // For interleaved float audio of `channels` channels at `rate`. A mono meter weighs its one
    // channel as BS.1770 does (a mono file reads 3 dB below the same sound on two channels).
    LoudnessMeter(int channels, double rate, int measures);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    void add(const float* interleaved, std::size_t frames);

    // In LUFS; minus infinity for silence (or nothing measured yet).
    double integratedLoudness() const;
    double shortTermLoudness() const;
    // In dBTP, over the frames of the last add() only.
    double lastTruePeakDb() const;

private:
    int channels_;
    ebur128_state* state_;
};

// dB of a linear amplitude (minus infinity for 0).
double decibels(double amplitude);

} // namespace tw
