#include "platform/service.h"

#include <sys/stat.h>

#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>

namespace platform {
namespace {

constexpr std::string_view system_unit_path =
    "/etc/systemd/system:/run/systemd/system:/usr/local/lib/systemd/system:"
    "/usr/lib/systemd/system:/lib/systemd/system";

bool unit_in_any_folder(std::string_view folders, const std::string& unit) {
    for (;;) {
        const size_t colon = folders.find(':');
        const std::string_view folder = folders.substr(0, colon);
        if (!folder.empty()) {
            const std::string path = std::string(folder) + '/' + unit;
            struct stat facts;
            if (stat(path.c_str(), &facts) == 0 && !S_ISDIR(facts.st_mode)) {
                return true;
            }
        }
        if (colon == std::string_view::npos) {
            return false;
        }
        folders.remove_prefix(colon + 1);
    }
}

}  // namespace

bool service_installed(const char* service_name) {
    if (service_name == nullptr || *service_name == '\0') {
        return false;
    }
    std::string unit;
    for (const char* c = service_name; *c != '\0'; ++c) {
        // A service name is never a path.
        if (*c == '/') {
            return false;
        }
        unit += static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
    }
    unit += ".service";

    const char* configured = std::getenv("SYSTEMD_UNIT_PATH");
    return unit_in_any_folder(configured != nullptr ? configured : system_unit_path, unit);
}

}  // namespace platform
