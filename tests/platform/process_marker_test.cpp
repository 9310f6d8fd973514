#include "platform/process_marker.h"

#include <gtest/gtest.h>
#include <stddef.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace {

// True if a process has bound the abstract name "<pid>".
bool marker_exists(pid_t pid) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const int length = std::snprintf(address.sun_path + 1, sizeof(address.sun_path) - 1, "%d", pid);
    const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool found =
        connect(probe, reinterpret_cast<const sockaddr*>(&address),
                static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length)) == 0;
    close(probe);
    return found;
}

// The library in this test program holds its own marker under our pid, so
// the marker is exercised in a child process, whose pid is still free. The
// child reports each step that went wrong as a bit of its exit status.
int marker_life_in_child() {
    const pid_t self = getpid();
    const bool before = marker_exists(self);
    const int marker = platform::create_process_marker();
    const bool during = marker_exists(self);
    const int second = platform::create_process_marker();  // the name is taken
    platform::close_process_marker(marker);
    platform::close_process_marker(-1);
    return before | (marker < 0) << 1 | !during << 2 | (second != -1) << 3 |
           marker_exists(self) << 4;
}

TEST(ProcessMarker, ExistsUnderThePidExactlyWhileOpen) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        _exit(marker_life_in_child());
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "failed steps (bits)";
}

}  // namespace
