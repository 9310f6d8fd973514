// The readers that the built-in backend lists: counts and the two-call rule,
// each reader's record and name, and the facts that only its model gives.
#include <tuple>

#include "shim/model_table.h"
#include "shim_fixture.h"

namespace shim_test {
namespace {

using device_facts = shim_fixture;

constexpr char kGuid[] = "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";

TEST_F(device_facts, CountsAndTheTwoCallRule) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);  // the simulator's two readers
    ClearLog();
    uint32_t count = 0;
    EXPECT_EQ(Shim().QueryDevices(&count, nullptr), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(Control<tavlo_sim_calls_fn>("tavlo_sim_calls")("TavloGetDeviceInfo"), 0u);

    ridgex_device_info infos[3] = {};
    infos[0].size = sizeof(ridgex_device_info);
    count = 1;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(infos[1].size, 0u) << "only the room given is written";
    count = 3;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_SUCCESS);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(infos[1].size, sizeof(ridgex_device_info)) << "the first record's size serves all";
    EXPECT_EQ(infos[2].size, 0u);

    EXPECT_EQ(Shim().QueryDevices(&count, nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().QueryDevices(nullptr, infos), RIDGEX_E_INVALID_PARAMETER);
    infos[0].size = sizeof(ridgex_device_info) - 1;
    count = 1;
    EXPECT_EQ(Shim().QueryDevices(&count, infos), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(count, 1u) << "a failed walk leaves the count as it was";
}

TEST_F(device_facts, RecordAndName) {
    ASSERT_EQ(Start(Reader(std::string("id = ") + kGuid +
                           "\nvendor = Vendor \xC3\x9C\nproduct = P\nserial = S-1\npid = 0x000C\n"
                           "revision = 0xC103\nclass = 3\ntype = 4\nversion_words = 1 2 3 4 5 6") +
                    Reader("class = 1\ntype = 1") + Reader("class = 2\ntype = 5")),
              RIDGEX_SUCCESS);
    const std::vector<ridgex_device_info> infos = List();
    ASSERT_EQ(infos.size(), 3u);
    EXPECT_EQ(std::string(infos[0].name), std::string("$00$05ba&000c&c103") + kGuid);
    EXPECT_STREQ(infos[0].vendor_name, "Vendor \xC3\x9C");
    EXPECT_STREQ(infos[0].product_name, "P");
    EXPECT_STREQ(infos[0].serial_text, "S-1");
    EXPECT_EQ(infos[0].version_words[5], 6u);
    // Classes are 1 and 2, types 1 to 4; anything else is 0.
    EXPECT_EQ(infos[0].class_code * 10 + infos[0].type_code, 4u);
    EXPECT_EQ(infos[1].class_code * 10 + infos[1].type_code, 11u);
    EXPECT_EQ(infos[2].class_code * 10 + infos[2].type_code, 20u);
}

TEST_F(device_facts, KestrixReadersCarryTheirOwnVendorNumber) {
    const std::tuple<const char*, const char*, std::string> rows[] = {
        {"ACME Kestrix Ltd", "P", "147e"},  // a part of the text counts
        {"V", "Sablefin 2", "147e"},
        {"kestrix", "sablefin", "05ba"},  // the search is case-sensitive
        {"Sablefin", "Kestrix", "05ba"},  // each word in its own text only
    };
    std::string config;
    for (const auto& [vendor, product, vid] : rows) {
        config += Reader(std::string("vendor = ") + vendor + "\nproduct = " + product);
    }
    ASSERT_EQ(Start(config), RIDGEX_SUCCESS);
    const std::vector<ridgex_device_info> infos = List();
    ASSERT_EQ(infos.size(), std::size(rows));
    for (size_t i = 0; i < infos.size(); ++i) {
        EXPECT_EQ(std::string(infos[i].name, 8), "$00$" + std::get<2>(rows[i]));
        EXPECT_EQ(infos[i].vid, std::stoul(std::get<2>(rows[i]), nullptr, 16));
    }
}

// The model's facts and the reader library's words meet in the capabilities
// of an open reader, which need room for their one resolution.
TEST_F(device_facts, Capabilities) {
    ASSERT_EQ(Start(Reader("pid = 0x000B\nresolution = 0\ncap_word_1 = 11\ncap_word_3 = 13\n"
                           "cap_word_4 = 14\ncap_word_5 = 15\ncap_word_6 = 16\ncap_word_8 = 18") +
                    Reader("pid = 0x0009\nresolution = 1000")),
              RIDGEX_SUCCESS);
    const ridgex_handle dev = Open(0);
    ridgex_device_caps caps{};
    caps.size = RIDGEX_DEVICE_CAPS_FIXED_SIZE;
    EXPECT_EQ(ridgex_get_device_capabilities(dev, &caps), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(caps.size, sizeof(ridgex_device_caps));
    EXPECT_EQ(caps.resolution_cnt, 0u) << "nothing else is written";
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
}

// Only a reader that reports neither side has the placeholder size until its
// first image: a probe of a 0 x 300 reader needs no room.
TEST_F(device_facts, OneKnownSideIsNoPlaceholder) {
    ASSERT_EQ(Start(Reader("width = 0\nheight = 300")), RIDGEX_SUCCESS);
    ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, 0, 500};
    ridgex_capture_result result{};
    result.size = sizeof(result);
    uint8_t byte = 0;
    uint32_t size = 1;
    EXPECT_EQ(Shim().Capture(OpenInShim(0), &parm, 0, &result, &size, &byte), RIDGEX_SUCCESS);
    EXPECT_EQ(result.quality, RIDGEX_QUALITY_TIMED_OUT);
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
