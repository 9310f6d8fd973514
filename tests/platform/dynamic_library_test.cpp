#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/module_path.h"
#include "support/syscall_override.h"

namespace {

TEST(LoadLibrary, MapsTheDllNameAndOpensNowAndPrivately) {
    EXPECT_EQ(platform::library_file_name("TavloApi.dll"), "libTavloApi.so");
    EXPECT_EQ(platform::library_file_name("nex_sdk.DLL"), "libnex_sdk.so");
    EXPECT_EQ(platform::library_file_name("plain"), "libplain.so");

    static std::string file;
    static int flags = 0;
    syscall_override recorder(
        &platform::syscall_table::dlopen, +[](const char* f, int m) {
            file = f;
            flags = m;
            return static_cast<void*>(nullptr);
        });
    EXPECT_EQ(platform::load_library("ridgex_dune.dll"), nullptr);
    EXPECT_EQ(file, "libridgex_dune.so");
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
