#include "platform/process_marker.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>

namespace platform {

int create_process_marker() {
    const int marker = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (marker < 0) {
        return -1;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // sun_path[0] stays 0: the name lives in the abstract namespace.
    const int length = std::snprintf(address.sun_path + 1, sizeof address.sun_path - 1, "%ld",
                                     static_cast<long>(getpid()));
    const auto address_size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + length);
    if (bind(marker, reinterpret_cast<const sockaddr*>(&address), address_size) != 0) {
        close(marker);
        return -1;
    }
    return marker;
}

void close_process_marker(int marker) {
    if (marker >= 0) {
        close(marker);
    }
}

}  // namespace platform
