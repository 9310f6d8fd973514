// Facts of the system: installed services, the process marker, text
// conversion.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/process_marker.h"
#include "platform/service.h"
#include "platform/utf16.h"
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

// The library in this test program holds its own marker under our pid, so a
// new one fails; a child, whose pid is still free, makes one, and the name is
// free again once it is closed.
TEST(ProcessMarker, NameIsTakenExactlyWhileOpen) {
    EXPECT_EQ(platform::create_process_marker(), -1);
    const pid_t child = fork();
    if (child == 0) {
        const int marker = platform::create_process_marker();
        const bool taken = platform::create_process_marker() == -1;
        platform::close_process_marker(marker);
        platform::close_process_marker(-1);
        const int again = platform::create_process_marker();
        _exit(marker >= 0 && taken && again >= 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// Each length of UTF-8 at its bounds, the first surrogate pair (U+10000) and
// the last (0xDBFF 0xDFFF), both ways.
TEST(Utf16, ConvertsBothWaysAtTheBoundsOfEachLength) {
    struct {
        std::u16string wide;
        std::string utf8;
    } const cases[] = {
        {u"\u007F", "\x7F"},
        {u"\u0080\u07FF", "\xC2\x80\xDF\xBF"},
        {u"\u0800\uFFFF", "\xE0\xA0\x80\xEF\xBF\xBF"},
        {u"\U00010000", "\xF0\x90\x80\x80"},
        {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(platform::utf16_to_utf8(c.wide.data(), c.wide.size()), c.utf8) << c.utf8;
        std::u16string wide;
        EXPECT_TRUE(platform::utf8_to_utf16(c.utf8, &wide)) << c.utf8;
        EXPECT_EQ(wide, c.wide) << c.utf8;
    }
    // A pair cut by the count, and bytes no character starts with.
    EXPECT_EQ(platform::utf16_to_utf8(u"\U00010000", 1), "\xEF\xBF\xBD");
    std::u16string wide;
    EXPECT_FALSE(platform::utf8_to_utf16("\x80", &wide));
    EXPECT_FALSE(platform::utf8_to_utf16("\xF4\x90\x80\x80", &wide));  // beyond U+10FFFF
}

}  // namespace
