// How a simulated backend library finds and reads its configuration.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "sim_library.h"

namespace {

std::vector<ridgex_device_info> list_readers(sim_library& sim) {
    uint32_t count = 0;
    const ridgex_result probe = sim.query_devices(&count, nullptr);
    EXPECT_EQ(probe, count == 0 ? RIDGEX_SUCCESS : RIDGEX_E_MORE_DATA);
    std::vector<ridgex_device_info> readers(count);
    if (count != 0) {
        readers[0].size = sizeof(ridgex_device_info);
        EXPECT_EQ(sim.query_devices(&count, readers.data()), RIDGEX_SUCCESS);
    }
    return readers;
}

ridgex_version_info version_of(sim_library& sim) {
    ridgex_version_info version{};
    version.size = sizeof version;
    EXPECT_EQ(sim.version(&version), RIDGEX_SUCCESS);
    return version;
}

TEST(SimConfig, WithoutAFileTwoReadersMatchTheScoringModels) {
    sim_library sim("amber");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    const auto readers = list_readers(sim);
    ASSERT_EQ(readers.size(), 2u);
    EXPECT_STREQ(readers[0].name, "sim-amber-0");
    EXPECT_EQ(readers[0].vid, 0x05BA);
    EXPECT_EQ(readers[0].pid, 0x000E);
    EXPECT_STREQ(readers[1].name, "sim-amber-1");
    EXPECT_EQ(readers[1].vid, 0x147E);
    EXPECT_EQ(readers[1].pid, 0x2016);
    EXPECT_EQ(readers[1].size, sizeof(ridgex_device_info));

    const ridgex_version_info version = version_of(sim);
    EXPECT_EQ(version.api_major, 1u);
    EXPECT_EQ(version.api_minor, 10u);
}

TEST(SimConfig, ReaderSectionsReplaceTheDefaults) {
    sim_config_file file("RIDGEX_SIM_CONFIG_AMBER",
                         "# two readers of our own\n"
                         "api_version = 0.12\n"
                         "[reader]\n"
                         "name = first one\n"
                         "vendor = Acme\n"
                         "vid = 0x1234\n"
                         "pid = 0\n"
                         "revision = 513\n"
                         "version_words = 1 2 3 4 5 0x6\n"
                         "class_code = 2\n"
                         "[reader]\n"
                         "serial = 42\n");
    sim_library sim("amber");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    const auto readers = list_readers(sim);
    ASSERT_EQ(readers.size(), 2u);
    EXPECT_STREQ(readers[0].name, "first one");
    EXPECT_STREQ(readers[0].vendor_name, "Acme");
    EXPECT_EQ(readers[0].vid, 0x1234);
    EXPECT_EQ(readers[0].pid, 0);
    EXPECT_EQ(readers[0].revision, 513);
    EXPECT_EQ(readers[0].version_words[5], 6u);
    EXPECT_EQ(readers[0].class_code, 2u);
    // A section starts from the template, not from the reader before it.
    EXPECT_STREQ(readers[1].name, "sim-amber-1");
    EXPECT_STREQ(readers[1].serial_text, "42");
    EXPECT_EQ(readers[1].vid, 0x05BA);

    const ridgex_version_info version = version_of(sim);
    EXPECT_EQ(version.api_major, 0u);
    EXPECT_EQ(version.api_minor, 12u);
}

TEST(SimConfig, EachSlotHasItsOwnVariableAndState) {
    sim_config_file common("RIDGEX_SIM_CONFIG", "[reader]\nname = shared\n");
    sim_config_file own("RIDGEX_SIM_CONFIG_BASALT", "[reader]\nname = basalt's\n[reader]\n");
    sim_library amber("amber");
    sim_library basalt("basalt");
    ASSERT_EQ(amber.init(), RIDGEX_SUCCESS);
    ASSERT_EQ(basalt.init(), RIDGEX_SUCCESS);
    ASSERT_EQ(list_readers(amber).size(), 1u);
    EXPECT_STREQ(list_readers(amber)[0].name, "shared");
    ASSERT_EQ(list_readers(basalt).size(), 2u);
    EXPECT_STREQ(list_readers(basalt)[0].name, "basalt's");
    EXPECT_EQ(amber.sim_count("query_devices", -1), 4u);
    EXPECT_EQ(basalt.sim_count("query_devices", -1), 4u);
}

TEST(SimConfig, OnlyAFirstInitReadsTheFile) {
    sim_config_file file("RIDGEX_SIM_CONFIG_AMBER", "[reader]\nname = before\n");
    sim_library sim("amber");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    file.rewrite("[reader]\nname = after\n");
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    EXPECT_STREQ(list_readers(sim)[0].name, "before");
    ASSERT_EQ(sim.exit(), RIDGEX_SUCCESS);
    ASSERT_EQ(sim.exit(), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.exit(), RIDGEX_E_FAILURE);

    uint32_t count = 0;
    EXPECT_EQ(sim.query_devices(&count, nullptr), RIDGEX_E_FAILURE);
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    EXPECT_STREQ(list_readers(sim)[0].name, "after");
}

TEST(SimConfig, MistakesFailInitAndNameTheLine) {
    struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"api_version = 1.10\n\ncolour = red\n", "line 3: unknown key 'colour'"},
        {"[reader]\nvid = 0x10000\n", "line 2: bad value '0x10000' for vid"},
        {"[reader]\nfinger = sometimes\n", "line 2: bad value 'sometimes' for finger"},
        {"[reader]\nwidth = 8\n", "line 2: width and height must be 16 to 4096"},
        {"result.capture_async = 0\n", "line 1: unknown operation in 'result.capture_async'"},
        {"[readers]\n", "line 1: unknown section [readers]"},
    };
    for (const auto& bad : cases) {
        sim_config_file file("RIDGEX_SIM_CONFIG_AMBER", bad.text);
        sim_library sim("amber");
        EXPECT_EQ(sim.init(), RIDGEX_E_FAILURE) << bad.text;
        EXPECT_NE(std::strstr(sim.sim_config_error(), bad.message), nullptr)
            << sim.sim_config_error();
        // The version comes from the same file, so it fails too.
        ridgex_version_info version{};
        version.size = sizeof version;
        EXPECT_EQ(sim.version(&version), RIDGEX_E_FAILURE);
    }
}

