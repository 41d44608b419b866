// Times of compositions, volume automation, seeks and export ranges: 64-bit ticks at 48000 per
// second. Seconds convert to the nearest tick.
#pragma once

#include <cmath>
#include <compare>
#include <cstdint>

namespace tw {

struct MediaTime {
    static constexpr std::int64_t timescale = 48000;

    std::int64_t ticks = 0;

    static MediaTime fromSeconds(double seconds)
    {
        return MediaTime{static_cast<std::int64_t>(std::llround(seconds * timescale))};
    }
    double seconds() const { return static_cast<double>(ticks) / timescale; }
    // The frame of this time at another rate, rounded to the nearest frame.
    std::int64_t frameAt(double rate) const
    {
        return static_cast<std::int64_t>(
            std::llround(static_cast<double>(ticks) * rate / timescale));
    }

    auto operator<=>(const MediaTime&) const = default;
    MediaTime operator+(MediaTime other) const { return {ticks + other.ticks}; }
    MediaTime operator-(MediaTime other) const { return {ticks - other.ticks}; }
    MediaTime& operator+=(MediaTime other)
    {
        ticks += other.ticks;
        return *this;
    }
};

} // namespace tw
