// LED requests and reader parameters of the built-in backend, as they reach
// the reader library or stop short of it.
#include <cstring>

#include "shim/tavlo_api.h"
#include "shim_fixture.h"

namespace shim_test {
namespace {

using leds_parameters = shim_fixture;

// The parameter calls since the log was cleared, as "id:size:first word".
std::vector<std::string> Sent() {
    std::vector<std::string> sent;
    for (const tavlo_sim_parameter_call& call : ParameterCalls()) {
        uint32_t first = 0;
        std::memcpy(&first, call.value, std::min<uint32_t>(call.size, 4));
        char text[40];
        std::snprintf(text, sizeof(text), "%s%x:%u:%x", call.set ? "set " : "get ", call.parameter,
                      call.size, first);
        sent.push_back(text);
    }
    return sent;
}

// Readers 0 and 2 have LEDs 0x1D (pid 0x000B), reader 1 none and no 0xF003
// (pid 0x000C). Reader 2 is opened shared.
class leds_parameters_open : public leds_parameters {
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

TEST_F(leds_parameters_open, LedRequests) {
    struct row {
        bool config;
        ridgex_handle dev;
        uint32_t led_id;
        ridgex_result status;
        std::vector<std::string> sent;
    };
    const row rows[] = {
        {true, shared_, 1, RIDGEX_E_DEVICE_BUSY, {}},
        {false, shared_, 1, RIDGEX_E_DEVICE_BUSY, {}},
        {true, leds_, 2, RIDGEX_SUCCESS, {}},
        {true, plain_, 1, RIDGEX_SUCCESS, {}},
        // The whole id goes out, not only the bits of the mask.
        {true, leds_, 3, RIDGEX_SUCCESS, {"set 80000105:8:3"}},
        {false, leds_, 6, RIDGEX_SUCCESS, {"set 80000104:8:6"}},
    };
    for (const row& r : rows) {
        ClearLog();
        EXPECT_EQ(r.config ? Shim().LedConfig(r.dev, r.led_id, 9, nullptr)
                           : Shim().LedCtrl(r.dev, r.led_id, 9),
                  r.status);
        EXPECT_EQ(Sent(), r.sent) << r.led_id;
        if (!r.sent.empty()) {
            EXPECT_EQ(ParameterCalls()[0].value[4], 9) << "mode or command as the second word";
        }
    }
    EXPECT_EQ(Shim().LedCtrl(reinterpret_cast<ridgex_handle>(1), 1, 1), RIDGEX_E_INVALID_DEVICE);
}

TEST_F(leds_parameters_open, Rotation) {
    uint8_t byte = 0x80;
    EXPECT_EQ(Shim().SetParameter(leds_, RIDGEX_PARMID_ROTATE, 1, &byte), RIDGEX_SUCCESS);
    byte = 7;
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

TEST_F(leds_parameters_open, ParametersReachTheReaderLibraryAsTheModelAllows) {
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

TEST_F(leds_parameters, OnlyKestrixReadersRevealTheirIdentifier) {
    const char* guid = "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";
    ASSERT_EQ(Start(Reader(std::string("vendor = Kestrix\nid = ") + guid) + Reader()),
              RIDGEX_SUCCESS);
    const ridgex_handle kestrix = OpenInShim(0);
    const ridgex_handle other = OpenInShim(1);
    uint8_t id[16] = {};
    EXPECT_EQ(Shim().GetParameter(kestrix, RIDGEX_PARMID_READER_GUID, 15, id),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().GetParameter(other, RIDGEX_PARMID_READER_GUID, 16, id),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().GetParameter(kestrix, RIDGEX_PARMID_READER_GUID, 16, id), RIDGEX_SUCCESS);
    const uint8_t expected[16] = {0x3D, 0x2C, 0x1B, 0x0A, 0x5F, 0x4E, 0x71, 0x60,
                                  0x82, 0x93, 0xA4, 0xB5, 0xC6, 0xD7, 0xE8, 0xF9};
    EXPECT_EQ(std::memcmp(id, expected, sizeof(id)), 0) << "the identifier in its byte layout";
}

}  // namespace
}  // namespace shim_test
