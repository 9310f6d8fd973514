// The main job: starts the library, lists the readers it finds with their
// identities, and stops it again.
#include <cstdio>
#include <vector>

#include "ridgex.h"

namespace {

int Fail(const char* what, ridgex_result status) {
    std::fprintf(stderr, "%s failed: 0x%08X\n", what, status);
    return 1;
}

void PrintReader(const ridgex_device_info& info) {
    std::printf("  %s\n", info.name);
    std::printf("    %s, %s, serial %s\n", info.vendor_name, info.product_name, info.serial_text);
    std::printf("    vid 0x%04X  pid 0x%04X  revision 0x%04X\n", info.vid, info.pid,
                info.revision);
}

}  // namespace

int main() {
    ridgex_version_info version{};
    version.size = sizeof(version);
    if (const ridgex_result status = ridgex_version(&version); status != RIDGEX_SUCCESS) {
        return Fail("ridgex_version", status);
    }
    std::printf("libridgex %u.%u.%u, interface %u.%u.%u\n", version.lib_major, version.lib_minor,
                version.lib_maintenance, version.api_major, version.api_minor,
                version.api_maintenance);

    if (const ridgex_result status = ridgex_init(); status != RIDGEX_SUCCESS) {
        return Fail("ridgex_init", status);
    }
    // Ask for the size first, then for the list; readers may come and go in
    // between, so a second MORE_DATA just means asking again.
    std::vector<ridgex_device_info> readers;
    uint32_t count = 0;
    ridgex_result status = RIDGEX_E_MORE_DATA;
    while (status == RIDGEX_E_MORE_DATA) {
        readers.resize(count);
        status = ridgex_query_devices(&count, readers.empty() ? nullptr : readers.data());
    }
    if (status != RIDGEX_SUCCESS) {
        ridgex_exit();
        return Fail("ridgex_query_devices", status);
    }
    std::printf("%u reader%s\n", count, count == 1 ? "" : "s");
    for (uint32_t i = 0; i < count; ++i) {
        PrintReader(readers[i]);
    }
    ridgex_exit();
    return 0;
}
