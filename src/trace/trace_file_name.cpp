#include "trace/trace_file_name.h"

#include "platform/module_path.h"
#include "platform/system_facts.h"
#include "platform/trace_file.h"
#include "trace/trace_registry.h"

namespace SlvTraceNS {
namespace {

// Cuts `text` to at most `limit` bytes without splitting a character.
std::string_view CutUtf8(std::string_view text, size_t limit) {
    if (text.size() <= limit) {
        return text;
    }
    while (limit > 0 && (static_cast<uint8_t>(text[limit]) & 0xC0) == 0x80) {
        --limit;
    }
    return text.substr(0, limit);
}

// Asked once per library and then remembered.
uint32_t Session() {
    static const uint32_t session = platform::session_id();
    return session;
}

}  // namespace

PathParts SplitPath(std::string_view path) {
    PathParts parts;
    const size_t slash = path.rfind('/');
    parts.folder = slash == std::string_view::npos ? std::string_view() : path.substr(0, slash + 1);
    std::string_view file = path.substr(parts.folder.size());
    size_t dot = file.rfind('.');
    for (size_t so = file.find(".so"); so != std::string_view::npos;
         so = file.find(".so", so + 1)) {
        if (so + 3 == file.size() || file[so + 3] == '.') {
            parts.name = file.substr(0, so);
            parts.extension = ".so";
            return parts;
        }
    }
    if (dot == std::string_view::npos) {
        dot = file.size();
    }
    parts.name = file.substr(0, dot);
    parts.extension = file.substr(dot);
    return parts;
}

uint32_t CreateFolderChain(std::string_view path) {
    if (path.empty()) {
        return kInvalidArgument;
    }
    const std::string copy(path);
    for (size_t end = 0; end < copy.size(); ++end) {
        const bool piece_ends =
            copy[end] != '/' && (end + 1 == copy.size() || copy[end + 1] == '/');
        if (!piece_ends) {
            continue;
        }
        const std::string folder = copy.substr(0, end + 1);
        if (!platform::folder_exists(folder.c_str())) {
            if (const int error = platform::make_folder(folder.c_str()); error != 0) {
                return 0x80070000 | (static_cast<uint32_t>(error) & 0xFFFF);
            }
        }
    }
    return 0;
}

bool ComposeFileName(const FileNameSettings& settings, std::string_view executable,
                     std::string_view library, uint32_t session, std::string* path) {
    if (settings.file_name) {
        *path = CutUtf8(*settings.file_name, kMaxPath - 1);
        return true;
    }
    std::string folder;
    if (settings.trace_path) {
        folder = *settings.trace_path;
        if (const uint32_t error = CreateFolderChain(folder); error != 0 && !folder.empty()) {
            platform::report_unusable("cannot create the trace folder", folder.c_str(),
                                      static_cast<int>(error & 0xFFFF));
        }
        if (!folder.empty() && folder.back() != '/') {
            folder += '/';
        }
    } else {
        folder = SplitPath(library).folder;
        if (folder.size() >= kMaxPath) {
            return false;
        }
    }
    const PathParts lib = SplitPath(library);
    std::string name = folder;
    name.append(SplitPath(executable).name).append(".");
    name.append(lib.name).append(lib.extension).append(".x64.");
    name.append(std::to_string(session)).append(".trc3");
    if (name.size() >= kMaxPath) {
        return false;
    }
    *path = std::move(name);
    return true;
}

bool BuildFileName(const platform::registry_key& key, std::string* path) {
    FileNameSettings settings;
    std::string value;
    if (ReadString(key, "FileName", &value)) {
        settings.file_name = value;
    }
    if (ReadString(key, "TracePath", &value)) {
        settings.trace_path = value;
    }
    return ComposeFileName(settings, platform::executable_path(), platform::module_path(),
                           Session(), path);
}

}  // namespace SlvTraceNS
