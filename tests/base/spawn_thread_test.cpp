#include "base/spawn_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>

#include "base/signal.h"
#include "platform/thread.h"
#include "support/syscall_override.h"

namespace {

struct probe_t {
    std::atomic<uint32_t> seen_id{0};
    signal_t done;
};

void must_not_run(void*) {
    ADD_FAILURE() << "a thread ran although spawning failed";
}

TEST(SpawnThread, ReturnsTheNewThreadsIdentifier) {
    probe_t probe;
    const uint32_t id = spawn_thread(
        [](void* arg) {
            auto* probe = static_cast<probe_t*>(arg);
            probe->seen_id = platform::current_thread_id();
            probe->done.Set();
        },
        &probe);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, platform::current_thread_id());
    signal_t* done[] = {&probe.done};
    ASSERT_EQ(wait_signal(1, done, 5000), 0);
    EXPECT_EQ(id, probe.seen_id.load());
}

TEST(SpawnThread, NoThreadGivesZero) {
    syscall_override no_threads(
        &platform::syscall_table::start_thread, +[](void* (*)(void*), void*) { return EAGAIN; });
    EXPECT_EQ(spawn_thread(must_not_run, nullptr), 0u);
}

TEST(SpawnThread, NoEventStartsNoThread) {
    static int starts;
    starts = 0;
    syscall_override no_events(
        &platform::syscall_table::eventfd, +[](unsigned int, int) {
            errno = EMFILE;
            return -1;
        });
    syscall_override count_starts(
        &platform::syscall_table::start_thread, +[](void* (*)(void*), void*) {
            ++starts;
            return EAGAIN;
        });
    EXPECT_EQ(spawn_thread(must_not_run, nullptr), 0u);
    EXPECT_EQ(starts, 0);
}

}  // namespace
