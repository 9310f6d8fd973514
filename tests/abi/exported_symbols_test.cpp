// The shipped library exports exactly the 26 ridgex_ functions and nothing
// else, read from the dynamic symbol table of the real file.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>

TEST(ExportedSymbols, ExactlyTheTwentySixFunctions) {
    std::istringstream names(
        "calibrate cancel capture capture_async close exit get_device_capabilities "
        "get_device_status get_parameter get_stream_image init led_config led_ctrl open "
        "open_ext query_devices reset set_parameter start_stream stop_stream trace "
        "trace_dispose trace_error trace_result trace_start version");
    std::set<std::string> expected, defined;
    for (std::string name; names >> name;) {
        expected.insert("ridgex_" + name);
    }
    FILE* listing = popen(RIDGEX_NM " -D --defined-only " RIDGEX_LIBRARY_FILE, "r");
    ASSERT_NE(listing, nullptr);
    for (char name[256]; std::fscanf(listing, "%*s %*s %255s", name) == 1;) {
        defined.insert(name);
    }
    EXPECT_EQ(pclose(listing), 0);
    EXPECT_EQ(defined, expected);
}
