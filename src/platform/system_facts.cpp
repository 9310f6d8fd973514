#include "platform/system_facts.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <climits>
#include <cstdio>

namespace platform {

void kernel_version(int* major, int* minor) {
    *major = 0;
    *minor = 0;
    utsname names;
    if (uname(&names) == 0 && std::sscanf(names.release, "%d.%d", major, minor) != 2) {
        *minor = 0;
    }
}

std::string machine_name() {
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0) {
        return {};
    }
    return name;
}

uint32_t session_id() {
    const pid_t session = getsid(0);
    return session < 0 ? 0 : static_cast<uint32_t>(session);
}

}  // namespace platform
