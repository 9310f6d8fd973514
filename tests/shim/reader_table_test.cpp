// Opening, closing and inspecting readers of the built-in backend, and the
// readers it closes itself when they disconnect.
#include "shim_fixture.h"

namespace shim_test {
namespace {

using reader_table = shim_fixture;

ridgex_result Caps(ridgex_handle dev) {
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);
    return CFpapiShim::Instance().GetCapabilities(dev, &caps);
}

uint32_t LiveAcquisitions() {
    return Control<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")();
}

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
    ridgex_handle dev = reinterpret_cast<ridgex_handle>(1);
    EXPECT_EQ(Shim().OpenExt(nullptr, 2, &dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(dev, nullptr);
    EXPECT_EQ(Shim().OpenExt(guid.c_str(), 2, nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(LiveAcquisitions(), 0u);
}

// Five handles on one reader: the fifth grows the table, and every handle
// stays reachable through the growth and through the close of the first.
TEST_F(reader_table, HandlesSurviveGrowthAndCloses) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);
    std::vector<uintptr_t> handles;
    for (int i = 0; i < 5; ++i) {
        handles.push_back(reinterpret_cast<uintptr_t>(OpenInShim(0, RIDGEX_PRIORITY_SHARED)));
        EXPECT_EQ(handles[i], handles[0] + i);
    }
    const auto dev = [&](size_t i) { return reinterpret_cast<ridgex_handle>(handles[i]); };
    EXPECT_EQ(Shim().Close(dev(0)), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().Close(dev(0)), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(Caps(dev(0)), RIDGEX_E_INVALID_DEVICE);
    for (size_t i = 1; i < handles.size(); ++i) {
        EXPECT_EQ(Caps(dev(i)), RIDGEX_SUCCESS);
    }
    EXPECT_EQ(Shim().Close(nullptr), RIDGEX_E_INVALID_DEVICE);
    ridgex_device_status status{};
    EXPECT_EQ(Shim().GetStatus(nullptr, &status), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Caps(nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().GetCapabilities(dev(1), nullptr), RIDGEX_E_INVALID_PARAMETER);
}

TEST_F(reader_table, StatusComesFromTheReaderButBusyFromTheBackend) {
    ASSERT_EQ(Start(Reader("finger_detected = 1\nstatus_data = 0x77")), RIDGEX_SUCCESS);
    const ridgex_handle dev = OpenInShim(0);
    ridgex_device_status status{};
    ASSERT_EQ(Shim().GetStatus(dev, &status), RIDGEX_SUCCESS);
    EXPECT_EQ(std::tuple(status.size, status.status, status.finger_detected, status.status_data),
              std::tuple(16u, RIDGEX_STATUS_READY, 1u, 0x77u));
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloGetDeviceParameter", -1, 1);
    EXPECT_EQ(Shim().GetStatus(dev, &status), RIDGEX_E_DEVICE_FAILURE);
}

TEST_F(reader_table, RefusedAcquisitionsLeaveNothingOpen) {
    ASSERT_EQ(Start(Reader("held_exclusively = yes") + Reader()), RIDGEX_SUCCESS);
    ridgex_handle dev = nullptr;
    const std::vector<ridgex_device_info> infos = List();
    EXPECT_EQ(ridgex_open_ext(infos[0].name, RIDGEX_PRIORITY_SHARED, &dev), RIDGEX_E_DEVICE_BUSY);
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloStartAcquisition", -1, 1);
    EXPECT_EQ(ridgex_open_ext(infos[1].name, 2, &dev), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(LiveAcquisitions(), 0u);
    EXPECT_NE(Open(1), nullptr) << "the table must be usable after the failures";
}

// Close puts back what an exclusive reader changed: a processing mode, the
// configured LEDs, and 0xF003 where the model has it. LedCtrl alone, and a
// shared reader, leave nothing to put back.
TEST_F(reader_table, CloseRestoresExactlyWhatWasChanged) {
    enum class before { nothing, led_config, led_ctrl, processing };
    const std::tuple<uint16_t, uint32_t, before, std::vector<std::string>> rows[] = {
        {0x000B, 4, before::led_config, {"set 80000105:8:ffffffff", "set 80000107:4:1"}},
        {0x000B, 4, before::led_ctrl, {"set 80000107:4:1"}},
        {0x000B, 4, before::processing, {"set 80000103:4:0", "set 80000107:4:1"}},
        {0x000C, 4, before::nothing, {}},
        {0x000B, 2, before::led_config, {}},
    };
    std::string config;
    for (const auto& row : rows) {
        config += Reader("pid = " + std::to_string(std::get<0>(row)));
    }
    ASSERT_EQ(Start(config), RIDGEX_SUCCESS);
    for (uint32_t i = 0; i < std::size(rows); ++i) {
        const auto& [pid, prio, change, sent] = rows[i];
        const ridgex_handle dev = OpenInShim(i, prio);
        if (change == before::led_config) {
            Shim().LedConfig(dev, 1, 7, nullptr);
        } else if (change == before::led_ctrl) {
            Shim().LedCtrl(dev, 1, 7);
        } else if (change == before::processing) {
            ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_MODE1, 500};
            ridgex_capture_result result{};
            result.size = sizeof(result);
            std::vector<uint8_t> image(256 * 360);
            uint32_t size = static_cast<uint32_t>(image.size());
            EXPECT_EQ(Shim().Capture(dev, &parm, 0, &result, &size, image.data()), RIDGEX_SUCCESS);
        }
        ClearLog();
        EXPECT_EQ(Shim().Close(dev), RIDGEX_SUCCESS);
        EXPECT_EQ(Sent(), sent) << "reader " << i;
        EXPECT_EQ(Control<tavlo_sim_calls_fn>("tavlo_sim_calls")("TavloStopAcquisition"), 1u);
    }
}

// A disconnect of an idle reader closes it at the next call of the backend,
// whichever reader that call is for.
TEST_F(reader_table, DisconnectedIdleReaderIsClosedByTheNextCall) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);
    const ridgex_handle gone = Open(0);
    const ridgex_handle other = Open(1);
    const auto disconnect = [](int32_t reader) {
        ASSERT_EQ(Control<tavlo_sim_disconnect_fn>("tavlo_sim_disconnect")(reader), 0);
        Control<tavlo_sim_flush_fn>("tavlo_sim_flush")();
    };
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);
    disconnect(0);
    EXPECT_EQ(LiveAcquisitions(), 2u);
    EXPECT_EQ(ridgex_get_device_capabilities(other, &caps), RIDGEX_SUCCESS);
    EXPECT_EQ(LiveAcquisitions(), 1u);
    EXPECT_EQ(ridgex_get_device_capabilities(gone, &caps), RIDGEX_E_INVALID_DEVICE);
    disconnect(1);
    EXPECT_EQ(ridgex_get_device_capabilities(other, &caps), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(LiveAcquisitions(), 0u);
}

}  // namespace
}  // namespace shim_test
