#include "platform/module_path.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/dynamic_library.h"

namespace {

bool ends_with(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(ModulePath, IsTheAbsoluteFileOfTheLibraryHoldingTheAddress) {
    void* lib = platform::load_library("platform_probe.dll");
    ASSERT_NE(lib, nullptr);
    platform::record_module_path(platform::find_symbol(lib, "platform_probe_answer"));
    const std::string path = platform::module_path();
    EXPECT_TRUE(ends_with(path, "/libplatform_probe.so")) << path;
    EXPECT_EQ(path.front(), '/') << path;
    platform::free_library(lib);
}

TEST(ModulePath, AnAddressOutsideAnyLibraryGivesEmpty) {
    int on_the_stack = 0;
    platform::record_module_path(&on_the_stack);
    EXPECT_STREQ(platform::module_path(), "");
}

TEST(ExecutablePath, IsThisTestProgram) {
    const std::string path = platform::executable_path();
    EXPECT_TRUE(ends_with(path, "/platform_tests")) << path;
}

}  // namespace
