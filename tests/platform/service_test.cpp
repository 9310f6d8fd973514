#include "platform/service.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "trace/temp_folder.h"

namespace {

using ridgex_test::TempFolder;
using ridgex_test::WriteFile;

// Points SYSTEMD_UNIT_PATH at the test's own folders, never at the
// machine's, and puts the test environment's value back afterwards.
class ServiceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const char* value = std::getenv("SYSTEMD_UNIT_PATH");
        had_value_ = value != nullptr;
        saved_ = had_value_ ? value : "";
    }
    void TearDown() override {
        if (had_value_) {
            setenv("SYSTEMD_UNIT_PATH", saved_.c_str(), 1);
        } else {
            unsetenv("SYSTEMD_UNIT_PATH");
        }
    }
    static void set_unit_path(const std::string& value) {
        setenv("SYSTEMD_UNIT_PATH", value.c_str(), 1);
    }

    TempFolder first_, second_;

  private:
    bool had_value_ = false;
    std::string saved_;
};

TEST_F(ServiceTest, UnitInAnyFolderOfTheSearchPathCounts) {
    WriteFile(second_ / "slvhost.service", "[Unit]\n");
    set_unit_path(first_.path().string() + ":" + second_.path().string());
    EXPECT_TRUE(platform::service_installed("SLVHOST"));
    EXPECT_TRUE(platform::service_installed("SlvHost"));
    EXPECT_FALSE(platform::service_installed("OTHER"));
}

TEST_F(ServiceTest, SearchPathIsReadAtEveryCall) {
    WriteFile(second_ / "slvhost.service", "[Unit]\n");
    set_unit_path(first_.path().string());
    EXPECT_FALSE(platform::service_installed("SLVHOST"));
    set_unit_path(second_.path().string());
    EXPECT_TRUE(platform::service_installed("SLVHOST"));
    set_unit_path("");
    EXPECT_FALSE(platform::service_installed("SLVHOST"));
}

TEST_F(ServiceTest, EmptyComponentsAreSkipped) {
    WriteFile(second_ / "slvhost.service", "[Unit]\n");
    set_unit_path("::" + first_.path().string() + "::" + second_.path().string() + ":");
    EXPECT_TRUE(platform::service_installed("SLVHOST"));
}

TEST_F(ServiceTest, OnlyAUnitFileCounts) {
    std::filesystem::create_directory(first_.path() / "slvhost.service");
    WriteFile(first_ / "slvhost", "");
    set_unit_path(first_.path().string());
    EXPECT_FALSE(platform::service_installed("SLVHOST"));
    EXPECT_FALSE(platform::service_installed(""));
    EXPECT_FALSE(platform::service_installed(nullptr));
}

TEST_F(ServiceTest, ANameIsNeverAPath) {
    std::filesystem::create_directory(first_.path() / "sub");
    WriteFile(first_ / "sub/x.service", "[Unit]\n");
    set_unit_path(first_.path().string());
    EXPECT_FALSE(platform::service_installed("sub/x"));
}

}  // namespace
