// The shipped library exports exactly the 26 ridgex_ functions and nothing
// else, read from the dynamic symbol table of the real file.
#include <elf.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace {

std::set<std::string> DefinedDynamicSymbols(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> image((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
    std::set<std::string> names;
    if (image.size() < sizeof(Elf64_Ehdr)) {
        return names;
    }
    Elf64_Ehdr header;
    std::memcpy(&header, image.data(), sizeof(header));
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    std::memcpy(sections.data(), image.data() + header.e_shoff,
                sections.size() * sizeof(Elf64_Shdr));
    for (const Elf64_Shdr& section : sections) {
        if (section.sh_type != SHT_DYNSYM) {
            continue;
        }
        const char* strings = image.data() + sections[section.sh_link].sh_offset;
        const size_t count = section.sh_size / sizeof(Elf64_Sym);
        for (size_t i = 1; i < count; ++i) {
            Elf64_Sym symbol;
            std::memcpy(&symbol, image.data() + section.sh_offset + i * sizeof(Elf64_Sym),
                        sizeof(symbol));
            const int binding = ELF64_ST_BIND(symbol.st_info);
            if (symbol.st_shndx != SHN_UNDEF && (binding == STB_GLOBAL || binding == STB_WEAK)) {
                names.insert(strings + symbol.st_name);
            }
        }
    }
    return names;
}

}  // namespace

TEST(ExportedSymbols, ExactlyTheTwentySixFunctions) {
    const std::set<std::string> expected = {
        "ridgex_calibrate",
        "ridgex_cancel",
        "ridgex_capture",
        "ridgex_capture_async",
        "ridgex_close",
        "ridgex_exit",
        "ridgex_get_device_capabilities",
        "ridgex_get_device_status",
        "ridgex_get_parameter",
        "ridgex_get_stream_image",
        "ridgex_init",
        "ridgex_led_config",
        "ridgex_led_ctrl",
        "ridgex_open",
        "ridgex_open_ext",
        "ridgex_query_devices",
        "ridgex_reset",
        "ridgex_set_parameter",
        "ridgex_start_stream",
        "ridgex_stop_stream",
        "ridgex_trace",
        "ridgex_trace_dispose",
        "ridgex_trace_error",
        "ridgex_trace_result",
        "ridgex_trace_start",
        "ridgex_version",
    };
    EXPECT_EQ(DefinedDynamicSymbols(RIDGEX_LIBRARY_FILE), expected);
}
