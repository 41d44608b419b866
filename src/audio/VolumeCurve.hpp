// A track's volume automation compiled into piecewise-linear pieces counted in output frames, and
// a cursor that walks it block by block on the render thread without searching per sample.
#pragma once

#include "audio/AudioMix.hpp"

#include <cstdint>
#include <limits>
#include <vector>

namespace tw {

class VolumeCurve {
public:
    // One stretch of the curve: from frame `start` until the next piece starts, the gain is
    // startGain + slope * (frame - start).
    struct Piece {
        std::int64_t start = 0;
        double startGain = 1;
        double slope = 0;

        double gainAt(std::int64_t frame) const
        {
            // Flat pieces may start at the beginning of time, where frame - start overflows.
            if (slope == 0)
                return startGain;
            return startGain + slope * static_cast<double>(frame - start);
        }
    };

    // A constant gain of 1 (a track without automation).
    VolumeCurve();
    // Compiles the automation for a stream at sampleRate frames per second. Allocates.
    VolumeCurve(const VolumeAutomation& automation, double sampleRate);

    // The first piece starts at the smallest frame, so every frame falls in exactly one piece.
    const std::vector<Piece>& pieces() const { return pieces_; }
    // Binary search; for tests and for positioning a cursor.
    double gainAt(std::int64_t frame) const;
    std::size_t pieceIndexAt(std::int64_t frame) const;

private:
    std::vector<Piece> pieces_;
};

// Walks a curve forwards. Render thread: no allocation, no locks; seeking is a binary search,
// playing on is a step to the next piece when one is crossed.
class VolumeCursor {
public:
    VolumeCursor() = default;
    explicit VolumeCursor(const VolumeCurve* curve) : curve_(curve) {}

    void seek(std::int64_t frame);
    // Writes the gains of frames [firstFrame, firstFrame + frames) and moves on; seeks first
    // when the cursor stands elsewhere.
    void fillGains(float* gains, int frames, std::int64_t firstFrame);
    // The gain at the cursor's frame.
    double gain() const;
    std::int64_t position() const { return position_; }

private:
    const VolumeCurve* curve_ = nullptr;
    std::size_t index_ = 0;
    std::int64_t position_ = std::numeric_limits<std::int64_t>::min();
};

} // namespace tw
