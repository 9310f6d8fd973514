#include "backend_search.h"

#include <dlfcn.h>
#include <sys/utsname.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ridgex.h"

namespace {

// The files of the loaded backends, slots 1 to 5, and the reader library
// under the built-in backend (slot 0). The loader looks for each by its bare
// name: LD_LIBRARY_PATH, then the folder of libridgex.so, then its cache and
// the system folders.
constexpr const char* kBackendFiles[] = {"libridgex_amber.so",  "libridgex_basalt.so",
                                         "libridgex_cobalt.so", "libridgex_dune.so",
                                         "libridgex_ember.so",  "libTavloApi.so"};

// systemd's own unit search when SYSTEMD_UNIT_PATH is not set.
constexpr const char* kUnitFolders[] = {"/etc/systemd/system", "/run/systemd/system",
                                        "/usr/local/lib/systemd/system", "/usr/lib/systemd/system",
                                        "/lib/systemd/system"};

std::vector<std::string> SplitPath(const char* text) {
    std::vector<std::string> parts;
    std::string part;
    for (const char* c = text; c != nullptr && *c != '\0'; ++c) {
        if (*c == ':' || *c == ';') {
            parts.push_back(part);
            part.clear();
        } else {
            part += *c;
        }
    }
    if (!part.empty()) {
        parts.push_back(part);
    }
    std::erase(parts, std::string());
    return parts;
}

std::string LibraryFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&ridgex_init), &info) == 0 || info.dli_fname == nullptr) {
        return "";
    }
    std::error_code error;
    const std::filesystem::path path = std::filesystem::canonical(info.dli_fname, error);
    return error ? "" : path.parent_path().string();
}

std::vector<std::string> SystemFolders() {
    utsname machine{};
    const std::string triplet = uname(&machine) == 0 ? std::string(machine.machine) + "-linux-gnu"
                                                     : std::string("x86_64-linux-gnu");
    return {"/usr/local/lib", "/lib/" + triplet, "/usr/lib/" + triplet, "/lib", "/usr/lib"};
}

void PrintFolders(const char* heading, const std::vector<std::string>& folders) {
    std::fprintf(stderr, "  %s%s\n", heading, folders.empty() ? " (none)" : "");
    for (const std::string& folder : folders) {
        std::string present;
        for (const char* file : kBackendFiles) {
            if (std::filesystem::exists(std::filesystem::path(folder) / file)) {
                present += std::string(present.empty() ? "" : ", ") + file;
            }
        }
        std::fprintf(stderr, "    %s%s%s\n", folder.c_str(), present.empty() ? "" : ": found ",
                     present.c_str());
    }
}

}  // namespace

void ExplainNoBackend() {
    std::fprintf(stderr,
                 "ridgex: no backend came up, so there are no readers.\n"
                 "  A backend is one of the libraries libridgex_amber.so, libridgex_basalt.so,\n"
                 "  libridgex_cobalt.so, libridgex_dune.so, libridgex_ember.so, or the built-in\n"
                 "  one, which needs libTavloApi.so and the reader service's unit "
                 "slvhost.service.\n"
                 "  A library that was found but did not start counts as missing too.\n");
    const char* library_path = std::getenv("LD_LIBRARY_PATH");
    PrintFolders("Libraries were looked for in LD_LIBRARY_PATH:", SplitPath(library_path));
    const std::string own = LibraryFolder();
    PrintFolders("beside libridgex.so:",
                 own.empty() ? std::vector<std::string>{} : std::vector<std::string>{own});
    PrintFolders("in the loader's cache (ldconfig -p) and the system folders:", SystemFolders());
    const char* unit_path = std::getenv("SYSTEMD_UNIT_PATH");
    std::fprintf(stderr, "  slvhost.service was looked for in %s:\n",
                 unit_path != nullptr ? "SYSTEMD_UNIT_PATH" : "systemd's unit folders");
    const std::vector<std::string> unit_folders =
        unit_path != nullptr
            ? SplitPath(unit_path)
            : std::vector<std::string>(std::begin(kUnitFolders), std::end(kUnitFolders));
    for (const std::string& folder : unit_folders) {
        const bool found =
            std::filesystem::exists(std::filesystem::path(folder) / "slvhost.service");
        std::fprintf(stderr, "    %s%s\n", folder.c_str(), found ? ": found" : "");
    }
}
