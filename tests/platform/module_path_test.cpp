#include "platform/module_path.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/dynamic_library.h"

namespace {

TEST(ModulePath, IsTheAbsoluteFileOfTheLibraryHoldingTheAddress) {
    void* lib = platform::load_library("platform_probe.dll");
    ASSERT_NE(lib, nullptr);
    platform::record_module_path(platform::find_symbol(lib, "platform_probe_answer"));
    const std::string path = platform::module_path();
    EXPECT_EQ(path.front(), '/') << path;
    EXPECT_TRUE(path.ends_with("/libplatform_probe.so")) << path;
    platform::free_library(lib);

    int on_the_stack = 0;
    platform::record_module_path(&on_the_stack);
    EXPECT_STREQ(platform::module_path(), "");

    EXPECT_TRUE(platform::executable_path().ends_with("/platform_tests"));
}

}  // namespace
