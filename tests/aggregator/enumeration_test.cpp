// One flat list over the backends: prefixes, the two-call size protocol, room
// running out across backends, and the rule by which the lower slot keeps a
// reader that two backends report.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/sim_backends.h"

namespace {

std::string R(const std::string& name, unsigned vid = 1, unsigned pid = 1) {
    return "[reader]\nname = " + name + "\nvid = " + std::to_string(vid) +
           "\npid = " + std::to_string(pid) + "\n";
}

TEST(Enumeration, ListsEachBackendUnderItsPrefix) {
    const std::string name(1023, 'n');
    const std::string twice = R("b", 0x5BA, 0xE) + R("u", 9, 9);
    const std::string broken = "result.query_devices = 0x05BA001F\n";
    const struct {
        std::vector<std::pair<uint32_t, std::string>> slots;
        uint32_t probed, room;  // the count a call without entries answers; room given
        std::vector<std::string> names;
    } cases[] = {
        // Slot order, not file order.
        {{{3, R("c")}, {1, R("a", 2, 2) + R("b", 2, 3)}}, 3, 8, {"$01$a", "$01$b", "$03$c"}},
        {{{2, R(name)}}, 1, 1, {"$02$" + name.substr(0, 1019)}},    // long names lose their tail
        {{{4, R("$77$odd")}}, 1, 1, {"$77$odd"}},                   // prefixed names stay
        {{{1, R("a")}, {5, R("e", 2)}}, 2, 1, {"$01$a", "$05$e"}},  // room runs out
        // Slot 2 repeats slot 1's reader first, so its whole list goes, even
        // the reader nobody else has; slot 4 has another vendor and stays.
        {{{1, R("a", 0x5BA, 0xE)}, {2, twice}, {4, R("d", 0x147E, 0xE)}}, 4, 4, {"$01$a", "$04$d"}},
        // An earlier reader without product matches the vendor.
        {{{1, R("any", 0x5BA, 0)}, {3, R("later", 0x5BA, 0x1234)}}, 2, 4, {"$01$any"}},
        // A failing backend counts as empty.
        {{{1, R("a")}, {2, broken + R("b", 2)}, {3, R("c", 3)}}, 2, 4, {"$01$a", "$03$c"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
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
        const uint32_t listed = c.names.size();
        EXPECT_EQ(ridgex_query_devices(&count, entries.data()),
                  listed > c.room ? RIDGEX_E_MORE_DATA : RIDGEX_SUCCESS);
        EXPECT_EQ(count, listed);
        for (uint32_t i = 0; i < std::min(listed, c.room); ++i) {
            EXPECT_EQ(entries[i].name, c.names[i]);
            EXPECT_EQ(entries[i].size, sizeof(ridgex_device_info));
        }
        EXPECT_EQ(entries[c.room].name[0], 'x');
        EXPECT_EQ(ridgex_query_devices(nullptr, nullptr), RIDGEX_E_INVALID_PARAMETER);
    }
}

}  // namespace
