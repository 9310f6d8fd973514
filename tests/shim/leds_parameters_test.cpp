// LED requests and reader parameters of the built-in backend, as they reach
// the reader library or stop short of it.
#include "shim_fixture.h"

namespace shim_test {
namespace {

// Readers 0 and 2 have the LEDs 0x1D and 0xF003 (pid 0x000B), reader 1 has
// neither (pid 0x000C). Reader 2 is opened shared.
class leds_parameters : public shim_fixture {
  protected:
    void SetUp() override {
        ASSERT_EQ(Start(Reader("pid = 0x000B") + Reader("pid = 0x000C") + Reader("pid = 0x000B")),
                  RIDGEX_SUCCESS);
        leds_ = OpenInShim(0);
        plain_ = OpenInShim(1);
        shared_ = OpenInShim(2, RIDGEX_PRIORITY_SHARED);
    }
    ridgex_handle leds_ = nullptr;
    ridgex_handle plain_ = nullptr;
    ridgex_handle shared_ = nullptr;
    const ridgex_handle unknown_ = reinterpret_cast<ridgex_handle>(1);
};

TEST_F(leds_parameters, LedRequests) {
    const std::tuple<bool, ridgex_handle, uint32_t, ridgex_result, std::vector<std::string>>
        rows[] = {
            {true, shared_, 1, RIDGEX_E_DEVICE_BUSY, {}},
            {false, shared_, 1, RIDGEX_E_DEVICE_BUSY, {}},
            {true, leds_, 2, RIDGEX_SUCCESS, {}},
            {true, plain_, 1, RIDGEX_SUCCESS, {}},
            // The whole id goes out, not only the bits of the mask.
            {true, leds_, 3, RIDGEX_SUCCESS, {"set 80000105:8:3,9"}},
            {false, leds_, 6, RIDGEX_SUCCESS, {"set 80000104:8:6,9"}},
            {false, unknown_, 1, RIDGEX_E_INVALID_DEVICE, {}},
        };
    for (const auto& [config, dev, led_id, status, sent] : rows) {
        SIM(tavlo_sim_clear_log)();
        EXPECT_EQ(
            config ? Shim().LedConfig(dev, led_id, 9, nullptr) : Shim().LedCtrl(dev, led_id, 9),
            status);
        EXPECT_EQ(Sent(), sent) << led_id;
    }
}

// Rotation stays in the backend, one per handle; other parameters reach the
// reader library only where the model has them.
TEST_F(leds_parameters, ParametersReachTheReaderLibraryAsTheModelAllows) {
    constexpr uint32_t kSame = 0xFFFFFFFF;  // the value is left as it was
    constexpr uint32_t kRotate = RIDGEX_PARMID_ROTATE;
    constexpr uint32_t k107 = RIDGEX_PARMID_LOWER_107;
    constexpr ridgex_result kRefusal = 0x80070057;  // which the reader library refuses
    const std::tuple<bool, ridgex_handle, uint32_t, uint32_t, ridgex_result, uint32_t, std::string>
        rows[] = {
            {true, leds_, kRotate, 1, RIDGEX_SUCCESS, kSame, ""},
            {false, leds_, kRotate, 1, RIDGEX_SUCCESS, 1, ""},
            {false, shared_, kRotate, 1, RIDGEX_SUCCESS, 0, ""},
            {true, leds_, kRotate, 0, RIDGEX_E_INVALID_PARAMETER, kSame, ""},
            {false, leds_, kRotate, 0, RIDGEX_E_INVALID_PARAMETER, kSame, ""},
            {true, plain_, k107, 4, RIDGEX_SUCCESS, kSame, ""},
            {false, plain_, k107, 4, RIDGEX_SUCCESS, kSame, ""},
            {false, plain_, 0x1234, 4, RIDGEX_SUCCESS, kSame, ""},
            {true, leds_, k107, 4, RIDGEX_SUCCESS, kSame, "set 80000107:4:80"},
            {true, plain_, 0x1234, 3, RIDGEX_SUCCESS, kSame, "set 1234:3:80"},
            {false, leds_, k107, 4, RIDGEX_SUCCESS, kSame, "get 80000107:4:80"},
            {true, plain_, 0x1234, 4, kRefusal, kSame, "set 1234:4:80"},
            {false, leds_, k107, 4, kRefusal, kSame, "get 80000107:4:0"},
            {true, unknown_, 0x1234, 4, RIDGEX_E_INVALID_DEVICE, kSame, ""},
        };
    for (const auto& [set, dev, id, size, status, after, sent] : rows) {
        SCOPED_TRACE(testing::Message() << set << " " << std::hex << id);
        SIM(tavlo_sim_clear_log)();
        if (status == kRefusal) {
            SIM(tavlo_sim_fail)
            (set ? "TavloSetDeviceParameter" : "TavloGetDeviceParameter",
             static_cast<int32_t>(kRefusal), 1);
        }
        uint32_t value = 0x80;
        auto* bytes = reinterpret_cast<uint8_t*>(&value);
        EXPECT_EQ(set ? Shim().SetParameter(dev, id, size, bytes)
                      : Shim().GetParameter(dev, id, size, bytes),
                  status);
        EXPECT_EQ(value, after == kSame ? 0x80 : after);
        EXPECT_EQ(Sent(), sent.empty() ? std::vector<std::string>{} : std::vector{sent});
    }
}

using reader_guid = shim_fixture;

TEST_F(reader_guid, OnlyKestrixReadersRevealTheirIdentifier) {
    ASSERT_EQ(
        Start(Reader("vendor = Kestrix\nid = {0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}") + Reader()),
        RIDGEX_SUCCESS);
    const ridgex_handle kestrix = OpenInShim(0);
    uint8_t id[16] = {};
    EXPECT_EQ(Shim().GetParameter(kestrix, RIDGEX_PARMID_READER_GUID, 15, id),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().GetParameter(OpenInShim(1), RIDGEX_PARMID_READER_GUID, 16, id),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().GetParameter(kestrix, RIDGEX_PARMID_READER_GUID, 16, id), RIDGEX_SUCCESS);
    const uint8_t layout[16] = {0x3D, 0x2C, 0x1B, 0x0A, 0x5F, 0x4E, 0x71, 0x60,
                                0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9};
    EXPECT_EQ(std::memcmp(id, layout, sizeof(id)), 0) << "the identifier in its byte layout";
}

}  // namespace
}  // namespace shim_test
