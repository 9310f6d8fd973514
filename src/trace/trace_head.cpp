#include "trace/trace_head.h"

#include <cstdarg>
#include <cstdio>

#include "base/library_version.h"
#include "platform/registry.h"
#include "platform/system_facts.h"
#include "trace/trace_record.h"
#include "trace/trace_registry.h"

namespace SlvTraceNS {
namespace {

// Each line is built in 261 bytes and cut at 260; a cut line still ends in
// CR LF.
constexpr size_t kLineRoom = 261;

__attribute__((format(printf, 1, 2))) std::string Line(const char* format, ...) {
    char line[kLineRoom];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (length < 0) {
        return {};
    }
    if (static_cast<size_t>(length) >= kLineRoom - 1) {
        line[kLineRoom - 3] = '\r';
        line[kLineRoom - 2] = '\n';
        line[kLineRoom - 1] = '\0';
    }
    return line;
}

std::vector<std::string> ProductLines() {
    std::vector<std::string> lines;
    platform::registry_key products;
    if (products.open(kProductsKeyPath) != platform::reg_ok) {
        return lines;
    }
    std::string name;
    for (uint32_t index = 0; products.enum_key(index, &name) == platform::reg_ok; ++index) {
        platform::registry_key product;
        std::string version;
        if (const int32_t rc = products.open_subkey(name, &product); rc != platform::reg_ok) {
            lines.push_back(Line("Product: %s ERROR(0x%X)\r\n", name.c_str(), rc));
        } else if (const int32_t rc = ReadNarrow(product, "Version", &version);
                   rc != platform::reg_ok) {
            lines.push_back(Line("Product: %s; Version: ERROR(0x%X)\r\n", name.c_str(), rc));
        } else {
            lines.push_back(Line("Product: %s; Version: %s\r\n", name.c_str(), version.c_str()));
        }
    }
    return lines;
}

bool LocalInstallation() {
    platform::registry_key policy;
    uint32_t network = 1;
    return policy.open(kPolicyKeyPath) == platform::reg_ok &&
           ReadDword(policy, "NetworkSupport", &network) && network == 0;
}

}  // namespace

std::string ComposeHead(const HeadFacts& facts) {
    std::string head(kTraceMagic);
    head += Line("Compiled: %s %s\r\n", __DATE__, __TIME__);
    head += Line("OS: UNKNOWN OS(Major:%d Minor:%d)\r\n", facts.kernel_major, facts.kernel_minor);
    head += Line("ServicePack: %s\r\n", "");
    head += Line("Machine name: %s\r\n", facts.machine_name.c_str());
    head += Line("Trace Ver: %s\r\n", kTraceVersion.data());
    head +=
        Line("FileVersion: %d.%d.%d.%d\r\n", kLibraryMajor, kLibraryMinor, kLibraryMaintenance, 0);
    if (facts.product_lines.empty()) {
        head += "No Oraline products found\r\n";
    }
    for (const auto& line : facts.product_lines) {
        head += line;
    }
    head += facts.local_installation ? "installation: LOCAL\r\n" : "installation: NETWORK\r\n";
    const auto& t = facts.time;
    head += Line("%02d/%02d/%04d %02d:%02d:%02d.%03d\r\n", t.month, t.day, t.year, t.hour, t.minute,
                 t.second, t.milliseconds);
    head += kHeadEnd;
    return head;
}

HeadFacts GatherHeadFacts() {
    HeadFacts facts;
    platform::kernel_version(&facts.kernel_major, &facts.kernel_minor);
    facts.machine_name = platform::machine_name();
    facts.product_lines = ProductLines();
    facts.local_installation = LocalInstallation();
    facts.time = platform::local_time();
    return facts;
}

}  // namespace SlvTraceNS
