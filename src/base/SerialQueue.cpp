#include "base/SerialQueue.hpp"

#include <cassert>
#include <future>
#include <pthread.h>

namespace tw {

SerialQueue::SerialQueue(std::string label) : label_(std::move(label))
{
    thread_ = std::thread([this] { run(); });
    // Thread names are limited to 15 characters; keep the end, which tells queues apart.
    std::string name = label_.size() > 15 ? label_.substr(label_.size() - 15) : label_;
    pthread_setname_np(thread_.native_handle(), name.c_str());
}

SerialQueue::~SerialQueue()
{
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void SerialQueue::async(std::function<void()> job)
{
    {
        std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    wake_.notify_one();
}

void SerialQueue::sync(std::function<void()> job)
{
    assert(!isCurrent());
    std::promise<void> done;
    async([&] {
        job();
        done.set_value();
    });
    done.get_future().wait();
}

bool SerialQueue::isCurrent() const
{
    return std::this_thread::get_id() == thread_.get_id();
}

void SerialQueue::run()
{
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
            if (jobs_.empty())
                return;
            job = std::move(jobs_.front());
            jobs_.pop_front();
        }
        job();
    }
}

} // namespace tw
