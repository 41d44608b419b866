#include "audio/RenderGraphTrack.hpp"

#include <algorithm>

namespace tw {

namespace {

// Whether `next` plays on from where `previous` ends, in place and in its file: the two halves of
// a split clip. Their source starts were rounded on their own, so a tick either way still counts.
bool continues(const TrackSegment& previous, const TrackSegment& next)
{
    const std::int64_t drift =
        (next.sourceStart - (previous.sourceStart + previous.duration)).ticks;
    return next.source->file == previous.source->file && next.targetStart == previous.targetEnd() &&
           drift >= -1 && drift <= 1;
}

} // namespace

TrackPlan TrackPlan::make(const CompositionTrack& track, int outputRate)
{
    TrackPlan plan;
    plan.trackID = track.trackID();
    const TrackSegment* previous = nullptr; // the last range placed as a piece
    for (const TrackSegment& segment : track.segments()) {
        const std::int64_t start = segment.targetStart.frameAt(outputRate);
        const std::int64_t end = segment.targetEnd().frameAt(outputRate);
        plan.end = std::max(plan.end, end);
        if (!segment.source || end <= start)
            continue; // silence is what no piece covers
        if (previous && continues(*previous, segment) && plan.pieces.back().end == start) {
            // One piece for both: the stream (and its resampler) runs on through the join, so
            // no sample is dropped, repeated or shifted there whatever the rates.
            plan.pieces.back().end = end;
            previous = &segment;
            continue;
        }
        previous = &segment;
        const AudioAsset& asset = *segment.source;
        auto known = std::find_if(plan.sources.begin(), plan.sources.end(),
                                  [&](const SourceFile& s) { return s.path == asset.file; });
        if (known == plan.sources.end()) {
            plan.sources.push_back(
                SourceFile{asset.file, asset.sampleRate, asset.channels, asset.frames});
            known = plan.sources.end() - 1;
        }
        plan.pieces.push_back(TrackPiece{start, end, static_cast<int>(known - plan.sources.begin()),
                                         segment.sourceStart.frameAt(asset.sampleRate)});
    }
    std::stable_sort(plan.pieces.begin(), plan.pieces.end(),
                     [](const TrackPiece& a, const TrackPiece& b) { return a.start < b.start; });
    // Ranges never overlap in a composition; should rounding make neighbours touch twice, the
    // earlier one gives way.
    for (std::size_t i = 1; i < plan.pieces.size(); ++i)
        plan.pieces[i].start = std::max(plan.pieces[i].start, plan.pieces[i - 1].end);
    std::erase_if(plan.pieces, [](const TrackPiece& p) { return p.end <= p.start; });
    return plan;
}

TrackRenderer::TrackRenderer(const TrackPlan& plan, int outputRate)
    : plan_(plan)
    , readers_(plan.sources)
    , stream_(outputRate)
{
}

void TrackRenderer::seek(std::int64_t frame)
{
    if (frame == position_)
        return;
    position_ = frame;
    streaming_ = false;
    const auto& pieces = plan_.pieces;
    piece_ = static_cast<std::size_t>(
        std::upper_bound(pieces.begin(), pieces.end(), frame,
                         [](std::int64_t f, const TrackPiece& p) { return f < p.end; }) -
        pieces.begin());
}

Result<void> TrackRenderer::render(float* stereo, int frames)
{
    const auto& pieces = plan_.pieces;
    Result<void> outcome;
    int done = 0;
    while (done < frames) {
        float* out = stereo + static_cast<std::ptrdiff_t>(done) * graphChannels;
        while (piece_ < pieces.size() && pieces[piece_].end <= position_)
            ++piece_;
        const int left = frames - done;
        if (piece_ == pieces.size() || position_ < pieces[piece_].start) {
            const std::int64_t until =
                piece_ == pieces.size() ? position_ + left : pieces[piece_].start;
            const int count = static_cast<int>(std::min<std::int64_t>(left, until - position_));
            std::fill(out, out + static_cast<std::ptrdiff_t>(count) * graphChannels, 0.0f);
            done += count;
            position_ += count;
            continue;
        }
        const TrackPiece& piece = pieces[piece_];
        const int count = static_cast<int>(std::min<std::int64_t>(left, piece.end - position_));
        Result<void> produced;
        if (!streaming_ || streamPiece_ != piece_ || stream_.offset() != position_ - piece.start) {
            produced = stream_.start(piece, readers_, position_ - piece.start);
            streaming_ = produced.ok();
            streamPiece_ = piece_;
        }
        if (produced)
            produced = stream_.produce(out, count);
        if (!produced) {
            std::fill(out, out + static_cast<std::ptrdiff_t>(count) * graphChannels, 0.0f);
            streaming_ = false;
            if (outcome)
                outcome = produced;
        }
        done += count;
        position_ += count;
    }
    return outcome;
}

} // namespace tw
