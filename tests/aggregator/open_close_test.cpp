// Opening readers by name and without one, handles and their reuse, the
// table's growth, and closing.
#include <gtest/gtest.h>

#include <string>

#include "support/sim_backends.h"

namespace {

ridgex_handle Handle(uintptr_t value) {
    return reinterpret_cast<ridgex_handle>(value);
}

std::string Readers(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text +=
            "[reader]\nname = r" + std::to_string(i) + "\npid = " + std::to_string(i + 1) + "\n";
    }
    return text;
}

ridgex_handle Open(const std::string& name) {
    ridgex_handle dev = nullptr;
    EXPECT_EQ(ridgex_open(name.c_str(), &dev), RIDGEX_SUCCESS) << name;
    return dev;
}

TEST(OpenClose, HandlesCountFromOneGrowPastTenAreReusedAndEndWithTheStop) {
    sim_backends sims;
    sims.slot(2, Readers(12));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    ridgex_handle handles[12] = {};
    for (int i = 0; i < 12; ++i) {
        handles[i] = Open("$02$r" + std::to_string(i));
        EXPECT_EQ(handles[i], Handle(i + 1));
    }
    // Records of the first block still answer after the growth.
    ridgex_device_status status{};
    EXPECT_NE(ridgex_get_device_status(handles[0], &status), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_close(handles[1]), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_close(handles[1]), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(ridgex_close(Handle(0)), RIDGEX_E_INVALID_DEVICE);
    EXPECT_EQ(sim_backends::count(2, "close", 1), 1u);
    EXPECT_EQ(Open("$02$r1"), Handle(2)) << "the lowest free record wins";
    for (int i = 0; i < 11; ++i) {
        EXPECT_EQ(ridgex_close(handles[i]), RIDGEX_SUCCESS);
    }
    EXPECT_EQ(sim_backends::count(2, "close"), 12u);
    // The stop closes what is still open, and the handles go with it.
    ASSERT_EQ(ridgex_exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_close(handles[11]), RIDGEX_E_FAILURE);
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    EXPECT_EQ(ridgex_close(handles[11]), RIDGEX_E_INVALID_DEVICE);
}

TEST(OpenClose, BadNamesNeverReachABackend) {
    sim_backends sims;
    sims.slot(1, Readers(1)).slot(3, Readers(1));
    ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
    ridgex_handle dev = Handle(0x55);
    // Without a prefix a name belongs to the built-in backend, which is down.
    for (const char* name : {"$06$r0", "$99$r0", "$ab$r0", "$-1$r0", "$02$r0", "$1$", "",
                             "abcd{00000000-0000-0000-0000-000000000000}"}) {
        EXPECT_EQ(ridgex_open(name, &dev), RIDGEX_E_INVALID_PARAMETER) << name;
    }
    EXPECT_EQ(dev, Handle(0x55)) << "a refused open leaves the handle alone";
    EXPECT_EQ(sim_backends::count(1, "open_ext") + sim_backends::count(3, "open_ext"), 0u);
    EXPECT_EQ(ridgex_open("$01$r0", nullptr), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_NE(ridgex_open("$01$nobody", &dev), RIDGEX_SUCCESS) << "the backend's answer";
    EXPECT_EQ(sim_backends::count(1, "open_ext"), 1u);
}

TEST(OpenClose, WithoutANameTheFirstWillingBackendOpensAndABusyOneEndsTheSearch) {
    for (const bool busy : {false, true}) {
        sim_backends sims;
        sims.slot(1, (busy ? "result.open_ext = 0x05BA001E\n" : "open_without_name = refuse\n") +
                         Readers(1))
            .slot(2, Readers(1))
            .slot(3, Readers(1));
        ASSERT_EQ(sims.start(), RIDGEX_SUCCESS);
        ridgex_handle dev = nullptr;
        EXPECT_EQ(ridgex_open_ext(nullptr, RIDGEX_PRIORITY_SHARED, &dev),
                  busy ? RIDGEX_E_DEVICE_BUSY : RIDGEX_SUCCESS);
        EXPECT_EQ(sim_backends::count(1, "open_ext"), 1u);
        EXPECT_EQ(sim_backends::count(2, "open_ext", 0), busy ? 0u : 1u);
        EXPECT_EQ(sim_backends::count(3, "open_ext"), 0u);
        if (!busy) {
            EXPECT_EQ(ridgex_close(dev), RIDGEX_SUCCESS);
            EXPECT_EQ(sim_backends::count(2, "close", 0), 1u)
                << "the record must remember its slot";
        }
    }
}

}  // namespace
