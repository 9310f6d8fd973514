#include "platform/service.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/temp_folder.h"

namespace {

using ridgex_test::TempFolder;
using ridgex_test::WriteFile;

// The test environment points SYSTEMD_UNIT_PATH at an empty folder of the
// build; these tests point it at folders of their own, never the machine's.
class ServiceTest : public ::testing::Test {
  protected:
    void TearDown() override { setenv("SYSTEMD_UNIT_PATH", "/nonexistent-units", 1); }
    static void use_units(const std::string& path) { setenv("SYSTEMD_UNIT_PATH", path.c_str(), 1); }

    TempFolder first_, second_;
};

TEST_F(ServiceTest, UnitInAnyFolderOfThePathCountsReadAtEveryCall) {
    WriteFile(second_ / "slvhost.service", "[Unit]\n");
    use_units(first_.path().string());
    EXPECT_FALSE(platform::service_installed("SLVHOST"));
    use_units("::" + first_.path().string() + ":" + second_.path().string() + ":");
    EXPECT_TRUE(platform::service_installed("SLVHOST"));
    EXPECT_TRUE(platform::service_installed("SlvHost"));
    EXPECT_FALSE(platform::service_installed("OTHER"));
    use_units("");
    EXPECT_FALSE(platform::service_installed("SLVHOST"));
}

TEST_F(ServiceTest, OnlyAUnitFileByAPlainNameCounts) {
    std::filesystem::create_directory(first_.path() / "slvhost.service");
    std::filesystem::create_directory(first_.path() / "sub");
    WriteFile(first_ / "sub/x.service", "[Unit]\n");
    use_units(first_.path().string());
    EXPECT_FALSE(platform::service_installed("SLVHOST"));
    EXPECT_FALSE(platform::service_installed("sub/x"));
    EXPECT_FALSE(platform::service_installed(""));
    EXPECT_FALSE(platform::service_installed(nullptr));
}

}  // namespace
