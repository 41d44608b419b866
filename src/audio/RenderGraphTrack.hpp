// One composition track as the render graph plays it: its ranges laid out in output frames
// (TrackPlan), and the renderer that produces the track's stereo audio from any frame on, before
// its tap and its volume. Read-ahead thread and offline renders only.
#pragma once

#include "audio/Composition.hpp"
#include "audio/RenderGraphSource.hpp"

#include <cstdint>
#include <vector>

namespace tw {

struct TrackPlan {
    int trackID = 0;
    std::vector<SourceFile> sources; // each file once
    std::vector<TrackPiece> pieces;  // in time order, none empty, none overlapping
    std::int64_t end = 0;            // the track's last frame + 1; silence after it

    // A clip at time t starts at frame round(t * rate); silence fills what no range covers.
    static TrackPlan make(const CompositionTrack& track, int outputRate);
};

class TrackRenderer {
public:
    TrackRenderer(const TrackPlan& plan, int outputRate);

    const TrackPlan& plan() const { return plan_; }
    ReaderPool& readers() { return readers_; }
    std::int64_t position() const { return position_; }

    // The next render() starts at this output frame.
    void seek(std::int64_t frame);
    // Writes frames interleaved stereo frames from the position on and moves on. On a failure
    // the frames are silent and the position has still moved on.
    Result<void> render(float* stereo, int frames);

private:
    TrackPlan plan_;
    ReaderPool readers_;
    PieceStream stream_;
    std::size_t piece_ = 0;       // the first piece that does not end at or before position_
    std::size_t streamPiece_ = 0; // the piece stream_ is positioned in, when streaming_
    bool streaming_ = false;
    std::int64_t position_ = 0;
};

} // namespace tw
