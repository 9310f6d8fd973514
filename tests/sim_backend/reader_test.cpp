// Sensor information, opens and the counters of the simulated backend, on
// which other tests count.
#include <gtest/gtest.h>

#include "sim_library.h"

namespace {

class SimReader : public testing::Test {
  protected:
    SimReader()
        : file_("RIDGEX_SIM_CONFIG_AMBER",
                "[reader]\nname = live\n"
                "[reader]\nname = fake\n"
                "[reader]\nname = bare\nexclusive = yes\n") {
        EXPECT_EQ(sim.init(), RIDGEX_SUCCESS);
    }

    ridgex_handle open(const char* name) {
        ridgex_handle dev = nullptr;
        EXPECT_EQ(sim.open(name, &dev), RIDGEX_SUCCESS) << name;
        return dev;
    }

    sim_config_file file_;

  public:
    sim_library sim{"amber"};
};

TEST(SimSensorInfo, TheCodeStandsAtOffset32) {
    sim_library sim("amber");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    ridgex_handle optical = nullptr;
    ridgex_handle capacitive = nullptr;
    ASSERT_EQ(sim.open("sim-amber-0", &optical), RIDGEX_SUCCESS);
    ASSERT_EQ(sim.open("sim-amber-1", &capacitive), RIDGEX_SUCCESS);
    uint8_t info[48] = {};
    ASSERT_EQ(sim.get_parameter(capacitive, RIDGEX_PARMID_SENSOR_INFO, 48, info), RIDGEX_SUCCESS);
    const uint32_t code = info[32] | info[33] << 8 | info[34] << 16 | uint32_t{info[35]} << 24;
    EXPECT_EQ(code, 0x66000026u);
    EXPECT_EQ(sim.get_parameter(capacitive, RIDGEX_PARMID_SENSOR_INFO, 47, info),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(sim.get_parameter(optical, RIDGEX_PARMID_SENSOR_INFO, 48, info),
              RIDGEX_E_NOT_IMPLEMENTED);
}

TEST_F(SimReader, OpensFollowPriorityAndName) {
    ridgex_handle dev = nullptr;
    ridgex_handle bare = open("bare");
    EXPECT_EQ(sim.open("bare", &dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(sim.open_ext("bare", RIDGEX_PRIORITY_SHARED, &dev), RIDGEX_E_DEVICE_BUSY);
    EXPECT_EQ(sim.open_ext("live", 3, &dev), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(sim.open("nobody", &dev), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(sim.open("live", nullptr), RIDGEX_E_INVALID_PARAMETER);
    // Readers without exclusivity share; without a name the first one opens.
    EXPECT_EQ(sim.open("live", &dev), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.open("live", &dev), RIDGEX_SUCCESS);
    ASSERT_EQ(sim.open(nullptr, &dev), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.sim_count("open", 0), 3u);
    ASSERT_EQ(sim.close(bare), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.open("bare", &dev), RIDGEX_SUCCESS);
}

TEST_F(SimReader, CountersMatchOpensWithCloses) {
    ridgex_handle a = open("live");
    ridgex_handle b = open("fake");
    ridgex_handle c = open("fake");
    EXPECT_EQ(sim.close(a), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.close(b), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.close(b), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(sim.get_device_status(b, nullptr), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(sim.sim_count("open", 1), 2u);
    EXPECT_EQ(sim.sim_count("close", 0), 1u);
    EXPECT_EQ(sim.sim_count("close", 1), 1u);
    EXPECT_EQ(sim.sim_count("close", -1), 3u);
    EXPECT_EQ(sim.sim_count("get_device_status", 1), 0u);
    EXPECT_EQ(sim.sim_count("get_device_status", -1), 1u);
    EXPECT_EQ(sim.sim_count("no_such_call", -1), UINT32_MAX);

    EXPECT_EQ(sim.sim_open_handles(), 1u);
    ASSERT_EQ(sim.exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.sim_count("closed_by_exit", 1), 1u);
    EXPECT_EQ(sim.sim_open_handles(), 0u);
    EXPECT_EQ(sim.close(c), RIDGEX_E_INVALID_DEVICE);
}

}  // namespace
