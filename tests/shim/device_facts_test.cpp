// The readers that the built-in backend lists: counts and the two-call rule,
// each reader's record and name, and the facts that only its model gives.
#include "shim/model_table.h"
#include "shim_fixture.h"

namespace shim_test {
namespace {

using device_facts = shim_fixture;

TEST_F(device_facts, CountsAndTheTwoCallRule) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);  // the simulator's two readers
    SIM(tavlo_sim_clear_log)();
    uint32_t count = 0;
    EXPECT_EQ(Shim().QueryDevices(&count, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(SIM(tavlo_sim_calls)("TavloGetDeviceInfo"), 0u);
    ridgex_device_info infos[3] = {};
    infos[0].size = sizeof(ridgex_device_info);
    count = 1;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(std::tuple(count, infos[1].size), std::tuple(2u, 0u)) << "only the room given";
    count = 3;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_SUCCESS);
    // The first record's size serves all.
    EXPECT_EQ(std::tuple(count, infos[1].size, infos[2].size),
              std::tuple(2u, sizeof(ridgex_device_info), 0u));
    infos[0].size--;
    count = 1;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(count, 1u) << "a failed walk leaves the count as it was";
}

// Kestrix readers carry their own vendor number: found by a case-sensitive
// part of the vendor or product text, each word in its own text. Classes are
// 1 and 2, types 1 to 4; anything else is 0.
TEST_F(device_facts, RecordAndName) {
    const std::string guid = "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";
    ASSERT_EQ(Start(Reader("id = " + guid +
                           "\nvendor = Vendor \xC3\x9C\nproduct = P\nserial = S-1\npid = 0x000C\n"
                           "revision = 0xC103\nclass = 3\ntype = 4\nversion_words = 1 2 3 4 5 6") +
                    Reader("class = 1\ntype = 1\nvendor = ACME Kestrix Ltd") +
                    Reader("class = 2\ntype = 5\nproduct = Sablefin 2") +
                    Reader("vendor = kestrix\nproduct = sablefin") +
                    Reader("vendor = Sablefin\nproduct = Kestrix")),
              RIDGEX_SUCCESS);
    const std::vector<ridgex_device_info> infos = List();
    ASSERT_EQ(infos.size(), 5u);
    EXPECT_EQ(std::string(infos[0].name), "$00$05ba&000c&c103" + guid);
    EXPECT_EQ(std::tuple(std::string(infos[0].vendor_name), std::string(infos[0].product_name),
                         std::string(infos[0].serial_text), infos[0].version_words[5]),
              std::tuple("Vendor \xC3\x9C", "P", "S-1", 6u));
    const std::tuple<const char*, uint32_t> rows[] = {
        {"05ba", 4}, {"147e", 11}, {"147e", 20}, {"05ba", 0}, {"05ba", 0}};
    for (size_t i = 0; i < infos.size(); ++i) {
        EXPECT_EQ(std::string(infos[i].name, 8), std::string("$00$") + std::get<0>(rows[i])) << i;
        EXPECT_EQ(infos[i].vid, std::stoul(std::get<0>(rows[i]), nullptr, 16)) << i;
        EXPECT_EQ(infos[i].class_code * 10 + infos[i].type_code, std::get<1>(rows[i])) << i;
    }
}

// The model's facts and the reader library's words meet in the capabilities
// of an open reader, which need room for their one resolution. Only a reader
// that reports neither side is not yet measured: a probe of a 0 x 300 reader
// needs no room.
TEST_F(device_facts, Capabilities) {
    ASSERT_EQ(Start(Reader("pid = 0x000B\nresolution = 0\ncap_word_1 = 11\ncap_word_3 = 13\n"
                           "cap_word_4 = 14\ncap_word_5 = 15\ncap_word_6 = 16\ncap_word_8 = 18") +
                    Reader("pid = 0x0009\nresolution = 1000") + Reader("width = 0\nheight = 300")),
              RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    ridgex_device_caps caps{};
    caps.size = RIDGEX_DEVICE_CAPS_FIXED_SIZE;
    EXPECT_EQ(ridgex_get_device_capabilities(dev, &caps), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(std::tuple(caps.size, caps.resolution_cnt), std::tuple(sizeof(caps), 0u));
    ASSERT_EQ(ridgex_get_device_capabilities(dev, &caps), RIDGEX_SUCCESS);
    EXPECT_EQ(std::vector<uint32_t>({caps.cap_word_1, caps.cap_word_3, caps.cap_word_4,
                                     caps.cap_word_5, caps.cap_word_6, caps.cap_word_8}),
              (std::vector<uint32_t>{11, 13, 14, 15, 16, 18}));
    EXPECT_EQ(std::tuple(caps.can_stream, caps.led_mask, caps.can_proc_mode1, caps.cap_word_9),
              std::tuple(1u, 0x1Du, 1u, 0u));
    EXPECT_EQ(std::tuple(caps.size, caps.resolution_cnt, caps.resolutions[0]),
              std::tuple(52u, 1u, 500u));
    ASSERT_EQ(ridgex_get_device_capabilities(Open(1), &caps), RIDGEX_SUCCESS);
    EXPECT_EQ(std::tuple(caps.can_stream, caps.led_mask, caps.resolutions[0]),
              std::tuple(0u, 0u, 1000u));
    EXPECT_EQ(Snap(OpenInShim(2)), RIDGEX_QUALITY_TIMED_OUT);
}

TEST(model_table, FactsByModel) {
    const auto facts = [](const model_facts_t& f) {
        return std::tuple(f.can_stream, f.led_mask, f.can_proc_mode1, f.has_proc_2, f.has_proc_3,
                          f.has_parm_f003, f.native_rotation);
    };
    const std::tuple<uint16_t, uint16_t, uint16_t, model_facts_t> rows[] = {
        {0x05BA, 0x0008, 0x0103, {0, 0x00, 0, false, false, true, true}},
        {0x05BA, 0x000A, 0x0102, {0, 0x00, 0, false, false, true, true}},
        {0x05BA, 0x000A, 0x0103, {0, 0x00, 0, false, false, true, false}},
        {0x05BA, 0x000A, 0x4103, {0, 0x00, 0, false, false, true, false}},
        {0x05BA, 0x000A, 0xC103, {0, 0x00, 0, false, false, true, true}},
        {0x05BA, 0x000B, 0x0100, {1, 0x1D, 1, true, false, true, false}},
        {0x05BA, 0x000C, 0x0100, {1, 0x00, 0, false, false, false, false}},
        {0x05BA, 0x000D, 0x0100, {1, 0x01, 1, true, true, true, false}},
        {0x080B, 0x0109, 0x0100, {1, 0x01, 1, true, true, false, false}},
        {0x080B, 0x010B, 0x0100, {1, 0x00, 1, true, true, false, false}},
        {0x05BA, 0x0009, 0x0100, {}},
        {0x080B, 0x000E, 0x0100, {}},  // the vid counts as much as the pid
    };
    for (const auto& [vid, pid, revision, want] : rows) {
        EXPECT_EQ(facts(LookUpModel(vid, pid, revision)), facts(want))
            << std::hex << vid << "/" << pid << "/" << revision;
    }
}

}  // namespace
}  // namespace shim_test
