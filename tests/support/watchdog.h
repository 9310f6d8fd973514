// Ends the test program when a test does not finish in time, so that a
// deadlock fails the run instead of hanging it. A limit on hanging, not a
// measure of speed: it is far above what the test ever needs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

class watchdog {
  public:
    explicit watchdog(std::chrono::seconds limit)
        : thread_([this, limit] {
              std::unique_lock guard(lock_);
              if (!ended_.wait_for(guard, limit, [this] { return done_; })) {
                  std::fprintf(stderr, "watchdog: the test did not end in %lld s, deadlocked?\n",
                               static_cast<long long>(limit.count()));
                  std::_Exit(1);
              }
          }) {}
    ~watchdog() {
        {
            std::lock_guard guard(lock_);
            done_ = true;
        }
        ended_.notify_one();
        thread_.join();
    }
    watchdog(const watchdog&) = delete;
    watchdog& operator=(const watchdog&) = delete;

  private:
    std::mutex lock_;
    std::condition_variable ended_;
    bool done_ = false;
    std::thread thread_;
};
