// Start and stop of the library through its exports. Each suite runs in a
// process of its own whose library search path holds exactly the backends of
// its scenario (see CMakeLists.txt), because the loader reads the path once.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "ridgex.h"

namespace {

uint32_t DeviceCount() {
    uint32_t count = 0;
    const ridgex_result status = ridgex_query_devices(&count, nullptr);
    return status == RIDGEX_SUCCESS || status == RIDGEX_E_MORE_DATA ? count : 0xFFFFFFFFu;
}

// A counter exported by the simulated reader library, which the shim has
// loaded by the time this is asked.
uint32_t TavloCounter(const char* name) {
    void* module = dlopen("libTavloApi.so", RTLD_NOW | RTLD_NOLOAD);
    if (module == nullptr) {
        return 0xFFFFFFFFu;
    }
    auto counter = reinterpret_cast<uint32_t (*)()>(dlsym(module, name));
    const uint32_t value = counter != nullptr ? counter() : 0xFFFFFFFFu;
    dlclose(module);
    return value;
}

TEST(NoBackends, InitSucceedsButLeavesTheLibraryDown) {
    ridgex_version_info version{};
    version.size = sizeof(version);
    EXPECT_EQ(ridgex_version(&version), RIDGEX_SUCCESS);

    EXPECT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    uint32_t count = 0;
    EXPECT_EQ(ridgex_query_devices(&count, nullptr), RIDGEX_E_FAILURE);
    ridgex_handle dev = nullptr;
    EXPECT_EQ(ridgex_open(nullptr, &dev), RIDGEX_E_FAILURE);
    EXPECT_EQ(ridgex_reset(reinterpret_cast<ridgex_handle>(1)), RIDGEX_E_FAILURE);
    // The count went back to 0, so there is nothing to exit.
    EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
    EXPECT_EQ(ridgex_version(&version), RIDGEX_SUCCESS);
}

TEST(NoBackends, ExitWithoutInitFails) {
    EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
}

TEST(FailingInit, OnlyBackendFailingInitReportsItsStatus) {
    EXPECT_EQ(ridgex_init(), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(DeviceCount(), 0xFFFFFFFFu) << "the library must be down";
    EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
}

TEST(OneBackend, ReferenceCounting) {
    ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(DeviceCount(), 0u) << "one reference must keep the library up";
    EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(DeviceCount(), 0xFFFFFFFFu);
    EXPECT_EQ(ridgex_exit(), RIDGEX_E_FAILURE);
    // A new start after a full stop works again.
    ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    EXPECT_EQ(DeviceCount(), 0u);
    EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
}

TEST(OneBackend, DeviceOperationsBeforeAndAfterInit) {
    const auto dev = reinterpret_cast<ridgex_handle>(1);
    ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, 0, 500};
    // The asynchronous capture finds no reader rather than no library.
    auto callback = [](void*, uint32_t, uint32_t, ridgex_capture_callback_data*) {};
    EXPECT_EQ(ridgex_capture_async(dev, &parm, nullptr, callback), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_calibrate(dev), RIDGEX_E_FAILURE);
    ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_close(dev), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_cancel(dev), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
}

TEST(ShimUp, FailingLibrarySlotDoesNotStopTheShim) {
    const uint32_t inits = TavloCounter("tavlo_sim_init_calls");
    EXPECT_EQ(ridgex_init(), RIDGEX_SUCCESS);
    EXPECT_EQ(TavloCounter("tavlo_sim_init_calls"), inits == 0xFFFFFFFFu ? 1u : inits + 1);
    EXPECT_EQ(DeviceCount(), 2u);  // the simulated reader library's two default readers
    const uint32_t terms = TavloCounter("tavlo_sim_term_calls");
    EXPECT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(TavloCounter("tavlo_sim_term_calls"), terms + 1);
}

TEST(ShimUp, ShimInitFailureIsReported) {
    ASSERT_EQ(ridgex_init(), RIDGEX_SUCCESS);  // binds the simulated library
    ASSERT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    void* module = dlopen("libTavloApi.so", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(module, nullptr);
    auto set_status =
        reinterpret_cast<void (*)(int32_t)>(dlsym(module, "tavlo_sim_set_init_status"));
    ASSERT_NE(set_status, nullptr);
    set_status(static_cast<int32_t>(0x80070015u));
    // Slot 5's failure came last, so its status is the one reported.
    EXPECT_EQ(ridgex_init(), RIDGEX_E_DEVICE_FAILURE);
    EXPECT_EQ(DeviceCount(), 0xFFFFFFFFu);
    set_status(0);
    dlclose(module);
}

}  // namespace
