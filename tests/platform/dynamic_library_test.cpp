#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/module_path.h"
#include "support/syscall_override.h"

namespace {

// The bare file name first, for the loader's own search; then the same file
// in the folder of the library itself (here the test program), which a
// sanitizer's loader would otherwise miss.
TEST(LoadLibrary, MapsTheDllNameAndOpensNowAndPrivatelyThenInItsOwnFolder) {
    static std::vector<std::string> files;
    static int flags = 0;
    syscall_override recorder(
        &platform::syscall_table::dlopen, +[](const char* f, int m) {
            files.push_back(f);
            flags = m;
            return static_cast<void*>(nullptr);
        });
    const std::string own = platform::module_path();
    const std::string folder = own.substr(0, own.rfind('/') + 1);
    for (const auto& [name, file] : {std::pair{"ridgex_dune.dll", "libridgex_dune.so"},
                                     {"nex_sdk.DLL", "libnex_sdk.so"},
                                     {"plain", "libplain.so"}}) {
        files.clear();
        EXPECT_EQ(platform::load_library(name), nullptr);
        EXPECT_EQ(files, (std::vector<std::string>{file, folder + file}));
    }
    EXPECT_EQ(flags, RTLD_NOW | RTLD_LOCAL);
}

// libplatform_probe.so lies on the tests' library search path.
TEST(LoadLibrary, FindsSymbolsAndTheModulePathOfTheFileHoldingAnAddress) {
    void* lib = platform::load_library("platform_probe.dll");
    ASSERT_NE(lib, nullptr);
    void* answer = platform::find_symbol(lib, "platform_probe_answer");
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(reinterpret_cast<int (*)()>(answer)(), 42);
    EXPECT_EQ(platform::find_symbol(lib, "no_such_export"), nullptr);

    platform::record_module_path(answer);
    const std::string path = platform::module_path();
    EXPECT_EQ(path.front(), '/') << path;
    EXPECT_TRUE(path.ends_with("/libplatform_probe.so")) << path;
    platform::free_library(lib);
    platform::free_library(nullptr);
    int on_the_stack = 0;
    platform::record_module_path(&on_the_stack);
    EXPECT_STREQ(platform::module_path(), "");
    EXPECT_TRUE(platform::executable_path().ends_with("/platform_tests"));
}

}  // namespace
