#include "audio/ExportPipeline.hpp"

#include "audio/Denormals.hpp"

#include <array>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tw {

// The ring between the two threads: a producer waits for a free block, the consumer for a
// full one.
class BlockQueue {
public:
    struct Block {
        std::vector<float> samples;
        int frames = 0;
    };

    // Producer thread: the next free block, after waiting for one; nullptr once stopped.
    Block* acquire()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return count_ < slots || stopped_; });
        return stopped_ ? nullptr : &blocks_[(head_ + count_) % slots];
    }
    void publish()
    {
        std::lock_guard lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    // Producer thread: no more blocks will come.
    void end()
    {
        std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
    }
    // Consumer thread: the oldest block, after waiting for one; nullptr at the end.
    Block* front()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return count_ > 0 || ended_ || stopped_; });
        return count_ > 0 && !stopped_ ? &blocks_[head_] : nullptr;
    }
    void release()
    {
        std::lock_guard lock(mutex_);
        head_ = (head_ + 1) % slots;
        --count_;
        changed_.notify_all();
    }
    // Consumer thread: stop the producer (after a failure, a cancel, or at the end).
    void stop()
    {
        std::lock_guard lock(mutex_);
        stopped_ = true;
        changed_.notify_all();
    }

private:
    static constexpr std::size_t slots = 16;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::array<Block, slots> blocks_;
    std::size_t head_ = 0, count_ = 0;
    bool ended_ = false, stopped_ = false;
};

bool BlockSink::push(const float* interleaved, int frames)
{
    if (cancelled_.load(std::memory_order_relaxed))
        return false;
    BlockQueue::Block* block = queue_.acquire();
    if (!block)
        return false;
    block->samples.assign(interleaved, interleaved + frames * channels_);
    block->frames = frames;
    queue_.publish();
    return true;
}

Result<void> runPipeline(int channels, const std::atomic<bool>& cancelled,
                         const std::function<Result<void>(BlockSink&)>& produce,
                         const std::function<Result<void>(const float*, int)>& consume)
{
    BlockQueue queue;
    std::optional<Error> produceFailure;
    std::thread producer([&] {
        ScopedDenormalsOff denormals;
        BlockSink sink(queue, channels, cancelled);
        if (auto produced = produce(sink); !produced)
            produceFailure = produced.error();
        queue.end();
    });
    Result<void> consumed;
    while (BlockQueue::Block* block = queue.front()) {
        if (cancelled.load(std::memory_order_relaxed))
            break;
        consumed = consume(block->samples.data(), block->frames);
        queue.release();
        if (!consumed)
            break;
    }
    queue.stop();
    producer.join();
    if (produceFailure)
        return *produceFailure;
    return consumed;
}

} // namespace tw
