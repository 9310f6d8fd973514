// The readers that the built-in backend lists: counts and the two-call rule,
// each reader's record and name, and the facts that only its model gives.
#include <cstring>

#include "shim/model_table.h"
#include "shim_fixture.h"

namespace shim_test {
namespace {

using device_facts = shim_fixture;

constexpr char kGuid[] = "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";

TEST_F(device_facts, CountsAndTheTwoCallRule) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);  // the simulator's two readers
    auto infos_read = Control<tavlo_sim_calls_fn>("tavlo_sim_calls");
    ClearLog();
    uint32_t count = 0;
    EXPECT_EQ(Shim().QueryDevices(&count, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(infos_read("TavloGetDeviceInfo"), 0u) << "no room, so no reader is read";

    ridgex_device_info infos[2] = {};
    infos[0].size = sizeof(ridgex_device_info);
    count = 1;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 2u);
    EXPECT_NE(infos[0].name[0], '\0');
    EXPECT_EQ(infos[1].size, 0u) << "only the room given is written";

    count = 2;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_SUCCESS);
    EXPECT_EQ(infos[1].size, sizeof(ridgex_device_info)) << "the first record's size serves all";

    count = 1;
    EXPECT_EQ(Shim().QueryDevices(&count, nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().QueryDevices(nullptr, infos), RIDGEX_E_INVALID_PARAMETER);
    infos[0].size = sizeof(ridgex_device_info) - 1;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(count, 1u) << "a failed walk leaves the count as it was";
}

TEST_F(device_facts, RecordAndName) {
    ASSERT_EQ(Start(Reader(std::string("id = ") + kGuid +
                           "\nvendor = Vendor \xC3\x9C\nproduct = P\nserial = S-1\n"
                           "vid = 0x05BA\npid = 0x000C\nrevision = 0xC103\nclass = 3\ntype = 4\n"
                           "version_words = 1 2 3 4 5 6")),
              RIDGEX_SUCCESS);
    const std::vector<ridgex_device_info> infos = List();
    ASSERT_EQ(infos.size(), 1u);
    const ridgex_device_info& info = infos[0];
    EXPECT_EQ(std::string(info.name), std::string("$00$05ba&000c&c103") + kGuid);
    EXPECT_STREQ(info.vendor_name, "Vendor \xC3\x9C");
    EXPECT_STREQ(info.product_name, "P");
    EXPECT_STREQ(info.serial_text, "S-1");
    EXPECT_EQ(info.class_code, 0u) << "only 1 and 2 are classes";
    EXPECT_EQ(info.type_code, 4u);
    EXPECT_EQ(info.version_words[5], 6u);
}

TEST_F(device_facts, KestrixReadersCarryTheirOwnVendorNumber) {
    struct row {
        const char* vendor;
        const char* product;
        uint16_t vid;
    };
    const row rows[] = {
        {"ACME Kestrix Ltd", "P", 0x147E},  // a part of the vendor text counts
        {"V", "Sablefin 2", 0x147E},
        {"kestrix", "sablefin", 0x05BA},  // the search is case-sensitive
        {"Sablefin", "Kestrix", 0x05BA},  // each word in its own text only
    };
    std::string config;
    for (const row& r : rows) {
        config += Reader(std::string("vendor = ") + r.vendor + "\nproduct = " + r.product);
    }
    ASSERT_EQ(Start(config), RIDGEX_SUCCESS);
    const std::vector<ridgex_device_info> infos = List();
    ASSERT_EQ(infos.size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(infos[i].vid, rows[i].vid) << rows[i].vendor;
        char prefix[10];
        std::snprintf(prefix, sizeof(prefix), "$00$%04x&", rows[i].vid);
        EXPECT_EQ(std::strncmp(infos[i].name, prefix, 9), 0) << infos[i].name;
    }
}

TEST_F(device_facts, OnlyAnUnknownResolutionBecomes500) {
    ASSERT_EQ(Start(Reader("resolution = 0") + Reader("resolution = 1000")), RIDGEX_SUCCESS);
    for (const uint32_t expected : {500u, 1000u}) {
        const ridgex_handle dev = OpenInShim(expected == 500u ? 0 : 1);
        ridgex_device_caps caps{};
        caps.size = sizeof(caps);
        ASSERT_EQ(Shim().GetCapabilities(dev, &caps), RIDGEX_SUCCESS);
        EXPECT_EQ(caps.resolution_cnt, 1u);
        EXPECT_EQ(caps.resolutions[0], expected);
    }
}

TEST(model_table, FactsByModel) {
    struct row {
        uint16_t vid, pid, revision;
        model_facts_t facts;
    };
    const row rows[] = {
        {0x05BA, 0x0008, 0x0103, {0, 0x00, 0, false, false, true, true}},
        {0x05BA, 0x000A, 0x0102, {0, 0x00, 0, false, false, true, true}},
        {0x05BA, 0x000A, 0x0103, {0, 0x00, 0, false, false, true, false}},
        {0x05BA, 0x000A, 0x4103, {0, 0x00, 0, false, false, true, false}},
        {0x05BA, 0x000A, 0x8103, {0, 0x00, 0, false, false, true, false}},
        {0x05BA, 0x000A, 0xC103, {0, 0x00, 0, false, false, true, true}},
        {0x05BA, 0x000B, 0x0100, {1, 0x1D, 1, true, false, true, false}},
        {0x05BA, 0x000C, 0x0100, {1, 0x00, 0, false, false, false, false}},
        {0x05BA, 0x000D, 0x0100, {1, 0x01, 1, true, true, true, false}},
        {0x080B, 0x0109, 0x0100, {1, 0x01, 1, true, true, false, false}},
        {0x080B, 0x010B, 0x0100, {1, 0x00, 1, true, true, false, false}},
        {0x05BA, 0x0009, 0x0100, {}},
        {0x080B, 0x000E, 0x0100, {}},  // the vid counts as much as the pid
    };
    for (const row& r : rows) {
        const model_facts_t got = LookUpModel(r.vid, r.pid, r.revision);
        const model_facts_t& want = r.facts;
        SCOPED_TRACE(testing::Message() << std::hex << r.vid << "/" << r.pid << "/" << r.revision);
        EXPECT_EQ(got.can_stream, want.can_stream);
        EXPECT_EQ(got.led_mask, want.led_mask);
        EXPECT_EQ(got.can_proc_mode1, want.can_proc_mode1);
        EXPECT_EQ(got.has_proc_2, want.has_proc_2);
        EXPECT_EQ(got.has_proc_3, want.has_proc_3);
        EXPECT_EQ(got.has_parm_f003, want.has_parm_f003);
        EXPECT_EQ(got.native_rotation, want.native_rotation);
    }
}

// The model's facts reach the capabilities of an open reader, over the
// capability words that the reader library reports.
TEST_F(device_facts, ModelFactsReachTheCapabilities) {
    ASSERT_EQ(Start(Reader("pid = 0x000B\ncap_word_1 = 11\ncap_word_3 = 13\ncap_word_4 = 14\n"
                           "cap_word_5 = 15\ncap_word_6 = 16\ncap_word_8 = 18")),
              RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);
    ASSERT_EQ(ridgex_get_device_capabilities(dev, &caps), RIDGEX_SUCCESS);
    const uint32_t words[] = {caps.cap_word_1, caps.cap_word_3, caps.cap_word_4,
                              caps.cap_word_5, caps.cap_word_6, caps.cap_word_8};
    EXPECT_EQ(std::vector<uint32_t>(std::begin(words), std::end(words)),
              (std::vector<uint32_t>{11, 13, 14, 15, 16, 18}));
    EXPECT_EQ(caps.can_stream, 1u);
    EXPECT_EQ(caps.led_mask, 0x1Du);
    EXPECT_EQ(caps.can_proc_mode1, 1u);
    EXPECT_EQ(caps.cap_word_9, 0u);
}

}  // namespace
}  // namespace shim_test
