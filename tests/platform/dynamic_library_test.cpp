#include "platform/dynamic_library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "support/syscall_override.h"

namespace {

TEST(LibraryFileName, MapsTheDllNameToTheSharedObject) {
    EXPECT_EQ(platform::library_file_name("ridgex_amber.dll"), "libridgex_amber.so");
    EXPECT_EQ(platform::library_file_name("TavloApi.dll"), "libTavloApi.so");
    EXPECT_EQ(platform::library_file_name("nex_sdk.DLL"), "libnex_sdk.so");
    EXPECT_EQ(platform::library_file_name("plain"), "libplain.so");
    EXPECT_EQ(platform::library_file_name("twice.dll.dll"), "libtwice.dll.so");
}

TEST(LoadLibrary, OpensTheBareFileNowAndPrivately) {
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

TEST(LoadLibrary, FindsALibraryOnTheSearchPath) {
    void* lib = platform::load_library("platform_probe.dll");
    ASSERT_NE(lib, nullptr) << "libplatform_probe.so must be on LD_LIBRARY_PATH";
    auto answer = reinterpret_cast<int (*)()>(platform::find_symbol(lib, "platform_probe_answer"));
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(platform::find_symbol(lib, "no_such_export"), nullptr);
    platform::free_library(lib);
}

TEST(LoadLibrary, TheNthLoadCanBeMadeToFail) {
    static int calls = 0;
    syscall_override second_fails(
        &platform::syscall_table::dlopen,
        +[](const char* f, int m) { return ++calls == 2 ? nullptr : ::dlopen(f, m); });
    void* first = platform::load_library("platform_probe.dll");
    void* second = platform::load_library("platform_probe.dll");
    void* third = platform::load_library("platform_probe.dll");
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    platform::free_library(first);
    platform::free_library(third);
}

TEST(LoadLibrary, MissingOrNullIsRefused) {
    EXPECT_EQ(platform::load_library(nullptr), nullptr);
    EXPECT_EQ(platform::load_library("no_such_library_anywhere.dll"), nullptr);
    EXPECT_EQ(platform::find_symbol(nullptr, "platform_probe_answer"), nullptr);
    platform::free_library(nullptr);
}

}  // namespace
