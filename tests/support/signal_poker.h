// Interrupts a thread with SIGUSR1 again and again, to prove that a blocking
// call of the library survives a signal handler. The handler does nothing
// but count, and it is installed without SA_RESTART, so that every blocking
// system call that it interrupts fails with EINTR.
#pragma once

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

class signal_poker {
  public:
    signal_poker() {
        struct sigaction action = {};
        action.sa_handler = [](int) { delivered_.fetch_add(1, std::memory_order_relaxed); };
        sigemptyset(&action.sa_mask);
        action.sa_flags = 0;
        sigaction(SIGUSR1, &action, &previous_);
    }
    ~signal_poker() { sigaction(SIGUSR1, &previous_, nullptr); }
    signal_poker(const signal_poker&) = delete;
    signal_poker& operator=(const signal_poker&) = delete;

    // Sends SIGUSR1 to `thread` every millisecond for `duration`.
    void poke(pthread_t thread, std::chrono::milliseconds duration) const {
        const auto end = std::chrono::steady_clock::now() + duration;
        while (std::chrono::steady_clock::now() < end) {
            pthread_kill(thread, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    int delivered() const { return delivered_.load(std::memory_order_relaxed); }

  private:
    static inline std::atomic<int> delivered_{0};
    struct sigaction previous_;
};
