// One named worker thread that runs jobs one at a time, in the order they were queued.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tw {

class SerialQueue {
public:
    explicit SerialQueue(std::string label);
    // Runs every job already queued, then ends the thread.
    ~SerialQueue();

    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const std::string& label() const { return label_; }

    // Queues a job and returns at once. Any thread.
    void async(std::function<void()> job);
    // Queues a job and returns after every earlier job and this one ran. Never from the queue's
    // own thread (it would wait for itself).
    void sync(std::function<void()> job);
    // True on the queue's own thread.
    bool isCurrent() const;

private:
    void run();

    std::string label_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> jobs_;
    bool stopping_ = false;
    std::thread thread_;
};

} // namespace tw
