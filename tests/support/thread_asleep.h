// Waits until a thread sleeps in the kernel, as a capture that waits for a
// finger does. Tests send a signal to such a thread only then:
// ThreadSanitizer holds back a signal that arrives while the thread runs
// until its next library call, which a thread that then blocks for good
// never makes.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

inline bool WaitAsleep(pid_t thread,
                       std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) {
    const std::string stat = "/proc/self/task/" + std::to_string(thread) + "/stat";
    const auto end = std::chrono::steady_clock::now() + limit;
    do {
        std::ifstream file(stat);
        std::string text;
        std::getline(file, text);
        // The state follows the command name, which stands in brackets.
        const size_t name_end = text.rfind(')');
        if (name_end != std::string::npos && text.compare(name_end, 3, ") S") == 0) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } while (std::chrono::steady_clock::now() < end);
    return false;
}
