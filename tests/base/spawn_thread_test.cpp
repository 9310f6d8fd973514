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

// Without an event the spawner could not tell when its start record may go,
// so it starts no thread at all.
TEST(SpawnThread, GivesTheNewThreadsIdentifierOrZeroWithoutAnEvent) {
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

    syscall_override no_events(
        &platform::syscall_table::eventfd, +[](unsigned int, int) {
            errno = EMFILE;
            return -1;
        });
    EXPECT_EQ(spawn_thread([](void*) { ADD_FAILURE() << "a thread ran"; }, nullptr), 0u);
}

}  // namespace
