#include "platform/service.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/temp_folder.h"

namespace {

using ridgex_test::TempFolder;
using ridgex_test::WriteFile;

// Only a unit file by a plain name counts, in any folder of the unit path,
// which is read at every call. The test points the path at folders of its
// own, never the machine's.
TEST(Service, UnitFileInAnyFolderOfThePath) {
    TempFolder first, second;
    WriteFile(second / "slvhost.service", "[Unit]\n");
    std::filesystem::create_directory(first.path() / "slvhost.service");
    std::filesystem::create_directory(first.path() / "sub");
    WriteFile(first / "sub/x.service", "[Unit]\n");
    const std::string a = first.path().string(),
                      both = "::" + a + ":" + second.path().string() + ":";
    struct {
        std::string units;
        const char* name;
        bool installed;
    } const cases[] = {
        {a, "SLVHOST", false},  // a folder by the unit's name
        {both, "SLVHOST", true}, {both, "SlvHost", true}, {both, "OTHER", false},
        {a, "sub/x", false},     {a, "", false},          {a, nullptr, false},
        {"", "SLVHOST", false},
    };
    for (const auto& c : cases) {
        setenv("SYSTEMD_UNIT_PATH", c.units.c_str(), 1);
        EXPECT_EQ(platform::service_installed(c.name), c.installed)
            << c.units << " " << (c.name != nullptr ? c.name : "(null)");
    }
    setenv("SYSTEMD_UNIT_PATH", "/nonexistent-units", 1);
}

}  // namespace
