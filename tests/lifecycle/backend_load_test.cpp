// Loading a backend library: the interface version gate, required and
// optional exports, and how an object without a library answers. The fixture
// libraries lie in one folder on the library search path.
#include <gtest/gtest.h>

#include "backend/backend.h"

namespace {

const auto kDev = reinterpret_cast<ridgex_handle>(7);

TEST(BackendLoad, GateAndRequiredExports) {
    struct {
        const char* name;
        bool loads;
    } const cases[] = {
        {"fixture_api_1_10.dll", true},
        {"fixture_api_1_9.dll", false},  // a failed reload must not keep the old library
        {"fixture_api_2_0.dll", true},
        {"fixture_api_0_12.dll", false},
        {"fixture_version_fails.dll", false},
        {"no_such_backend.dll", false},
        {"fixture_no_led_ctrl.dll", false},           // entry points found before the missing one
        {"fixture_no_get_device_status.dll", false},  // must not survive either
        {"fixture_no_set_parameter.dll", false},
    };
    ridgex_dll_t lib;  // one object throughout: every load follows another
    for (const auto& c : cases) {
        EXPECT_EQ(lib.Load(c.name), c.loads) << c.name;
        EXPECT_EQ(lib.IsLoaded(), c.loads) << c.name;
        if (!c.loads) {  // nothing of the previous library answers
            EXPECT_EQ(lib.Init(), RIDGEX_E_FAILURE) << c.name;
            EXPECT_EQ(lib.GetPadImage(kDev, 0, nullptr, nullptr, nullptr, nullptr, nullptr),
                      RIDGEX_E_NOT_IMPLEMENTED);
        }
    }
    lib.Unload();
    lib.Unload();
    EXPECT_FALSE(lib.IsLoaded());
}

// The pad switch with a value is answered by the wrapper where the library
// offers pad images; without them the switch is refused, though EnablePad still stores the flag.
TEST(BackendLoad, OptionalExportsAndThePadSwitch) {
    ridgex_dll_t full, bare;
    ASSERT_TRUE(full.Load("fixture_api_1_10.dll"));
    ASSERT_TRUE(bare.Load("fixture_api_2_0.dll"));
    uint8_t value = 5;
    EXPECT_EQ(full.SetParameter(kDev, RIDGEX_PARMID_PAD_ENABLE, 1, &value), RIDGEX_SUCCESS);
    value = 0;
    EXPECT_EQ(full.GetParameter(kDev, RIDGEX_PARMID_PAD_ENABLE, 1, &value), RIDGEX_SUCCESS);
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(full.IsPadEnabled());
    value = 0;
    EXPECT_EQ(full.SetParameter(kDev, RIDGEX_PARMID_PAD_ENABLE, 1, &value), RIDGEX_SUCCESS);
    EXPECT_FALSE(full.IsPadEnabled());
    // Without a value the switch goes to the library, which refuses it.
    EXPECT_EQ(full.SetParameter(kDev, RIDGEX_PARMID_PAD_ENABLE, 0, &value),
              RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(full.EnablePad(), RIDGEX_SUCCESS);

    EXPECT_EQ(bare.SetParameter(kDev, RIDGEX_PARMID_PAD_ENABLE, 1, &value),
              RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_EQ(bare.EnablePad(), RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_TRUE(bare.IsPadEnabled());
}

}  // namespace
