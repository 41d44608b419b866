// A lock-free ring of interleaved float frames between exactly one producer thread (the player's
// read-ahead) and one consumer thread (the render callback). Neither side ever waits: the producer
// writes what fits, the consumer reads what is there.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>

namespace tw {

class SpscRing {
public:
    // Capacity is rounded up to a power of two frames. Allocates; construct off the audio thread.
    SpscRing(int channels, std::int64_t minimumFrames)
        : channels_(channels)
        , capacity_(roundUpToPowerOfTwo(minimumFrames))
        , mask_(capacity_ - 1)
        , samples_(std::make_unique_for_overwrite<float[]>(
              static_cast<std::size_t>(capacity_ * channels)))
    {
    }
    SpscRing(const SpscRing&) = delete;
    SpscRing& operator=(const SpscRing&) = delete;

    int channels() const { return channels_; }
    std::int64_t capacity() const { return capacity_; }

    // Producer thread: frames that can be written now.
    std::int64_t writable() const
    {
        return capacity_ -
               (write_.load(std::memory_order_relaxed) - read_.load(std::memory_order_acquire));
    }
    // Consumer thread (or anyone, as an estimate): frames that can be read now.
    std::int64_t readable() const
    {
        return write_.load(std::memory_order_acquire) - read_.load(std::memory_order_relaxed);
    }
    // Total frames ever written; any thread.
    std::int64_t written() const { return write_.load(std::memory_order_acquire); }

    // Producer thread: copies up to frames frames in; returns how many fitted.
    std::int64_t write(const float* interleaved, std::int64_t frames)
    {
        const std::int64_t count = std::min(frames, writable());
        const std::int64_t at = write_.load(std::memory_order_relaxed);
        copyIn(at, interleaved, count);
        write_.store(at + count, std::memory_order_release);
        return count;
    }

    // Consumer thread: copies up to frames frames out; returns how many were there.
    std::int64_t read(float* interleaved, std::int64_t frames)
    {
        const std::int64_t count = std::min(frames, readable());
        const std::int64_t at = read_.load(std::memory_order_relaxed);
        copyOut(at, interleaved, count);
        read_.store(at + count, std::memory_order_release);
        return count;
    }

private:
    static std::int64_t roundUpToPowerOfTwo(std::int64_t n)
    {
        std::int64_t p = 1;
        while (p < n)
            p <<= 1;
        return p;
    }

    void copyIn(std::int64_t at, const float* from, std::int64_t count)
    {
        const std::int64_t start = at & mask_;
        const std::int64_t first = std::min(count, capacity_ - start);
        std::memcpy(samples_.get() + start * channels_, from,
                    static_cast<std::size_t>(first * channels_) * sizeof(float));
        std::memcpy(samples_.get(), from + first * channels_,
                    static_cast<std::size_t>((count - first) * channels_) * sizeof(float));
    }
    void copyOut(std::int64_t at, float* to, std::int64_t count) const
    {
        const std::int64_t start = at & mask_;
        const std::int64_t first = std::min(count, capacity_ - start);
        std::memcpy(to, samples_.get() + start * channels_,
                    static_cast<std::size_t>(first * channels_) * sizeof(float));
        std::memcpy(to + first * channels_, samples_.get(),
                    static_cast<std::size_t>((count - first) * channels_) * sizeof(float));
    }

    const int channels_;
    const std::int64_t capacity_;
    const std::int64_t mask_;
    std::unique_ptr<float[]> samples_;
    // Frame counters that only grow; each on its own cache line so the two threads do not
    // fight over one.
    alignas(64) std::atomic<std::int64_t> write_{0};
    alignas(64) std::atomic<std::int64_t> read_{0};
};

} // namespace tw
