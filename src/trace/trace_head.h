// The text head of a new trace file: the magic line, the build, the
// machine, the library's version, the installed products, the installation
// kind and the local time, ended by a line with a single dot.
#pragma once

#include <string>
#include <vector>

#include "platform/clock.h"

namespace SlvTraceNS {

struct HeadFacts {
    int kernel_major = 0;
    int kernel_minor = 0;
    std::string machine_name;
    std::vector<std::string> product_lines;  // whole lines, CR LF included
    bool local_installation = false;
    platform::local_time_t time{};
};

// The head's bytes for these facts.
std::string ComposeHead(const HeadFacts& facts);

// The facts of this machine and process, from the system and the registry.
HeadFacts GatherHeadFacts();

}  // namespace SlvTraceNS
