#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

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

TEST(LoadLibrary, TheNthLoadCanBeMadeToFail) {
    static int calls;
    calls = 0;
    syscall_override second_fails(
        &platform::syscall_table::dlopen,
        +[](const char* f, int m) { return ++calls == 2 ? nullptr : ::dlopen(f, m); });
    // libplatform_probe.so lies on the tests' library search path.
    void* first = platform::load_library("platform_probe.dll");
    void* second = platform::load_library("platform_probe.dll");
    void* third = platform::load_library("platform_probe.dll");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    auto answer =
        reinterpret_cast<int (*)()>(platform::find_symbol(first, "platform_probe_answer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(platform::find_symbol(first, "no_such_export"), nullptr);
    EXPECT_EQ(platform::find_symbol(nullptr, "platform_probe_answer"), nullptr);
    platform::free_library(first);
    platform::free_library(third);
    platform::free_library(nullptr);
}

}  // namespace
