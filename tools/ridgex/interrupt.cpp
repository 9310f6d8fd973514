#include "interrupt.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<ridgex_handle> cancel_target{nullptr};
// Lock-free, so the handler may set it and the other threads read it.
std::atomic<bool> interrupted{false};
struct sigaction previous_action;

extern "C" void OnInterrupt(int) {
    interrupted = true;
    if (ridgex_handle dev = cancel_target.load()) {
        ridgex_cancel(dev);
    }
}

}  // namespace

interrupt_guard::interrupt_guard(ridgex_handle dev) {
    interrupted = false;
    cancel_target = dev;
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous_action);
}

interrupt_guard::~interrupt_guard() {
    sigaction(SIGINT, &previous_action, nullptr);
    cancel_target = nullptr;
}

bool interrupt_guard::Interrupted() {
    return interrupted;
}
