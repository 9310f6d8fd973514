#include "delivery_thread.h"

namespace tavlo_sim {

void delivery_thread::start() {
    std::lock_guard lock(mutex_);
    if (worker_.joinable()) {
        return;
    }
    stopping_ = false;
    worker_ = std::thread([this] { run(); });
}

void delivery_thread::stop() {
    std::thread worker;
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        finished_ += jobs_.size();
        jobs_.clear();
        worker.swap(worker_);
    }
    changed_.notify_all();
    if (worker.joinable()) {
        worker.join();
    }
}

void delivery_thread::post(std::function<void()> job) {
    {
        std::lock_guard lock(mutex_);
        if (!worker_.joinable() || stopping_) {
            return;
        }
        jobs_.push_back(std::move(job));
        ++posted_;
    }
    changed_.notify_all();
}

void delivery_thread::flush() {
    std::unique_lock lock(mutex_);
    const uint64_t target = posted_;
    changed_.wait(lock, [&] { return finished_ >= target; });
}

void delivery_thread::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return stopping_ || !jobs_.empty(); });
        if (stopping_) {
            return;
        }
        std::function<void()> job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        job();
        lock.lock();
        ++finished_;
        changed_.notify_all();
    }
}

}  // namespace tavlo_sim
