#include "platform/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "platform/syscalls.h"

namespace platform {

const char* read_regular_file(const char* path, size_t limit, std::string* text) {
    auto& sys = syscalls();
    // Non-blocking, so that opening a FIFO without a writer returns at once;
    // what is not a regular file is then refused before any read.
    const long fd =
        checked_call([&] { return sys.open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0); });
    if (fd < 0) {
        return std::strerror(static_cast<int>(-fd));
    }
    const int file = static_cast<int>(fd);
    struct stat facts;
    const char* problem = nullptr;
    if (fstat(file, &facts) != 0 || !S_ISREG(facts.st_mode)) {
        problem = "not a regular file";
    }
    text->clear();
    char chunk[4096];
    while (problem == nullptr) {
        const long got = checked_call([&] { return sys.read(file, chunk, sizeof chunk); });
        if (got == -EINTR) {
            continue;
        }
        if (got <= 0) {
            problem = got == 0 ? nullptr : std::strerror(static_cast<int>(-got));
            break;
        }
        if (text->size() + static_cast<size_t>(got) > limit) {
            problem = "larger than the limit";
            break;
        }
        text->append(chunk, static_cast<size_t>(got));
    }
    sys.close(file);
    return problem;
}

}  // namespace platform
