#include "report.h"

#include <cstdio>

#include "exit_status.h"
#include "ridgex_text.h"

void ReportStatus(const std::string& what, ridgex_result status) {
    std::fprintf(stderr, "ridgex: %s: %s (0x%08X): %s\n", what.c_str(), ridgex_status_name(status),
                 status, ridgex_status_text(status));
}

void ReportError(const std::string& message) {
    std::fprintf(stderr, "ridgex: %s\n", message.c_str());
}

int UsageError(const std::string& command, const std::string& message) {
    std::fprintf(stderr, "ridgex %s: %s\nTry 'ridgex %s --help'.\n", command.c_str(),
                 message.c_str(), command.c_str());
    return kExitUsage;
}
