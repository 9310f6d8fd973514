// Where a trace file goes: the value FileName as it stands, or a name built
// from the folder (TracePath, else the library's own folder), the program,
// the library and the session, such as
// "/opt/app/client.libridgex.so.x64.1234.trc3".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace SlvTraceNS {

// Paths, also a trace file's, are at most this long with their terminator.
inline constexpr size_t kMaxPath = 260;

inline constexpr uint32_t kInvalidArgument = 0x80070057;

struct PathParts {
    std::string_view folder;     // with its trailing '/', or empty
    std::string_view name;       // without folder and extension
    std::string_view extension;  // with its leading dot, or empty
};

// Splits a path. A shared library's version suffix belongs to its extension,
// which is then ".so": "libridgex.so.3" is "libridgex" and ".so".
PathParts SplitPath(std::string_view path);

// Creates every missing folder of `path`, outermost first. 0, or
// kInvalidArgument for an empty path, or 0x8007xxxx with the errno of the
// first folder that could not be made.
uint32_t CreateFolderChain(std::string_view path);

struct FileNameSettings {
    std::optional<std::string> file_name;   // FileName, if it counts
    std::optional<std::string> trace_path;  // TracePath, if it counts
};

// The file's path; false when it does not fit. A TracePath is created on the
// way, whatever the outcome.
bool ComposeFileName(const FileNameSettings& settings, std::string_view executable,
                     std::string_view library, uint32_t session, std::string* path);

// ComposeFileName with the values of the open tracing key and the facts of
// this process.
bool BuildFileName(const platform::registry_key& key, std::string* path);

}  // namespace SlvTraceNS
