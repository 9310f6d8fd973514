// The threads of this process, as the kernel counts them. A test that
// started asynchronous captures waits for their detached threads to be gone
// before it stops the library: a thread may still be giving back its last
// reference after the reader already shows as free.
#pragma once

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

inline int ThreadCount() {
    std::ifstream status("/proc/self/status");
    std::string key;
    while (status >> key) {
        if (key == "Threads:") {
            int count = 0;
            status >> count;
            return count;
        }
    }
    return -1;
}

// ThreadSanitizer starts a helper thread of its own with the first thread
// of the process; a count taken as a baseline must come after that.
inline int BaselineThreadCount() {
    std::thread([] {}).join();
    return ThreadCount();
}

// True once at most `count` threads are left, false if that takes longer
// than `limit`.
inline bool WaitForThreadCount(int count,
                               std::chrono::milliseconds limit = std::chrono::seconds(5)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (ThreadCount() > count) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
