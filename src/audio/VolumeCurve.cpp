#include "audio/VolumeCurve.hpp"

#include <algorithm>

namespace tw {

namespace {

constexpr std::int64_t beginning = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

// A later piece that starts at or before the last one replaces it: of events that fall on the
// same frame, the last one given is the one heard.
void append(std::vector<VolumeCurve::Piece>& pieces, VolumeCurve::Piece piece)
{
    while (!pieces.empty() && pieces.back().start >= piece.start)
        pieces.pop_back();
    pieces.push_back(piece);
}

} // namespace

VolumeCurve::VolumeCurve() : pieces_{Piece{beginning, 1.0, 0.0}}
{
}

VolumeCurve::VolumeCurve(const VolumeAutomation& automation, double sampleRate) : VolumeCurve()
{
    const auto& events = automation.events();
    for (std::size_t i = 0; i < events.size(); ++i) {
        const VolumeEvent& event = events[i];
        const std::int64_t start = event.start.frameAt(sampleRate);
        const std::int64_t nextStart =
            i + 1 < events.size() ? events[i + 1].start.frameAt(sampleRate) : never;
        const std::int64_t end = (event.start + event.duration).frameAt(sampleRate);
        if (!event.isRamp() || end <= start) {
            append(pieces_, Piece{start, event.endVolume, 0.0});
            continue;
        }
        const double slope = (static_cast<double>(event.endVolume) - event.startVolume) /
                             static_cast<double>(end - start);
        append(pieces_, Piece{start, event.startVolume, slope});
        // A ramp cut short by the next event simply stops where that event starts.
        if (end < nextStart)
            append(pieces_, Piece{end, event.endVolume, 0.0});
    }
}

std::size_t VolumeCurve::pieceIndexAt(std::int64_t frame) const
{
    auto after = std::upper_bound(pieces_.begin(), pieces_.end(), frame,
                                  [](std::int64_t f, const Piece& p) { return f < p.start; });
    return static_cast<std::size_t>(after - pieces_.begin()) - 1;
}

double VolumeCurve::gainAt(std::int64_t frame) const
{
    return pieces_[pieceIndexAt(frame)].gainAt(frame);
}

void VolumeCursor::seek(std::int64_t frame)
{
    index_ = curve_->pieceIndexAt(frame);
    position_ = frame;
}

double VolumeCursor::gain() const
{
    return curve_->pieces()[index_].gainAt(position_);
}

void VolumeCursor::fillGains(float* gains, int frames, std::int64_t firstFrame)
{
    if (firstFrame != position_)
        seek(firstFrame);
    const auto& pieces = curve_->pieces();
    int done = 0;
    while (done < frames) {
        const VolumeCurve::Piece& piece = pieces[index_];
        const std::int64_t nextStart =
            index_ + 1 < pieces.size() ? pieces[index_ + 1].start : never;
        const int count =
            static_cast<int>(std::min<std::int64_t>(frames - done, nextStart - position_));
        float* to = gains + done;
        if (piece.slope == 0.0) {
            std::fill(to, to + count, static_cast<float>(piece.startGain));
        } else {
            // Each gain from the piece's own start, so blocks of any size give the same gains.
            const double offset = static_cast<double>(position_ - piece.start);
            for (int f = 0; f < count; ++f)
                to[f] = static_cast<float>(piece.startGain + piece.slope * (offset + f));
        }
        done += count;
        position_ += count;
        if (position_ == nextStart)
            ++index_;
    }
}

} // namespace tw
