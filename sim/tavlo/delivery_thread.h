// A thread of the simulator's own that runs jobs one after the other, in
// the order in which they were posted. The reports of acquisitions reach
// their callbacks on such threads, never on the caller's.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tavlo_sim {

class delivery_thread {
  public:
    delivery_thread() = default;
    ~delivery_thread() { stop(); }
    delivery_thread(const delivery_thread&) = delete;
    delivery_thread& operator=(const delivery_thread&) = delete;

    void start();
    // Drops the jobs not yet begun and joins the thread once the running
    // one has returned. Not to be called from a job.
    void stop();
    // Takes no lock that a job holds, so it may be called under any lock of
    // the caller's. Jobs posted while the thread is not running are dropped.
    void post(std::function<void()> job);
    // Returns once every job posted before has run (or was dropped).
    void flush();

  private:
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> jobs_;
    uint64_t posted_ = 0;
    uint64_t finished_ = 0;
    bool stopping_ = false;
    std::thread worker_;
};

}  // namespace tavlo_sim
