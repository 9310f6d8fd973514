// The simulated reader library where the built-in backend's tests do not
// reach it: who may share a reader, and what an unknown or destroyed
// acquisition gets.
#include "tavlo_sim.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "shim/tavlo_api.h"
#include "support/temp_folder.h"

namespace {

void* module = nullptr;

template <typename F>
F Op(const char* name) {
    return reinterpret_cast<F>(dlsym(module, name));
}
#define OP(name) Op<decltype(&tavlo::name)>("Tavlo" #name)

uint32_t Ignore(void*, const void*, uint32_t, const void*) {
    return 0;
}

TEST(TavloSim, AcquisitionsShareAReaderOnlyWhenNoneIsExclusive) {
    ridgex_test::TempFolder folder;
    ridgex_test::WriteFile(folder / "tavlo.conf",
                           "[reader]\n[reader]\n[reader]\nheld_exclusively = yes\n");
    setenv("RIDGEX_TAVLO_SIM_CONFIG", (folder / "tavlo.conf").c_str(), 1);
    module = dlopen(RIDGEX_TAVLO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    ASSERT_EQ(OP(Init)(), 0);
    uint32_t count = 0;
    void* list = nullptr;
    ASSERT_EQ(OP(EnumerateDevices)(&count, &list), 0);
    ASSERT_EQ(count, 3u);
    std::vector<std::array<uint8_t, 16>> ids(count + 1);  // the last one unknown
    std::memcpy(ids.data(), list, 16 * count);
    OP(BufferFree)(list);

    const auto create = OP(CreateAcquisitionWithCallback);
    const std::tuple<uint32_t, uint32_t, int32_t> rows[] = {
        {0, 4, 0},
        {0, 2, tavlo::kAccessDenied},
        {1, 2, 0},
        {1, 4, tavlo::kAccessDenied},
        {1, 2, 0},
        {2, 2, tavlo::kAccessDenied},
        {3, 2, static_cast<int32_t>(0x80070490u)}};
    uint32_t handle = 0;
    for (const auto& [reader, priority, status] : rows) {
        EXPECT_EQ(create(priority, ids[reader].data(), 4, Ignore, nullptr, &handle), status)
            << reader << " " << priority;
    }
    EXPECT_EQ(Op<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")(), 3u);
    // The last one made, on reader 1, once destroyed takes no finger there.
    ASSERT_EQ(OP(StartAcquisition)(handle), 0);
    ASSERT_EQ(OP(DestroyAcquisition)(handle), 0);
    EXPECT_EQ(Op<tavlo_sim_place_finger_fn>("tavlo_sim_place_finger")(1), -1);
    OP(Term)();
    unsetenv("RIDGEX_TAVLO_SIM_CONFIG");
    dlclose(module);
}

}  // namespace
