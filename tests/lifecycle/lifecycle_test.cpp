// Start and stop of the library through its exports. Each suite runs in a
// process of its own whose library search path holds exactly the backends of
// its scenario (see CMakeLists.txt), because the loader reads the path once.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "ridgex.h"

namespace {

uint32_t DeviceCount() {
    uint32_t count = 0;
    const ridgex_result status = ridgex_query_devices(&count, nullptr);
    return status == RIDGEX_SUCCESS || status == RIDGEX_E_MORE_DATA ? count : 0xFFFFFFFFu;
}

// The version record needs no start and stays whole when it is too short.
TEST(NoBackends, VersionWithoutInitAndInitLeavesTheLibraryDown) {
    ridgex_version_info version;
    std::memset(&version, 0xAB, sizeof(version));
    version.size = 27;
    EXPECT_EQ(ridgex_version(&version), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(version.lib_major, 0xABABABABu);
    EXPECT_EQ(ridgex_version(nullptr), RIDGEX_E_INVALID_PARAMETER);
    version.size = 40;
    EXPECT_EQ(ridgex_version(&version), RIDGEX_SUCCESS);

    EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
    EXPECT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    EXPECT_EQ(DeviceCount(), 0xFFFFFFFFu);
    EXPECT_EQ(ridgex_reset(reinterpret_cast<ridgex_handle>(1)), RIDGEX_E_FAILURE);
    // The count went back to 0, so there is nothing to exit.
    EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
}

TEST(FailingInit, OnlyBackendFailingInitReportsItsStatus) {
    EXPECT_EQ(ridgex_init(), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(DeviceCount(), 0xFFFFFFFFu) << "the library must be down";
    EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
}

TEST(OneBackend, ReferenceCountingAndDeviceOperations) {
    const auto dev = reinterpret_cast<ridgex_handle>(1);
    ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, 0, 500};
    // Before the start, the asynchronous capture finds no reader rather than
    // no library.
    auto callback = [](void*, uint32_t, uint32_t, ridgex_capture_callback_data*) {};
    EXPECT_EQ(ridgex_capture_async(dev, &parm, nullptr, callback), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_calibrate(dev), RIDGEX_E_FAILURE);
    for (int round = 0; round < 2; ++round) {  // a new start after a full stop works again
        ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
        ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
        EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
        EXPECT_EQ(DeviceCount(), 0u) << "one reference must keep the library up";
        EXPECT_EQ(ridgex_close(dev), RIDGEX_E_INVALID_DEVICE);
        EXPECT_EQ(ridgex_cancel(dev), RIDGEX_E_INVALID_DEVICE);
        EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
        EXPECT_EQ(DeviceCount(), 0xFFFFFFFFu);
        EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
    }
}

TEST(ShimUp, FailingLibrarySlotDoesNotStopTheShimButAFailingShimIsReported) {
    EXPECT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    // The simulated reader library, loaded by the shim by now.
    void* tavlo = dlopen("libTavloApi.so", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(tavlo, nullptr);
    auto* inits = reinterpret_cast<uint32_t (*)()>(dlsym(tavlo, "tavlo_sim_init_calls"));
    auto* terms = reinterpret_cast<uint32_t (*)()>(dlsym(tavlo, "tavlo_sim_term_calls"));
    auto* set_init_status =
        reinterpret_cast<void (*)(int32_t)>(dlsym(tavlo, "tavlo_sim_set_init_status"));
    EXPECT_EQ(inits(), 1u);
    EXPECT_EQ(DeviceCount(), 2u);  // the simulated reader library's two default readers
    EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(terms(), 1u);

    set_init_status(static_cast<int32_t>(0x80070015u));
    // Slot 5's failure came last, so its status is the one reported.
    EXPECT_EQ(ridgex_init(), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(DeviceCount(), 0xFFFFFFFFu);
    set_init_status(0);
    dlclose(tavlo);
}

}  // namespace
