// Opening, closing and inspecting readers of the built-in backend, and the
// readers it closes itself when they disconnect.
#include <cstring>

#include "shim/tavlo_api.h"
#include "shim_fixture.h"

namespace shim_test {
namespace {

using reader_table = shim_fixture;

ridgex_handle Handle(uint64_t value) {
    return reinterpret_cast<ridgex_handle>(value);
}

ridgex_result Caps(ridgex_handle dev, uint32_t size = sizeof(ridgex_device_caps)) {
    ridgex_device_caps caps{};
    caps.size = size;
    return CFpapiShim::Instance().GetCapabilities(dev, &caps);
}

TEST_F(reader_table, OpenNames) {
    ASSERT_EQ(Start(Reader("id = {0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}")), RIDGEX_SUCCESS);
    const std::string guid = "{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9}";
    struct row {
        std::string name;
        uint32_t prio;
        ridgex_result status;
    };
    const row rows[] = {
        {"05ba&000b&0100" + guid, RIDGEX_PRIORITY_SHARED, RIDGEX_SUCCESS},
        {"{not this}x{0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9}", 4, RIDGEX_SUCCESS},
        {"abc", 2, RIDGEX_E_INVALID_DEVICE},
        {"x{00000000-0000-0000-0000-000000000000}", 2, RIDGEX_E_INVALID_DEVICE},
        {guid + "{0A1B2C3D}", 2, RIDGEX_E_INVALID_DEVICE},
        {guid + " ", 2, RIDGEX_E_INVALID_DEVICE},
        {guid, 3, RIDGEX_E_INVALID_PARAMETER},
        {"abc", 3, RIDGEX_E_INVALID_PARAMETER},
        // Well formed, but no such reader.
        {"{0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8FA}", 2, RIDGEX_E_INVALID_PARAMETER},
    };
    for (const row& r : rows) {
        ridgex_handle dev = Handle(1);
        EXPECT_EQ(Shim().OpenExt(r.name.c_str(), r.prio, &dev), r.status) << r.name;
        EXPECT_EQ(dev != nullptr, r.status == RIDGEX_SUCCESS) << r.name;
        Shim().Close(dev);
    }
    ridgex_handle dev = Handle(1);
    EXPECT_EQ(Shim().OpenExt(nullptr, 2, &dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(dev, nullptr);
    EXPECT_EQ(Shim().OpenExt(guid.c_str(), 2, nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Control<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")(), 0u);
}

// Five handles on one reader: the fifth grows the table, and every handle
// stays reachable through growth and through the close of the first.
TEST_F(reader_table, HandlesSurviveGrowthAndCloses) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);
    std::vector<ridgex_handle> handles;
    for (int i = 0; i < 5; ++i) {
        handles.push_back(OpenInShim(0, RIDGEX_PRIORITY_SHARED));
    }
    for (size_t i = 1; i < handles.size(); ++i) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(handles[i]),
                  reinterpret_cast<uintptr_t>(handles[i - 1]) + 1);
    }
    for (ridgex_handle dev : handles) {
        EXPECT_EQ(Caps(dev), RIDGEX_SUCCESS);
    }
    EXPECT_EQ(Shim().Close(handles[0]), RIDGEX_SUCCESS);
    EXPECT_EQ(Shim().Close(handles[0]), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(Caps(handles[0]), RIDGEX_E_INVALID_DEVICE);
    for (size_t i = 1; i < handles.size(); ++i) {
        EXPECT_EQ(Caps(handles[i]), RIDGEX_SUCCESS);
    }
    EXPECT_EQ(Shim().Close(nullptr), RIDGEX_E_INVALID_DEVICE);
    ridgex_device_status status{};
    EXPECT_EQ(Shim().GetStatus(nullptr, &status), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Caps(nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(Shim().GetCapabilities(handles[1], nullptr), RIDGEX_E_INVALID_PARAMETER);
}

TEST_F(reader_table, CapabilitiesNeedRoomForTheResolution) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);
    const ridgex_handle dev = OpenInShim(0);
    ridgex_device_caps caps{};
    caps.size = RIDGEX_DEVICE_CAPS_FIXED_SIZE;
    EXPECT_EQ(Shim().GetCapabilities(dev, &caps), RIDGEX_E_MORE_DATA);
    EXPECT_EQ(caps.size, sizeof(ridgex_device_caps));
    EXPECT_EQ(caps.resolution_cnt, 0u) << "nothing else is written";
    EXPECT_EQ(Shim().GetCapabilities(dev, &caps), RIDGEX_SUCCESS);
    EXPECT_EQ(caps.size, sizeof(ridgex_device_caps));
}

TEST_F(reader_table, StatusComesFromTheReaderButBusyFromTheBackend) {
    ASSERT_EQ(Start(Reader("finger_detected = 1\nstatus_data = 0x77")), RIDGEX_SUCCESS);
    const ridgex_handle dev = OpenInShim(0);
    ridgex_device_status status{};
    ASSERT_EQ(Shim().GetStatus(dev, &status), RIDGEX_SUCCESS);
    EXPECT_EQ(status.size, sizeof(status));
    EXPECT_EQ(status.status, RIDGEX_STATUS_READY);
    EXPECT_EQ(status.finger_detected, 1u);
    EXPECT_EQ(status.status_data, 0x77u);
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloGetDeviceParameter", -1, 1);
    EXPECT_EQ(Shim().GetStatus(dev, &status), RIDGEX_E_DEVICE_FAILURE);
}

TEST_F(reader_table, RefusedAcquisitionsLeaveNothingOpen) {
    ASSERT_EQ(Start(Reader("held_exclusively = yes") + Reader()), RIDGEX_SUCCESS);
    ridgex_handle dev = nullptr;
    const std::vector<ridgex_device_info> infos = List();
    EXPECT_EQ(ridgex_open_ext(infos[0].name, RIDGEX_PRIORITY_SHARED, &dev), RIDGEX_E_DEVICE_BUSY);
    Control<tavlo_sim_fail_fn>("tavlo_sim_fail")("TavloStartAcquisition", -1, 1);
    EXPECT_EQ(ridgex_open_ext(infos[1].name, RIDGEX_PRIORITY_SHARED, &dev),
              RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(Control<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")(), 0u);
    EXPECT_NE(Open(1), nullptr) << "the table must be usable after the failures";
}

// Close puts an exclusive reader back: configured LEDs, then 0xF003 where
// the model has it. A shared reader, and LedCtrl alone, leave nothing to put
// back.
TEST_F(reader_table, CloseRestoresExactlyWhatWasChanged) {
    enum class led { none, config, ctrl };
    struct row {
        uint16_t pid;
        uint32_t prio;
        led before;
        std::vector<uint32_t> sent;  // parameter ids, in order
    };
    const row rows[] = {
        {0x000B, 4, led::config, {tavlo::TAVLO_PARAM_LED_CONFIG, tavlo::TAVLO_PARAM_F003}},
        {0x000B, 4, led::ctrl, {tavlo::TAVLO_PARAM_F003}},
        {0x000C, 4, led::none, {}},
        {0x000B, 2, led::config, {}},
    };
    std::string config;
    for (const row& r : rows) {
        config += Reader("pid = " + std::to_string(r.pid));
    }
    ASSERT_EQ(Start(config), RIDGEX_SUCCESS);
    for (uint32_t i = 0; i < std::size(rows); ++i) {
        const ridgex_handle dev = OpenInShim(i, rows[i].prio);
        if (rows[i].before == led::config) {
            Shim().LedConfig(dev, 1, 7, nullptr);
        } else if (rows[i].before == led::ctrl) {
            Shim().LedCtrl(dev, 1, 7);
        }
        ClearLog();
        EXPECT_EQ(Shim().Close(dev), RIDGEX_SUCCESS);
        std::vector<uint32_t> sent;
        for (const tavlo_sim_parameter_call& call : ParameterCalls()) {
            EXPECT_EQ(call.set, 1u);
            sent.push_back(call.parameter);
            const uint32_t value[2] = {call.parameter == tavlo::TAVLO_PARAM_F003 ? 1u : ~0u, 1};
            EXPECT_EQ(call.size, call.parameter == tavlo::TAVLO_PARAM_F003 ? 4u : 8u);
            EXPECT_EQ(std::memcmp(call.value, value, call.size), 0) << std::hex << call.parameter;
        }
        EXPECT_EQ(sent, rows[i].sent) << "reader " << i;
        EXPECT_EQ(Control<tavlo_sim_calls_fn>("tavlo_sim_calls")("TavloStopAcquisition"), 1u);
    }
}

// A disconnect of an idle reader closes it at the next call of the backend,
// whichever reader that call is for.
TEST_F(reader_table, DisconnectedIdleReaderIsClosedByTheNextCall) {
    ASSERT_EQ(Start(), RIDGEX_SUCCESS);
    const ridgex_handle gone = Open(0);
    const ridgex_handle other = Open(1);
    auto live = Control<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions");
    auto disconnect = Control<tavlo_sim_disconnect_fn>("tavlo_sim_disconnect");
    auto flush = Control<tavlo_sim_flush_fn>("tavlo_sim_flush");
    ridgex_device_caps caps{};
    caps.size = sizeof(caps);

    ASSERT_EQ(disconnect(0), 0);
    flush();
    EXPECT_EQ(live(), 2u);
    EXPECT_EQ(ridgex_get_device_capabilities(other, &caps), RIDGEX_SUCCESS);
    EXPECT_EQ(live(), 1u);
    EXPECT_EQ(ridgex_get_device_capabilities(gone, &caps), RIDGEX_E_INVALID_DEVICE);

    ASSERT_EQ(disconnect(1), 0);
    flush();
    EXPECT_EQ(ridgex_get_device_capabilities(other, &caps), RIDGEX_E_INVALID_DEVICE)
        << "the call for the disconnected reader itself";
    EXPECT_EQ(live(), 0u);
}

}  // namespace
}  // namespace shim_test
