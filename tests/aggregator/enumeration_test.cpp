// One flat list over the backends: prefixes, the two-call size protocol, room
// running out across backends, and the rule by which the lower slot keeps a
// reader that two backends report.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/sim_backends.h"

namespace {

std::string Reader(const std::string& name, unsigned vid = 1, unsigned pid = 1) {
    return "[reader]\nname = " + name + "\nvid = " + std::to_string(vid) +
           "\npid = " + std::to_string(pid) + "\n";
}

TEST(Enumeration, ListsEachBackendUnderItsPrefix) {
    const std::string long_name(1023, 'n');
    const struct {
        const char* what;
        std::vector<std::pair<uint32_t, std::string>> slots;
        uint32_t probed;  // the count a call without entries answers
        uint32_t room;
        ridgex_result status;
        uint32_t count;
        std::vector<std::string> names;
    } cases[] = {
        {"slot order",
         {{3, Reader("gamma")}, {1, Reader("alpha", 2, 2) + Reader("beta", 2, 3)}},
         3,
         8,
         RIDGEX_SUCCESS,
         3,
         {"$01$alpha", "$01$beta", "$03$gamma"}},
        {"long names lose their tail",
         {{2, Reader(long_name)}},
         1,
         1,
         RIDGEX_SUCCESS,
         1,
         {"$02$" + long_name.substr(0, 1019)}},
        {"prefixed names stay", {{4, Reader("$77$odd")}}, 1, 1, RIDGEX_SUCCESS, 1, {"$77$odd"}},
        {"room runs out",
         {{1, Reader("a")}, {5, Reader("e", 2)}},
         2,
         1,
         RIDGEX_E_MORE_DATA,
         2,
         {"$01$a"}},
        // Slot 2 repeats slot 1's reader first, so its whole list goes, even
        // the reader nobody else has; slot 4 has another vendor and stays.
        {"lower slot keeps a repeated reader",
         {{1, Reader("one", 0x05BA, 0x000E)},
          {2, Reader("two", 0x05BA, 0x000E) + Reader("unique", 0x0999, 9)},
          {4, Reader("four", 0x147E, 0x000E)}},
         4,
         4,
         RIDGEX_SUCCESS,
         2,
         {"$01$one", "$04$four"}},
        {"an earlier reader without product matches the vendor",
         {{1, Reader("any", 0x05BA, 0)}, {3, Reader("later", 0x05BA, 0x1234)}},
         2,
         4,
         RIDGEX_SUCCESS,
         1,
         {"$01$any"}},
        {"a failing backend counts as empty",
         {{1, Reader("a")},
          {2, "result.query_devices = 0x05BA001F\n" + Reader("broken", 2)},
          {3, Reader("c", 3)}},
         2,
         4,
         RIDGEX_SUCCESS,
         2,
         {"$01$a", "$03$c"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        sim_backends sims;
        for (const auto& [slot, text] : c.slots) {
            sims.slot(slot, text);
        }
        ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
        uint32_t count = 0;
        EXPECT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_MORE_DATA);
        EXPECT_EQ(count, c.probed);
        // One entry more than the room: it must stay untouched.
        std::vector<ridgex_device_info> entries(c.room + 1);
        entries[c.room].name[0] = 'x';
        count = c.room;
        EXPECT_EQ(ridgex_query_devices(&count, entries.data()), c.status);
        EXPECT_EQ(count, c.count);
        std::vector<std::string> names;
        for (uint32_t i = 0; i < std::min(count, c.room); ++i) {
            names.emplace_back(entries[i].name);
            EXPECT_EQ(entries[i].size, sizeof(ridgex_device_info));
        }
        EXPECT_EQ(names, c.names);
        EXPECT_EQ(entries[c.room].name[0], 'x');
        EXPECT_EQ(ridgex_query_devices(nullptr, nullptr), RIDGEX_E_INVALID_PARAMETER);
    }
}

}  // namespace
