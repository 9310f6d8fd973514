// ridgex: the command-line face of libridgex, for people and scripts.
// Each command lives in a file of its own; this one picks it.
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "exit_status.h"
#include "report.h"
#include "ridgex.h"
#include "usage.h"

namespace {

struct command {
    const char* name;
    const char* usage;
    std::vector<option_form> options;
    int (*run)(const arguments&);
};

const option_form kHelp{"--help", "-h", false};

const command kCommands[] = {
    {"list", kListUsage, {kHelp, {"--json", nullptr, false}}, RunList},
    {"info", kInfoUsage, {kHelp}, RunInfo},
    {"capture",
     kCaptureUsage,
     {kHelp,
      {"-o", nullptr, true},
      {"--format", nullptr, true},
      {"--dpi", nullptr, true},
      {"--timeout", nullptr, true},
      {"--liveness", nullptr, false},
      {"--far", nullptr, true}},
     RunCapture},
    {"stream", kStreamUsage, {kHelp, {"--frames", nullptr, true}}, RunStream},
    {"trace",
     kTraceUsage,
     {kHelp, {"--folder", nullptr, true}, {"--flat", nullptr, false}},
     RunTrace},
};

int PrintVersion() {
    ridgex_version_info version{};
    version.size = sizeof(version);
    std::printf("ridgex %d.%d.%d\n", RIDGEX_VERSION_MAJOR, RIDGEX_VERSION_MINOR,
                RIDGEX_VERSION_PATCH);
    if (ridgex_version(&version) == RIDGEX_SUCCESS) {
        std::printf("libridgex %u.%u.%u, interface %u.%u.%u\n", version.lib_major,
                    version.lib_minor, version.lib_maintenance, version.api_major,
                    version.api_minor, version.api_maintenance);
    }
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "";
    if (first == "--help" || first == "-h") {
        std::fputs(kMainUsage, stdout);
        return kExitOk;
    }
    if (first == "--version") {
        return PrintVersion();
    }
    for (const command& cmd : kCommands) {
        if (first != cmd.name) {
            continue;
        }
        arguments args;
        std::string error;
        if (!args.Parse(std::vector<std::string>(argv + 2, argv + argc), cmd.options, &error)) {
            return UsageError(cmd.name, error);
        }
        if (args.Has("--help")) {
            std::fputs(cmd.usage, stdout);
            return kExitOk;
        }
        // Results go out at once, also into a pipe, ahead of what follows.
        std::setvbuf(stdout, nullptr, _IOLBF, 0);
        return cmd.run(args);
    }
    if (first.empty()) {
        std::fprintf(stderr, "ridgex: give a command\n%s", kMainUsage);
    } else {
        std::fprintf(stderr, "ridgex: unknown command '%s'\nTry 'ridgex --help'.\n", first.c_str());
    }
    return kExitUsage;
}
