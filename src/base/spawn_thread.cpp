#include "base/spawn_thread.h"

#include "base/boundary.h"
#include "base/signal.h"
#include "platform/thread.h"

namespace {

// Lives on the stack of spawn_thread, valid only until `started` is set.
struct thread_start_t {
    void (*proc)(void*);
    void* arg;
    signal_t* started;
    uint64_t thread_id;
};

void* thread_entry(void* record) {
    auto* start = static_cast<thread_start_t*>(record);
    void (*const proc)(void*) = start->proc;
    void* const arg = start->arg;
    start->thread_id = platform::current_thread_id();
    start->started->Set();
    // The record is gone from here on: the spawning thread has returned.
    AtBoundary([&] { proc(arg); });
    return nullptr;
}

}  // namespace

uint32_t spawn_thread(void (*proc)(void*), void* arg) {
    signal_t started;
    // Without the event the spawner could not tell when the record may go.
    if (started.IsNull()) {
        return 0;
    }
    thread_start_t record = {.proc = proc, .arg = arg, .started = &started, .thread_id = 0};
    if (!platform::start_detached_thread(thread_entry, &record)) {
        return 0;
    }
    signal_t* waited = &started;
    // The thread runs and will set the event; leaving before it has done so
    // would let it write into a dead stack frame, so a failed wait is retried.
    while (wait_signal(1, &waited, platform::wait_forever) != 0) {
        platform::sleep_ms(1);
    }
    return static_cast<uint32_t>(record.thread_id);
}
