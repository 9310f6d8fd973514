// ridgex list [--json]: the readers, one a line, or as a JSON document.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "exit_status.h"
#include "library_session.h"
#include "report.h"

namespace {

std::string JsonString(const char* text) {
    std::string out = "\"";
    for (const char* c = text; *c != '\0'; ++c) {
        const auto byte = static_cast<unsigned char>(*c);
        if (byte == '"' || byte == '\\') {
            out += '\\';
            out += *c;
        } else if (byte < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", byte);
            out += escaped;
        } else {
            out += *c;
        }
    }
    return out + "\"";
}

void PrintJson(const std::vector<ridgex_device_info>& readers) {
    std::printf("{\"readers\": [");
    for (size_t i = 0; i < readers.size(); ++i) {
        const ridgex_device_info& r = readers[i];
        std::printf(
            "%s\n  {\"name\": %s, \"slot\": %d, \"vid\": %u, \"pid\": %u, "
            "\"revision\": %u, \"vendor\": %s, \"product\": %s, \"serial\": %s}",
            i == 0 ? "" : ",", JsonString(r.name).c_str(), ReaderSlot(r), r.vid, r.pid, r.revision,
            JsonString(r.vendor_name).c_str(), JsonString(r.product_name).c_str(),
            JsonString(r.serial_text).c_str());
    }
    std::printf("%s]}\n", readers.empty() ? "" : "\n");
}

void PrintTable(const std::vector<ridgex_device_info>& readers) {
    int width = 4;
    for (const ridgex_device_info& r : readers) {
        width = std::max(width, static_cast<int>(std::string(r.name).size()));
    }
    std::printf("%-*s  VID:PID    REV     SLOT  PRODUCT\n", width, "NAME");
    for (const ridgex_device_info& r : readers) {
        std::printf("%-*s  %04x:%04x  0x%04X  %4d  %s\n", width, r.name, r.vid, r.pid, r.revision,
                    ReaderSlot(r), r.product_name);
    }
}

}  // namespace

int RunList(const arguments& args) {
    if (!args.Operands().empty()) {
        return UsageError("list", "no operands expected");
    }
    library_session library;
    if (!library.Start()) {
        return kExitFailure;
    }
    if (args.Has("--json")) {
        PrintJson(library.Readers());
    } else if (library.Readers().empty()) {
        std::printf("No readers.\n");
    } else {
        PrintTable(library.Readers());
    }
    return kExitOk;
}
