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
        ClearLog();
    }
    ridgex_handle leds_ = nullptr;
    ridgex_handle plain_ = nullptr;
    ridgex_handle shared_ = nullptr;
};

TEST_F(leds_parameters, LedRequests) {
    const std::tuple<bool, ridgex_handle, uint32_t, ridgex_result, std::vector<std::string>>
        rows[] = {
            {true, shared_, 1, RIDGEX_E_DEVICE_BUSY, {}},
            {false, shared_, 1, RIDGEX_E_DEVICE_BUSY, {}},
            {true, leds_, 2, RIDGEX_SUCCESS, {}},
            {true, plain_, 1, RIDGEX_SUCCESS, {}},
            // The whole id goes out, not only the bits of the mask.
            {true, leds_, 3, RIDGEX_SUCCESS, {"set 80000105:8:3"}},
            {false, leds_, 6, RIDGEX_SUCCESS, {"set 80000104:8:6"}},
            {false, reinterpret_cast<ridgex_handle>(1), 1, RIDGEX_E_INVALID_DEVICE, {}},
        };
    for (const auto& [config, dev, led_id, status, sent] : rows) {
        ClearLog();
        EXPECT_EQ(
            config ? Shim().LedConfig(dev, led_id, 9, nullptr) : Shim().LedCtrl(dev, led_id, 9),
            status);
        EXPECT_EQ(Sent(), sent) << led_id;
        if (!sent.empty()) {
            EXPECT_EQ(ParameterCalls()[0].value[4], 9) << "mode or command as the second word";
        }
    }
}

TEST_F(leds_parameters, Rotation) {
    uint8_t byte = 0x80;
    EXPECT_EQ(Shim().SetParameter(leds_, RIDGEX_PARMID_ROTATE, 1, &byte), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().GetParameter(leds_, RIDGEX_PARMID_ROTATE, 1, &byte), RIDGEX_SUCCESS);
    EXPECT_EQ(byte, 1);
    EXPECT_EQ(Shim().GetParameter(shared_, RIDGEX_PARMID_ROTATE, 1, &byte), RIDGEX_SUCCESS);
    EXPECT_EQ(byte, 0) << "each handle has its own";
    EXPECT_EQ(Shim().SetParameter(leds_, RIDGEX_PARMID_ROTATE, 0, &byte),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().GetParameter(leds_, RIDGEX_PARMID_ROTATE, 0, &byte),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_TRUE(Sent().empty()) << "the reader library is never told";
}

TEST_F(leds_parameters, ParametersReachTheReaderLibraryAsTheModelAllows) {
    uint32_t value = 5;
    auto* bytes = reinterpret_cast<uint8_t*>(&value);
    EXPECT_EQ(Shim().SetParameter(plain_, RIDGEX_PARMID_LOWER_107, 4, bytes), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().GetParameter(plain_, RIDGEX_PARMID_LOWER_107, 4, bytes), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().GetParameter(plain_, 0x1234, 4, bytes), RIDGEX_SUCCESS);
    EXPECT_EQ(value, 5u) << "nothing written";
    EXPECT_TRUE(Sent().empty());

    EXPECT_EQ(Shim().SetParameter(leds_, RIDGEX_PARMID_LOWER_107, 4, bytes), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().SetParameter(plain_, 0x1234, 3, bytes), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().GetParameter(leds_, RIDGEX_PARMID_LOWER_107, 4, bytes), RIDGEX_SUCCESS);
    EXPECT_EQ(Sent(),
              (std::vector<std::string>{"set 80000107:4:5", "set 1234:3:5", "get 80000107:4:5"}));

    const auto refusal = static_cast<int32_t>(0x80070057u);
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloSetDeviceParameter", refusal, 1);
    EXPECT_EQ(Shim().SetParameter(plain_, 0x1234, 4, bytes), static_cast<uint32_t>(refusal));
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloGetDeviceParameter", refusal, 1);
    EXPECT_EQ(Shim().GetParameter(leds_, RIDGEX_PARMID_LOWER_107, 4, bytes),
              static_cast<uint32_t>(refusal));
    EXPECT_EQ(Shim().SetParameter(reinterpret_cast<ridgex_handle>(1), 0x1234, 4, bytes),
              RIDGEX_E_INVALID_DEVICE);
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
