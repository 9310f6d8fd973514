// Reading a whole file that comes from outside the process (the registry's
// store, a configuration) without trusting it: whatever lies at the path,
// the read neither blocks nor grows without bound.
#pragma once

#include <cstddef>
#include <string>

namespace platform {

// What a configuration file may hold at most.
inline constexpr size_t max_config_bytes = size_t{1} << 20;

// Reads the whole of the regular file at `path` into `text`, if it holds at
// most `limit` bytes. A FIFO, a socket, a device or a folder is refused
// without waiting for anyone. Null on success, else why not, in words
// ("No such file or directory", "not a regular file", "larger than the
// limit"); `text` is then unspecified.
const char* read_regular_file(const char* path, size_t limit, std::string* text);

}  // namespace platform
