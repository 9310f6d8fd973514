// LED requests and reader parameters of the built-in backend, as they reach
// the reader library or stop short of it.
#include "shim_fixture.h"

namespace shim_test {
namespace {

// Readers 0 and 2 have the LEDs 0x1D and 0xF003 (pid 0x000B), reader 1 has
// neither, and is a Kestrix reader. Reader 2 is opened shared.
class leds_parameters : public shim_fixture {
  protected:
    void SetUp() override {
        ASSERT_EQ(Start(Reader("pid = 0x000B") +
                        Reader("pid = 0x000C\nvendor = Kestrix\n"
                               "id = {0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}") +
                        Reader("pid = 0x000B")),
                  RIDGEX_SUCCESS);
        leds_ = OpenInShim(0);
        plain_ = OpenInShim(1);
        shared_ = OpenInShim(2, RIDGEX_PRIORITY_SHARED);
    }
    ridgex_handle leds_ = nullptr;
    ridgex_handle plain_ = nullptr;
    ridgex_handle shared_ = nullptr;
};

// LEDs, rotation (which stays in the backend, one per handle), the reader's
// identifier (a Kestrix reader's only), and other parameters, which reach the
// reader library only where the model has them.
TEST_F(leds_parameters, RequestsReachTheReaderLibraryAsTheModelAllows) {
    enum call { led_config, led_ctrl, set, get };
    constexpr uint64_t kSame = 0x80;  // the value is left as it was
    constexpr uint32_t kRotate = RIDGEX_PARMID_ROTATE;
    constexpr uint32_t k107 = RIDGEX_PARMID_LOWER_107;
    constexpr uint32_t kGuid = RIDGEX_PARMID_READER_GUID;
    constexpr ridgex_result kRefusal = 0x80070057;  // which the reader library refuses
    const ridgex_handle unknown = reinterpret_cast<ridgex_handle>(1);
    const std::tuple<call, ridgex_handle, uint32_t, uint32_t, ridgex_result, uint64_t, std::string>
        rows[] = {
            {led_config, shared_, 1, 0, RIDGEX_E_DEVICE_BUSY, kSame, ""},
            {led_ctrl, shared_, 1, 0, RIDGEX_E_DEVICE_BUSY, kSame, ""},
            {led_config, leds_, 2, 0, RIDGEX_SUCCESS, kSame, ""},
            {led_config, plain_, 1, 0, RIDGEX_SUCCESS, kSame, ""},
            // The whole id goes out, not only the bits of the mask.
            {led_config, leds_, 3, 0, RIDGEX_SUCCESS, kSame, "set 80000105:8:3,9"},
            {led_ctrl, leds_, 6, 0, RIDGEX_SUCCESS, kSame, "set 80000104:8:6,9"},
            {led_ctrl, unknown, 1, 0, RIDGEX_E_INVALID_DEVICE, kSame, ""},
            {set, leds_, kRotate, 1, RIDGEX_SUCCESS, kSame, ""},
            {get, leds_, kRotate, 1, RIDGEX_SUCCESS, 1, ""},
            {get, shared_, kRotate, 1, RIDGEX_SUCCESS, 0, ""},
            {set, leds_, kRotate, 0, RIDGEX_E_INVALID_PARAMETER, kSame, ""},
            {get, leds_, kRotate, 0, RIDGEX_E_INVALID_PARAMETER, kSame, ""},
            {get, plain_, kGuid, 15, RIDGEX_E_INVALID_PARAMETER, kSame, ""},
            {get, leds_, kGuid, 16, RIDGEX_E_INVALID_PARAMETER, kSame, ""},
            // The identifier in its byte layout.
            {get, plain_, kGuid, 16, RIDGEX_SUCCESS, 0x60714E5F0A1B2C3D, ""},
            {set, plain_, k107, 4, RIDGEX_SUCCESS, kSame, ""},
            {get, plain_, k107, 4, RIDGEX_SUCCESS, kSame, ""},
            {get, plain_, 0x1234, 4, RIDGEX_SUCCESS, kSame, ""},
            {set, leds_, k107, 4, RIDGEX_SUCCESS, kSame, "set 80000107:4:80"},
            {set, plain_, 0x1234, 3, RIDGEX_SUCCESS, kSame, "set 1234:3:80"},
            {get, leds_, k107, 4, RIDGEX_SUCCESS, kSame, "get 80000107:4:80"},
            {set, plain_, 0x1234, 4, kRefusal, kSame, "set 1234:4:80"},
            {get, leds_, k107, 4, kRefusal, kSame, "get 80000107:4:0"},
            {set, unknown, 0x1234, 4, RIDGEX_E_INVALID_DEVICE, kSame, ""},
        };
    for (const auto& [call, dev, id, size, status, after, sent] : rows) {
        SCOPED_TRACE(testing::Message() << call << " " << std::hex << id);
        SIM(tavlo_sim_clear_log)();
        if (status == kRefusal) {
            SIM(tavlo_sim_fail)
            (call == set ? "TavloSetDeviceParameter" : "TavloGetDeviceParameter",
             static_cast<int32_t>(kRefusal), 1);
        }
        uint8_t bytes[16] = {0x80};
        EXPECT_EQ(call == led_config ? Shim().LedConfig(dev, id, 9, nullptr)
                  : call == led_ctrl ? Shim().LedCtrl(dev, id, 9)
                  : call == set      ? Shim().SetParameter(dev, id, size, bytes)
                                     : Shim().GetParameter(dev, id, size, bytes),
                  status);
        uint64_t value = 0;
        std::memcpy(&value, bytes, sizeof(value));
        EXPECT_EQ(value, after);
        EXPECT_EQ(Sent(), sent.empty() ? std::vector<std::string>{} : std::vector{sent});
    }
}

}  // namespace
}  // namespace shim_test