TEST(SimConfig, ForcedResultsAnswerBeforeAnythingElse) {
    sim_config_file file("RIDGEX_SIM_CONFIG_AMBER",
                         "result.version = RIDGEX_E_NOT_IMPLEMENTED\n"
                         "result.cancel = 0x05BA001F\n");
    sim_library sim("amber");
    ridgex_version_info version{};
    version.size = sizeof version;
    EXPECT_EQ(sim.version(&version), RIDGEX_E_NOT_IMPLEMENTED);
    ASSERT_EQ(sim.init(), RIDGEX_SUCCESS);
    ridgex_handle dev = nullptr;
    ASSERT_EQ(sim.open("sim-amber-0", &dev), RIDGEX_SUCCESS);
    EXPECT_EQ(sim.cancel(dev), RIDGEX_E_DEVICE_FAILURE);
}

TEST(SimConfig, ForcedInitFailureLeavesTheLibraryDown) {
    sim_config_file file("RIDGEX_SIM_CONFIG_AMBER", "result.init = 0x05BA000B\n");
    sim_library sim("amber");
    EXPECT_EQ(sim.init(), RIDGEX_E_FAILURE);
    EXPECT_EQ(sim.exit(), RIDGEX_E_FAILURE);
}

TEST(SimConfig, FixtureLibrariesLackTheirExports) {
    sim_library minimal("sim_no_optional");
    EXPECT_EQ(minimal.symbol("ridgex_open_ext"), nullptr);
    EXPECT_EQ(minimal.symbol("ridgex_capture_pad_image"), nullptr);
    EXPECT_NE(minimal.symbol("ridgex_led_ctrl"), nullptr);

    sim_library no_led("sim_no_led_ctrl");
    EXPECT_EQ(no_led.symbol("ridgex_led_ctrl"), nullptr);
    EXPECT_NE(no_led.symbol("ridgex_led_config"), nullptr);

    sim_library no_version("sim_no_version");
    EXPECT_EQ(no_version.symbol("ridgex_version"), nullptr);
    EXPECT_NE(no_version.symbol("ridgex_init"), nullptr);
}

}  // namespace
