// Loading a backend library: the interface version gate, required and
// optional exports, and how an unloaded object answers. The fixture libraries
// lie in one folder on the library search path.
#include <gtest/gtest.h>

#include "backend/backend.h"
#include "support/syscall_override.h"

namespace {

TEST(BackendLoad, InterfaceVersionGate) {
    struct {
        const char* name;
        bool loads;
    } const cases[] = {
        {"fixture_api_1_10.dll", true},       {"fixture_api_2_0.dll", true},
        {"fixture_api_1_9.dll", false},       {"fixture_api_0_12.dll", false},
        {"fixture_version_fails.dll", false}, {"no_such_backend.dll", false},
    };
    for (const auto& c : cases) {
        ridgex_dll_t lib;
        EXPECT_EQ(lib.Load(c.name), c.loads) << c.name;
        EXPECT_EQ(lib.IsLoaded(), c.loads) << c.name;
    }
}

TEST(BackendLoad, MissingRequiredExportLeavesEveryPointerNull) {
    ridgex_dll_t lib;
    EXPECT_FALSE(lib.Load("fixture_no_led_ctrl.dll"));
    EXPECT_FALSE(lib.IsLoaded());
    // Entry points found before the missing one must not survive either.
    EXPECT_EQ(lib.Init(), RIDGEX_E_FAILURE);
    EXPECT_EQ(lib.Reset(reinterpret_cast<ridgex_handle>(1)), RIDGEX_E_FAILURE);
    uint32_t count = 0;
    EXPECT_EQ(lib.QueryDevices(&count, nullptr), RIDGEX_E_FAILURE);
}

TEST(BackendLoad, SecondLoadStartsClean) {
    ridgex_dll_t lib;
    ASSERT_TRUE(lib.Load("fixture_api_1_10.dll"));
    EXPECT_FALSE(lib.Load("fixture_api_1_9.dll"));
    EXPECT_FALSE(lib.IsLoaded()) << "a failed reload must not keep the old library";
    ASSERT_TRUE(lib.Load("fixture_api_2_0.dll"));
    lib.Unload();
    lib.Unload();
    EXPECT_FALSE(lib.IsLoaded());
}

TEST(BackendLoad, LoaderFailureIsAFalseLoad) {
    ridgex_dll_t lib;
    syscall_override<decltype(platform::syscall_table::dlopen)> fail(
        &platform::syscall_table::dlopen, [](const char*, int) -> void* { return nullptr; });
    EXPECT_FALSE(lib.Load("fixture_api_1_10.dll"));
    EXPECT_FALSE(lib.IsLoaded());
}

TEST(BackendLoad, OptionalExports) {
    ridgex_dll_t full;
    ASSERT_TRUE(full.Load("fixture_api_1_10.dll"));
    EXPECT_EQ(full.EnablePad(), RIDGEX_SUCCESS);
    EXPECT_TRUE(full.IsPadEnabled());

    // Without the optional exports the open falls back to the plain open,
    // and pad images are not offered, though the flag is still stored.
    ridgex_dll_t bare;
    ASSERT_TRUE(bare.Load("fixture_api_2_0.dll"));
    ridgex_handle dev = nullptr;
    EXPECT_EQ(bare.OpenExt(nullptr, RIDGEX_PRIORITY_SHARED, &dev), RIDGEX_E_INVALID_PARAMETER);
    uint32_t out1 = 0, out2 = 0, size = 0;
    ridgex_image_info info{sizeof(info), 0, 0, 0, 0};
    EXPECT_EQ(bare.GetPadImage(dev, RIDGEX_IMG_PROC_PAD2, &out1, &out2, &info, &size, nullptr),
              RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_EQ(bare.EnablePad(), RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_TRUE(bare.IsPadEnabled());
    uint8_t on = 1;
    EXPECT_EQ(bare.SetParameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &on), RIDGEX_E_NOT_IMPLEMENTED);
}

TEST(BackendLoad, PadSwitchIsAnsweredByTheWrapper) {
    ridgex_dll_t lib;
    ASSERT_TRUE(lib.Load("fixture_api_1_10.dll"));
    ridgex_handle dev = reinterpret_cast<ridgex_handle>(7);
    uint8_t value = 0;
    EXPECT_EQ(lib.SetParameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &value), RIDGEX_SUCCESS);
    EXPECT_FALSE(lib.IsPadEnabled());
    value = 5;
    EXPECT_EQ(lib.SetParameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &value), RIDGEX_SUCCESS);
    value = 0;
    EXPECT_EQ(lib.GetParameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &value), RIDGEX_SUCCESS);
    EXPECT_EQ(value, 1);
    // Without a value the switch goes to the library, which refuses it.
    EXPECT_EQ(lib.SetParameter(dev, RIDGEX_PARMID_PAD_ENABLE, 0, &value),
              RIDGEX_E_INVALID_PARAMETER);
}

TEST(BackendLoad, UnloadedObjectAnswers) {
    ridgex_dll_t lib;
    const auto dev = reinterpret_cast<ridgex_handle>(1);
    EXPECT_FALSE(lib.IsLoaded());
    EXPECT_EQ(lib.Exit(), RIDGEX_E_FAILURE);
    EXPECT_EQ(lib.Cancel(dev), RIDGEX_E_FAILURE);
    EXPECT_EQ(lib.StartStream(dev), RIDGEX_E_FAILURE);
    EXPECT_EQ(lib.LedCtrl(dev, 1, 1), RIDGEX_E_FAILURE);
    uint8_t value = 1;
    EXPECT_EQ(lib.GetParameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &value), RIDGEX_E_FAILURE);
    uint32_t out1 = 0, out2 = 0, size = 0;
    ridgex_image_info info{sizeof(info), 0, 0, 0, 0};
    EXPECT_EQ(lib.GetPadImage(dev, RIDGEX_IMG_PROC_PAD0, &out1, &out2, &info, &size, nullptr),
              RIDGEX_E_NOT_IMPLEMENTED);
}

}  // namespace
