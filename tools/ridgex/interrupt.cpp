#include "interrupt.h"

#include <atomic>
#include <csignal>

namespace {

std::atomic<ridgex_handle> cancel_target{nullptr};
volatile std::sig_atomic_t interrupted = 0;
struct sigaction previous_action;

extern "C" void OnInterrupt(int) {
    interrupted = 1;
    if (ridgex_handle dev = cancel_target.load()) {
        ridgex_cancel(dev);
    }
}

}  // namespace

interrupt_guard::interrupt_guard(ridgex_handle dev) {
    interrupted = 0;
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
    return interrupted != 0;
}
