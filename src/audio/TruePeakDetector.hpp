// The true peak of audio between its samples: every channel reconstructed on a 4× grid by
// 24-tap windowed-sinc phases (flat to 0.42 × the rate), each grid peak refined to the top of the
// parabola through it and its neighbours. The master stage's limiter decides on it, and an
// export looks with it for where its encoded file comes closest to the ceiling.
//
// Any thread; process() never locks, allocates or waits.
#pragma once

#include <vector>

namespace tw {

class TruePeakDetector {
public:
    // Frames between a frame going in and its peak coming out: the interpolator looks that far
    // ahead.
    static constexpr int delay = 12;

    // For interleaved audio of `channels` channels. Allocates.
    explicit TruePeakDetector(int channels);

    // For every frame in, writes the largest absolute value over all channels of the
    // reconstructed signal from frame s to s + 1, where s is that frame less `delay`.
    void process(const float* interleaved, int frames, float* peaks);
    // Silence before the next frame, as when made.
    void reset();

private:
    static constexpr int blockFrames = 256;
    static constexpr int taps = 24; // per phase
    void processBlock(const float* interleaved, int frames, float* peaks);

    int channels_;
    std::vector<float> phases_;              // 3 × taps interpolation coefficients
    std::vector<std::vector<float>> lines_;  // per channel: the last taps frames, then the block
    std::vector<std::vector<float>> points_; // |x| on the 4× grid
    std::vector<float> sums_;                // one interpolated phase of the block
};

} // namespace tw
