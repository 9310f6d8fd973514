// One flat list over the backends: prefixes, the two-call size protocol, room
// running out across backends, and the rule by which the lower slot keeps a
// reader that two backends report.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/sim_backends.h"

namespace {

std::string Reader(const std::string& name, unsigned vid, unsigned pid) {
    return "[reader]\nname = " + name + "\nvid = " + std::to_string(vid) +
           "\npid = " + std::to_string(pid) + "\n";
}

std::vector<ridgex_device_info> Entries(uint32_t count) {
    std::vector<ridgex_device_info> entries(count);
    return entries;
}

std::vector<std::string> Names(const std::vector<ridgex_device_info>& entries, uint32_t count) {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < count; ++i) {
        names.emplace_back(entries[i].name);
    }
    return names;
}

TEST(Enumeration, PrefixesInSlotOrder) {
    sim_backends sims;
    sims.slot(3, Reader("gamma", 0x1111, 1))
        .slot(1, Reader("alpha", 0x2222, 2) + Reader("beta", 0x2222, 3));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    auto entries = Entries(8);
    uint32_t count = 8;
    ASSERT_EQ(ridgex_query_devices(&count, entries.data()), RIDGEX_SUCCESS);
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(Names(entries, count),
              (std::vector<std::string>{"$01$alpha", "$01$beta", "$03$gamma"}));
    EXPECT_EQ(entries[2].vid, 0x1111);
    EXPECT_EQ(entries[2].size, sizeof(ridgex_device_info));
}

TEST(Enumeration, LongNamesLoseTheirTail) {
    const std::string name(1023, 'n');
    sim_backends sims;
    sims.slot(2, "[reader]\nname = " + name + "\n");
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    auto entries = Entries(1);
    uint32_t count = 1;
    ASSERT_EQ(ridgex_query_devices(&count, entries.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(std::string(entries[0].name), "$02$" + name.substr(0, 1019));
}

TEST(Enumeration, NamesThatLookPrefixedStayAsTheyAre) {
    sim_backends sims;
    sims.slot(4, Reader("$77$odd", 1, 1));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    auto entries = Entries(1);
    uint32_t count = 1;
    ASSERT_EQ(ridgex_query_devices(&count, entries.data()), RIDGEX_SUCCESS);
    EXPECT_STREQ(entries[0].name, "$77$odd");
}

TEST(Enumeration, SizeProbeAndRoomRunningOutAcrossBackends) {
    sim_backends sims;
    sims.slot(1, Reader("a", 1, 1)).slot(5, Reader("e", 2, 1));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    uint32_t count = 0;
    EXPECT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 2u);

    auto entries = Entries(2);
    entries[1].name[0] = 'x';  // must stay untouched: it lies past the room
    count = 1;
    EXPECT_EQ(ridgex_query_devices(&count, entries.data()), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 2u);
    EXPECT_STREQ(entries[0].name, "$01$a");
    EXPECT_EQ(entries[1].name[0], 'x');
}

TEST(Enumeration, LowerSlotKeepsARepeatedReader) {
    sim_backends sims;
    // Slot 2 repeats slot 1's reader first, so its whole list goes, even the
    // reader nobody else has; slot 4 has another vendor and stays.
    sims.slot(1, Reader("one", 0x05BA, 0x000E))
        .slot(2, Reader("two", 0x05BA, 0x000E) + Reader("unique", 0x0999, 9))
        .slot(4, Reader("four", 0x147E, 0x000E));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    uint32_t count = 0;
    ASSERT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 4u) << "without entries to compare, the probe counts every list";
    auto entries = Entries(count);
    ASSERT_EQ(ridgex_query_devices(&count, entries.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(Names(entries, count), (std::vector<std::string>{"$01$one", "$04$four"}));
}

TEST(Enumeration, EarlierReaderWithoutProductMatchesTheWholeVendor) {
    sim_backends sims;
    sims.slot(1, Reader("any", 0x05BA, 0)).slot(3, Reader("later", 0x05BA, 0x1234));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    auto entries = Entries(4);
    uint32_t count = 4;
    ASSERT_EQ(ridgex_query_devices(&count, entries.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(Names(entries, count), (std::vector<std::string>{"$01$any"}));
}

TEST(Enumeration, FailingBackendCountsAsEmpty) {
    sim_backends sims;
    sims.slot(1, Reader("a", 1, 1) + "")
        .slot(2, "result.query_devices = 0x05BA001F\n" + Reader("broken", 2, 2))
        .slot(3, Reader("c", 3, 3));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    auto entries = Entries(4);
    uint32_t count = 4;
    ASSERT_EQ(ridgex_query_devices(&count, entries.data()), RIDGEX_SUCCESS);
    EXPECT_EQ(Names(entries, count), (std::vector<std::string>{"$01$a", "$03$c"}));
}

TEST(Enumeration, NullCountIsRefused) {
    sim_backends sims;
    sims.slot(1, "");
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_query_devices(nullptr, nullptr), RIDGEX_E_INVALID_PARAMETER);
}

}  // namespace
