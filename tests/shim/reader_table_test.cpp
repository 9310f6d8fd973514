// Opening, closing and inspecting readers of the built-in backend, and the
// readers it closes itself when they disconnect.
#include "shim_fixture.h"

namespace shim_test {
namespace {

using reader_table = shim_fixture;

TEST_F(reader_table, OpenNames) {
    const std::string guid = "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";
    ASSERT_EQ(Start(Reader("id = " + guid)), RIDGEX_SUCCESS);
    const std::tuple<std::string, uint32_t, ridgex_result> rows[] = {
        {"05ba&000b&0100" + guid, 2, RIDGEX_SUCCESS},
        {"{not this}x{0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9}", 4, RIDGEX_SUCCESS},
        {"abc", 2, RIDGEX_E_INVALID_DEVICE},
        {"x{00000000-0000-0000-0000-000000000000}", 2, RIDGEX_E_INVALID_DEVICE},
        {guid + "{0A1B2C3D}", 2, RIDGEX_E_INVALID_DEVICE},
        {guid + " ", 2, RIDGEX_E_INVALID_DEVICE},
        {guid, 3, RIDGEX_E_INVALID_PARAMETER},
        {"abc", 3, RIDGEX_E_INVALID_PARAMETER},
        {"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8FA}", 2, RIDGEX_E_INVALID_PARAMETER},  // no such
    };
    for (const auto& [name, prio, status] : rows) {
        ridgex_handle dev = reinterpret_cast<ridgex_handle>(1);
        EXPECT_EQ(Shim().OpenExt(name.c_str(), prio, &dev), status) << name;
        EXPECT_EQ(dev != nullptr, status == RIDGEX_SUCCESS) << name;
        Shim().Close(dev);
    }
    EXPECT_EQ(SIM(tavlo_sim_live_acquisitions)(), 0u);
}

// Five handles on one reader: the fifth grows the table, and every handle
// stays reachable through the growth and through the close of the first.
TEST_F(reader_table, HandlesSurviveGrowthAndCloses) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);
    std::vector<ridgex_handle> handles;
    for (uintptr_t i = 0; i < 5; ++i) {
        handles.push_back(OpenInShim(0, RIDGEX_PRIORITY_SHARED));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(handles[i]),
                  reinterpret_cast<uintptr_t>(handles[0]) + i);
    }
    EXPECT_EQ(Shim().Close(handles[0]), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().Close(handles[0]), RIDGEX_E_INVALID_DEVICE);
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);
    for (size_t i = 0; i < handles.size(); ++i) {
        EXPECT_EQ(Shim().GetCapabilities(handles[i], &caps),
                  i == 0 ? RIDGEX_E_INVALID_DEVICE : RIDGEX_SUCCESS);
    }
    EXPECT_EQ(Shim().Close(nullptr), RIDGEX_E_INVALID_DEVICE);
}

// Status comes from the reader, a busy one from the backend; refused
// acquisitions leave nothing open.
TEST_F(reader_table, StatusAndRefusedAcquisitions) {
    ASSERT_EQ(Start(Reader("finger_detected = 1\nstatus_data = 0x77") +
                    Reader("held_exclusively = yes") + Reader()),
              RIDGEX_SUCCESS);
    const ridgex_handle dev = OpenInShim(0);
    ridgex_device_status status{};
    ASSERT_EQ(Shim().GetStatus(dev, &status), RIDGEX_SUCCESS);
    EXPECT_EQ(std::tuple(status.size, status.status, status.finger_detected, status.status_data),
              std::tuple(16u, RIDGEX_STATUS_READY, 1u, 0x77u));
    SIM(tavlo_sim_fail)("TavloGetDeviceParameter", -1, 1);
    EXPECT_EQ(Shim().GetStatus(dev, &status), RIDGEX_E_DEVICE_FAILURE);

    const std::vector<ridgex_device_info> infos = List();
    ridgex_handle refused = nullptr;
    EXPECT_EQ(ridgex_open_ext(infos[1].name, RIDGEX_PRIORITY_SHARED, &refused),
              RIDGEX_E_DEVICE_BUSY);
    SIM(tavlo_sim_fail)("TavloStartAcquisition", -1, 1);
    EXPECT_EQ(ridgex_open_ext(infos[2].name, 2, &refused), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(SIM(tavlo_sim_live_acquisitions)(), 1u) << "reader 0's only";
    EXPECT_NE(Open(2), nullptr) << "the table must be usable after the failures";
}

// Close puts back what an exclusive reader changed: a processing mode, the
// configured LEDs, and 0xF003 where the model has it. LedCtrl alone, and a
// shared reader, leave nothing to put back.
TEST_F(reader_table, CloseRestoresExactlyWhatWasChanged) {
    enum class before { nothing, led_config, led_ctrl, processing };
    const std::tuple<uint32_t, before, std::vector<std::string>> rows[] = {
        {4, before::led_config, {"set 80000105:8:ffffffff,1", "set 80000107:4:1"}},
        {4, before::led_ctrl, {"set 80000107:4:1"}},
        {4, before::processing, {"set 80000103:4:0", "set 80000107:4:1"}},
        {4, before::nothing, {}},  // a model without 0xF003
        {2, before::led_config, {}},
    };
    const std::string leds = Reader("pid = 0x000B");
    ASSERT_EQ(Start(leds + leds + leds + Reader("pid = 0x000C") + leds), RIDGEX_SUCCESS);
    for (uint32_t i = 0; i < std::size(rows); ++i) {
        const auto& [prio, change, sent] = rows[i];
        const ridgex_handle dev = OpenInShim(i, prio);
        if (change == before::led_config) {
            Shim().LedConfig(dev, 1, 7, nullptr);
        } else if (change == before::led_ctrl) {
            Shim().LedCtrl(dev, 1, 7);
        } else if (change == before::processing) {
            Snap(dev, RIDGEX_IMG_PROC_MODE1);
        }
        SIM(tavlo_sim_clear_log)();
        EXPECT_EQ(Shim().Close(dev), RIDGEX_SUCCESS);
        EXPECT_EQ(Sent(), sent) << "reader " << i;
        EXPECT_EQ(SIM(tavlo_sim_calls)("TavloStopAcquisition"), 1u);
    }
}

}  // namespace
}  // namespace shim_test
